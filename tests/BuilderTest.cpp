#include "HostResource.h"

#include "ExplicitToSF.h"
#include "SFBlendNode.h"

#include <random>
#include <stdexcept>

using namespace SF;
using namespace SFTest;
using namespace std::string_literals;

namespace {

std::string In(std::string const& iText) { return "Error in SFDagFromExpression::" + iText; }
std::string const NoLhs = In("BuildUnaryOpFromExpression, could not create lhs.");
std::string const NoRhs = In("BuildUnaryOpFromExpression, could not create rhs.");
std::string const Unary = In("BuildFromExpression, BuildUnaryOpFromExpression failed.");
std::string const Binary = In("BuildFromExpression, BuildBinaryOpFromExpression failed.");
std::string const NoVariable = In("BuildFromExpression, could not create SFVariable.");
std::string const NoCylinder = In("BuildFromExpression, could not create SFCylindricalTransform.");
std::string const NoGuided = In("BuildFromExpression, could not create SFGCGuidedTransform.");
std::string const Top =
    "Error in SFDagBuilder::BuildFromExpression, BuildFromExpression(lexer, rank, existingNodes) failed.";

std::string const Unit12 = "1;0;0;0;0;1;0;0;0;0;1;0";
std::string const Unit16 = Unit12 + ";0;0;0;1";

class Resolver : public SFResourceResolver
{
public:
  ResourceToSF* Resolve(std::string const& iText) override
  {
    asked.push_back(iText);
    if (iText.find("throw") != std::string::npos)
      throw std::runtime_error(iText);
    return iText.find("none") != std::string::npos || none ? nullptr : new HostResource;
  }
  std::vector<std::string> asked;
  bool none = false;
};

double ConstantOf(SFDagNode const& iNode)
{
  double value = NAN;
  iNode.GetConstant(value);
  return value;
}

} // namespace

TEST(Builder, ReadsTextIntoRankedGraphs)
{
  // clang-format off
  struct { std::string text; std::string canonical; int rank; } const cases[] = {
      {"X", "X", 0}, {" X", "X", 0}, {"X $ Y", "X", 0}, {"+X Y", "+ X Y", 1}, {"x( + u X, Y ) q", "+ X Y", 1},
      {"\0+\x80X\xffY"s, "+ X Y", 1}, {"f2,5 $", "f2.5", -1}, {"f 2.5 $", "f2.5", -1}, {"f2", "f2", -1},
      {"f1e999 ", "f0", -1}, {"+ fz X $", "+ f0 f0", 0}, {"+ f1 f2 ", "+ f1 f2", 0}, {"q X", "q X", 1},
      {"q f1 ", "q f1", 0}, {"+ q X Y", "+ q X Y", 2}, {"+ Y q q X", "+ Y q q X", 3}, {"- q q f1 X", "- q q f1 X", 2},
      // END leaves, which leave no text, take the place of what is missing.
      {"+ X", "+ X", 1}, {"q $", "q", -1}, {"+ $", "+", -1}, {"q + f1 ", "q + f1", 1}, {"+ X q", "+ X q", 1},
      {"m[" + Unit12 + "]", "m[" + Unit16 + "]", -1}, {"pradius[2.5] $", "pradius[2.5]", -1},
      {"pa[ 2,5]", "pa[2.5]", -1}, {"pa[z]", "pa[0]", -1}, {"p[1]", "p[1]", -1}, {"+ p r[1] X", "+ p r[1] r X", 2},
      {"#foo", "#foo", 0}, {"q #", "q #", 1}, {"# 42 X", "# 4", 0}, {"# X", "#", 0},
      {"m[" + Unit12 + "] X", "m[" + Unit16 + "] X", 1}, {"m[" + Unit16 + "] q X", "m[" + Unit16 + "] q X", 2},
      {"m[;x;2,5; 4;;;;;;;;] X", "m[0;0;2.5;4;0;0;0;0;0;0;0;0;0;0;0;1] X", 1},
      {"n[1;2;3;4;5;6;7] X", "n[1;2;3;4;5;6;7] X", 1}, {"o0.5 q X", "o0.5 q X", 2}, {"b1 X q Y", "b1 X q Y", 2},
      {"b-.5 f1 f2 ", "b-0.5 f1 f2", 0},
  };
  // clang-format on
  for (auto const& test : cases) {
    auto const root = Build(test.text);
    ASSERT_NE(root, nullptr) << test.text;
    EXPECT_EQ(TextOf(*root), test.canonical + " $") << test.text;
    EXPECT_EQ(root->GetRank(), test.rank) << test.text;
  }
  auto const root = Build("+ X");
  EXPECT_EQ(root->GetRhs()->GetTypeTag(), SFNodeType::END);
  EXPECT_EQ(root->GetRhs()->GetRank(), -2);
  EXPECT_EQ(Build("  ")->GetTypeTag(), SFNodeType::END);
  EXPECT_EQ(Build("p r[1]")->GetExpressionId(), " r");
}

