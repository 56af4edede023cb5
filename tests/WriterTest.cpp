#include "HostResource.h"
#include "RandomFields.h"

#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFVariable.h"

#include <cstdio>
#include <limits>
#include <random>
#include <stdexcept>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

std::string const Path = "src/SFDagToExpression.cpp";
std::string const AtExport = FailedCall("Export", Path);
std::string const AtUnary = FailedCall("ExportUnaryOpGraph", Path);
std::string const AtBinary = FailedCall("ExportBinaryOpGraph", Path);
std::string const Level = "Error in Export at " + Path +
                          ":N this->GetContext().IsSemanticSupported(iDagNode.GetTypeTag()) == "
                          "SFSemanticSupportStatus::ESupported not satisfied.";
std::string const NoLhs = "Error in SFDagToExpression::ExportUnaryOpGraph, lhs is null which is unexpected!";
std::string const NoRhs = "Error in SFDagToExpression::ExportUnaryOpGraph, rhs is null which is unexpected!";

} // namespace

// Of texts in the writer's own form. What merges whatever its payload has one payload only.
TEST(Writer, TextIsAFixedPoint)
{
  RandomFields random(
      11,
      Vocabulary{OperatorsWithout({}),
                 {"X", "Y", "Z", "f0", "f-2.5", "f1e-05", "f1.23457e+06", "pa[1]", "pradius[2.5]", "#foo", "#bar[1;2]"},
                 {"n[1;2;3;4;5;6;7]", "o0.5", "o-2", "b0.25 X", "m[1;0;0;0.5;0;2;0;0;0;0;1;0;0;0;0;1]"}});
  for (int run = 0; run < 500; ++run) {
    std::string const text = random.Next(run % 9) + " $";
    auto const root = Build(text);
    ASSERT_NE(root, nullptr) << text;
    ASSERT_EQ(TextOf(*root), text);
  }
}

TEST(Writer, NumbersAreChecked)
{
  for (std::string const mark : {" ", ","}) {
    std::string const line = "Error in ToSFString at ProtectedInterfaces/SFTypes.h:N SFString::npos == "
                             "valueAsSFString.find(\"" +
                             mark + "\") not satisfied.";
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(CheckNumberText("1" + mark + "0"), E_FAIL); }), LineList{line});
  }
}

// C's %g is the rule for every double, however its digits are found.
TEST(Writer, NumbersAreThoseOfPrintf)
{
  std::vector<double> numbers{0.0,      HUGE_VAL,          NAN,      1e5,    999999,
                              999998.5, 999999.4999999999, 999999.5, 0.0001, 9.99995e-5};
  for (int digits = 100000; digits < 1000000; digits += 4999) // ties, and their neighbours on both sides
    for (int scale = -5; scale <= 10; ++scale) {
      double const tie = (digits + 0.5) * std::pow(10.0, -scale);
      numbers.insert(numbers.end(), {tie, std::nextafter(tie, 0.0), std::nextafter(tie, 1e300), tie * 2 / 3});
    }
  for (int scale = -330; scale <= 308; ++scale) {
    double const power = std::pow(10.0, scale);
    numbers.insert(numbers.end(), {power, std::nextafter(power, 0.0), std::nextafter(power, 1e300), power * 9.999995});
  }
  std::mt19937_64 random(5);
  for (int i = 0; i < 200000; ++i) {
    numbers.push_back(std::bit_cast<double>(random()));
    numbers.push_back(std::ldexp(static_cast<double>(random() >> 11), -40 - static_cast<int>(random() % 30)));
    numbers.push_back(static_cast<double>(random() % 10000000) / static_cast<double>(1 + random() % 10000));
  }
  std::size_t differences = 0;
  for (double const magnitude : numbers)
    for (double const number : {magnitude, -magnitude}) {
      char expected[32];
      std::snprintf(expected, sizeof expected, "%g", number);
      std::string text;
      bool const isNegativeNaN = std::isnan(number) && std::signbit(number); // of no interest
      if (!isNegativeNaN && (Failed(ToSFString(number, text)) || text != expected) && ++differences < 10)
        ADD_FAILURE() << text << " for " << expected;
    }
  EXPECT_EQ(differences, 0U);
}

