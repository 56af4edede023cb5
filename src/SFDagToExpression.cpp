#include "SFDagToExpression.h"

#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFOperatorTable.h"
#include "graph/SFDagTraversal.h"
#include "offset/SFTextRoundTrip.h"
#include "text/SFNodePayload.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

namespace SF {
namespace {

/// How a number is appended.
using Digits = HRESULT (*)(double, std::string&);

Digits DigitsOf(SFDigits iDigits) { return iDigits == SFDigits::ESix ? AppendSFNumber : AppendSFNumberInFull; }

/// Appends the texts of numbers, joined by ";".
HRESULT AppendNumbers(std::span<double const> iNumbers, Digits iDigits, std::string& ioText)
{
  for (std::size_t i = 0; i < iNumbers.size(); ++i) {
    if (i > 0)
      ioText += ';';
    HRESULT const hr = iDigits(iNumbers[i], ioText);
    if (Failed(hr))
      return hr;
  }
  return S_OK;
}

HRESULT AppendConstant(SFDagNode const& iNode, Digits iDigits, std::string& ioText)
{
  double value = 0.0;
  HRESULT const hr = iNode.GetConstant(value);
  return Failed(hr) ? hr : AppendNumbers({&value, 1}, iDigits, ioText);
}

HRESULT AppendGroups(SFGCGuidedTransform const& iTransform, std::string& ioText)
{
  for (std::size_t section = 0; section < iTransform.GetCrossSectionCount(); ++section) {
    ioText += '[';
    for (std::size_t i = 0; i < iTransform.GetWireCount(section); ++i) {
      auto const wire = iTransform.GetWire(section, i);
      if (wire == nullptr)
        return E_FAIL;
      ioText.append(i > 0 ? ";" : "").append(wire->GetExpressionId());
    }
    ioText += ']';
  }
  return S_OK;
}

/// E_FAIL for a node that only claims to be of its kind.
HRESULT AppendParameters(SFDagNode const& iNode, Digits iDigits, std::string& ioText)
{
  SFNodeNumbers const numbers(iNode);
  return numbers.begin() != numbers.end() ? AppendNumbers({numbers.begin(), numbers.end()}, iDigits, ioText) : E_FAIL;
}

/// Appends the token of a transform, which ends at the closing bracket of its list. A discrete transform is complete.
HRESULT AppendTransform(SFDagNode const& iNode, Digits iDigits, std::string& ioText)
{
  ioText.append(1, OperatorRow(iNode.GetTypeTag()).token).append(1, '[');
  HRESULT hr = E_FAIL; // for a node that only claims to be of its kind
  switch (iNode.GetTypeTag()) {
  case SFNodeType::GCGUIDEDTRANSFORM:
    if (auto const* const guided = NodeAs<SFGCGuidedTransform>(iNode))
      hr = AppendGroups(*guided, ioText);
    break;
  case SFNodeType::DISCRETETRANFORM:
    if (auto const* const discrete = NodeAs<SFDiscreteTransformNode>(iNode)) {
      ioText.append(discrete->GetFirstResource()->GetExpressionId());
      ioText.append(1, ';').append(discrete->GetSecondResource()->GetExpressionId());
      hr = S_OK;
    }
    break;
  default:
    hr = AppendParameters(iNode, iDigits, ioText);
  }
  ioText += ']';
  return hr;
}

bool IsIncomplete(SFDagNode const& iNode)
{
  if (iNode.GetTypeTag() != SFNodeType::DISCRETETRANFORM)
    return false;
  auto const* const discrete = NodeAs<SFDiscreteTransformNode>(iNode);
  return discrete != nullptr && !discrete->IsComplete();
}

/// Appends the token of a node, payload included; nothing for a kind without a token. The text may have grown when
/// that fails.
HRESULT AppendToken(SFDagNode const& iNode, Digits iDigits, std::string& ioText)
{
  SFNodeType const type = iNode.GetTypeTag();
  char const letter = OperatorRow(type).token;
  if (FamilyOf(type) == SFNodeFamily::Transform)
    return AppendTransform(iNode, iDigits, ioText);
  switch (type) {
  case SFNodeType::END:
    return S_OK;
  case SFNodeType::POLY:
  case SFNodeType::UNRESOLVEDREF:
  case SFNodeType::RESOLVEDREF:
    ioText += iNode.GetExpressionId();
    return S_OK;
  case SFNodeType::CONSTANT:
  case SFNodeType::OFFSET:
    ioText += letter;
    return AppendConstant(iNode, iDigits, ioText);
  case SFNodeType::PARAMETER: {
    ioText.append(1, letter).append(iNode.GetExpressionId()).append(1, '[');
    HRESULT const hr = AppendConstant(iNode, iDigits, ioText);
    ioText += ']';
    return hr;
  }
  case SFNodeType::BLEND:
    ioText += letter;
    return AppendParameters(iNode, iDigits, ioText);
  default:
    if (letter != 0)
      ioText += letter;
    return S_OK;
  }
}

/// The kinds that write nothing also write no blank.
bool HasToken(SFNodeType iType)
{
  return iType == SFNodeType::RESOLVEDREF || (iType != SFNodeType::END && OperatorRow(iType).token != 0);
}

/// How many characters a graph would add to a text; no more than one beyond `iLimit` are counted.
std::size_t TextLength(SFDagNode const& iRoot, Digits iDigits, std::size_t iLimit)
{
  SFNodeMarks index;
  std::vector<std::size_t> lengths;
  std::string token;
  for (SFDagNode const* const node : PostOrder(iRoot, SFReach::Operands)) {
    SFNodeType const type = node->GetTypeTag();
    token.clear();
    bool const isWritten = HasToken(type) && !IsIncomplete(*node) && Succeeded(AppendToken(*node, iDigits, token));
    std::size_t length = isWritten ? token.size() + 1 : 0;
    for (int i = 0; i < OperatorRow(type).arity; ++i)
      if (SFDagNode const* const operand = ChildOf(*node, i, SFReach::Operands))
        length = std::min(iLimit + 1, length + lengths[index.Find(operand)]);
    index.Insert(node);
    lengths.push_back(length);
  }
  return lengths.back();
}

struct Frame
{
  explicit Frame(SFDagNode const& iNode) : node(&iNode) {}
  SFDagNode const* node;
  int operandsEntered = -1; ///< -1 before the node's own token is written
};

/// Renews the slots of nodes as RenewEvaluationContext does, but while the nodes are written: over a large graph a visit
/// of its own to each of them takes a third of the time. The paths to a node are then the times that it is written.
class SlotRenewal
{
public:
  /// A node is about to be written. False where the two would part: what is written may then not be all that is renewed.
  bool Meet(SFDagNode const& iNode)
  {
    auto const [number, isNew] = _met.Insert(&iNode);
    if (isNew) {
      if (!IsAllWritten(iNode))
        return false;
      iNode.ReserveEvaluationContexts(SFEvaluationContext(0));
      iNode.GetContextInfos(0) = {};
    }
    if (_written.size() <= SFDagNode::MaxSlotsPerContext) { // with more than that, one slot a node is all
      _written.push_back(number);
      if (isNew)
        _nodes.push_back(&iNode);
    }
    return true;
  }