TEST(Builder, MergesEqualSubExpressions)
{
  // clang-format off
  struct { std::string text; bool merged; } const cases[] = {
      {"+ X X", true}, {"+ q X q X", true}, {"+ + * X Y q Z + * X Y q Z", true}, {"- * X Y * Y X", false},
      {"* f2 f2 ", true}, {"* f2 f-2 ", false}, {"* f0 f-0 ", true}, {"+ pa[1] pa[2]", true},
      {"+ pa[1] pb[1]", false}, {"+ #a #a", true}, {"+ #a #b", false}, {"+ # 1 # 2 ", true}, // both ids are "# "
      {"+ b1 X Y b2 X Y", true}, {"+ b1 X Y b1 Y X", false}, {"+ m[" + Unit12 + "] X m[2" + Unit12 + "] X", true},
      {"+ m[" + Unit12 + "] X m[" + Unit12 + "] Y", false}, {"+ o1 X o1 X", true}, {"+ o1 X o1 Y", false},
      {"+ o1 X o2 X", false}, {"+ n[1;2;3;4;5;6;7] X n[1;2;3;4;5;6;7] X", true},
      {"+ n[1;2;3;4;5;6;7] X n[1;2;3;4;5;6;8] X", false}, {"+ n[1;2;3;4;5;6;7] X n[7;6;5;4;3;2;1] X", true}, // one hash
      {"+ q n[1;2;3;4;5;6;7] X q n[1;2;3;4;5;6;8] X", false},
  };
  // clang-format on
  for (auto const& test : cases) {
    auto const root = Build(test.text);
    EXPECT_EQ(root->GetLhs() == root->GetRhs(), test.merged) << test.text;
  }
  auto const root = Build("+ q X * X q X");
  EXPECT_EQ(root->GetLhs(), root->GetRhs()->GetRhs());
  EXPECT_EQ(root->GetLhs()->GetLhs(), root->GetRhs()->GetLhs());
}

TEST(Builder, KeepsWhatDiffersUnderExactEquality)
{
  // What the structural reading takes for one another.
  std::string const n = "n[1;2;3;4;5;6;7] X ";
  // clang-format off
  std::pair<std::string, std::string> const pairs[] = {
      {"f0 ", "f-0 "}, {"pa[1] ", "pa[2] "}, {"pa[0] ", "pa[-0] "}, {"# 1 ", "# 2 "}, {"# 12 ", "# 13 "},
      {"b1 X Y ", "b2 X Y "}, {"o0 X ", "o-0 X "}, {n, "n[7;6;5;4;3;2;1] X "},
      {"d[#a;#b] X ", "d[#a;#c] X "}, {"d[#a;#bc] X ", "d[#ab;#c] X "},
      {"g[[#a;#b]] X ", "g[[#a][#b]] X "}, {"g[[#a;#b]] X ", "g[[#b;#a]] X "},
      {"m[" + Unit12 + "] X ", "m[" + Unit12 + "1e-300] X "}, {"m[" + Unit12 + "] X ", "m[-" + Unit12 + "] X "},
      {"m[1;0;0;0;0;1;0;0;0;0;1;-0] X ", "m[" + Unit16 + "] X "},
  };
  // clang-format on
  auto const merges = [](std::string const& iLhs, std::string const& iRhs, SFNodeEquality iEquality) {
    auto const root = SFDagFromExpression::BuildFromExpression("+ q " + iLhs + "q " + iRhs, nullptr, iEquality);
    return root->GetLhs() == root->GetRhs();
  };
  for (auto const& [lhs, rhs] : pairs) {
    EXPECT_TRUE(merges(lhs, rhs, SFNodeEquality::EStructural)) << lhs << rhs;
    EXPECT_FALSE(merges(lhs, rhs, SFNodeEquality::EExact)) << lhs << rhs;
    EXPECT_TRUE(merges(rhs, rhs, SFNodeEquality::EExact)) << rhs;
  }
  EXPECT_TRUE(merges("m[" + Unit12 + "] X ", "m[" + Unit16 + "] X ", SFNodeEquality::EExact));
  EXPECT_TRUE(merges("#  7 ", "# 7 ", SFNodeEquality::EExact));

  Resolver resolver;
  auto const root =
      SFDagFromExpression::BuildFromExpression("U #a - # 12 o1 # 3.5e1 X", &resolver, SFNodeEquality::EExact);
  EXPECT_EQ(resolver.asked, (std::vector<std::string>{"#a", "# 12", "# 3.5e1"}));
  EXPECT_EQ(TextOf(*root), "U #a - # 12 o1 # 3.5e1 $"); // which reads as the same graph once more
}

