#include "Support.h"

#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "SFConstant.h"
#include "SFDagOffset.h"
#include "SFDagToGraphViz.h"
#include "SFOp.h"
#include "SFOperatorTable.h"
#include "TetMeshToSF.h"

#include <gtest/gtest.h>
#include <regex>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

using namespace SF;
using namespace SFTest;

namespace {

/// A graph's drawing with the addresses replaced by a, b, c, … in the order in which they appear.
std::string Drawing(SFDagNode const& iNode, bool iExportFlag = false, HRESULT iExpected = S_OK)
{
  std::string graph;
  EXPECT_EQ(SFDagToGraphViz(Level2()).Export(iNode, graph, iExportFlag), iExpected);
  std::map<std::string, char> letters;
  std::string text;
  static std::regex const address("[0-9]{8,}");
  auto from = graph.cbegin();
  for (std::sregex_iterator match(graph.begin(), graph.end(), address), end; match != end; ++match) {
    text.append(from, (*match)[0].first);
    text += letters.try_emplace(match->str(), static_cast<char>('a' + letters.size())).first->second;
    from = (*match)[0].second;
  }
  return text.append(from, graph.cend());
}

std::string const Head = "strict digraph G{\n\tnode [shape= record]\n\tdag->";
std::string const Tail = "}\n\n";

std::string const NoLhs = "Error in SFDagToExpression::ExportUnaryOpGraph, lhs is null which is unexpected!";
std::string const NoRhs = "Error in SFDagToExpression::ExportUnaryOpGraph, rhs is null which is unexpected!";
std::string const UnaryFailed = "Error in SFDagToExpression::ExportUnaryOpGraph, "
                                "SFDagToExpression::ExportGraph(*lhs, ioAccumulator) failed!";
std::string const BinaryLhsFailed = "Error in SFDagToExpression::ExportBinaryOpGraph, "
                                    "SFDagToExpression::ExportGraph(*lhs, ioAccumulator) failed!";
std::string const BinaryRhsFailed = "Error in SFDagToExpression::ExportBinaryOpGraph, "
                                    "SFDagToExpression::ExportGraph(*rhs, ioAccumulator) failed!";

/// A constant that has lost its value.
class Valueless : public SFOp
{
public:
  explicit Valueless(SFNodeType iType) : SFOp(iType) {}
  HRESULT GetConstant(double&) const override { return E_NOTIMPL; }
};

} // namespace

TEST(GraphViz, FailuresStopWhereTheyMay)
{
  NodePtr const x = Op(SFNodeType::X);
  NodePtr const bad = std::make_shared<Valueless>(SFNodeType::CONSTANT);
  NodePtr const hollow = Op(SFNodeType::PLUS, x, nullptr);
  std::string const xLine = "\tb [label =\"<f1> X\"];\n";
  std::string const plus = "a;\n\ta [label = \"<f0> |<f1> + |<f2>\"];\n\ta->";
  std::string const sine = "a;\n\ta [label = \"<f1> sin\"];\n\ta->";
  struct
  {
    NodePtr node;
    bool flag;
    HRESULT code;
    std::string body;
    std::vector<std::string> lines;
  } const cases[] = {
      {bad, false, E_FAIL, "", {}},
      {Op(SFNodeType::SIN), false, E_FAIL, sine, {NoLhs}},
      {Op(SFNodeType::PLUS), false, E_FAIL, plus, {NoLhs}},
      {hollow, false, E_FAIL, plus + "b;\n" + xLine + "\ta:f0->b:f1;\n", {NoRhs}},
      {Op(SFNodeType::PLUS, bad, x), false, E_FAIL, plus, {BinaryLhsFailed}},
      {Op(SFNodeType::PLUS, x, bad), false, E_FAIL, plus + "b;\n" + xLine + "\ta:f0->b:f1;\n", {BinaryRhsFailed}},
      {Op(SFNodeType::SIN, bad), false, S_OK, sine, {UnaryFailed}},
      {Op(SFNodeType::SIN, Op(SFNodeType::PLUS, bad, x)),
       false,
       S_OK,
       sine + "b;\n\tb [label = \"<f0> |<f1> + |<f2>\"];\n\tb->",
       {BinaryLhsFailed, UnaryFailed}},
      // Kinds that are not drawn succeed and leave their edge open.
      {Op(SFNodeType::END), false, S_OK, "", {}},
      {Op(SFNodeType::SIN, Op(SFNodeType::END)), false, S_OK, sine, {}},
      {Op(SFNodeType::PLUS, x, Op(SFNodeType::NONE)),
       false,
       S_OK,
       plus + "b;\n" + xLine + "\ta:f0->b:f1;\n\ta:f2->c:f1;\n",
       {}},
      {Op(SFNodeType{77}), false, S_OK, "", {}},
      {Op(SFNodeType::RESERVED), false, S_OK, "", {}},
      {Op(SFNodeType::RESERVED), true, E_FAIL, "", {}},
  };
  for (auto const& [node, flag, code, body, lines] : cases) {
    Captured const captured;
    EXPECT_EQ(Drawing(*node, flag, code), Head + body + Tail);
    EXPECT_EQ(captured.Lines(), lines);
  }
}

TEST(GraphViz, AMarkedNodeIsDrawnWithoutItsDeclaration)
{
  auto const root = Build("s X $");
  SFExportContext const context(root->GetNewEvaluationContext(), false);
  SFDagToGraphViz const writer(Level2());
  std::string first;
  std::string second;
  std::string const name = writer.Export(context, *root, first);
  EXPECT_EQ(writer.Export(context, *root, second), name);
  std::string const x = std::to_string(reinterpret_cast<std::uintptr_t>(root->GetLhs().get()));
  EXPECT_EQ(second, name + ";\n\t" + name + "->" + x + ";\n");
}

TEST(GraphViz, ADrawingBeyondMeasureIsRefused)
{
  // Two to the fortieth paths; the unary nodes would each swallow the failure.
  NodePtr node = Op(SFNodeType::X);
  for (int i = 0; i < 40; ++i) {
    NodePtr const half = Op(SFNodeType::NOT, node);
    node = Op(SFNodeType::PLUS, half, half);
  }
  Captured const captured;
  std::string graph;
  EXPECT_EQ(SFDagToGraphViz(Level2()).Export(*node, graph, false), E_FAIL);
  EXPECT_LE(graph.size(), SFDagToGraphViz::MaxLength + Tail.size());
  EXPECT_EQ(graph.substr(graph.size() - Tail.size()), Tail);
  auto const lines = captured.Lines();
  ASSERT_GE(lines.size(), 40u);
  EXPECT_EQ(lines.back(), BinaryLhsFailed);
}
