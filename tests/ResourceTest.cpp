#include "HostResource.h"

#include "BRXResourceToSFExecutionInfo.h"
#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "ResourceToSFExecutionInfo.h"
#include "TetMeshToSF.h"

#include <iomanip>
#include <limits>

namespace SF {
class SFTetMesh
{
};
} // namespace SF
class ZULIBRXObject
{
};

using namespace SF;
using namespace SFTest;

namespace {

double const Missing = std::numeric_limits<double>::max();

std::string TextOf(_GUID const& iId)
{
  std::ostringstream text;
  text << std::hex << std::setfill('0') << std::setw(8) << iId.Data1 << '-' << std::setw(4) << iId.Data2 << '-'
       << std::setw(4) << iId.Data3 << '-';
  for (std::size_t i = 0; i < 8; ++i)
    text << (i == 2 ? "-" : "") << std::setw(2) << int{iId.Data4[i]};
  return text.str();
}

} // namespace

TEST(Resource, ClassesHaveTheirIdentifiersAndDefaults)
{
  ResourceToSF base;
  ExplicitToSF plain;
  HostResource host;
  TetMeshToSF mesh;
  ResourceGradientToSF gradient(std::make_shared<ResourceToSF>(), SFNodeType::X);
  struct
  {
    ResourceToSF& node;
    _GUID ofClass;
    std::string tagOfClass;
    char const* guid;
    char const* tag;
    int type;
    HRESULT compute;
    double scalar;
  } const cases[] = {
      {base, ResourceToSF::GetSFResourceTypeS(), ResourceToSF::GetSFResourceTypeTagS(),
       "1151f947-c088-47ed-bbde-fbe9d9af8432", "#R", 1, S_OK, Missing},
      {gradient, ResourceGradientToSF::GetSFResourceTypeS(), ResourceGradientToSF::GetSFResourceTypeTagS(),
       "acc0b71f-2f5a-4fd6-9ba3-b7aeefb744c7", "#RGrad", 7, S_OK, Missing},
      {host, BRXResourceToSF::GetSFResourceTypeS(), BRXResourceToSF::GetSFResourceTypeTagS(),
       "6de32814-5f41-4afd-a191-8c944b7c21b2", "#BRX", 31, S_OK, 2.0},
      {plain, ExplicitToSF::GetSFResourceTypeS(), ExplicitToSF::GetSFResourceTypeTagS(),
       "6a2939a6-996c-473b-80ba-06e041abf8b8", "#EXPL", 1, S_OK, Missing},
      {mesh, TetMeshToSF::GetSFResourceTypeS(), TetMeshToSF::GetSFResourceTypeTagS(),
       "e45151cf-ec82-4eea-8e00-4e9caab3a4ab", "#TM", 31, E_FAIL, 0.0},
  };
  for (auto const& test : cases) {
    EXPECT_EQ(TextOf(test.node.GetSFResourceType()), test.guid);
    EXPECT_EQ(test.node.GetSFResourceType(), test.ofClass) << test.tag;
    EXPECT_STREQ(test.node.GetSFResourceTypeTag(), test.tag);
    EXPECT_EQ(test.tagOfClass, test.tag);
    EXPECT_EQ(static_cast<int>(test.node.GetTypeTag()), test.type) << test.tag;
    EXPECT_EQ(test.node.GetRank(), -1) << test.tag;
    EXPECT_EQ(test.node.GetExpressionId(), "") << test.tag;
    EXPECT_EQ(test.node.ComputeScalars({}, {}, ZULGMSFDiscretizationAccuracyLevel::ELow), test.compute) << test.tag;
    EXPECT_EQ(test.node.GetScalar({2, 0, 0}), test.scalar) << test.tag;
    EXPECT_EQ(test.node.GetRawResource(), nullptr) << test.tag;
    if (&test.node == &host)
      continue;
    double components[3] = {1, 2, 3};
    EXPECT_EQ(test.node.GetGradient(components, {}), S_OK) << test.tag;
    for (double const component : components)
      EXPECT_EQ(component, Missing) << test.tag;
  }
}

