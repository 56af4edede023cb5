#include "SFDagFromExpression.h"

#include "ExplicitToSF.h"
#include "SFAffineTransform.h"
#include "SFBlendNode.h"
#include "SFConstant.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFOp.h"
#include "SFOperatorTable.h"
#include "SFVariable.h"
#include "tape/SFLargePages.h"
#include "text/SFBracketText.h"
#include "text/SFHashConsing.h"
#include "text/SFReadingObserver.h"
#include "text/SFTokenQueue.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace SF {
namespace {

using SFDagNodePtr = std::shared_ptr<SFDagNode>;

constexpr char const* Class = "Error in SFDagFromExpression::";

void ReportFailure(char const* iSentence) { Diagnostics::Sentence(std::string(Class) + iSentence); }

/// The line of a node with one operand that has failed.
char const* FailureOf(SFNodeType iType)
{
  switch (iType) {
  case SFNodeType::CYLINDRICALTRANSFORM:
    return "BuildFromExpression, could not create SFCylindricalTransform.";
  case SFNodeType::DISCRETETRANFORM: // under the guided one's name
  case SFNodeType::GCGUIDEDTRANSFORM:
    return "BuildFromExpression, could not create SFGCGuidedTransform.";
  default:
    return "BuildFromExpression, BuildUnaryOpFromExpression failed.";
  }
}

/// The result of reading a node: its number among the canonical nodes. A node whose equality ignores some of its
/// payload, such as the value of a parameter, is made first and gets its number when its parent is complete, because
/// the first one in that order is the one that stays.
struct ReadNode
{
  SFDagNodePtr node;
  SFHashConsing::Operands operands; ///< of `node`
  SFHashConsing::Number number = SFHashConsing::None;

  bool IsNull() const { return node == nullptr && number == SFHashConsing::None; }
};

/// A node under construction: its token has been read, its operands have not all been. As many are open as the text is
/// deep, so what most of them do not need is kept apart.
struct OpenNode
{
  OpenNode(SFNodeType iType, int iRank, bool iHasDetails) : type(iType), rank(iRank), hasDetails(iHasDetails) {}

  SFNodeType type;
  int rank; ///< the running counter, as the right operand gets it; then as the left one has left it
  SFHashConsing::Number lhs = SFHashConsing::None; ///< of the left operand, where it has one
  bool leftRead = false;
  bool hasDetails;
};

/// What only some open nodes have.
struct OpenDetails
{
  SFToken token;
  SFDagNodePtr node; ///< a transform or an offset, which is made before its operand is read
  ReadNode lhs;      ///< a left operand that has no number yet
};

/// Builds one graph: the reading is recursive by nature, but runs on a stack of open nodes, so that a text of
/// any depth is safe.
class Builder
{
public:
  /// The resolver and the observer may be null.
  Builder(std::string const& iExpression, SFResourceResolver* iResolver, SFNodeEquality iEquality,
          SFReadingObserver* iObserver = nullptr)
    : _lexer(iExpression), _resolver(iResolver), _equality(iEquality), _canonicalNodes(iEquality), _observer(iObserver)
  {
  }

  SFDagNodePtr BuildFromExpression();

private:
  SFToken NextToken();
  void ExpectLeftOperands() const;
  void Made(ReadNode const& iRead, SFToken const& iToken) const;
  ReadNode BuildLeaf(SFToken const& iToken);
  std::string PolyText(SFToken const& iToken) const;
  SFDagNodePtr BuildPoly(SFToken const& iToken);
  std::shared_ptr<ResourceToSF> BuildReference(std::string const& iText);
  SFDagNodePtr BuildParameter(SFToken const& iToken);
  bool OpenNodeWithOperands(SFToken const& iToken);
  void KeepLeft(OpenNode& ioOpen, ReadNode iLhs);
  ReadNode CloseLast(ReadNode iLast);
  ReadNode Close(OpenNode const& iOpen, OpenDetails* ioDetails, ReadNode iLast);
  ReadNode BuildUnaryOpFromExpression(SFNodeType iType, OpenDetails* ioDetails, ReadNode iLhs);
  ReadNode BuildBinaryOpFromExpression(OpenNode const& iOpen, OpenDetails* ioDetails, ReadNode iRhs);
  SFHashConsing::Number DeDuplicate(ReadNode& ioRead);
  SFDagNodePtr MakeAffineTransform(SFToken const& iToken);
  SFDagNodePtr MakeCylindricalTransform(SFToken const& iToken);
  SFDagNodePtr MakeDiscreteTransform(SFToken const& iToken);
  SFDagNodePtr MakeGuidedTransform(SFToken const& iToken);
  bool FillDiscreteTransform(SFDiscreteTransformNode& ioTransform, std::string const& iIds);
  bool FillGuidedTransform(SFGCGuidedTransform& ioTransform, std::string const& iGroups);
  std::optional<std::vector<double>> ReadBracketList(SFToken const& iToken);

