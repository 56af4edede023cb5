#pragma once

#include "SFExport.h"

#include <string>
#include <vector>

namespace SF {

/// The instruction sets that the loops over many points are compiled for. A rendering takes the best one that the
/// machine runs. The environment variable SF_KERNELS forces one by its name; a set that the machine lacks stands for
/// "portable" there, and any other text is refused: one line of the process lists the names, and the best set is taken.
/// No value depends on the set.
class SF_EXPORT SFInstructionSets
{
public:
  SFInstructionSets() = delete;

  /// The name of that environment variable.
  static constexpr char const* Variable = "SF_KERNELS";

  /// The names that exist, the best set first, whether or not this machine runs them.
  static std::vector<std::string> GetNames();
  /// Whether a text is one of the names.
  static bool IsName(std::string const& iText);
  /// The name of the set that a rendering takes now.
  static std::string GetActive();
};

} // namespace SF