  /// All have been written: opens the slots that some have beside the first.
  void Finish() const
  {
    if (_written.size() > SFDagNode::MaxSlotsPerContext)
      return;
    std::vector<int> last(_nodes.size(), -1);
    for (std::uint32_t const number : _written)
      ++last[number];
    for (std::size_t i = 0; i < _nodes.size(); ++i)
      _nodes[i]->ReserveEvaluationContexts(SFEvaluationContext(last[i]));
  }

private:
  /// Whether no more belongs to a node than is written, and no slots are there that would have to go.
  static bool IsAllWritten(SFDagNode const& iNode)
  {
    int const arity = OperatorRow(iNode.GetTypeTag()).arity;
    return iNode.GetContextCount() <= 1 && (arity > 1 || iNode.GetRhs() == nullptr) &&
           (arity > 0 || iNode.GetLhs() == nullptr) && ClassOf(iNode) == SFNodeClass::Plain;
  }

  SFNodeMarks _met;
  std::vector<std::uint32_t> _written;  ///< numbers of nodes
  std::vector<SFDagNode const*> _nodes; ///< by their numbers
};

class Writer
{
public:
  /// With `ioChecked` only checks: no text is kept, and a node is entered at the first of its parents alone.
  Writer(SFSWContext const& iContext, SFExportContext const& iExport, SFDagNode const& iRoot, Digits iDigits,
         std::string& ioText, SFNodeMarks* ioChecked = nullptr, SlotRenewal* ioRenewal = nullptr)
    : _context(iContext), _export(iExport), _root(iRoot), _digits(iDigits), _start(ioText.size()), _text(ioText),
      _checked(ioChecked), _renewal(ioRenewal)
  {
  }

