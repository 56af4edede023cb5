#pragma once

#include "SFTypes.h"

#include <cstddef>

namespace SF {

/// One token as the lexer gave it.
struct SFToken
{
  SFNodeType type = SFNodeType::NONE;
  double value = 0.0;
  std::size_t start = 0;
  std::size_t end = 0; ///< where the lexer reads on

  /// Whether its number cannot be read: the lexer stays on its letter and gives it again, for ever.
  bool IsStuck() const { return end == start && type != SFNodeType::END && type != SFNodeType::NONE; }
};

} // namespace SF