TEST(Writer, EndsAndReplacesTheText)
{
  auto const root = Build("+ X * Y f2 $");
  std::string text = "something longer than the result";
  SFDagToExpression writer(Level2());
  EXPECT_EQ(writer.Export(*root, text, false, true), S_OK);
  EXPECT_EQ(text, "+ X * Y f2 ");
  EXPECT_EQ(writer.Export(*root, text, true, false), S_OK);
  EXPECT_EQ(text, "+ X * Y f2 $");
  // The recursive form appends, blank first.
  EXPECT_EQ(writer.Export(SFExportContext(5), *root, text), S_OK);
  EXPECT_EQ(text, "+ X * Y f2 $ + X * Y f2");
  EXPECT_EQ(root->GetContextInfos(5).state, SFDagNode::ECacheDone);
  EXPECT_EQ(writer.Export(SFExportContext(-1), *root, text), E_INVALIDARG);
  EXPECT_EQ(TextOf(*Op(PLUS, root, root)), "+ + X * Y f2 + X * Y f2 $");
}

TEST(Writer, MarksWhatItHasWritten)
{
  auto const root = Op(PLUS, Build("q X"), Op(PLUS, Build("Z"), Op(COS)));
  EXPECT_EQ(TextOf(*root->GetLhs()), "q X $");
  EXPECT_EQ(root->GetLhs()->GetContextInfos(0).state, SFDagNode::ECacheDone);
  EXPECT_EQ(root->GetLhs()->GetLhs()->GetContextInfos(0).state, SFDagNode::ECacheDone);
  Captured const captured;
  EXPECT_EQ(TextOf(*root), "<failed>");
  EXPECT_EQ(root->GetContextInfos(0).state, SFDagNode::ECacheFresh);
  EXPECT_EQ(root->GetLhs()->GetContextInfos(0).state, SFDagNode::ECacheDone);
  EXPECT_EQ(root->GetRhs()->GetLhs()->GetContextInfos(0).state, SFDagNode::ECacheDone);
  EXPECT_EQ(root->GetRhs()->GetContextInfos(0).state, SFDagNode::ECacheFresh);
}

TEST(Writer, ReportsFromTheFailureOutwards)
{
  auto const x = Op(X);
  auto const valueless = FailedCall("Export", Path, E_NOTIMPL);
  auto const valuelessUnary = FailedCall("ExportUnaryOpGraph", Path, E_NOTIMPL);
  // clang-format off
  struct { NodePtr root; int level; HRESULT code; LineList lines; } const cases[] = {
      {Build("pa[1]"), 1, E_FAIL, {Level, AtExport}},
      {Build("+ X q b1 X Y"), 1, E_FAIL, {Level, AtUnary, AtExport, AtBinary, AtExport, AtExport}},
      {Build("o1 X"), 3, E_FAIL, {Level, AtExport}}, {Op(SQUARE), 2, E_FAIL, {NoLhs, AtExport, AtExport}},
      {Op(PLUS), 2, E_FAIL, {NoLhs, AtExport, AtExport}},
      {Op(PLUS, x), 2, E_FAIL, {NoRhs, AtExport, AtExport}},
      {Op(PLUS, Op(SIN)), 2, E_FAIL, {NoLhs, AtExport, AtBinary, AtExport, AtExport}},
      {Op(CONSTANT), 2, E_NOTIMPL, {valueless, valueless}},
      {Op(SIN, Op(PARAMETER)), 2, E_NOTIMPL, {valueless, valuelessUnary, valueless, valueless}},
      {std::make_shared<SFAffineTransform>(ZULMathTransformation()), 2, E_FAIL, {NoLhs, AtExport, AtExport}},
  };
  // clang-format on
  for (auto const& test : cases) {
    SFSWContext const context(static_cast<SFSemanticLevel>(test.level));
    std::string text = "untouched";
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(SFDagToExpression(context).Export(*test.root, text, true, false), test.code); }),
              test.lines);
    EXPECT_EQ(text, "untouched");
  }
}

TEST(Writer, DropsWhatHasNoToken)
{
  auto const gradient = std::make_shared<ResourceGradientToSF>(std::make_shared<HostResource>(), Y);
  EXPECT_EQ(TextOf(*Op(PLUS, gradient, Op(X))), "+ X $");
  EXPECT_EQ(gradient->GetContextInfos(0).state, SFDagNode::ECacheDone);
  for (NodePtr const& root : {NodePtr(gradient), Op(END), Op(NONE), Op(UNDEFINED), Op(RESERVED)}) {
    std::string text = "untouched";
    EXPECT_THROW(SFDagToExpression(Level2()).Export(*root, text, true, false), std::out_of_range);
    EXPECT_EQ(text, "untouched");
  }
}

TEST(Writer, KeepsTheIdsOfResources)
{
  auto const resource = std::make_shared<HostResource>();
  resource->SetExpressionId("x#1");
  EXPECT_EQ(TextOf(*Op(SQUARE, resource)), "q x#1 $");
  EXPECT_EQ(TextOf(SFVariable("a b", -0.5)), "pa b[-0.5] $");
}
