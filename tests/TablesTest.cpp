#include "Tables.h"
#include "CalculusSupport.h"
#include "CompiledFieldSupport.h"
#include "HostResource.h"

#include "SFDagOffsetOperator.h"
#include "SFDagToGraphViz.h"
#include "text/SFLexer.h"

#include <map>
#include <regex>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

/// What the tables in tests/data state: one function for each says what is done with a row, and gives the cells that
/// must stand behind its arguments.
namespace {

using Row = std::vector<std::string>;

SFNodeType AxisOf(std::string const& iName) { return iName == "x" ? X : iName == "y" ? Y : Z; }

std::string Position(std::size_t iAt) { return iAt == std::string::npos ? "npos" : std::to_string(iAt); }

std::string TokensOf(std::string const& iText)
{
  SFLexer lexer(iText);
  std::string all;
  for (std::string before; !before.empty() || all.empty();) {
    double value = 0.0;
    std::size_t start = 0;
    std::size_t end = 0;
    SFNodeType const type = lexer.Next(value, start, end);
    bool const hasNumber = type == CONSTANT || type == BLEND || type == OFFSET || type == POLY;
    std::string const token = std::string(OperatorRow(type).name) + (hasNumber ? "=" + Shown(value) : "") + "@" +
                              Position(start) + "-" + Position(end);
    all += (all.empty() ? "" : " ") + token;
    if (token == before)
      break;
    before = token;
  }
  return all;
}

/// A drawing with its addresses replaced by a, b, c, … in the order in which they appear.
std::string Drawing(SFDagNode const& iRoot)
{
  std::string graph;
  EXPECT_EQ(SFDagToGraphViz(Level2()).Export(iRoot, graph, false), S_OK);
  static std::regex const address("[0-9]{8,}");
  std::smatch match;
  for (char letter = 'a'; std::regex_search(graph, match, address); ++letter)
    graph = std::regex_replace(graph, std::regex(match.str()), std::string(1, letter));
  return graph;
}

/// The value of a text at a point by the recursion, which that of the compiled field must be too.
std::string ValueOf(std::string const& iText, ZULMathPoint const& iPoint)
{
  NodePtr const root = Build(iText);
  double const value = ValueAt(*root, iPoint);
  Points points;
  points.Add(iPoint.x, iPoint.y, iPoint.z);
  EXPECT_EQ(points.Evaluate(*Compiled(root)), S_OK);
  EXPECT_TRUE(Same(points.values[0], value)) << points.values[0];
  return Shown(value);
}

/// A derivative in the evaluator's own way, with a resource for each reference.
std::string NumericDerivative(std::string const& iText, SFNodeType iAxis, ZULMathPoint const& iPoint)
{
  HostResolver resolver;
  NodePtr const root = Build(iText, &resolver);
  SFEvaluationContext values(0);
  SFEvaluationContext derivatives(1);
  values.SetAtPosition(iPoint);
  derivatives.SetAtPosition(iPoint);
  double slope = 0.0;
  EXPECT_EQ(SFDagEvaluator(Level2()).ComputeAndSetFirstOrderDerivative(root, values, derivatives, iAxis, slope), S_OK);
  return Shown(slope);
}

std::string CompiledGradient(std::string const& iText, ZULMathPoint const& iPoint)
{
  Points points;
  points.Add(iPoint.x, iPoint.y, iPoint.z);
  EXPECT_EQ(points.Differentiate(*Compiled(Build(iText))), S_OK);
  std::string gradient;
  for (double const component : points.gradients)
    gradient += (gradient.empty() ? "" : " ") + Shown(component + 0.0, 12);
  return gradient;
}

std::string IntervalOf(std::string const& iText)
{
  double low = NaN;
  double high = NaN;
  HRESULT const hr = Compiled(Build(iText))->EvaluateInterval({{-1, 1, 0}, {2, 3, 0}}, low, high);
  return Shown(low, 12) + " " + Shown(high, 12) + (hr == S_FALSE ? " or NaN" : hr == S_OK ? "" : " failed");
}

Row Simplified(std::string const& iText)
{
  NodePtr const root = Build(iText);
  constexpr unsigned int kept = 99;
  unsigned int kind = kept;
  NodePtr const replacement = Operator::SimplifyTree(root, kind, 1e-6);
  return {TextOf(replacement != nullptr ? *replacement : *root), kind == kept ? "kept" : std::to_string(kind)};
}

Row Offset(Row const& iRow)
{
  Captured const captured;
  NodePtr const offset = SFDagOffsetOperator(Level2()).BuildOneSidedOffsetTree(Build(iRow[0]), std::stod(iRow[1]),
                                                                               ZULTolerance(), std::stoi(iRow[2]));
  return {TextOf(*offset), std::to_string(captured.Lines().size())};
}

std::string OffsetValue(std::string const& iText, ZULMathPoint const& iPoint)
{
  NodePtr const root = Build(iText);
  Captured const quiet;
  EXPECT_EQ(root->GetReady(Level2()), S_OK);
  return Shown(ValueAt(*root, iPoint), 5);
}

std::string Curvatures(std::string const& iText)
{
  unsigned int dims[] = {1, 1, 1};
  double maximum = 0.0;
  double minimum = 0.0;
  EXPECT_EQ(SFDagEvaluator(Level2()).ComputeMaxAndMinCurvature(maximum, minimum, dims, nullptr, 1.0, Build(iText),
                                                               ZULTolerance()),
            S_OK);
  return Shown(maximum) + " " + Shown(minimum);
}

} // namespace

