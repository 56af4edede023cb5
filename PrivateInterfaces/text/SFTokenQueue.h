#pragma once

#include "SFOperatorTable.h"
#include "text/SFHashConsing.h"
#include "text/SFLexer.h"
#include "text/SFToken.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace SF {

/// The tokens of a text, read ahead so that the memory of their nodes can be prefetched: over a large text most of the
/// time of reading is cache misses.
class SFTokenQueue
{
public:
  static constexpr int ConstantRank = -1; ///< of constants in a graph that is read

  /// Both live as long as the queue.
  SFTokenQueue(SFLexer& ioLexer, SFHashConsing const& iCanonicalNodes)
    : _lexer(ioLexer), _canonicalNodes(iCanonicalNodes)
  {
  }

  SFToken Next()
  {
    for (; _read < _next + Length; ++_read)
      Read(At(_read));
    ExpectConstant(_next + 26);
    ExpectParent(_next + 20);
    ExpectParent(_next + 14);
    ExpectSum(_next + 10);
    if (Expected const& part = At(_next + 8); part.number != SFHashConsing::None)
      _canonicalNodes.ExpectNode(part.number);
    return At(_next++).token;
  }

private:
  /// A token and, if it is a constant, the part of the text around it that will be looked up among the users of what
  /// was met before.
  struct Expected
  {
    SFToken token;
    std::uint32_t hash = 0;                             ///< of the constant
    SFHashConsing::Number number = SFHashConsing::None; ///< of the part; None while or when that is not known
    bool isWhole = false;                               ///< its parent has further operands
    int rank = ConstantRank;
    std::size_t first = 0; ///< token of the part
    std::size_t last = 0;
  };

  Expected& At(std::size_t iToken) { return _tokens[iToken % Length]; }

  void Read(Expected& oRead)
  {
    oRead = {};
    SFToken& token = oRead.token;
    token.type = _lexer.Next(token.value, token.start, token.end);
    if (token.type == SFNodeType::CONSTANT) {
      oRead.hash = SFHashConsing::HashOfConstant(token.value, ConstantRank);
      _canonicalNodes.ExpectConstant(oRead.hash);
    }
  }

  void ExpectConstant(std::size_t iToken)
  {
    Expected& part = At(iToken);
    if (part.token.type == SFNodeType::CONSTANT)
      part.number = _canonicalNodes.ExpectUsersOfConstant(part.hash);
    part.first = part.last = iToken;
  }

  /// Goes on from a part to the operator over it, where that has no other operand or a coordinate.
  void ExpectParent(std::size_t iToken)
  {
    Expected& part = At(iToken);
    if (part.number == SFHashConsing::None || part.isWhole || part.first < _next + 2)
      return;
    SFNodeType const after = At(part.last + 1).token.type;
    SFNodeType const before = At(part.first - 1).token.type;
    SFNodeType type = before;
    SFHashConsing::Operands operands(part.number);
    std::size_t first = part.first - 1;
    std::size_t last = part.last;
    if (IsCoordinate(before)) {
      type = At(--first).token.type;
      operands = SFHashConsing::Operands(_canonicalNodes.NumberOfCoordinate(before), part.number);
    } else if (ArityOf(type) == 2 && IsCoordinate(after)) {
      operands = SFHashConsing::Operands(part.number, _canonicalNodes.NumberOfCoordinate(after));
      ++last;
    }
    bool const isUnary = operands.Rhs() == SFHashConsing::None;
    part.isWhole = ArityOf(type) != (isUnary ? 1 : 2);
    if (part.isWhole)
      return;
    part.first = first;
    part.last = last;
    part.rank = isUnary ? part.rank + 1 : std::max(part.rank, CoordinateRank) + 1;
    part.number = _canonicalNodes.ExpectUsersOfOperator(part.number, operands, type, part.rank);
  }

  /// Goes on from two neighbouring parts, the second of a token, to the operator over both.
  void ExpectSum(std::size_t iToken)
  {
    Expected const& second = At(iToken);
    if (second.number == SFHashConsing::None || second.first < _next + 2)
      return;
    Expected const& first = At(second.first - 1);
    if (first.number == SFHashConsing::None || first.last + 1 != second.first || first.first < _next + 1)
      return;
    SFNodeType const type = At(first.first - 1).token.type;
    if (ArityOf(type) == 2)
      _canonicalNodes.ExpectUserOf(SFHashConsing::Operands(first.number, second.number), type,
                                   std::max(first.rank, second.rank) + 1);
  }

  static int ArityOf(SFNodeType iType) { return IsOperator(iType) ? OperatorRow(iType).arity : 0; }

  static constexpr int CoordinateRank = 0;
  static constexpr std::size_t Length = 32;

  SFLexer& _lexer;
  SFHashConsing const& _canonicalNodes;
  std::array<Expected, Length> _tokens;
  std::size_t _next = 0; ///< the token whose turn it is
  std::size_t _read = 0; ///< the one that the lexer gives next
};

} // namespace SF
