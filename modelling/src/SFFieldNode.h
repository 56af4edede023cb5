#pragma once

#include "SFField.h"
#include "SFOperatorTable.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace SF {

constexpr double Infinity = std::numeric_limits<double>::infinity();

struct SFFactsRecipe;

/// What is known of a field beyond its values. All of it holds for the field in exact arithmetic.
struct SFFieldFacts
{
  double lipschitz = Infinity; ///< |f(p) - f(q)| <= lipschitz |p - q|
  /// Outside of the bounds f(p) >= growth d, where d > 0 is the distance of p from the bounds in the maximum norm.
  /// 0: no bounds are known.
  double growth = 0.0;
  ZULMathBox bounds;
  bool isDistance = false; ///< the length of the gradient is 1 wherever there is one
  bool isAffine = false;   ///< f(p) = form[0] x + form[1] y + form[2] z + form[3]
  std::array<double, 4> form{};
  /// The value of a field that is the same everywhere, with the parameters as they are now. Bounds may follow from it; the
  /// structure of another field may not.
  std::optional<double> constant;

  bool HasBounds() const { return growth > 0.0; }
};

/// The rarer parts of a node.
struct SFFieldDetail
{
  std::string name;       ///< of a parameter
  double low = -Infinity; ///< its range
  double high = Infinity;
  std::shared_ptr<ResourceToSF> resource; ///< of a resource, and of a component of its gradient
  SFFieldFacts facts;
  bool hasFacts = false;                       ///< else they follow from those of the operands
  std::shared_ptr<SFFactsRecipe const> recipe; ///< of facts that depend on parameters; may be null
};

/// A field compiled for single values; made at most once per node.
struct SFCompiledOnce
{
  std::once_flag once;
  std::shared_ptr<SFCompiledField> field;
};

/// A node of a field. Immutable, but for the reference count and what is compiled on demand.
///
/// Kinds: X, Y, Z, CONSTANT, PARAMETER, the operators of the first semantic level, RESOLVEDREF (a resource at the point
/// that its three operands give) and POLYGRADIENT (a component of its gradient there, whose number is the value).
class SFFieldNode
{
public:
  static constexpr int MaxOperands = 3;
  using Operands = std::array<SFFieldNodePtr, MaxOperands>;

  SFFieldNode(SFNodeType iType, double iValue, Operands iOperands, std::unique_ptr<SFFieldDetail> iDetail);
  ~SFFieldNode();
  SFFieldNode(SFFieldNode const&) = delete;
  SFFieldNode& operator=(SFFieldNode const&) = delete;

  SFNodeType GetType() const { return _type; }
  std::uint64_t GetHash() const { return _hashOrNext; }
  double GetValue() const { return _value; } ///< of a constant or parameter; the component of a gradient
  SFFieldNodePtr const& GetOperand(int iNumber) const { return _operands[static_cast<std::size_t>(iNumber)]; }
  int GetOperandCount() const;
  SFFieldDetail const* GetDetail() const { return _detail.get(); }
  /// The facts that the maker of the node has stated; null where there are none.
  SFFieldFacts const* GetFacts() const { return _detail != nullptr && _detail->hasFacts ? &_detail->facts : nullptr; }
  bool IsConstant() const { return _type == SFNodeType::CONSTANT; }
  bool IsConstant(double iValue) const { return IsConstant() && _value == iValue; }
  /// Whether two nodes over the same operands are one: their kind, and every bit of what they carry.
  bool HasSamePayload(SFFieldNode const& iOther) const;

  SFCompiledOnce& GetCompiled() const;
  /// Whether one other node, or one field, refers to this node and nothing else. Of use to who walks through that one.
  bool HasOneOwner() const noexcept { return _references.load(std::memory_order_relaxed) == 1; }
  /// One more reference to this node.
  SFFieldNodePtr Share() const noexcept
  {
    _references.fetch_add(1, std::memory_order_relaxed);
    return SFFieldNodePtr(this);
  }

private:
  friend class SFFieldNodePtr;

  std::uint64_t ComputeHash() const;
  static void Destroy(SFFieldNode const* iNode) noexcept;

  mutable std::atomic<std::uint32_t> _references{1};
  SFNodeType _type;
  mutable std::uint64_t _hashOrNext; ///< the hash; while dying, the address of the next node to destroy
  double _value;
  Operands _operands;
  std::unique_ptr<SFFieldDetail> _detail;
  mutable std::atomic<SFCompiledOnce*> _compiled{nullptr};
};

/// A node over operands, constants folded and neutral elements dropped where that changes no bit.
SFFieldNodePtr MakeNode(SFNodeType iType, SFFieldNodePtr iA, SFFieldNodePtr iB = {});
SFFieldNodePtr MakeConstant(double iValue);
SFFieldNodePtr MakeCoordinate(SFNodeType iType);
/// A resource, or a component of its gradient, at the point that the operands give. The facts of `iDetail` hold for the
/// resource at that point.
SFFieldNodePtr MakeResource(SFNodeType iType, double iComponent, SFFieldNode::Operands iPosition,
                            std::unique_ptr<SFFieldDetail> iDetail);

/// A node like another one over other operands, with its payload and without its facts.
SFFieldNodePtr MakeLike(SFFieldNode const& iNode, SFFieldNode::Operands iOperands);

/// The same field with facts that its maker states, and how they follow from parameters, if they do.
SFField WithFacts(SFField const& iField, SFFieldFacts const& iFacts,
                  std::shared_ptr<SFFactsRecipe const> iRecipe = nullptr);
/// What is known of a field: what has been stated, or else what follows from the operands. Walks the field.
SFFieldFacts FactsOf(SFField const& iField);
/// The same for several fields, whose common parts are walked once.
std::vector<SFFieldFacts> FactsOf(std::span<SFField const> iFields);
/// The value of a field that is known to be the same everywhere.
std::optional<double> ConstantValue(SFField const& iField);

} // namespace SF
