#pragma once

#include "text/SFHashConsing.h"
#include "text/SFLexer.h"
#include "text/SFToken.h"

#include <array>
#include <cstddef>
#include <utility>

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
    using Stage = SFHashConsing::PrefetchStage;
    for (; _read < _next + Length; ++_read) {
      SFToken token;
      token.type = _lexer.Next(token.value, token.start, token.end);
      _tokens[_read % Length] = token;
      Expect(_read, Stage::Table);
    }
    for (auto const& [ahead, stage] : {std::pair{11, Stage::Node}, {7, Stage::Users}, {3, Stage::UsersOfUsers}})
      Expect(_next + static_cast<std::size_t>(ahead), stage);
    return _tokens[_next++ % Length];
  }

private:
  void Expect(std::size_t iToken, SFHashConsing::PrefetchStage iStage) const
  {
    SFToken const& token = _tokens[iToken % Length];
    if (token.type == SFNodeType::CONSTANT)
      _canonicalNodes.Expect(token.value, ConstantRank, iStage);
  }

  static constexpr std::size_t Length = 16;

  SFLexer& _lexer;
  SFHashConsing const& _canonicalNodes;
  std::array<SFToken, Length> _tokens;
  std::size_t _next = 0; ///< the token whose turn it is
  std::size_t _read = 0; ///< the one that the lexer gives next
};

} // namespace SF
