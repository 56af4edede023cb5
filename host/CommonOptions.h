#pragma once

#include "Model.h"
#include "Progress.h"
#include "SFWorkOptions.h"

#include <cstdint>
#include <optional>
#include <string>

namespace SFHost {

/// The options that every verb has: the model, how its work runs, and what is told of it.
struct CommonOptions
{
  void AddTo(Arguments& ioArguments);

  /// Those of the library of tools. The progress may be null, and must live as long as they are used.
  SF::SFWorkOptions ForTools(Progress* ioProgress = nullptr) const;
  /// Throws SFMemoryLimit when something takes more bytes than it may: better than being killed half way.
  void RequireMemory(double iBytes, std::string const& iWhat) const;
  ProgressMode GetProgressMode() const { return static_cast<ProgressMode>(progress); }

  ModelOptions model;
  std::uint32_t threads = 0;       ///< 0 for one for each hardware thread
  std::optional<double> maxMemory; ///< gigabytes, of 10^9 bytes
  std::size_t progress = 0;        ///< the number of a ProgressMode
  bool isQuiet = false;
  bool isVerbose = false;
  bool asJson = false;
  bool isWatching = false;
};

} // namespace SFHost