  SFLexer _lexer;
  SFResourceResolver* _resolver;
  SFNodeEquality _equality;
  SFHashConsing _canonicalNodes;
  SFTokenQueue _tokens{_lexer, _canonicalNodes};
  SFBracketFinder _brackets{_lexer};
  SFReadingObserver* _observer;
  std::vector<OpenNode, SFLargePages<OpenNode>> _openNodes;
  std::vector<OpenDetails> _details; ///< of those open nodes that have any, in their order
  int _rank = -1;                    ///< the running rank counter
};

/// Whether operands follow a token; NONE and the kinds without a token have none.
bool HasOperands(SFNodeType iType) { return OperatorRow(iType).arity > 0; }

bool HasRightOperand(SFNodeType iType) { return OperatorRow(iType).arity == 2; }

SFDagNodePtr Builder::BuildFromExpression()
{
  for (;;) {
    SFToken const token = NextToken();
    ReadNode read;
    if (HasOperands(token.type)) {
      if (OpenNodeWithOperands(token))
        continue;
    } else
      read = BuildLeaf(token);

    // The node just read completes those that were waiting for it.
    while (!_openNodes.empty()) {
      OpenNode& open = _openNodes.back();
      if (HasRightOperand(open.type) && !open.leftRead) {
        KeepLeft(open, std::move(read));
        break;
      }
      ExpectLeftOperands();
      read = CloseLast(std::move(read));
    }
    if (_openNodes.empty())
      return read.number != SFHashConsing::None ? _canonicalNodes.At(read.number) : read.node;
  }
}

SFToken Builder::NextToken()
{
  SFToken const token = _tokens.Next();
  if (_observer != nullptr) {
    OpenNode const* const parent = _openNodes.empty() ? nullptr : &_openNodes.back();
    bool const isRight = parent != nullptr && parent->leftRead;
    _observer->OnToken(token, parent != nullptr ? &_details.back().token : nullptr,
                       isRight ? SFOperand::ERhs : SFOperand::ELhs);
  }
  return token;
}

/// Asks for the memory of left operands whose nodes will be closed soon. Those of a long chain were read long ago.
void Builder::ExpectLeftOperands() const
{
  constexpr std::size_t ahead = 8;
  auto const numberOf = [this](std::size_t iAhead) {
    return _openNodes.size() > iAhead ? _openNodes[_openNodes.size() - 1 - iAhead].lhs : SFHashConsing::None;
  };
  if (auto const number = numberOf(2 * ahead); number != SFHashConsing::None)
    _canonicalNodes.ExpectUsers(number);
  if (auto const number = numberOf(ahead); number != SFHashConsing::None)
    _canonicalNodes.ExpectNode(number);
}

void Builder::Made(ReadNode const& iRead, SFToken const& iToken) const
{
  if (_observer != nullptr && iRead.node != nullptr)
    _observer->OnNode(*iRead.node, iToken);
}

// ---- leaves ---------------------------------------------------------------------------------------------------

ReadNode Builder::BuildLeaf(SFToken const& iToken)
{
  ReadNode read;
  int rank = 0;
  switch (iToken.type) {
  case SFNodeType::END:
    read.node = std::make_shared<SFOp>(SFNodeType::END);
    read.node->SetRank(-2);
    return read; // leaves the counter as it is
  case SFNodeType::X:
  case SFNodeType::Y:
  case SFNodeType::Z:
    read.number = _canonicalNodes.CoordinateOf(iToken.type, rank);
    break;
  case SFNodeType::POLY:
    read.node = BuildPoly(iToken);
    break;
  case SFNodeType::UNRESOLVEDREF:
    read.node = BuildReference(_lexer.SubExpression(iToken.start, iToken.end));
    break;
  case SFNodeType::CONSTANT:
    rank = SFTokenQueue::ConstantRank;
    if (_canonicalNodes.IsTellingBits(iToken.value))
      read.number = _canonicalNodes.ConstantOf(iToken.value, rank);
    else
      read.node = std::make_shared<SFConstant>(iToken.value);
    break;
  case SFNodeType::PARAMETER:
    read.node = BuildParameter(iToken);
    rank = SFTokenQueue::ConstantRank;
    break;
  default:
    return {};
  }
  if (read.node != nullptr)
    read.node->SetRank(rank);
  Made(read, iToken);
  if (!read.IsNull())
    _rank = rank + 1;
  return read;
}

/// The id of a resource that is given by number.
std::string Builder::PolyText(SFToken const& iToken) const
{
  std::string const text = _lexer.SubExpression(iToken.start, iToken.end);
  std::size_t const digits = text.find_last_of(" \t\n\v\f\r") + 1;
  if (_equality == SFNodeEquality::EStructural || digits == 0)
    return text;
  return "# " + _lexer.SubExpression(iToken.start + digits, iToken.end + 1);
}

SFDagNodePtr Builder::BuildPoly(SFToken const& iToken)
{
  std::string const text = PolyText(iToken);
  std::shared_ptr<ResourceToSF> resource;
  if (_resolver != nullptr) {
    resource.reset(_resolver->Resolve(text));
    if (resource == nullptr) {
      Diagnostics::NullPointer("BuildFromExpression", "resource");
      return nullptr;
    }
  } else
    resource = std::make_shared<ExplicitToSF>();
  HRESULT const hr = resource->SetExpressionId(text);
  if (Failed(hr)) {
    Diagnostics::FailedCall("BuildFromExpression", hr);
    return nullptr;
  }
  resource->SetTypeTag(SFNodeType::POLY);
  return resource;
}

/// A resource of rank 0 for a reference text, resolved where the resolver can; null, after lines, for a text that
/// no resource accepts.
std::shared_ptr<ResourceToSF> Builder::BuildReference(std::string const& iText)
{
  if (_resolver != nullptr)
    if (std::shared_ptr<ResourceToSF> resource{_resolver->Resolve(iText)}) {
      HRESULT const hr = resource->SetExpressionId(iText);
      if (Failed(hr)) {
        Diagnostics::FailedCall("BuildFromExpression", hr);
        return nullptr;
      }
      resource->SetTypeTag(SFNodeType::RESOLVEDREF);
      resource->SetRank(0);
      return resource;
    }
  auto placeholder = std::make_shared<ResourceToSF>(SFNodeType::UNRESOLVEDREF);
  HRESULT const hr = placeholder->SetExpressionId(iText);
  if (Failed(hr)) {
    Diagnostics::FailedCall("BuildFromExpression", hr);
    return nullptr;
  }
  placeholder->SetRank(0);
  return placeholder;
}

SFDagNodePtr Builder::BuildParameter(SFToken const& iToken)
{
  auto const brackets = _brackets.Find(iToken);
  if (!brackets) {
    ReportFailure("BuildFromExpression, could not create SFVariable.");
    return nullptr;
  }
  auto const [open, close] = *brackets;
  double value = 0.0;
  ReadTokenNumber(_lexer.SubExpression(open + 1, close), value);
  return std::make_shared<SFVariable>(_lexer.SubExpression(iToken.start + 1, open), value);
}

/// The numbers between the brackets of a transform.
std::optional<std::vector<double>> Builder::ReadBracketList(SFToken const& iToken)
{
  auto const brackets = _brackets.Find(iToken);
  if (!brackets)
    return std::nullopt;
  return ReadNumberList(_lexer.SubExpression(brackets->first + 1, brackets->second));
}

// ---- transforms -----------------------------------------------------------------------------------------------

SFDagNodePtr Builder::MakeAffineTransform(SFToken const& iToken)
{
  auto const numbers = ReadBracketList(iToken);
  if (!numbers || (numbers->size() != 12 && numbers->size() != 16))
    return nullptr;
  return std::make_shared<SFAffineTransform>(ZULMathTransformation(numbers->data(), static_cast<int>(numbers->size())));
}

SFDagNodePtr Builder::MakeCylindricalTransform(SFToken const& iToken)
{
  auto const numbers = ReadBracketList(iToken);
  std::array<double, SFCylindricalTransform::ParameterCount> parameters{};
  if (!numbers || numbers->size() != parameters.size()) {
    ReportFailure(FailureOf(iToken.type));
    return nullptr;
  }
  std::copy(numbers->begin(), numbers->end(), parameters.begin());
  return std::make_shared<SFCylindricalTransform>(parameters);
}

SFDagNodePtr Builder::MakeDiscreteTransform(SFToken const& iToken)
{
  _rank = 0;
  auto const brackets = _brackets.Find(iToken);
  std::string const ids = brackets ? _lexer.SubExpression(brackets->first + 1, brackets->second) : std::string();
  // Also what a list without its brackets fails with: no separator lies before a bracket that is not there.
  if (ids.find(';') == std::string::npos) {
    Diagnostics::NotSatisfied("BuildFromExpression", "comaAt < leftAccAt");
    return nullptr;
  }
  auto transform = std::make_shared<SFDiscreteTransformNode>();
  return FillDiscreteTransform(*transform, ids) ? transform : nullptr;
}

bool Builder::FillDiscreteTransform(SFDiscreteTransformNode& ioTransform, std::string const& iIds)
{
  std::size_t const separator = iIds.find(';');
  for (std::string const& id : {iIds.substr(0, separator), iIds.substr(separator + 1)}) {
    auto resource = BuildReference(id);
    if (resource == nullptr)
      return false;
    ioTransform.SetResource(std::move(resource));
  }
  return true;
}

SFDagNodePtr Builder::MakeGuidedTransform(SFToken const& iToken)
{
  auto const brackets = _brackets.Find(iToken);
  if (!brackets) {
    ReportFailure(FailureOf(iToken.type));
    return nullptr;
  }
  auto transform = std::make_shared<SFGCGuidedTransform>();
  return FillGuidedTransform(*transform, _lexer.SubExpression(brackets->first + 1, brackets->second)) ? transform
                                                                                                      : nullptr;
}

bool Builder::FillGuidedTransform(SFGCGuidedTransform& ioTransform, std::string const& iGroups)
{
  std::vector<std::vector<std::string_view>> groups;
  if (!ReadIdGroups(iGroups, groups)) {
    Diagnostics::NotSatisfied("BuildFromExpression", "righAccAt < comaAt");
    return false;
  }
  for (auto const& ids : groups) {
    ioTransform.AddCrossSection();
    for (std::string_view const id : ids) {
      auto wire = BuildReference(std::string(id));
      if (wire == nullptr)
        return false;
      ioTransform.AddWireToCrossSection(ioTransform.GetCrossSectionCount() - 1, std::move(wire));
    }
  }
  return true;
}

// ---- nodes with operands --------------------------------------------------------------------------------------

/// False when the node fails before its operands are read; its lines have then been written.
bool Builder::OpenNodeWithOperands(SFToken const& iToken)
{
  if (IsOperator(iToken.type) && _observer == nullptr) {
    _openNodes.emplace_back(iToken.type, _rank, false);
    return true;
  }
  OpenNode open(iToken.type, _rank, true);
  OpenDetails details;
  details.token = iToken;
  switch (iToken.type) {
  case SFNodeType::AFFINETRANSFORM:
    details.node = MakeAffineTransform(iToken);
    break;
  case SFNodeType::CYLINDRICALTRANSFORM:
    details.node = MakeCylindricalTransform(iToken);
    break;
  case SFNodeType::DISCRETETRANFORM:
    details.node = MakeDiscreteTransform(iToken);
    break;
  case SFNodeType::GCGUIDEDTRANSFORM:
    details.node = MakeGuidedTransform(iToken);
    break;
  case SFNodeType::BLEND:
  case SFNodeType::OFFSET:
    // A number that cannot be read leaves the lexer on the letter: the node would be its own operand for ever.
    if (iToken.end == iToken.start) {
      Close(open, &details, {});
      return false;
    }
    if (iToken.type == SFNodeType::OFFSET)
      details.node = std::make_shared<SFDagOffset>(nullptr, iToken.value);
    break;
  default:
    break;
  }
  if (FamilyOf(iToken.type) == SFNodeFamily::Transform && details.node == nullptr)
    return false;
  _openNodes.push_back(open);
  _details.push_back(std::move(details));
  return true;
}

/// The left operand of the innermost open node has been read.
void Builder::KeepLeft(OpenNode& ioOpen, ReadNode iLhs)
{
  ioOpen.leftRead = true;
  std::swap(ioOpen.rank, _rank);
  ioOpen.lhs = iLhs.number;
  if (iLhs.node == nullptr)
    return;
  if (!ioOpen.hasDetails) {
    ioOpen.hasDetails = true;
    _details.emplace_back();
  }
  _details.back().lhs = std::move(iLhs);
}

/// The node of the innermost open one, which is no longer open then.
ReadNode Builder::CloseLast(ReadNode iLast)
{
  OpenNode const& open = _openNodes.back();
  bool const hasDetails = open.hasDetails;
  ReadNode read = Close(open, hasDetails ? &_details.back() : nullptr, std::move(iLast));
  _openNodes.pop_back();
  if (hasDetails)
    _details.pop_back();
  return read;
}

/// The node of `iOpen`, now that its last operand has been read; null when an operand is.
ReadNode Builder::Close(OpenNode const& iOpen, OpenDetails* ioDetails, ReadNode iLast)
{
  if (HasRightOperand(iOpen.type)) {
    ReadNode binary = BuildBinaryOpFromExpression(iOpen, ioDetails, std::move(iLast));
    if (binary.IsNull())
      ReportFailure("BuildFromExpression, BuildBinaryOpFromExpression failed.");
    return binary;
  }

  ReadNode unary = BuildUnaryOpFromExpression(iOpen.type, ioDetails, std::move(iLast));
  if (unary.IsNull())
    ReportFailure(FailureOf(iOpen.type));
  return unary;
}

/// The number of an operand as its parent gets it.
SFHashConsing::Number Builder::DeDuplicate(ReadNode& ioRead)
{
  if (ioRead.number == SFHashConsing::None) {
    SFDagNodePtr const own = ioRead.node;
    ioRead.number = _canonicalNodes.DeDuplicate(ioRead.node, ioRead.operands);
    if (_observer != nullptr && own != ioRead.node)
      _observer->OnMerged(*own, *ioRead.node);
  }
  return ioRead.number;
}

ReadNode Builder::BuildUnaryOpFromExpression(SFNodeType iType, OpenDetails* ioDetails, ReadNode iLhs)
{
  if (iLhs.IsNull()) {
    ReportFailure("BuildUnaryOpFromExpression, could not create lhs.");
    return {};
  }
  ReadNode read;
  read.operands = SFHashConsing::Operands(DeDuplicate(iLhs));
  int const rank = _rank++;
  if (ioDetails == nullptr || ioDetails->node == nullptr)
    read.number = _canonicalNodes.OperatorOver(read.operands, iType, rank);
  else {
    read.node = std::move(ioDetails->node);
    read.node->SetLhs(_canonicalNodes.At(read.operands.Lhs()));
    read.node->SetRank(rank);
    Made(read, ioDetails->token);
  }
  return read;
}

/// Reports under the unary builder's name, like its twin.
ReadNode Builder::BuildBinaryOpFromExpression(OpenNode const& iOpen, OpenDetails* ioDetails, ReadNode iRhs)
{
  bool const hasLhs = iOpen.lhs != SFHashConsing::None || (ioDetails != nullptr && !ioDetails->lhs.IsNull());
  if (!hasLhs)
    ReportFailure("BuildUnaryOpFromExpression, could not create lhs.");
  if (iRhs.IsNull())
    ReportFailure("BuildUnaryOpFromExpression, could not create rhs.");
  if (!hasLhs || iRhs.IsNull())
    return {};
  ReadNode read;
  SFHashConsing::Number const lhs = iOpen.lhs != SFHashConsing::None ? iOpen.lhs : DeDuplicate(ioDetails->lhs);
  read.operands = SFHashConsing::Operands(lhs, DeDuplicate(iRhs));
  int const rank = std::max(iOpen.rank, _rank);
  _rank = rank + 1;
  if (iOpen.type != SFNodeType::BLEND)
    read.number = _canonicalNodes.OperatorOver(read.operands, iOpen.type, rank);
  else {
    SFOp op(iOpen.type, _canonicalNodes.At(read.operands.Lhs()), _canonicalNodes.At(read.operands.Rhs()));
    op.SetRank(rank);
    read.node = std::make_shared<SFBlendNode>(op, ioDetails->token.value);
    Made(read, ioDetails->token);
  }
  return read;
}

} // namespace

SFDagNodePtr SFDagFromExpression::BuildFromExpression(std::string const& iExpression, SFResourceResolver* iResolver)
{
  return BuildFromExpression(iExpression, iResolver, SFNodeEquality::EStructural);
}

SFDagNodePtr SFDagFromExpression::BuildFromExpression(std::string const& iExpression, SFResourceResolver* iResolver,
                                                      SFNodeEquality iEquality)
{
  SFDagNodePtr root = Builder(iExpression, iResolver, iEquality).BuildFromExpression();
  if (root == nullptr)
    Diagnostics::Sentence("Error in SFDagBuilder::BuildFromExpression, BuildFromExpression(lexer, rank, "
                          "existingNodes) failed.");
  return root;
}

SFDagNodePtr ReadObserved(std::string const& iExpression, SFReadingObserver& ioObserver)
{
  SFSilence const silence;
  return Builder(iExpression, nullptr, SFNodeEquality::EStructural, &ioObserver).BuildFromExpression();
}

} // namespace SF
