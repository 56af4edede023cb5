#include "HostResource.h"

#include "SFDagEvaluator.h"
#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFOp.h"

#include <gtest/gtest.h>

using namespace SF;
using namespace SFTest;

TEST(GuidedAndDiscrete, EveryIdIsOfferedAndKept)
{
  HostResolver resolver;
  auto const root = Build("g[[#k1;#none1][][#k3]] d[#none2;#k4] X $", &resolver);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(TextOf(*root), "g[[#k1;#none1][][#k3]] d[#none2;#k4] X $");
  EXPECT_EQ(resolver.asked, (std::vector<std::string>{"#k1", "#none1", "#k3", "#none2", "#k4"}));

  auto const& guided = dynamic_cast<SFGCGuidedTransform const&>(*root);
  ASSERT_EQ(guided.GetCrossSectionCount(), 3u);
  EXPECT_EQ(guided.GetWireCount(0), 2u);
  EXPECT_EQ(guided.GetWireCount(1), 0u);
  auto const& discrete = dynamic_cast<SFDiscreteTransformNode const&>(*root->GetLhs());

  struct
  {
    std::shared_ptr<ResourceToSF> resource;
    SFNodeType type;
    char const* id;
  } const cases[] = {{guided.GetWire(0, 0), SFNodeType::RESOLVEDREF, "#k1"},
                     {guided.GetWire(0, 1), SFNodeType::UNRESOLVEDREF, "#none1"},
                     {guided.GetWire(2, 0), SFNodeType::RESOLVEDREF, "#k3"},
                     {discrete.GetFirstResource(), SFNodeType::UNRESOLVEDREF, "#none2"},
                     {discrete.GetSecondResource(), SFNodeType::RESOLVEDREF, "#k4"}};
  for (auto const& [resource, type, id] : cases) {
    EXPECT_EQ(resource->GetTypeTag(), type) << id;
    EXPECT_EQ(resource->GetExpressionId(), id);
    EXPECT_EQ(resource->GetRank(), 0) << id;
  }
}

/// Each of these made every token search, or copy, the text up to a far bracket.
TEST(GuidedAndDiscrete, HostileListsEndCleanly)
{
  constexpr std::size_t tokens = Scaled(60000);
  for (std::string const token : {"+ d ", "+ g ", "+ d p ", "+ g d m n p ", "+ d]p", "d[#a;#b] ", "g[[#a]] "})
    for (std::string const tail : {"", "[#a;#b]", "] [#a;#b] ", "[[#a;#b]] ", "]]]] "}) {
      Captured const captured;
      auto const root = Build(Repeated(token, tokens) + tail);
      EXPECT_EQ(root == nullptr, token.front() == '+') << token << tail;
    }
}

TEST(GuidedAndDiscrete, NodesGuardTheirContents)
{
  Captured const captured;
  auto const wire = std::make_shared<ResourceToSF>();
  SFGCGuidedTransform guided;
  guided.AddWireToCrossSection(0, wire);
  EXPECT_EQ(guided.GetCrossSectionCount(), 0u);
  guided.AddCrossSection();
  guided.AddWireToCrossSection(0, wire);
  EXPECT_EQ(guided.GetWire(0, 0), wire);
  EXPECT_EQ(guided.GetWire(0, 1), nullptr);
  EXPECT_EQ(guided.GetWire(1, 0), nullptr);
  EXPECT_EQ(guided.GetWireCount(7), 0u);

  SFDiscreteTransformNode discrete;
  auto const other = std::make_shared<ResourceToSF>();
  EXPECT_EQ(discrete.SetResource(wire), S_OK);
  EXPECT_FALSE(discrete.IsComplete());
  EXPECT_EQ(discrete.SetResource(other), S_OK);
  EXPECT_EQ(discrete.SetResource(wire), E_FAIL);
  EXPECT_EQ(discrete.GetFirstResource(), wire);
  EXPECT_EQ(discrete.GetSecondResource(), other);

  std::string const at = " at PrivateInterfaces/SFGCGuidedTransform.h:N ";
  EXPECT_EQ(captured.Lines(), (std::vector<std::string>{
                                  "Error in AddWireToCrossSection" + at +
                                      "iCrossSectionIndex < _crossSections.size() "
                                      "not satisfied.",
                                  "Error in GetWire" + at +
                                      "iWireIndex < _crossSections[iCrossSectionIndex].size() "
                                      "not satisfied.",
                                  "Error in GetWire" + at + "iCrossSectionIndex < _crossSections.size() not satisfied.",
                                  "Attempting to set a tetMesh when src and dst are already valued!"}));
}

TEST(GuidedAndDiscrete, WritersAndEvaluatorRefuseWhatTheyCannotDo)
{
  auto const x = std::make_shared<SFOp>(SFNodeType::X);
  auto const incomplete = std::make_shared<SFDiscreteTransformNode>();
  incomplete->SetLhs(x);
  incomplete->SetResource(std::make_shared<ResourceToSF>());
  auto const holed = std::make_shared<SFGCGuidedTransform>();
  holed->SetLhs(x);
  holed->AddCrossSection();
  holed->AddWireToCrossSection(0, nullptr);

  std::string const at = "Error in Export at src/SFDagToExpression.cpp:N ";
  std::string const failed = at + " failed with hr: -2147467259";
  struct
  {
    std::shared_ptr<SFDagNode> node;
    std::vector<std::string> lines;
  } const cases[] = {{incomplete, {at + "We can't export an incomplete DiscreteTransform node.", failed}},
                     {holed, {failed, failed}}};
  for (auto const& [node, lines] : cases) {
    Captured const captured;
    std::string text = "before";
    EXPECT_EQ(SFDagToExpression(Level2()).Export(*node, text, true, false), E_FAIL);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(captured.Lines(), lines);
  }

  for (char const* const text : {"g[[#a]] X $", "d[#a;#b] X $"}) {
    auto const root = Build(text);
    Captured const captured;
    SFEvaluationContext context = root->GetNewEvaluationContext();
    EXPECT_EQ(SFDagEvaluator(Level2()).ComputeScalar(context, *root), E_FAIL);
    EXPECT_EQ(captured.Lines(),
              std::vector<std::string>{"Error in SFDagEvaluator::ComputeScalar, node type not supported."});
  }
}
