#include "SFFieldNode.h"

#include "SFOperators.h"

#include <bit>
#include <utility>

namespace SF {
namespace {

constexpr std::uint64_t Mixed(std::uint64_t iValue)
{
  // The finaliser of SplitMix64 (G. L. Steele, D. Lea, C. H. Flood, "Fast splittable pseudorandom number generators", 2014).
  iValue += 0x9e3779b97f4a7c15U;
  iValue = (iValue ^ (iValue >> 30)) * 0xbf58476d1ce4e5b9U;
  iValue = (iValue ^ (iValue >> 27)) * 0x94d049bb133111ebU;
  return iValue ^ (iValue >> 31);
}

std::uint64_t Combined(std::uint64_t iHash, std::uint64_t iMore)
{
  return Mixed(iHash ^ (iMore * 0x9fb21c651e98df25U));
}

std::uint64_t HashOf(std::string const& iText)
{
  std::uint64_t hash = iText.size();
  for (char const character : iText)
    hash = Combined(hash, static_cast<unsigned char>(character));
  return hash;
}

bool HasSameBits(double iA, double iB) { return std::bit_cast<std::uint64_t>(iA) == std::bit_cast<std::uint64_t>(iB); }

} // namespace

SFFieldNode::SFFieldNode(SFNodeType iType, double iValue, Operands iOperands, std::unique_ptr<SFFieldDetail> iDetail)
  : _type(iType), _hashOrNext(0), _value(iValue), _operands(std::move(iOperands)), _detail(std::move(iDetail))
{
  _hashOrNext = ComputeHash();
}

SFFieldNode::~SFFieldNode() { delete _compiled.load(std::memory_order_acquire); }

int SFFieldNode::GetOperandCount() const
{
  int count = 0;
  while (count < MaxOperands && GetOperand(count).Get() != nullptr)
    ++count;
  return count;
}

std::uint64_t SFFieldNode::ComputeHash() const
{
  auto hash = Combined(static_cast<std::uint64_t>(_type), std::bit_cast<std::uint64_t>(_value));
  for (SFFieldNodePtr const& operand : _operands)
    if (operand.Get() != nullptr)
      hash = Combined(hash, operand->GetHash());
  if (_detail != nullptr && _type == SFNodeType::PARAMETER)
    hash = Combined(hash, HashOf(_detail->name));
  if (_detail != nullptr && _detail->resource != nullptr)
    hash = Combined(hash, reinterpret_cast<std::uintptr_t>(_detail->resource.get()));
  return hash;
}

bool SFFieldNode::HasSamePayload(SFFieldNode const& iOther) const
{
  if (_type != iOther._type || !HasSameBits(_value, iOther._value))
    return false;
  if (_type == SFNodeType::PARAMETER)
    return _detail->name == iOther._detail->name;
  bool const isResource = _detail != nullptr && _detail->resource != nullptr;
  return !isResource || _detail->resource == iOther._detail->resource;
}

SFCompiledOnce& SFFieldNode::GetCompiled() const
{
  SFCompiledOnce* compiled = _compiled.load(std::memory_order_acquire);
  if (compiled == nullptr) {
    auto made = std::make_unique<SFCompiledOnce>();
    if (_compiled.compare_exchange_strong(compiled, made.get(), std::memory_order_acq_rel))
      compiled = made.release();
  }
  return *compiled;
}

void SFFieldNode::Destroy(SFFieldNode const* iNode) noexcept
{
  // A field can be as deep as memory allows: nodes that die with others wait in a list, linked through the place of their
  // hash, instead of on the machine stack.
  thread_local SFFieldNode const* waiting = nullptr;
  thread_local bool isDestroying = false;
  iNode->_hashOrNext = reinterpret_cast<std::uintptr_t>(waiting);
  waiting = iNode;
  if (isDestroying)
    return;
  isDestroying = true;
  while (waiting != nullptr) {
    SFFieldNode const* const node = waiting;
    waiting = reinterpret_cast<SFFieldNode const*>(static_cast<std::uintptr_t>(node->_hashOrNext));
    delete node; // its operands come back here
  }
  isDestroying = false;
}

void SFFieldNodePtr::Acquire() const noexcept
{
  if (_node != nullptr)
    _node->_references.fetch_add(1, std::memory_order_relaxed);
}

void SFFieldNodePtr::Release() noexcept
{
  if (_node->_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
    SFFieldNode::Destroy(_node);
  _node = nullptr;
}

SFFieldNodePtr MakeConstant(double iValue)
{
  return SFFieldNodePtr(new SFFieldNode(SFNodeType::CONSTANT, iValue, {}, nullptr));
}

SFFieldNodePtr MakeCoordinate(SFNodeType iType)
{
  static SFFieldNodePtr const coordinates[] = {SFFieldNodePtr(new SFFieldNode(SFNodeType::X, 0.0, {}, nullptr)),
                                               SFFieldNodePtr(new SFFieldNode(SFNodeType::Y, 0.0, {}, nullptr)),
                                               SFFieldNodePtr(new SFFieldNode(SFNodeType::Z, 0.0, {}, nullptr))};
  return coordinates[static_cast<int>(iType) - static_cast<int>(SFNodeType::X)];
}

namespace {

/// The operand that the operation gives back bit for bit, if there is one: a - 0, a * 1, 1 * a, a / 1.
SFFieldNodePtr NeutralResult(SFNodeType iType, SFFieldNodePtr const& iA, SFFieldNodePtr const& iB)
{
  if (iType == SFNodeType::MINUS && iB->IsConstant(0.0) && HasSameBits(iB->GetValue(), 0.0))
    return iA;
  if ((iType == SFNodeType::MULT || iType == SFNodeType::DIV) && iB->IsConstant(1.0))
    return iA;
  if (iType == SFNodeType::MULT && iA->IsConstant(1.0))
    return iB;
  return {};
}

} // namespace

SFFieldNodePtr MakeNode(SFNodeType iType, SFFieldNodePtr iA, SFFieldNodePtr iB)
{
  bool const isBinary = iB.Get() != nullptr;
  if (iA->IsConstant() && (!isBinary || iB->IsConstant()))
    return MakeConstant(ApplyOperator(iType, iA->GetValue(), isBinary ? iB->GetValue() : 0.0));
  if (isBinary) {
    SFFieldNodePtr neutral = NeutralResult(iType, iA, iB);
    if (neutral.Get() != nullptr)
      return neutral;
  }
  return SFFieldNodePtr(new SFFieldNode(iType, 0.0, {std::move(iA), std::move(iB), {}}, nullptr));
}

SFFieldNodePtr MakeResource(SFNodeType iType, double iComponent, SFFieldNode::Operands iPosition,
                            std::unique_ptr<SFFieldDetail> iDetail)
{
  return SFFieldNodePtr(new SFFieldNode(iType, iComponent, std::move(iPosition), std::move(iDetail)));
}

SFFieldNodePtr MakeLike(SFFieldNode const& iNode, SFFieldNode::Operands iOperands)
{
  if (IsOperator(iNode.GetType()))
    return MakeNode(iNode.GetType(), std::move(iOperands[0]), std::move(iOperands[1]));
  std::unique_ptr<SFFieldDetail> detail;
  if (iNode.GetDetail() != nullptr) {
    detail = std::make_unique<SFFieldDetail>(*iNode.GetDetail());
    detail->hasFacts = false;
    detail->recipe = nullptr;
  }
  return SFFieldNodePtr(new SFFieldNode(iNode.GetType(), iNode.GetValue(), std::move(iOperands), std::move(detail)));
}

SFField WithFacts(SFField const& iField, SFFieldFacts const& iFacts, std::shared_ptr<SFFactsRecipe const> iRecipe)
{
  SFFieldNode const& node = *iField.GetNode();
  auto detail = node.GetDetail() != nullptr ? std::make_unique<SFFieldDetail>(*node.GetDetail())
                                            : std::make_unique<SFFieldDetail>();
  detail->facts = iFacts;
  detail->hasFacts = true;
  detail->recipe = std::move(iRecipe);
  SFFieldNode::Operands operands;
  for (int i = 0; i < node.GetOperandCount(); ++i)
    operands[static_cast<std::size_t>(i)] = node.GetOperand(i);
  return SFField(
      SFFieldNodePtr(new SFFieldNode(node.GetType(), node.GetValue(), std::move(operands), std::move(detail))));
}

} // namespace SF