TEST(Tables, Tokens)
{
  CheckTable("tokens", 1, [](Row const& iRow) { return Row{TokensOf(iRow[0])}; });
}

TEST(Tables, Numbers)
{
  CheckTable("numbers", 1, [](Row const& iRow) {
    double value = 42.0;
    return Row{ReadSFNumber(iRow[0], value) ? Shown(value) : Shown(value) == "0" ? "unread" : "unread, not 0"};
  });
}

TEST(Tables, Reading)
{
  CheckTable("reading", 1, [](Row const& iRow) {
    NodePtr const root = Build(iRow[0]);
    return Row{TextOf(*root), std::to_string(root->GetRank())};
  });
}

TEST(Tables, Unreadable)
{
  CheckTable("unreadable", 1, [](Row const& iRow) { return Build(iRow[0]) == nullptr ? Row{} : Row{"read"}; });
}

TEST(Tables, Merging)
{
  CheckTable("merging", 1, [](Row const& iRow) {
    Row made;
    for (SFNodeEquality const equality : {SFNodeEquality::EStructural, SFNodeEquality::EExact}) {
      NodePtr const root = SFDagFromExpression::BuildFromExpression(iRow[0], nullptr, equality);
      made.push_back(root->GetLhs() == root->GetRhs() ? "one" : "two");
    }
    return made;
  });
}

TEST(Tables, Equality)
{
  CheckTable("equality", 2, [](Row const& iRow) {
    NodePtr const a = Build(iRow[0]);
    NodePtr const b = Build(iRow[1]);
    EXPECT_EQ(*a == *b, *b == *a);
    return Row{*a == *b ? "equal" : "different"};
  });
}

TEST(Tables, Drawings)
{
  CheckTable("drawings", 1, [](Row const& iRow) {
    std::string const drawing = Drawing(*Build(iRow[0]));
    EXPECT_TRUE(drawing.ends_with("}\n\n"));
    std::cout << drawing.substr(0, drawing.size() - 1);
    return Row{};
  });
}

TEST(Tables, Labels)
{
  CheckTable("labels", 1, [](Row const& iRow) {
    std::string const drawing = Drawing(*Build(iRow[0]));
    auto const from = drawing.find("\ta");
    std::cout << drawing.substr(from, drawing.find('\n', from) + 1 - from);
    return Row{};
  });
}

TEST(Tables, Operators)
{
  CheckTable("operators", 2, [](Row const& iRow) {
    auto const row = std::find_if(SFOperatorTable.begin(), SFOperatorTable.end(),
                                  [&](SFOperatorRow const& iOne) { return iOne.name == iRow[0]; });
    auto const operands = Numbers(iRow[1]);
    auto const operand = [&](std::size_t i) { return i < operands.size() ? Constant(operands[i]) : nullptr; };
    return Row{Shown(ValueAt(*Op(row->type, operand(0), operand(1)), {}), 14)};
  });
}

TEST(Tables, Values)
{
  CheckTable("values", 2, [](Row const& iRow) { return Row{ValueOf(iRow[0], PointOf(iRow[1]))}; });
}

TEST(Tables, Intervals)
{
  CheckTable("intervals", 1, [](Row const& iRow) { return Row{IntervalOf(iRow[0])}; });
}

TEST(Tables, Derivatives)
{
  CheckTable("derivatives", 2, [](Row const& iRow) {
    NodePtr const root = Build(iRow[0]);
    std::string const before = TextOf(*root);
    NodePtr const derivative = Operator::DifferentiateFunctionTree(root, AxisOf(iRow[1]));
    EXPECT_EQ(TextOf(*root), before);
    return Row{TextOf(*derivative)};
  });
}

TEST(Tables, DerivativeValues)
{
  CheckTable("derivative_values", 3, [](Row const& iRow) {
    NodePtr const derivative = Operator::DifferentiateFunctionTree(Build(iRow[0]), AxisOf(iRow[1]));
    return Row{Shown(ValueAt(*derivative, PointOf(iRow[2])) + 0.0)};
  });
}

TEST(Tables, Gradients)
{
  CheckTable("gradients", 2, [](Row const& iRow) {
    return Row{TextOf(*Operator::BuildGradientTree(Build(iRow[0]), AxisOf(iRow[1]), ZULTolerance()))};
  });
}

TEST(Tables, NumericDerivatives)
{
  CheckTable("numeric_derivatives", 3,
             [](Row const& iRow) { return Row{NumericDerivative(iRow[0], AxisOf(iRow[1]), PointOf(iRow[2]))}; });
}

TEST(Tables, CompiledGradients)
{
  CheckTable("compiled_gradients", 2, [](Row const& iRow) { return Row{CompiledGradient(iRow[0], PointOf(iRow[1]))}; });
}

TEST(Tables, Curvatures)
{
  CheckTable("curvatures", 1, [](Row const& iRow) { return Row{Curvatures(iRow[0])}; });
}

TEST(Tables, Simplifying)
{
  CheckTable("simplifying", 1, [](Row const& iRow) { return Simplified(iRow[0]); });
}

TEST(Tables, Offsets) { CheckTable("offsets", 3, Offset); }

TEST(Tables, OffsetValues)
{
  CheckTable("offset_values", 2, [](Row const& iRow) { return Row{OffsetValue(iRow[0], PointOf(iRow[1]))}; });
}
