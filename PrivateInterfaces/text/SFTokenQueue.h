#pragma once

#include "text/SFHashConsing.h"
#include "text/SFLexer.h"
#include "text/SFToken.h"

#include <array>
#include <cstddef>
#include <utility>

namespace SF {

/// The tokens of a text, read some way ahead so that the memory which a token needs can be asked for before its turn:
/// over a large text the wait for it is most of what reading costs.
class SFTokenQueue
{
public:
  static constexpr int ConstantRank = -1; ///< of constants in a graph that is read

  /// Both live as long as the queue.
  SFTokenQueue(SFLexer& ioLexer, SFHashConsing const& iExisting) : _lexer(ioLexer), _existing(iExisting) {}

  SFToken Next()
  {
    using Step = SFHashConsing::Step;
    for (; _read < _next + Length; ++_read) {
      SFToken token;
      token.type = _lexer.Next(token.value, token.start, token.end);
      _tokens[_read % Length] = token;
      Expect(_read, Step::Table);
    }
    for (auto const& [ahead, step] : {std::pair{11, Step::Node}, {7, Step::Users}, {3, Step::UsersOfUsers}})
      Expect(_next + static_cast<std::size_t>(ahead), step);
    return _tokens[_next++ % Length];
  }

private:
  void Expect(std::size_t iToken, SFHashConsing::Step iStep) const
  {
    SFToken const& token = _tokens[iToken % Length];
    if (token.type == SFNodeType::CONSTANT)
      _existing.Expect(token.value, ConstantRank, iStep);
  }

  static constexpr std::size_t Length = 16;

  SFLexer& _lexer;
  SFHashConsing const& _existing;
  std::array<SFToken, Length> _tokens;
  std::size_t _next = 0; ///< the token whose turn it is
  std::size_t _read = 0; ///< the one that the lexer gives next
};

} // namespace SF
