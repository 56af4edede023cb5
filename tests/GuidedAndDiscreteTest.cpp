#include "Support.h"

#include "SFDagEvaluator.h"
#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFOp.h"
#include "TetMeshToSF.h"

#include <gtest/gtest.h>

using namespace SF;
using namespace SFTest;

namespace {

/// Knows the references that begin with "#k"; remembers what it was asked.
class Resolver : public SFResourceResolver
{
public:
  ResourceToSF* Resolve(std::string const& iText) override
  {
    asked.push_back(iText);
    return iText.rfind("#k", 0) == 0 ? new TetMeshToSF : nullptr;
  }
  std::vector<std::string> asked;
};

std::string const Separator =
    "Error in BuildFromExpression at src/SFDagFromExpression.cpp:N comaAt < leftAccAt not satisfied.";
std::string const Groups =
    "Error in BuildFromExpression at src/SFDagFromExpression.cpp:N righAccAt < comaAt not satisfied.";
std::string const NoGuided = "Error in SFDagFromExpression::BuildFromExpression, could not create SFGCGuidedTransform.";
std::string const NoSharp = "Error in SetExpressionId at src/ResourceToSF.cpp:N foundSharp != SFExpression::npos not "
                            "satisfied.";
std::string const IdFailed =
    "Error in BuildFromExpression at src/SFDagFromExpression.cpp:N  failed with hr: -2147024809";
std::string const NoLhs = "Error in SFDagFromExpression::BuildUnaryOpFromExpression, could not create lhs.";
std::string const NoUnary = "Error in SFDagFromExpression::BuildFromExpression, BuildUnaryOpFromExpression failed.";
std::string const Top = "Error in SFDagBuilder::BuildFromExpression, BuildFromExpression(lexer, rank, "
                        "existingNodes) failed.";

} // namespace

TEST(GuidedAndDiscrete, TextsSurviveTheRoundTrip)
{
  for (std::string const text :
       {"d[#a;#b] X $", "d[#k1;#k2] q Y $", "d[#k1;x#2;y] X $", "g[] X $", "g[[]] X $", "g[[#a]] X $",
        "g[[#k1;#b][#c]] X $", "g[[][#a][]] + X Y $", "g[[#a]] d[#b;#c] m[1;0;0;2;0;1;0;0;0;0;1;0;0;0;0;1] X $"}) {
    Resolver resolver;
    for (SFResourceResolver* const used :
         {static_cast<SFResourceResolver*>(nullptr), static_cast<SFResourceResolver*>(&resolver)}) {
      auto const root = Build(text, used);
      ASSERT_NE(root, nullptr) << text;
      EXPECT_EQ(TextOf(*root), text);
    }
  }
}

TEST(GuidedAndDiscrete, EveryIdIsOfferedAndKept)
{
  Resolver resolver;
  auto const root = Build("g[[#k1;#b][][#k3]] d[#c;#k4] X $", &resolver);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(resolver.asked, (std::vector<std::string>{"#k1", "#b", "#k3", "#c", "#k4"}));

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
                     {guided.GetWire(0, 1), SFNodeType::UNRESOLVEDREF, "#b"},
                     {guided.GetWire(2, 0), SFNodeType::RESOLVEDREF, "#k3"},
                     {discrete.GetFirstResource(), SFNodeType::UNRESOLVEDREF, "#c"},
                     {discrete.GetSecondResource(), SFNodeType::RESOLVEDREF, "#k4"}};
  for (auto const& [resource, type, id] : cases) {
    EXPECT_EQ(resource->GetTypeTag(), type) << id;
    EXPECT_EQ(resource->GetExpressionId(), id);
    EXPECT_EQ(resource->GetRank(), 0) << id;
  }
}

TEST(GuidedAndDiscrete, RanksAreThoseOfTheUnaryOperator)
{
  struct
  {
    char const* text;
    int rank;
  } const cases[] = {{"g[] X $", 1},
                     {"d[#a;#b] X $", 1},
                     {"g[] f1 $", 0},
                     {"d[#a;#b] q X $", 2},
                     // Where the operand leaves the counter alone, a discrete transform shows that it has set it.
                     {"g[] $", -1},
                     {"d[#a;#b] $", 0}};
  for (auto const& [text, rank] : cases)
    EXPECT_EQ(Build(text)->GetRank(), rank) << text;
}

TEST(GuidedAndDiscrete, MalformedListsEndInTheirLine)
{
  struct
  {
    char const* text;
    std::vector<std::string> lines;
  } const cases[] = {
      {"d[#a] X $", {Separator, Top}},
      {"d[] X $", {Separator, Top}},
      {"d X $", {Separator, Top}},
      {"d", {Separator, Top}},
      {"d[", {Separator, Top}},
      {"d[#a;#b", {Separator, Top}},
      {"d[#a;#b X $", {Separator, Top}},
      {"d[#a];#b X $", {Separator, Top}},
      {"d]#a;#b[ X $", {Separator, Top}},
      {"d[a;#b] X $", {NoSharp, IdFailed, Top}},
      {"d[#a;b] X $", {NoSharp, IdFailed, Top}},
      {"d[;] X $", {NoSharp, IdFailed, Top}},
      {"q d[#a] X $", {Separator, NoLhs, NoUnary, Top}},
      {"g", {NoGuided, Top}},
      {"g X $", {NoGuided, Top}},
      {"g[", {NoGuided, Top}},
      {"g[[#a]]", {NoGuided, Top}},
      {"g[[#a]", {NoGuided, Top}},
      {"g] [] X $", {NoGuided, Top}},
      {"g[#a] X $", {Groups, Top}},
      {"g[#a;#b] X $", {Groups, Top}},
      {"g[[#a;#b] X $", {Groups, Top}},
      {"g[[#a]#b] X $", {Groups, Top}},
      {"g[[#a][#b] X $", {Groups, Top}},
      {"g[]] X $", {Groups, Top}},
      {"g[[#a[0]]] X $", {Groups, Top}},
      {"g[[a]] X $", {NoSharp, IdFailed, Top}},
      {"g[[#a;]] X $", {NoSharp, IdFailed, Top}},
      {"! g[#a] X $", {Groups, NoLhs, NoUnary, Top}},
  };
  for (auto const& [text, lines] : cases) {
    Captured const captured;
    EXPECT_EQ(Build(text), nullptr) << text;
    EXPECT_EQ(captured.Lines(), lines) << text;
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
