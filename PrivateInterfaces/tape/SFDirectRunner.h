#pragma once

#include "tape/SFTapeInvariants.h"
#include "tape/SFTapeList.h"
#include "tape/SFValueBuffer.h"

#include <cstdint>
#include <vector>

namespace SF {

/// Runs lists on boxes so small that planning them would take longer than running them: each step is one kernel call over
/// the whole box, operand by operand contiguous, into a place of its own. One thread's.
class SFDirectRunner
{
public:
  /// Points of a box, at most.
  static constexpr std::size_t MaxVolume = 128;
  static constexpr std::size_t MostSteps = 1024;

  explicit SFDirectRunner(SFTapeInvariants const& iTape);

  /// Whether all steps are operators, which have kernels, and there is one result.
  static bool CanRun(SFTapeList const& iList);

  /// The result over a box, counted from its first point. Valid until the next call.
  SFValueView Run(SFTapeList const& iList, SFTile const& iBox);

private:
  struct Operand
  {
    double const* data = nullptr;
    bool varies = false; ///< over the box; else it is one value
  };
  struct Place
  {
    Operand operand;
    std::uint32_t run = 0; ///< the number of the run that it was found in
  };

  Operand Of(SFValueId iId, SFTile const& iBox);
  double* Room()
  {
    double* const room = _next;
    _next += MaxVolume;
    return room;
  }
  void Compute(SFTapeStep const& iStep, SFTile const& iBox);

  SFTapeInvariants const& _tape;
  std::vector<Place> _places; ///< by value
  std::uint32_t _run = 0;
  std::size_t _volume = 0; ///< of the box
  SFValueBuffer _values;
  std::size_t _capacity = 0; ///< in values of a box
  double* _next = nullptr;   ///< room that is free
};

} // namespace SF