  HRESULT Step(Frame& ioFrame, SFDagNode const*& oNext)
  {
    SFDagNode const& node = *ioFrame.node;
    if (ioFrame.operandsEntered < 0) {
      PrefetchOperands(node);
      HRESULT const hr = WriteToken(node);
      if (Failed(hr))
        return hr;
      ioFrame.operandsEntered = 0;
    }
    while (ioFrame.operandsEntered < ArityOf(node)) {
      bool const left = ioFrame.operandsEntered++ == 0;
      SFDagNode const* const operand = (left ? node.GetLhs() : node.GetRhs()).get();
      if (operand == nullptr) {
        Diagnostics::Sentence(left
                                  ? "Error in SFDagToExpression::ExportUnaryOpGraph, lhs is null which is unexpected!"
                                  : "Error in SFDagToExpression::ExportUnaryOpGraph, rhs is null which is unexpected!");
        Diagnostics::FailedCall("Export", E_FAIL);
        return E_FAIL;
      }
      if (_checked != nullptr && !_checked->Insert(operand).second)
        continue;
      if (ArityOf(*operand) > 0) {
        oNext = operand;
        return S_OK;
      }
      // A leaf needs no frame of its own.
      HRESULT const hr = WriteToken(*operand);
      if (Failed(hr))
        return Unwind(ioFrame, hr);
      MarkAsWritten(*operand);
    }
    MarkAsWritten(node);
    return S_OK;
  }

  HRESULT Unwind(Frame& ioFrame, HRESULT iCode)
  {
    if (OperatorRow(ioFrame.node->GetTypeTag()).arity == 1)
      Diagnostics::FailedCall("ExportUnaryOpGraph", iCode);
    else
      Diagnostics::FailedCall("ExportBinaryOpGraph", iCode);
    Diagnostics::FailedCall("Export", iCode);
    return iCode;
  }

private:
  static int ArityOf(SFDagNode const& iNode) { return OperatorRow(iNode.GetTypeTag()).arity; }

  void MarkAsWritten(SFDagNode const& iNode)
  {
    if (_checked != nullptr)
      return;
    if (iNode.GetContextCount() <= static_cast<std::size_t>(_export.GetIndex()))
      iNode.ReserveEvaluationContexts(_export);
    iNode.GetContextInfos(_export.GetIndex()).state = SFDagNode::ECacheDone;
  }

  HRESULT WriteToken(SFDagNode const& iNode)
  {
    if (_renewal != nullptr && !_renewal->Meet(iNode))
      return E_FAIL;
    if (_context.IsSemanticSupported(iNode.GetTypeTag()) != SFSemanticSupportStatus::ESupported) {
      Diagnostics::NotSatisfied("Export", "this->GetContext().IsSemanticSupported(iDagNode.GetTypeTag()) == "
                                          "SFSemanticSupportStatus::ESupported");
      return E_FAIL;
    }
    if (IsIncomplete(iNode)) {
      Diagnostics::Problem("Export", "We can't export an incomplete DiscreteTransform node.");
      return E_FAIL;
    }
    std::size_t const before = _text.size();
    HRESULT const hr = AppendWithBlank(iNode);
    if (Succeeded(hr) && _checked == nullptr && HasToken(iNode.GetTypeTag()))
      return hr;
    _text.resize(before);
    if (Failed(hr))
      Diagnostics::FailedCall("Export", hr);
    return hr;
  }

  HRESULT AppendWithBlank(SFDagNode const& iNode)
  {
    SFOperatorRow const& row = OperatorRow(iNode.GetTypeTag());
    HRESULT hr = S_OK;
    if (row.family == SFNodeFamily::Operator || row.family == SFNodeFamily::Coordinate) {
      char const token[] = {' ', row.token};
      _text.append(token, sizeof token);
    } else {
      _text += ' ';
      hr = AppendToken(iNode, _digits, _text);
    }
    bool const isTooLong =
        Succeeded(hr) && (_text.size() > SFDagToExpression::MaxLength || (IsRepetitive(iNode) && IsTooLong()));
    return isTooLong ? E_FAIL : hr;
  }

