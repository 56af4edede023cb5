#include "HostResource.h"

#include "ExplicitToSF.h"
#include "SFBlendNode.h"

#include <cerrno>
#include <random>

using namespace SF;
using namespace SFTest;
using namespace std::string_literals;

namespace {

std::string In(std::string const& iText) { return "Error in SFDagFromExpression::" + iText; }
std::string const NoLhs = In("BuildUnaryOpFromExpression, could not create lhs.");
std::string const Unary = In("BuildFromExpression, BuildUnaryOpFromExpression failed.");
std::string const Top =
    "Error in SFDagBuilder::BuildFromExpression, BuildFromExpression(lexer, rank, existingNodes) failed.";

std::string const Unit12 = "1;0;0;0;0;1;0;0;0;0;1;0";

double ConstantOf(SFDagNode const& iNode)
{
  double value = NAN;
  iNode.GetConstant(value);
  return value;
}

} // namespace

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

TEST(Builder, MissingOperandsAreEndNodes)
{
  auto const root = Build("+ X");
  EXPECT_EQ(root->GetRhs()->GetTypeTag(), SFNodeType::END);
  EXPECT_EQ(root->GetRhs()->GetRank(), -2);
  EXPECT_EQ(Build("  ")->GetTypeTag(), SFNodeType::END);
  EXPECT_EQ(Build("p r[1]")->GetExpressionId(), " r");
}

TEST(Builder, WritesNumbersOfResourcesUnderExactEquality)
{
  HostResolver resolver;
  auto const root =
      SFDagFromExpression::BuildFromExpression("U #a - # 12 o1 # 3.5e1 X", &resolver, SFNodeEquality::EExact);
  EXPECT_EQ(resolver.asked, (std::vector<std::string>{"#a", "# 12", "# 3.5e1"}));
  EXPECT_EQ(TextOf(*root), "U #a - # 12 o1 # 3.5e1 $"); // which reads as the same graph once more
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

TEST(BuilderResolver, OffersReferencesAndTakesTheirNodes)
{
  HostResolver resolver;
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
  HostResolver resolver;
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

TEST(Builder, LeavesTheErrorNumberAlone)
{
  errno = 42;
  Build("+ # 1e999 X # 7 ");
  EXPECT_EQ(errno, 42);
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
      {many("+ p ", 30000) + "[1]", false}, {Repeated("+ p ", 20) + "[1]", false}, {many("+ p ", 30000), false},
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
  text = Repeated("+ ", static_cast<std::size_t>(half));
  for (int i = 0; i <= half; ++i)
    text += "p" + std::to_string(i) + "[1] ";
  EXPECT_LT(SecondsOf([&] { EXPECT_NE(Build(text), nullptr); }), 5.0);
}