// More nodes over one operand than are kept beside it, and more constants than the first table holds.
TEST(Builder, MergesTheManyUsersOfOneNode)
{
  std::string users;
  for (char const unary : std::string("q!csraelCStT?"))
    users += std::string("+ ") + unary + " X ";
  for (int i = 1; i <= 500; ++i)
    users += "+ * X f" + std::to_string(i) + " + o" + std::to_string(i) + " X ";
  auto const root = Build("- " + users + "X " + users + "X $");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->GetLhs(), root->GetRhs());
  EXPECT_EQ(TextOf(*root), "- " + users + "X " + users + "X $");
}

TEST(Builder, KeepsTheNodeMetFirst)
{
  // A left operand enters the set after the right one has been read.
  EXPECT_EQ(ConstantOf(*Build("+ pa[1] pa[2]")->GetLhs()), 1.0);
  EXPECT_EQ(ConstantOf(*Build("+ pa[1] q pa[2]")->GetLhs()), 2.0);
  EXPECT_EQ(ConstantOf(*Build("+ q pa[1] pa[2]")->GetRhs()), 1.0);
  auto const blends = Build("+ b1 X Y b2 X Y");
  EXPECT_EQ(dynamic_cast<SFBlendNode&>(*blends->GetLhs()).GetBlendParameter(), 1.0);
}

TEST(Builder, ReportsFromTheFailureOutwards)
{
  std::string const n7 = "n[1;2;3;4;5;6;7] ";
  // clang-format off
  struct { std::string text; LineList lines; } const cases[] = {
      {"", {Top}}, {"p", {NoVariable, Top}}, {"pa[1", {NoVariable, Top}}, {"pa1] X", {NoVariable, Top}},
      {"pa]1[2] X", {NoVariable, Top}}, {"m", {Top}}, {"m[" + Unit12 + " X", {Top}}, {"m]" + Unit12 + "[ X", {Top}},
      {"m[" + Unit12 + ";0] X", {Top}}, {"m[" + Unit16 + ";0] X", {Top}}, {"m[] X", {Top}}, {"n", {NoCylinder, Top}},
      {"n[1;2;3;4;5;6] X", {NoCylinder, Top}}, {"n[1;2;3;4;5;6;7;8] X", {NoCylinder, Top}},
      {"n]1;2;3;4;5;6;7[ X", {NoCylinder, Top}}, {"q q p", {NoVariable, NoLhs, Unary, NoLhs, Unary, Top}},
      {"+ p X", {NoVariable, NoLhs, Binary, Top}}, {"+ X p", {NoVariable, NoRhs, Binary, Top}},
      {"+ n p", {NoCylinder, NoVariable, NoLhs, NoRhs, Binary, Top}}, {"b1 m m", {NoLhs, NoRhs, Binary, Top}},
      {"s + q m X", {NoLhs, Unary, NoLhs, Binary, NoLhs, Unary, Top}},
      // Where the operand fails, three of the transforms have a line of their own.
      {n7 + "p", {NoVariable, NoLhs, NoCylinder, Top}}, {"d[#a;#b] p", {NoVariable, NoLhs, NoGuided, Top}},
      {"g[] p", {NoVariable, NoLhs, NoGuided, Top}}, {"m[" + Unit12 + "] p", {NoVariable, NoLhs, Unary, Top}},
      // A number that cannot be read makes these their own operands.
      {"bz X Y", {NoLhs, NoRhs, Binary, Top}}, {"oz X", {NoLhs, Unary, Top}},
      {"q o1e400 X", {NoLhs, Unary, NoLhs, Unary, Top}}, {"b", {NoLhs, NoRhs, Binary, Top}},
  };
  // clang-format on
  for (auto const& test : cases)
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Build(test.text), nullptr); }), test.lines) << test.text;
}

