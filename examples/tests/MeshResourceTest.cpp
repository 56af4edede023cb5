#include "MeshResource.h"
#include "ResourceGradientToSF.h"
#include "Support.h"

#include <gtest/gtest.h>

using namespace SFTest;
using SFExample::MeshResolver;

TEST(MeshResource, IsALeafOfExpressions)
{
  MeshResolver resolver(SF_EXAMPLES_DIR);
  std::string const text = "I - X f7 #BRX:flange_nut.stl $";
  auto const root = Build(text, &resolver);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(TextOf(*root), text);
  EXPECT_EQ(root->GetRhs()->GetTypeTag(), SF::SFNodeType::RESOLVEDREF);
  EXPECT_NEAR(ValueAt(*root, {0, 0, 6}), 5.1, 5e-3); // the nut decides
  EXPECT_EQ(ValueAt(*root, {9, 0, 1}), 2.0);         // the plane decides
  // The transform moves the nut with everything else.
  auto const moved = Build("m[1;0;0;100;0;1;0;0;0;0;1;0] #BRX:flange_nut.stl $", &resolver);
  EXPECT_NEAR(ValueAt(*moved, {100, 0, 6}), 5.1, 5e-3);
  // One mesh serves all the nodes for its file.
  EXPECT_EQ(static_cast<SF::ResourceToSF&>(*root->GetRhs()).GetRawResource(),
            static_cast<SF::ResourceToSF&>(*moved->GetLhs()).GetRawResource());
  EXPECT_EQ(resolver.Meshes().size(), 1u);
}

TEST(MeshResource, GivesItsGradientToTheLibrary)
{
  MeshResolver resolver(SF_EXAMPLES_DIR);
  std::shared_ptr<SF::ResourceToSF> const nut(resolver.Resolve("#BRX:flange_nut.stl"));
  ZULMathPoint const besideTheFlange{0, -20, 0.75};
  EXPECT_NEAR(SF::ResourceGradientToSF(nut, SF::SFNodeType::Y).GetScalar(besideTheFlange), -1.0, 1e-6);
  EXPECT_NEAR(SF::ResourceGradientToSF(nut, SF::SFNodeType::Z).GetScalar(besideTheFlange), 0.0, 1e-6);
}

TEST(MeshResource, ResolverLeavesOtherReferencesAlone)
{
  MeshResolver resolver(SF_EXAMPLES_DIR);
  for (std::string const text : {"#TM:flange_nut.stl $", "#BRX $", "#x#BRX:flange_nut.stl $"}) {
    auto const root = Build(text, &resolver);
    ASSERT_NE(root, nullptr) << text;
    EXPECT_EQ(root->GetTypeTag(), SF::SFNodeType::UNRESOLVEDREF) << text;
  }
}

TEST(MeshResource, AFileThatHoldsNoSolidIsNamed)
{
  MeshResolver resolver(SF_EXAMPLES_DIR);
  for (std::string const file : {"nowhere.stl", "mesh_resource", "nut_on_plate.sf"}) {
    try {
      Build("q #BRX:" + file + " $", &resolver);
      ADD_FAILURE() << "accepted " << file;
    } catch (SFExample::MeshError const& error) {
      EXPECT_NE(std::string(error.what()).find(file + ": th"), std::string::npos) << error.what();
    }
  }
  EXPECT_TRUE(resolver.Meshes().empty());
}