  /// Whether the text so far has become long by writing the same nodes again and again; asked once for each token,
  /// says so once. There may be no end to such a text, and counting its characters costs less than it has cost.
  bool IsRepetitive(SFDagNode const& iNode)
  {
    constexpr std::size_t longEnough = 100000;
    constexpr std::size_t often = 8;
    auto const index = static_cast<std::size_t>(_export.GetIndex());
    bool const isNew =
        iNode.GetContextCount() <= index || iNode.GetContextInfos(_export.GetIndex()).state != SFDagNode::ECacheDone;
    _newNodes += isNew ? 1 : 0;
    if (_checked != nullptr || _hasCounted || ++_tokens < longEnough || _tokens < often * _newNodes)
      return false;
    _hasCounted = true;
    return true;
  }

  bool IsTooLong() const
  {
    std::size_t const room = SFDagToExpression::MaxLength - std::min(_start, SFDagToExpression::MaxLength);
    return TextLength(_root, _digits, room) > room;
  }

  SFSWContext const& _context;
  SFExportContext const& _export;
  SFDagNode const& _root;
  Digits _digits;
  std::size_t _start; ///< where the text of the root starts
  std::size_t _tokens = 0;
  std::size_t _newNodes = 0; ///< tokens of nodes that had none before
  bool _hasCounted = false;
  std::string& _text;
  SFNodeMarks* _checked;
  SlotRenewal* _renewal;
};

} // namespace

SFDagToExpression::~SFDagToExpression() = default;

namespace {

HRESULT AppendGraph(SFSWContext const& iContext, SFExportContext const& iExport, SFDagNode const& iDagNode,
                    Digits iDigits, std::string& ioExpression, SlotRenewal* ioRenewal = nullptr)
{
  Writer writer(iContext, iExport, iDagNode, iDigits, ioExpression, nullptr, ioRenewal);
  return SFDagWalk<Frame>().Run(writer, iDagNode);
}

/// Renews the slots of a graph and appends its text, in one visit to each node where that does the same. What fails is
/// done again in two, for its lines and for the slots that it leaves.
HRESULT AppendRenewed(SFSWContext const& iContext, SFDagNode const& iDagNode, bool iExportFlag, Digits iDigits,
                      std::string& ioExpression)
{
  std::size_t const before = ioExpression.size();
  {
    SFSilence const silence;
    SlotRenewal renewal;
    SFExportContext const first(SFEvaluationContext(0), iExportFlag);
    if (Succeeded(AppendGraph(iContext, first, iDagNode, iDigits, ioExpression, &renewal))) {
      renewal.Finish();
      return S_OK;
    }
  }
  ioExpression.resize(before);
  SFExportContext const context(iDagNode.RenewEvaluationContext(), iExportFlag);
  return AppendGraph(iContext, context, iDagNode, iDigits, ioExpression);
}

} // namespace

HRESULT SFDagToExpression::Export(SFExportContext iContext, SFDagNode const& iDagNode, std::string& ioExpression) const
{
  if (iContext.GetIndex() < 0) // names no slot
    return E_INVALIDARG;
  return AppendGraph(GetContext(), iContext, iDagNode, DigitsOf(SFDigits::ESix), ioExpression);
}

HRESULT SFDagToExpression::Export(SFDagNode const& iDagNode, std::string& oExpression, bool iTerminate,
                                  bool iExportFlag) const
{
  return Export(iDagNode, oExpression, iTerminate, iExportFlag, SFDigits::ESix);
}

HRESULT SFDagToExpression::Export(SFDagNode const& iDagNode, std::string& oExpression, bool iTerminate,
                                  bool iExportFlag, SFDigits iDigits) const
{
  std::string text;
  HRESULT const hr = AppendRenewed(GetContext(), iDagNode, iExportFlag, DigitsOf(iDigits), text);
  if (Failed(hr)) {
    Diagnostics::FailedCall("Export", hr);
    return hr;
  }
  if (text.empty())
    throw std::out_of_range("SFDagToExpression::Export: no token was written");
  text.erase(0, 1); // the blank before the first token
  text += iTerminate ? " $" : " ";
  oExpression = std::move(text);
  return hr;
}

HRESULT CheckExport(SFSWContext const& iContext, SFDagNode const& iRoot)
{
  SFExportContext const unmarked(0);
  std::string text;
  SFNodeMarks checked;
  Writer writer(iContext, unmarked, iRoot, DigitsOf(SFDigits::ESix), text, &checked);
  HRESULT const hr = SFDagWalk<Frame>().Run(writer, iRoot);
  if (Failed(hr))
    Diagnostics::FailedCall("Export", hr);
  return hr;
}

} // namespace SF
