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
    if (part.number == SFHashConsing::None || part.first < _next + 2)
      return;
    auto const arity = [](SFNodeType iType) { return IsOperator(iType) ? OperatorRow(iType).arity : 0; };
    SFNodeType const after = At(part.last + 1).token.type;
    SFNodeType const before = At(part.first - 1).token.type;
    SFNodeType type = before;
    SFHashConsing::Operands operands{part.number};
    --part.first;
    if (IsCoordinate(before)) {
      type = At(--part.first).token.type;
      operands = {_canonicalNodes.NumberOfCoordinate(before), part.number};
    } else if (arity(type) == 2 && IsCoordinate(after)) {
      operands.rhs = _canonicalNodes.NumberOfCoordinate(after);
      ++part.last;
    }
    bool const isUnary = operands.rhs == SFHashConsing::None;
    part.rank = isUnary ? part.rank + 1 : std::max(part.rank, CoordinateRank) + 1;
    part.number = arity(type) == (isUnary ? 1 : 2)
                      ? _canonicalNodes.ExpectUsersOfOperator(part.number, operands, type, part.rank)
                      : SFHashConsing::None;
  }

  static constexpr int CoordinateRank = 0;
  static constexpr std::size_t Length = 32;

  SFLexer& _lexer;
  SFHashConsing const& _canonicalNodes;
  std::array<Expected, Length> _tokens;
  std::size_t _next = 0; ///< the token whose turn it is
  std::size_t _read = 0; ///< the one that the lexer gives next
};

} // namespace SF
