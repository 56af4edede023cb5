#include "RankProgress.h"

#include "Messages.h"
#include "SFToolsErrors.h"

#include <cstdio>
#include <ctime>

namespace SFMpi {

RankProgress::RankProgress(Ranks const& iRanks, SFHost::CommonOptions const& iCommon, SharedCounter& ioCounter,
                           std::string const& iWhat)
  : _counter(ioCounter)
{
  if (iRanks.IsFirst())
    _bar.emplace(iCommon.GetProgressMode(), iWhat);
}

void RankProgress::SetAmount(double iAmount, std::string const& iUnit)
{
  if (_bar)
    _bar->SetAmount(iAmount, iUnit);
}

void RankProgress::OnProgress(char const* iOperation, double)
{
  constexpr auto pause = std::chrono::milliseconds(100);
  auto const now = Clock::now();
  if (now < _next)
    return;
  _next = now + pause;
  if (_counter.IsStopped())
    _cancel = true;
  if (_bar)
    _bar->OnProgress(iOperation, static_cast<double>(_counter.CountDrawn()) / static_cast<double>(_counter.GetCount()));
}

namespace {

double ProcessorSeconds()
{
  std::timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// A note on how evenly the processes have worked.
void TellBalance(Ranks const& iRanks, double iSeconds)
{
  double const sum = iRanks.Sum(iSeconds);
  double const most = iRanks.Largest(iSeconds);
  char text[120];
  std::snprintf(text, sizeof text, "processor time %.4g s in %d processes, the slowest one %.1f %% above the mean", sum,
                iRanks.GetCount(), 100.0 * (most * iRanks.GetCount() / sum - 1.0));
  SFHost::Note(text);
}

} // namespace

void WorkOnPieces(Ranks const& iRanks, SharedCounter& ioCounter, RankProgress& ioProgress,
                  std::function<void(std::uint64_t)> const& iWork)
{
  double const begin = ProcessorSeconds();
  double seconds = 0.0;
  iRanks.Together([&] {
    try {
      while (auto const piece = ioCounter.Draw()) {
        iWork(*piece);
        ioProgress.OnProgress("", 0.0);
      }
    } catch (SF::SFCancelled const&) {
      // Another process has failed, and tells why.
    } catch (...) {
      ioCounter.Stop();
      throw;
    }
    seconds = ProcessorSeconds() - begin; // without the waiting for others, which takes processor time, too
  });
  TellBalance(iRanks, seconds);
}

} // namespace SFMpi