TEST(Resource, IdsHoldASharp)
{
  ResourceToSF resource;
  EXPECT_EQ(resource.SetExpressionId("x#1"), S_OK);
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(resource.SetExpressionId("abc"), E_INVALIDARG); }),
            LineList{"Error in SetExpressionId at src/ResourceToSF.cpp:N foundSharp != SFExpression::npos not "
                     "satisfied."});
  EXPECT_EQ(resource.GetExpressionId(), "x#1");
}

TEST(Resource, GradientsPickTheirComponent)
{
  std::string const invalid = "Error in ResourceGradientToSF::GetScalar, invalid gradient variable !";
  auto const host = std::make_shared<HostResource>();
  auto const failing = std::make_shared<HostResource>([](ZULMathPoint const&) { return 0.0; }, E_FAIL);
  struct
  {
    std::shared_ptr<ResourceToSF> resource;
    int variable;
    double value;
    LineList lines;
  } const cases[] = {
      {host, 2, 1.0, {}},        {host, 3, 2.0, {}},        {host, 4, 3.0, {}}, {host, 5, Missing, {invalid}},
      {failing, 3, Missing, {}}, {failing, 5, Missing, {}},
  };
  for (auto const& test : cases) {
    ResourceGradientToSF const gradient(test.resource, static_cast<SFNodeType>(test.variable));
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(gradient.GetScalar({}), test.value); }), test.lines) << test.variable;
    ResourceGradientToSF const copy(gradient);
    EXPECT_EQ(copy.GetResource(), test.resource);
    EXPECT_EQ(static_cast<int>(copy.GetVariableType()), test.variable);
  }
}

TEST(Resource, MeshesMove)
{
  auto const mesh = std::make_shared<SFTetMesh>();
  TetMeshToSF a;
  TetMeshToSF b(mesh);
  EXPECT_EQ(TetMeshToSF(b).GetRawResource(), mesh.get());
  a.MoveFrom(b);
  EXPECT_EQ(a.GetRawResource(), mesh.get());
  EXPECT_EQ(b.GetRawResource(), nullptr);
  a.MoveFrom(a);
  EXPECT_EQ(a.GetRawResource(), mesh.get());
  ZULMathPoint origin(1, 2, 3);
  double distance = 4.0;
  EXPECT_EQ(a.GetSFOrigin(origin), E_FAIL);
  EXPECT_EQ(a.GetSFMaxDistance(distance), E_FAIL);
  EXPECT_TRUE(origin.x == 1 && origin.y == 2 && origin.z == 3 && distance == 4);
}

TEST(Resource, CopiesShareOperandsAndStartWithoutSlots)
{
  ResourceToSF source(SFNodeType::POLY);
  source.SetExpressionId("#a");
  source.SetRank(4);
  source.SetLhs(Op(SFNodeType::X));
  source.GetNewEvaluationContext();
  ResourceToSF const copy(source);
  EXPECT_EQ(copy.GetExpressionId(), "#a");
  EXPECT_EQ(copy.GetTypeTag(), SFNodeType::POLY);
  EXPECT_EQ(copy.GetRank(), 4);
  EXPECT_EQ(copy.GetLhs(), source.GetLhs());
  EXPECT_EQ(copy.GetContextCount(), 0U);
}

TEST(Resource, ExecutionInfosReferToTheHost)
{
  int object = 0;
  SFExecutionInfo base;
  base.SetRef(&object);
  EXPECT_EQ(base.GetRef(), nullptr);
  EXPECT_TRUE(base == base);
  EXPECT_FALSE(base == SFExecutionInfo());

  ResourceToSFExecutionInfo info(&object);
  ResourceToSFExecutionInfo copy(info);
  info.SetRef(nullptr);
  EXPECT_EQ(copy.GetRef(), &object);
  static_cast<SFExecutionInfo&>(info) = copy; // assignment through the base does nothing
  EXPECT_EQ(info.GetRef(), nullptr);

  ZULIBRXObject body;
  BRXResourceToSFExecutionInfo brx(&body);
  brx.SetRef(&object);
  EXPECT_EQ(brx.GetRef(), nullptr);
  EXPECT_EQ(BRXResourceToSFExecutionInfo(brx).GetBRXObject(), &body);
  brx.SetBRXObject(nullptr);
  EXPECT_EQ(brx.GetBRXObject(), nullptr);

  EXPECT_FALSE(ResourceToSF().HasExecutionInfo());
  EXPECT_EQ(ResourceToSF().GetExecutionInfo({}), nullptr);
}
