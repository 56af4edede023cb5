#include "CalculusSupport.h"

#include "SFAffineTransform.h"
#include "SFDagOffset.h"
#include "SFDagOffsetOperator.h"
#include "SFVariable.h"

#include <algorithm>
#include <regex>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

/// The offset operator against its definition: every norm and every offset written as text and read back, with the
/// derivatives that the public operations build along each path.
namespace {

ZULTolerance const tolerance;

bool HoldsNumbersOnly(SFDagNode const& iRoot)
{
  auto const nodes = NodesOf(iRoot);
  return std::all_of(nodes.begin(), nodes.end(), [](SFDagNode const* iNode) {
    double value = 0.0;
    return Failed(iNode->GetConstant(value)) || std::isfinite(value);
  });
}

/// A graph written and read. Null where the text cannot be written or reads as another graph; signs of zeros, which
/// merging may change, do not count. Infinities and NaN are refused at once.
NodePtr ThroughText(NodePtr const& iTree)
{
  auto const unsignedZeros = [](std::string const& iText) {
    static std::regex const negative("([f\\[;])-0(?=[ ;\\]])");
    return std::regex_replace(iText, negative, "$010");
  };
  if (!HoldsNumbersOnly(*iTree))
    return nullptr;
  std::string text;
  std::string again;
  SFDagToExpression const writer(Level2());
  if (Failed(writer.Export(*iTree, text, true, false)))
    return nullptr;
  NodePtr read = Build(text);
  if (read == nullptr || Failed(writer.Export(*read, again, true, false)) ||
      (text != again && unsignedZeros(text) != unsignedZeros(again)))
    return nullptr;
  return read;
}

NodePtr NormByText(NodePtr const& iField)
{
  std::array<NodePtr, 3> squares;
  for (std::size_t i = 0; i < 3; ++i)
    squares[i] = Op(SQUARE, Operator::BuildGradientTree(iField, SFNodeType{static_cast<int>(i) + 2}, tolerance));
  return ThroughText(Op(ROOT, Op(PLUS, Op(PLUS, squares[0], squares[1]), squares[2])));
}

NodePtr StepsByText(NodePtr iField, int iCount, double iStep)
{
  for (int i = 0; i < iCount; ++i) {
    NodePtr norm = NormByText(iField);
    iField = Op(MINUS, iField, Op(MULT, norm, C(iStep)));
  }
  return iField;
}

NodePtr OffsetByText(NodePtr const& iField, double d, int iOrder)
{
  NodePtr tree = StepsByText(iField, 1, d);
  if (iOrder == 2) {
    NodePtr const halves = StepsByText(iField, 2, d * 0.5);
    tree = Op(PLUS, Op(MULT, halves, C(2.0)), Op(MULT, tree, C(-1.0)));
  } else if (iOrder == 3) {
    NodePtr const halves = StepsByText(iField, 2, d * 0.5);
    NodePtr const thirds = StepsByText(iField, 3, d / 3.0);
    tree = Op(PLUS, Op(PLUS, Op(MULT, tree, C(0.5)), Op(MULT, halves, C(-4.0))), Op(MULT, thirds, C(4.5)));
  }
  return ThroughText(tree);
}

/// All that can be seen of an offset: the result, its sharing and ranks, the field as it is left, and the lines, but
/// for those that the operator itself writes.
LineList Outcome(NodePtr const& iField, NodePtr (*iOffset)(NodePtr const&, double, int), double iDistance, int iOrder)
{
  LineList all;
  NodePtr offset;
  {
    Captured const captured;
    iField->GetReady(Level2());
    offset = iOffset(iField, iDistance, iOrder);
    all = captured.Lines();
  }
  std::erase_if(all, [](std::string const& iLine) {
    return iLine.find("gradient norm") != std::string::npos || iLine.find("SFDagOffsetOperator") != std::string::npos;
  });
  Captured const quiet;
  all.push_back(TextOf(*iField));
  if (offset == nullptr)
    return all;
  all.push_back(TextOf(*offset));
  std::string ranks;
  for (SFDagNode const* const node : NodesOf(*offset))
    ranks += std::to_string(node->GetRank()) + " ";
  all.push_back(ranks);
  return all;
}

NodePtr OffsetByOperator(NodePtr const& iField, double iDistance, int iOrder)
{
  return SFDagOffsetOperator(Level2()).NthOrderApproximationOffset(iField, iDistance, iOrder, tolerance);
}

/// Offsets a field and its twin in both ways. Where they differ, empty where they do not.
std::string WhereTheyDiffer(NodePtr const& iField, NodePtr const& iTwin, double iDistance, int iOrder)
{
  LineList const result = Outcome(iField, OffsetByOperator, iDistance, iOrder);
  LineList const byText = Outcome(iTwin, OffsetByText, iDistance, iOrder);
  for (std::size_t i = 0; i < std::max(result.size(), byText.size()); ++i)
    if (i >= result.size() || i >= byText.size() || result[i] != byText[i])
      return "line " + std::to_string(i) + ": " + (i < result.size() ? result[i] : "") + "\n instead of " +
             (i < byText.size() ? byText[i] : "") + "\n of " + TextOf(*iTwin);
  return "";
}

/// All kinds that text can say, with numbers that writing rounds.
Vocabulary const Everything{OperatorsWithout({}),
                            {"X", "Y", "Z", "X", "Y", "f1e-7", "f123456789", "f0.30000000000000004", "f-0", "f0", "f1",
                             "f4.9406564584124654e-324", "f1.7976931348623157e308", "f0.999999999", "f1234565",
                             "pa[0.333333333]", "pb[-0]", "* f0 #a"},
                            {"m[0;1;0;1e-7;1;0;0;123456789;0;0;-1;3;0;0;0;1]", "n[0;0.123456789;0;0;0;1;3]",
                             "+ X * f0 ? b0.30000000000000004 Y", "? d[#a;#b] g[[#c;#d][#e]]", "!", "o0.1"}};

} // namespace

