#include "SFExpressionCheck.h"

#include "SFOperatorTable.h"
#include "SFTextMessages.h"
#include "text/SFNodePayload.h"
#include "text/SFReadingObserver.h"
#include "text/SFTokenCheck.h"
#include "text/SFUtf8.h"

#include <unordered_map>

namespace SF {
namespace {

using enum SFFindingKind;

std::string WhatIsMerged(SFNodeType iType)
{
  switch (FamilyOf(iType)) {
  case SFNodeFamily::Constant:
    return iType == SFNodeType::PARAMETER ? "This parameter is taken for another one of its name, with another value."
                                          : "This zero is taken for one of the other sign.";
  case SFNodeFamily::Transform:
    return "This transform is taken for another one of the same operand, which differs.";
  case SFNodeFamily::Blend:
    return "This blend is taken for another one of the same operands, which differs.";
  case SFNodeFamily::Offset:
    return "This offset is taken for another one of the same operand, by a zero of the other sign.";
  default:
    return "This is taken for another one, which differs.";
  }
}

/// Follows the reader through a text.
class ReadingCheck : public SFReadingObserver
{
public:
  ReadingCheck(std::string const& iText, SFNodeEquality iEquality, SFFindings& ioFindings)
    : _tokens(iText, ioFindings), _equality(iEquality), _findings(ioFindings)
  {
  }

  void OnToken(SFToken const& iToken, SFToken const* iParent, SFOperand iOperand) override
  {
    if (_isStuck)
      return;
    _tokens.Check(iToken);
    _isStuck = iToken.IsStuck();
    if (iToken.type == SFNodeType::END && _missing++ == 0 && iParent != nullptr) {
      _waiting = *iParent;
      _operand = iOperand;
    }
  }

  void OnNode(SFDagNode const& iNode, SFToken const& iToken) override { _tokenOf[&iNode] = iToken; }

  void OnMerged(SFDagNode const& iDropped, SFDagNode const& iKept) override
  {
    if (_equality == SFNodeEquality::EExact || PayloadOf(iDropped) == PayloadOf(iKept))
      return;
    SFToken const& dropped = _tokenOf[&iDropped];
    _findings.Add({EMergedNode, dropped.start, _tokens.OwnLength(dropped), WhatIsMerged(dropped.type), dropped.type,
                   _tokenOf[&iKept].start});
  }

  /// After the reading.
  void CheckEnd(bool iIsRead)
  {
    if (_missing > 0)
      AddMissing();
    else if (iIsRead)
      AddTextAfterEnd();
  }

private:
  void AddMissing();
  void AddTextAfterEnd();

  SFTokenCheck _tokens;
  SFNodeEquality _equality;
  SFFindings& _findings;
  std::unordered_map<SFDagNode const*, SFToken> _tokenOf;
  bool _isStuck = false;
  std::size_t _missing = 0; ///< operands
  SFToken _waiting;         ///< the first token that misses one
  SFOperand _operand = SFOperand::ELhs;
};

void ReadingCheck::AddMissing()
{
  if (_waiting.type == SFNodeType::NONE) {
    _findings.Add({EMissingOperand, 0, _tokens.GetText().size(), "The text holds no expression.", SFNodeType::END,
                   SFTextFinding::Nowhere});
    return;
  }
  std::size_t const length = _tokens.OwnLength(_waiting);
  std::string sentence = QuotedPiece(_tokens.GetText().substr(_waiting.start, length));
  sentence += OperatorRow(_waiting.type).arity == 1 ? " has no operand"
              : _operand == SFOperand::ELhs         ? " has no operands"
                                                    : " has no second operand";
  sentence += _missing == 1 ? ": the text ends before it."
                            : ": the text ends with " + std::to_string(_missing) + " operands missing.";
  _findings.Add({EMissingOperand, _waiting.start, length, std::move(sentence), _waiting.type, SFTextFinding::Nowhere});
}

void ReadingCheck::AddTextAfterEnd()
{
  std::string_view const text = _tokens.GetText();
  auto const firstFrom = [&](std::size_t iFrom) {
    while (iFrom < text.size() && IsWhiteSpace(text[iFrom]))
      ++iFrom;
    return iFrom;
  };
  std::size_t begin = firstFrom(_tokens.GetEnd());
  if (begin < text.size() && text[begin] == OperatorRow(SFNodeType::END).token)
    begin = firstFrom(begin + 1);
  if (begin >= text.size())
    return;
  std::size_t end = text.size();
  while (IsWhiteSpace(text[end - 1]))
    --end;
  _findings.Add({ETextAfterEnd, begin, end - begin,
                 QuotedPiece(text.substr(begin, end - begin)) + " is not read: the expression ends before it.",
                 SFNodeType::NONE, SFTextFinding::Nowhere});
}

/// Whether a text begins as one in UTF-16 or UTF-32 does: with a byte order mark or a character of which some bytes are
/// zero.
bool IsWide(std::string_view iText)
{
  return iText.starts_with("\xff\xfe") || iText.starts_with("\xfe\xff") ||
         (iText.size() >= 2 && (iText[0] == '\0') != (iText[1] == '\0')) ||
         (iText.size() >= 4 && iText.substr(0, 3) == std::string_view("\0\0\0", 3) && iText[3] != '\0');
}

} // namespace

std::vector<SFTextFinding> SFExpressionCheck::Check(std::string const& iExpression, SFNodeEquality iEquality,
                                                    std::size_t iLimit)
{
  SFFindings findings(iLimit);
  if (IsWide(iExpression))
    findings.Add({EEncoding, 0, iExpression.size(),
                  "The text is UTF-16 or UTF-32: an expression is read byte by byte, as ASCII or UTF-8.",
                  SFNodeType::NONE, SFTextFinding::Nowhere});
  else if (iExpression.empty())
    findings.Add({EMissingOperand, 0, 0, "The text is empty.", SFNodeType::NONE, SFTextFinding::Nowhere});
  else {
    ReadingCheck check(iExpression, iEquality, findings);
    bool const isRead = ReadObserved(iExpression, check) != nullptr;
    check.CheckEnd(isRead);
  }
  return findings.Take();
}

std::string SFExpressionCheck::Format(std::vector<SFTextFinding> const& iFindings, std::string const& iName,
                                      std::string_view iExpression)
{
  SFTextMessages warnings(iName, iExpression);
  SFTextMessages notes(iName, iExpression); // about other places, in an order of their own
  std::string lines;
  for (SFTextFinding const& finding : iFindings) {
    lines += warnings.Format(finding.position, finding.length, "warning", finding.sentence);
    if (finding.related != SFTextFinding::Nowhere)
      lines += notes.Format(finding.related, 1, "note", "This is the one that is kept.");
  }
  return lines;
}

} // namespace SF