TEST(BuilderResolver, OffersReferencesAndTakesTheirNodes)
{
  Resolver resolver;
  auto const root = Build("+ #a + # 12 U #none #a", &resolver);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(resolver.asked, (std::vector<std::string>{"#a", "# 1", "#none", "#a"}));
  auto const& resolved = *root->GetLhs();
  EXPECT_EQ(resolved.GetTypeTag(), SFNodeType::RESOLVEDREF);
  EXPECT_EQ(resolved.GetExpressionId(), "#a");
  EXPECT_EQ(resolved.GetRank(), 0);
  auto const& number = *root->GetRhs()->GetLhs();
  EXPECT_EQ(number.GetTypeTag(), SFNodeType::POLY);
  EXPECT_EQ(number.GetExpressionId(), "# 1");
  EXPECT_NE(dynamic_cast<HostResource const*>(&number), nullptr);
  auto const& unresolved = *root->GetRhs()->GetRhs()->GetLhs();
  EXPECT_EQ(unresolved.GetTypeTag(), SFNodeType::UNRESOLVEDREF);
  EXPECT_EQ(unresolved.GetExpressionId(), "#none");
  EXPECT_EQ(root->GetRhs()->GetRhs()->GetRhs(), root->GetLhs());
}

TEST(BuilderResolver, MissesAndThrows)
{
  Resolver resolver;
  resolver.none = true;
  LineList const lines{"Error in BuildFromExpression at src/SFDagFromExpression.cpp:N resource is nullptr", NoLhs,
                       Unary, Top};
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(Build("q # 3 ", &resolver), nullptr); }), lines);
  resolver.none = false;
  EXPECT_THROW(Build(Repeated("q ", 100000) + "+ #a #throw", &resolver), std::runtime_error);

  auto const number = Build("# 3 ");
  EXPECT_EQ(number->GetTypeTag(), SFNodeType::POLY);
  EXPECT_NE(dynamic_cast<ExplicitToSF const*>(number.get()), nullptr);
  EXPECT_EQ(Build("#foo")->GetTypeTag(), SFNodeType::UNRESOLVEDREF);
}

// Each of these costs the square of its length, or the machine stack, in a reader without care.
TEST(Builder, LongTextsCostLinearTime)
{
  auto const many = [](std::string const& iText, std::size_t iCount) { return Repeated(iText, Scaled(iCount)); };
  // clang-format off
  struct { std::string text; bool built; } const cases[] = {
      {many("q ", 200000), true}, {many("q", 1000000), true}, {many("+ ", 200000), true},
      {many("+ ", 200000) + "fz", true}, {many("+ fz ", 200000), true}, {many("+ X ", 100000), true},
      {many("m[" + Unit12 + "] ", 30000) + "X", true}, {many("n[1;2;3;4;5;6;7] ", 50000) + "X", true},
      {many("+ pa[1] ", 100000) + "X", true}, {many("p ", 200000) + "[1]", true},
      {many("+ p ", 30000) + "[1]", false}, {many("+ p ", 30000), false},
      {many("+ m ", 30000) + "[1]", false}, {many("+ m[1 ", 30000) + "] X", false},
      {many("+ # ", 100000), true}, {many("+ #a ", 200000) + "X", true}, {many("#", 1000000), true},
      {many(" ", 1000000), true}, {"f" + many("1", 1000000), true},
      {"f" + many(" ", 1000000), true}, {"m[" + many(";", 1000000) + "] X", false},
      {"p" + many("a", 1000000) + "[1]", true}, {many("\0"s, 1000000) + "X", true},
  };
  // clang-format on
  for (auto const& test : cases) {
    Captured const captured;
    EXPECT_EQ(Build(test.text) != nullptr, test.built) << test.text.substr(0, 20);
  }

  // Many different nodes with neighbouring addresses: their hashes must still spread.
  int const half = static_cast<int>(Scaled(50000));
  std::string text = Repeated("+ ", static_cast<std::size_t>(2 * half - 1));
  for (int i = 0; i < 2 * half; ++i)
    text += "* " + std::string(i % 2 == 0 ? "X" : "Y") + " f" + std::to_string(i / 2) + " ";
  EXPECT_EQ(ValueAt(*Build(text), {1.0, 1.0, 0.0}), (half - 1.0) * half);
}

TEST(Builder, AnyBytesGiveAGraphOrItsLine)
{
  std::mt19937 random(7);
  std::string const alphabet = "XYZf1f2fbo#+-*/^UID\\q!csraelCStT?pmndg[];,.0123456789e-$\0\x7f\x80\xff\t\n"s;
  for (int run = 0; run < 20000; ++run) {
    std::string text;
    for (auto length = random() % 24; length > 0; --length)
      text += random() % 3 == 0 ? ' ' : alphabet[random() % alphabet.size()];
    Captured const captured;
    auto const root = Build(text);
    EXPECT_EQ(root == nullptr, captured.Text().find(Top) != std::string::npos) << text;
    SFEvaluationContext context(0);
    if (root != nullptr)
      SFDagEvaluator(Level2()).ComputeScalar(context, *root);
  }
}
