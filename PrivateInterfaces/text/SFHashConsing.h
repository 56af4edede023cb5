#pragma once

#include "SFDagFromExpression.h"
#include "SFDagNode.h"
#include "graph/SFNodePool.h"
#include "graph/SFPrefetch.h"
#include "tape/SFLargePages.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace SF {

/// Hash-consing: the canonical nodes of a build, one a structure, numbered in the order in which they were met.
///
/// Two nodes merge when SFDagNode's hash and equality call them the same and, under exact equality, their payloads are
/// (PayloadOf). Operands are canonical by the time their parent is looked up, so they are compared by identity. A node
/// with operands is looked up among the users of the newer of them: that one was most often met a moment ago and has
/// few or none, so the memory that is read is in the cache. Leaves, and the users of nodes that have many, are in a
/// hash table, which spreads them by a hash of its own because the exclusive-or of neighbouring addresses takes few
/// values. Each node costs constant time.
class SFHashConsing
{
public:
  using NodePtr = std::shared_ptr<SFDagNode>;
  using Number = std::uint32_t;

  static constexpr Number None = UINT32_MAX;

  explicit SFHashConsing(SFNodeEquality iEquality = SFNodeEquality::EStructural) : _equality(iEquality) {}

  /// The numbers that the operands of a node were given, in one word.
  class Operands
  {
  public:
    Operands() = default;
    explicit Operands(Number iLhs, Number iRhs = None) : _both(std::uint64_t{iLhs} << 32 | iRhs) {}

    Number Lhs() const { return static_cast<Number>(_both >> 32); }
    Number Rhs() const { return static_cast<Number>(_both); }
    std::uint64_t Both() const { return _both; }

  private:
    std::uint64_t _both = UINT64_MAX;
  };

  /// Replaces `ioNode` by the same node met before, or takes it as the one to keep. Returns the number of that one.
  Number DeDuplicate(NodePtr& ioNode, Operands iOperands);

  /// The number of an operator (see IsOperator) of a rank over operands, which is made if it has not been met.
  Number OperatorOver(Operands iOperands, SFNodeType iType, int iRank);
  /// The number of a coordinate, likewise.
  Number CoordinateOf(SFNodeType iType, int iRank)
  {
    return _coordinates[IndexOf(iType)] = OperatorOver({}, iType, iRank);
  }
  /// The number that CoordinateOf gave last; None before that.
  Number NumberOfCoordinate(SFNodeType iType) const { return _coordinates[IndexOf(iType)]; }
  /// Whether ConstantOf gives a constant its number. Under structural equality not a zero: those of both signs are the
  /// same, so the one that is kept is the one that DeDuplicate has been asked for first.
  bool IsTellingBits(double iConstant) const
  {
    return _equality == SFNodeEquality::EExact || (iConstant != 0.0 && !std::isnan(iConstant));
  }
  /// The number of such a constant, likewise.
  Number ConstantOf(double iValue, int iRank);

  NodePtr const& At(Number iNumber) const { return CanonicalAt(iNumber).node; }

  // What will be asked for before long, in steps that bring its memory closer. Each step reads what the one before has
  // asked for, so other work should lie between them. They change nothing, and only pass on what they know for sure.

  static std::uint32_t HashOfConstant(double iConstant, int iRank);
  /// Asks for what is known of a constant with a hash.
  void ExpectConstant(std::uint32_t iHash) const;
  /// The number of that constant; asks for its users. None where it takes longer to tell.
  Number ExpectUsersOfConstant(std::uint32_t iHash) const;
  /// The number of an operator over `iNewer`, one of its operands, and asks for the users of that; None likewise.
  Number ExpectUsersOfOperator(Number iNewer, Operands iOperands, SFNodeType iType, int iRank) const;
  /// Asks for the place of an operator over operands of which the newer one has many users.
  void ExpectUserOf(Operands iOperands, SFNodeType iType, int iRank) const;
  /// Asks for the users of the node of a number, and for that node.
  void ExpectUsers(Number iNumber) const { Prefetch(&CanonicalAt(iNumber)); }
  void ExpectNode(Number iNumber) const;

private:
  /// All that tells an operator, a coordinate or a constant from others; the detail is the numbers of the operands or
  /// the bits of the constant, the kind is type and rank.
  struct Key
  {
    std::uint64_t detail = 0;
    std::uint64_t kind = UINT64_MAX;
    std::uint32_t hash = 0;

    bool operator==(Key const&) const = default;
  };
  struct Entry
  {
    std::uint32_t hash = 0;
    Number number = None;
  };
  using Table = std::vector<Entry, SFLargePages<Entry>>;
  /// One line of the cache.
  struct alignas(64) Canonical
  {
    Canonical(NodePtr iNode, Key const& iKey) : node(std::move(iNode)), key{iKey.detail, iKey.kind, iKey.hash} {}

    NodePtr node;
    Key key;
    std::array<Entry, 3> users; ///< nodes of which this is the newer operand
  };

  std::uint32_t HashOf(SFDagNode const& iNode) const;
  bool AreSame(SFDagNode const& iA, SFDagNode const& iB) const;
  static Key KeyOf(SFNodeType iType, int iRank, std::uint64_t iDetail);
  static Key KeyOf(SFNodeType iType, int iRank, Operands iOperands);
  /// Of a node that has operands.
  static Number NewestOf(Operands iOperands)
  {
    return iOperands.Rhs() == None ? iOperands.Lhs() : std::max(iOperands.Lhs(), iOperands.Rhs());
  }

  template <class IsSame>
  Entry& FindOrReserve(Operands iOperands, std::uint32_t iHash, IsSame iIsSame);
  template <class Make>
  Number FindOrMake(Operands iOperands, Key const& iKey, Make iMake);
  Number Insert(NodePtr&& ioNode, Key const& iKey);
  void Grow();

  static std::size_t IndexOf(SFNodeType iCoordinate)
  {
    return static_cast<std::size_t>(iCoordinate) - static_cast<std::size_t>(SFNodeType::X);
  }

  struct Location
  {
    std::size_t block;
    std::size_t at;
  };
  static Location LocationOf(Number iNumber)
  {
    std::size_t const place = std::size_t{iNumber} + FirstBlock;
    auto const block = static_cast<std::size_t>(std::bit_width(place / FirstBlock)) - 1;
    return {block, place - (FirstBlock << block)};
  }
  Canonical const& CanonicalAt(Number iNumber) const
  {
    Location const location = LocationOf(iNumber);
    return _canonical[location.block][location.at];
  }
  Canonical& CanonicalAt(Number iNumber) { return const_cast<Canonical&>(std::as_const(*this).CanonicalAt(iNumber)); }

  static constexpr std::size_t FirstBlock = 64;
  std::array<std::vector<Canonical, SFLargePages<Canonical>>, 27>
      _canonical; ///< each block twice as long as the one before, so that nothing moves
  Number _count = 0;
  std::array<Number, 3> _coordinates{None, None, None};
  SFNodePool _pool;
  SFNodeEquality _equality;
  Table _table;
  std::size_t _inTable = 0;
};

} // namespace SF
