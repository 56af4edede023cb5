#include "offset/SFTextRoundTrip.h"

#include "SFDagFromExpression.h"
#include "SFDagToExpression.h"
#include "SFOperatorTable.h"
#include "graph/SFDagTraversal.h"
#include "graph/SFNodeClasses.h"
#include "text/SFNodePayload.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string_view>
#include <type_traits>
#include <utility>

namespace SF {
namespace {

using NodePtr = SFTextRoundTrip::NodePtr;

// ---- representability -----------------------------------------------------------------------------------------

bool HasOwnReferenceDirection(SFCylindricalTransform const& iCylinder)
{
  auto const same = [](ZULMathVector const& iA, ZULMathVector const& iB) {
    return iA.x == iB.x && iA.y == iB.y && iA.z == iB.z;
  };
  SFCylindricalTransform const fromText(iCylinder.GetParameters());
  auto const& frame = iCylinder.GetFrame();
  auto const& textFrame = fromText.GetFrame();
  return !same(frame.u, textFrame.u) || !same(frame.w, textFrame.w);
}

bool HasOwnSettings(SFDagOffset const& iOffset)
{
  ZULTolerance const* const tolerance = iOffset.GetTolerance();
  return iOffset.GetSides() != SFDagOffset::EOneSided ||
         (tolerance != nullptr && tolerance->GetResolution() != ZULGetDefaultTolerance().GetResolution());
}

/// Whether an id is one token of text, up to the blank behind it.
bool IsReferenceToken(std::string_view iId)
{
  return iId.size() > 1 && iId.front() == '#' && iId.find(' ') == std::string_view::npos;
}

/// Whether a name ends in text where it ends, at the bracket of the value.
bool IsParameterName(std::string_view iName) { return iName.find_first_of(" []") == std::string_view::npos; }

bool IsNodeRepresentable(SFDagNode const& iNode)
{
  switch (FamilyOf(iNode.GetTypeTag())) {
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Resource:
    return false;
  case SFNodeFamily::Coordinate:
  case SFNodeFamily::Operator:
    return true;
  case SFNodeFamily::Reference:
    return IsReferenceToken(iNode.GetExpressionId());
  case SFNodeFamily::Transform:
    if (auto const* const cylinder = NodeAs<SFCylindricalTransform>(iNode); cylinder != nullptr)
      if (HasOwnReferenceDirection(*cylinder))
        return false;
    break;
  case SFNodeFamily::Offset:
    if (auto const* const offset = NodeAs<SFDagOffset>(iNode); offset != nullptr && HasOwnSettings(*offset))
      return false;
    break;
  case SFNodeFamily::Constant:
    if (iNode.GetTypeTag() == SFNodeType::PARAMETER && !IsParameterName(iNode.GetExpressionId()))
      return false;
    break;
  case SFNodeFamily::Blend:
    break;
  }
  SFNodeNumbers const numbers(iNode);
  return std::all_of(numbers.begin(), numbers.end(), [](double iNumber) { return std::isfinite(iNumber); });
}

// ---- reading --------------------------------------------------------------------------------------------------

/// Whether a node has operands that its kind has no place for in text.
bool HasSurplusOperand(SFDagNode const& iNode)
{
  int const arity = OperatorRow(iNode.GetTypeTag()).arity;
  return (arity < 1 && iNode.GetLhs() != nullptr) || (arity < 2 && iNode.GetRhs() != nullptr);
}

/// A transform with resources. Their ids go through the reader, over a text of this node alone.
template <class Transform>
NodePtr ReadWithIds(Transform const& iTransform)
{
  Transform alone(iTransform);
  alone.SetLhs(std::make_shared<SFOp>(SFNodeType::X));
  SFSWContext const context(SFSemanticLevel::ESemanticLevel2);
  SFDagToExpression const writer(context);
  std::string written;
  std::string again;
  if (Failed(writer.Export(alone, written, true, false)))
    return nullptr;
  NodePtr read = SFDagFromExpression::BuildFromExpression(written, nullptr);
  if (read == nullptr || Failed(writer.Export(*read, again, true, false)) || written != again)
    return nullptr;
  read->ResetEvaluationCache();
  return read;
}

} // namespace

SFTextRoundTrip::SFTextRoundTrip(SFDagNode const& iRoot) : _nodes(PostOrder(iRoot, SFReach::Operands)) {}

bool SFTextRoundTrip::IsRepresentable() const
{
  return std::all_of(_nodes.begin(), _nodes.end(), [](SFDagNode const* iNode) { return IsNodeRepresentable(*iNode); });
}

double SFTextRoundTrip::AsText(double iNumber)
{
  auto const [place, isNew] = _asText.try_emplace(std::bit_cast<std::uint64_t>(iNumber), 0.0);
  if (isNew) {
    std::string text;
    ToSFString(iNumber, text);
    ReadSFNumber(text, place->second);
  }
  return place->second;
}

/// A node without its operands and its rank; null for one that only claims to be of its kind.
NodePtr SFTextRoundTrip::ReadNode(SFDagNode const& iNode)
{
  SFNodeType const type = iNode.GetTypeTag();
  auto const number = [&] { return AsText(*SFNodeNumbers(iNode).begin()); };
  switch (FamilyOf(type)) {
  case SFNodeFamily::Coordinate:
  case SFNodeFamily::Operator:
    return std::make_shared<SFOp>(type);
  case SFNodeFamily::Constant:
    if (type == SFNodeType::PARAMETER)
      return std::make_shared<SFVariable>(iNode.GetExpressionId(), number());
    return std::make_shared<SFConstant>(number());
  case SFNodeFamily::Reference: {
    auto reference = std::make_shared<ResourceToSF>(type);
    return Succeeded(reference->SetExpressionId(iNode.GetExpressionId())) ? reference : nullptr;
  }
  case SFNodeFamily::Transform:
    return ReadTransform(iNode);
  case SFNodeFamily::Blend:
    return std::make_shared<SFBlendNode>(SFOp(type), number());
  case SFNodeFamily::Offset:
    return std::make_shared<SFDagOffset>(nullptr, number());
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Resource:
    break;
  }
  return nullptr;
}

NodePtr SFTextRoundTrip::ReadTransform(SFDagNode const& iNode)
{
  auto const read = [this](auto iNumbers) {
    for (double& number : iNumbers)
      number = AsText(number);
    return iNumbers;
  };
  NodePtr transform;
  auto const make = [&]<class Class>(Class const& iTransform) {
    if constexpr (std::is_constructible_v<Class, decltype(iTransform.GetParameters())>)
      transform = std::make_shared<Class>(read(iTransform.GetParameters()));
  };
  if (VisitParameters(iNode, make))
    return transform;
  if (auto const* const guided = NodeAs<SFGCGuidedTransform>(iNode))
    return ReadWithIds(*guided);
  if (auto const* const discrete = NodeAs<SFDiscreteTransformNode>(iNode))
    return ReadWithIds(*discrete);
  return nullptr;
}

/// An operand as its parent gets it.
SFTextRoundTrip::Entry const& SFTextRoundTrip::ReadOperand(NodePtr const& iWritten)
{
  Entry& entry = _entries[_index.Find(iWritten.get())];
  if (entry.number == SFHashConsing::None) {
    NodePtr const own = entry.node;
    entry.number = _canonicalNodes.DeDuplicate(entry.node, entry.operands);
    // The equality of the reader ignores some of these numbers.
    if (own != entry.node) {
      SFNodeNumbers const numbers(*own);
      SFNodeNumbers const others(*entry.node);
      _hasMergedOthers = _hasMergedOthers || !std::equal(numbers.begin(), numbers.end(), others.begin(), others.end());
    }
  }
  return entry;
}

NodePtr SFTextRoundTrip::Read()
{
  _entries.reserve(_nodes.size());
  for (SFDagNode const* const written : _nodes) {
    Entry read;
    read.node = ReadNode(*written);
    NodePtr const& node = read.node;
    int const arity = OperatorRow(written->GetTypeTag()).arity;
    if (node == nullptr || HasSurplusOperand(*written))
      return nullptr;
    // As the reader counts: a leaf has rank 0, or -1 where it is constant, an operator one more than its operands.
    int rank = FamilyOf(written->GetTypeTag()) == SFNodeFamily::Constant ? -1 : 0;
    if (arity > 0) {
      Entry const& lhs = ReadOperand(written->GetLhs());
      node->SetLhs(lhs.node);
      read.operands = SFHashConsing::Operands(lhs.number);
      rank = node->GetLhs()->GetRank() + 1;
    }
    if (arity > 1) {
      Entry const& rhs = ReadOperand(written->GetRhs());
      node->SetRhs(rhs.node);
      read.operands = SFHashConsing::Operands(read.operands.Lhs(), rhs.number);
      rank = std::max(rank, node->GetRhs()->GetRank() + 1);
    }
    if (_hasMergedOthers)
      return nullptr;
    node->SetRank(rank);
    _index.Insert(written);
    _entries.push_back(std::move(read));
  }
  return _entries.back().node;
}

} // namespace SF
