#include "HostResource.h"

#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFVariable.h"

#include <limits>
#include <random>
#include <stdexcept>

using namespace SF;
using namespace SFTest;

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

/// A text in the writer's own form. What merges whatever its payload has one payload only.
std::string RandomText(std::mt19937& ioRandom, int iDepth)
{
  auto const pick = [&ioRandom](std::vector<std::string> const& iChoices) {
    return iChoices[ioRandom() % iChoices.size()] + " ";
  };
  if (iDepth == 0 || ioRandom() % 8 == 0)
    return pick({"X", "Y", "Z", "f0", "f-2.5", "f1e-05", "f1.23457e+06", "pa[1]", "pradius[2.5]", "#foo", "#bar[1;2]"});
  std::string const lhs = RandomText(ioRandom, iDepth - 1);
  if (ioRandom() % 2 == 0)
    return pick({"q", "!", "c", "s", "r", "a", "e", "l", "C", "S", "t", "T", "?", "n[1;2;3;4;5;6;7]", "o0.5", "o-2",
                 "m[1;0;0;0.5;0;2;0;0;0;0;1;0;0;0;0;1]"}) +
           lhs;
  return pick({"+", "-", "*", "/", "^", "U", "I", "D", "\\", "b0.25"}) + lhs + RandomText(ioRandom, iDepth - 1);
}

} // namespace

TEST(Writer, TextIsAFixedPoint)
{
  std::mt19937 random(11);
  for (int run = 0; run < 500; ++run) {
    std::string const text = RandomText(random, run % 9) + "$";
    auto const root = Build(text);
    ASSERT_NE(root, nullptr) << text;
    ASSERT_EQ(TextOf(*root), text);
  }
}

TEST(Writer, NumbersHaveSixDigits)
{
  double const inf = std::numeric_limits<double>::infinity();
  struct
  {
    double value;
    char const* text;
  } const cases[] = {
      {0.5, "0.5"},
      {2, "2"},
      {3.14159265, "3.14159"},
      {1234567, "1.23457e+06"},
      {1e-5, "1e-05"},
      {1e-7, "1e-07"},
      {1e6, "1e+06"},
      {999999.5, "1e+06"},
      {123456, "123456"},
      {-0.0, "-0"},
      {0.123456789, "0.123457"},
      {1e300, "1e+300"},
      {0.0001, "0.0001"},
      {100, "100"},
      {-1.5e-9, "-1.5e-09"},
      {5e-324, "4.94066e-324"},
      {inf, "inf"},
      {-inf, "-inf"},
      {NAN, "nan"},
  };
  for (auto const& test : cases) {
    std::string text = "before";
    EXPECT_EQ(ToSFString(test.value, text), S_OK);
    EXPECT_EQ(text, test.text);
    EXPECT_EQ(TextOf(*Constant(test.value)), std::string("f") + test.text + " $");
  }
  for (auto const& [number, mark] : {std::pair{"1 000", " "}, std::pair{"1,5", ","}})
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(CheckNumberText(number), E_FAIL); }),
              LineList{"Error in ToSFString at ProtectedInterfaces/SFTypes.h:N SFString::npos == "
                       "valueAsSFString.find(\"" +
                       std::string(mark) + "\") not satisfied."});
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
  EXPECT_EQ(TextOf(*Op(SFNodeType::PLUS, root, root)), "+ + X * Y f2 + X * Y f2 $");
}

TEST(Writer, MarksWhatItHasWritten)
{
  auto const root = Op(SFNodeType::PLUS, Build("q X"), Op(SFNodeType::PLUS, Build("Z"), Op(SFNodeType::COS)));
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
  auto const x = Op(SFNodeType::X);
  auto const valueless = FailedCall("Export", Path, E_NOTIMPL);
  auto const valuelessUnary = FailedCall("ExportUnaryOpGraph", Path, E_NOTIMPL);
  struct
  {
    NodePtr root;
    int level;
    HRESULT code;
    LineList lines;
  } const cases[] = {
      {Build("pa[1]"), 1, E_FAIL, {Level, AtExport}},
      {Build("+ X q b1 X Y"), 1, E_FAIL, {Level, AtUnary, AtExport, AtBinary, AtExport, AtExport}},
      {Build("o1 X"), 3, E_FAIL, {Level, AtExport}},
      {Op(SFNodeType::SQUARE), 2, E_FAIL, {NoLhs, AtExport, AtExport}},
      {Op(SFNodeType::PLUS), 2, E_FAIL, {NoLhs, AtExport, AtExport}},
      {Op(SFNodeType::PLUS, x), 2, E_FAIL, {NoRhs, AtExport, AtExport}},
      {Op(SFNodeType::PLUS, Op(SFNodeType::SIN)), 2, E_FAIL, {NoLhs, AtExport, AtBinary, AtExport, AtExport}},
      {Op(SFNodeType::CONSTANT), 2, E_NOTIMPL, {valueless, valueless}},
      {Op(SFNodeType::SIN, Op(SFNodeType::PARAMETER)), 2, E_NOTIMPL, {valueless, valuelessUnary, valueless, valueless}},
      {std::make_shared<SFAffineTransform>(ZULMathTransformation()), 2, E_FAIL, {NoLhs, AtExport, AtExport}},
  };
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
  auto const gradient = std::make_shared<ResourceGradientToSF>(std::make_shared<HostResource>(), SFNodeType::Y);
  EXPECT_EQ(TextOf(*Op(SFNodeType::PLUS, gradient, Op(SFNodeType::X))), "+ X $");
  EXPECT_EQ(gradient->GetContextInfos(0).state, SFDagNode::ECacheDone);
  for (NodePtr const& root : {NodePtr(gradient), Op(SFNodeType::END), Op(SFNodeType::NONE), Op(SFNodeType::UNDEFINED),
                              Op(SFNodeType::RESERVED)}) {
    std::string text = "untouched";
    EXPECT_THROW(SFDagToExpression(Level2()).Export(*root, text, true, false), std::out_of_range);
    EXPECT_EQ(text, "untouched");
  }
}

TEST(Writer, KeepsTheIdsOfResources)
{
  auto const resource = std::make_shared<HostResource>();
  resource->SetExpressionId("x#1");
  EXPECT_EQ(TextOf(*Op(SFNodeType::SQUARE, resource)), "q x#1 $");
  EXPECT_EQ(TextOf(SFVariable("a b", -0.5)), "pa b[-0.5] $");
}