TEST(OffsetText, RandomFields)
{
  std::size_t made = 0;
  for (unsigned int seed = 0; seed < Scaled(1500); ++seed) {
    int const order = seed % 50 == 0 ? 3 : seed % 10 == 0 ? 2 : 1;
    RandomFields random(seed, Everything);
    std::string const text = random.Next(order == 1 ? 4 : 4 - order) + " $";
    ASSERT_EQ(WhereTheyDiffer(Build(text), Build(text), 0.1, order), "") << text << order;
    made += Outcome(Build(text), OffsetByOperator, 0.1, order).size() > 2;
  }
  EXPECT_GT(made, Scaled(700));
}

TEST(OffsetText, RandomOperators)
{
  auto const operators = OperatorsWithout({});
  for (unsigned int seed = 0; seed < Scaled(1000); ++seed) {
    RandomFields random(seed, operators);
    int const order = seed % 10 == 0 ? 3 : seed % 3 == 0 ? 2 : 1;
    std::string const text = random.Next(6 - order) + " $";
    ASSERT_EQ(WhereTheyDiffer(Build(text), Build(text), -0.7, order), "") << text << order;
  }
}

/// Where many paths lead to the nodes, what simplification leaves depends on the order of its visits.
TEST(OffsetText, RandomGraphs)
{
  // In graph 102357, among others, a node keeps its operands on the first path and gets others on the second.
  for (std::size_t seed = 102400 - Scaled(2400); seed < 102400 + Scaled(600); ++seed) {
    int const order = seed % 20 == 0 ? 2 : 1;
    auto const graph = [seed] { return RandomGraph(static_cast<unsigned int>(seed)); };
    ASSERT_EQ(WhereTheyDiffer(graph(), graph(), 0.3, order), "") << seed;
  }
}
