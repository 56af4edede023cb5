#pragma once

#include "CommonOptions.h"
#include "Ranks.h"
#include "SFProfilerItf.h"
#include "SharedCounter.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <string>

namespace SFMpi {

/// Looks at the counter now and then while a process works on a piece: draws the bar of the first process, whose looking also
/// lets MPI serve the others, and ends the piece when another process has failed.
class RankProgress : public SF::SFProfilerItf
{
public:
  RankProgress(Ranks const& iRanks, SFHost::CommonOptions const& iCommon, SharedCounter& ioCounter,
               std::string const& iWhat);

  void SetAmount(double iAmount, std::string const& iUnit);
  /// On the thread that uses MPI.
  void OnProgress(char const* iOperation, double iFraction) override;
  /// Set when another process has failed.
  std::atomic<bool> const& GetCancel() const { return _cancel; }

private:
  using Clock = std::chrono::steady_clock;

  SharedCounter& _counter;
  std::optional<SFHost::Progress> _bar;
  std::atomic<bool> _cancel{false};
  Clock::time_point _next = Clock::now();
};

/// Draws pieces and works on them, in each process. When one fails, all stop. Collective; throws an AgreedFailure.
void WorkOnPieces(Ranks const& iRanks, SharedCounter& ioCounter, RankProgress& ioProgress,
                  std::function<void(std::uint64_t iPiece)> const& iWork);

} // namespace SFMpi
