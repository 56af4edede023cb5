/// Any bytes as expression text: they give a graph whose text is a fixed point of reading and writing, or null after
/// a line. Work and memory are bounded by the length of the text, for which libFuzzer's own limits stand.

#include "Harness.h"
#include "Support.h"

#include "SFDagCloner.h"
#include "SFDagFromExpression.h"
#include "SFDagToExpression.h"
#include "SFDagToGraphViz.h"
#include "SFExpressionCheck.h"

#include <optional>
#include <stdexcept>

namespace {

using namespace SFFuzz;

/// Longer inputs find nothing that shorter ones do not, and cost as much as many of them.
constexpr std::size_t LongestInput = 4096;

/// No token of a text is written with more than 14 times its own characters: a 12-number matrix without its numbers
/// gets 16 of them.
constexpr std::size_t MostGrowth = 16;

/// The graph of a text. Null only after a line, or, as for a number that ends with the text, after the standard
/// library's exception.
NodePtr Build(std::string const& iText)
{
  std::size_t const lines = LineCount();
  try {
    NodePtr root = SF::SFDagFromExpression::BuildFromExpression(iText, nullptr);
    Require(root != nullptr || LineCount() > lines, "a text that cannot be read is reported");
    return root;
  } catch (std::out_of_range const&) {
    Require(!iText.empty() && iText.back() != ' ', "only a number at the very end reaches beyond the text");
    return nullptr;
  }
}

/// The text of a graph; none for a root without a token.
std::optional<std::string> TextOf(SF::SFDagNode const& iRoot)
{
  std::string text;
  try {
    HRESULT const hr = SF::SFDagToExpression(Level2()).Export(iRoot, text, true, false);
    Require(Succeeded(hr), "what has been read can be written");
  } catch (std::out_of_range const&) {
    Require(iRoot.GetTypeTag() == SF::SFNodeType::END, "every root but END has a text");
    return std::nullopt;
  }
  return text;
}

void RequireSame(std::string const& iText, std::string const& iExpected, char const* iProperty)
{
  if (iText != iExpected)
    Violated(std::string(iProperty) + "\n  " + Printable(iExpected) + "\n  " + Printable(iText));
}

void CheckLevel1(SF::SFDagNode const& iRoot, bool iHasLevel2, std::string const& iText)
{
  std::string text = "untouched";
  std::size_t const lines = LineCount();
  HRESULT const hr = SF::SFDagToExpression(Level1()).Export(iRoot, text, true, false);
  Require(Failed(hr) == iHasLevel2, "level 1 writes what belongs to level 1");
  Require(Succeeded(hr) || LineCount() > lines, "what cannot be written is reported");
  RequireSame(text, Failed(hr) ? "untouched" : iText, "at level 1");
}

void CheckDrawing(SF::SFDagNode const& iRoot)
{
  for (bool const flag : {false, true}) {
    std::string drawing;
    SF::SFDagToGraphViz(Level2()).Export(iRoot, drawing, flag);
  }
}

/// The graph of a text that has been written.
NodePtr Reread(std::string const& iText)
{
  NodePtr root = Build(iText);
  Require(root != nullptr, "what has been written can be read");
  return root;
}

void CheckFixedPoint(SF::SFDagNode const& iRoot, Facts const& iFacts, std::string const& iText)
{
  if (iFacts.hasBlankInName) {
    Build(iText); // outside of the format: whatever comes, it comes in good order
    return;
  }
  NodePtr const second = Reread(iText);
  std::string const text = TextOf(*second).value();
  // Numbers that text makes equal may make the operands of two transforms one, and the second transform with them.
  if (!iFacts.hasForgetful)
    RequireSame(text, iText, "the text of a graph is a fixed point");
  NodePtr const third = Reread(text);
  RequireSame(TextOf(*third).value(), text, "the text of a text's graph is a fixed point");
  Require(*second == *third, "equal texts give equal graphs");
  Require(second->GetRank() == iRoot.GetRank(), "a graph keeps its rank");
}

/// The same graph under both equalities, as far as texts tell.
void RequireSameReadings(std::string const& iText)
{
  NodePtr const exact = SF::SFDagFromExpression::BuildFromExpression(iText, nullptr, SF::SFNodeEquality::EExact);
  Require(exact != nullptr, "exact equality reads what structural equality reads");
  NodePtr const structural = Build(iText);
  RequireSame(TextOf(*exact).value_or(""), TextOf(*structural).value_or(""), "no findings: both readings are one");
}

void CheckFindings(std::string const& iText)
{
  std::size_t const lines = LineCount();
  auto const findings = SF::SFExpressionCheck::Check(iText);
  std::string const shown = SF::SFExpressionCheck::Format(findings, "t", iText);
  Require(LineCount() == lines, "the check writes no lines");
  Require(findings.empty() == shown.empty(), "each finding is shown");
  for (std::size_t i = 0; i < findings.size(); ++i) {
    auto const& finding = findings[i];
    Require(finding.position <= iText.size() && finding.length <= iText.size() - finding.position,
            "a finding lies within the text");
    Require(i == 0 || findings[i - 1].position <= finding.position, "findings come in the order of the text");
    Require(finding.related == SF::SFTextFinding::Nowhere || finding.related < iText.size(),
            "so does what a finding refers to");
  }
  for (char const character : shown)
    Require(character == '\n' || static_cast<unsigned char>(character) >= ' ', "a terminal obeys no line");
  if (findings.empty())
    RequireSameReadings(iText);
}

void Check(std::string const& iText)
{
  CheckFindings(iText);
  NodePtr root = Build(iText);
  if (root == nullptr)
    return;
  auto const text = TextOf(*root);
  if (!text)
    return;
  Facts const facts = FactsOf(*root);
  Require(text->size() <= MostGrowth * (iText.size() + 4), "a text does not outgrow what it was read from");
  CheckLevel1(*root, facts.hasLevel2, *text);
  CheckDrawing(*root);
  CheckFixedPoint(*root, facts, *text);

  NodePtr const clone = SF::SFDagCloner::Clone(root);
  root.reset();
  RequireSame(TextOf(*clone).value(), *text, "a copy has the text of its original");
}

} // namespace

int TestOneInput(std::uint8_t const* iData, std::size_t iSize)
{
  if (iSize <= LongestInput)
    Check(std::string(iData, iData + iSize));
  return 0;
}
