#pragma once

#include "CommandLine.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace SFMpi {

/// All processes have agreed that the job has failed, and how. Not an exception of the standard library: only the end of
/// the program catches it.
struct AgreedFailure
{
  SFHost::Outcome outcome;
};

/// The processes of the job. "Collective" functions are called by all of them, in the same order.
///
/// What one process does alone may fail there alone. Such work stands in Together, where the processes agree on its success:
/// either it has been done everywhere, or all throw an AgreedFailure. Nothing that may fail alone stands between other
/// collective calls, so that no process waits for one that has failed.
class Ranks
{
public:
  /// How something that throws as verbs do ends.
  using Judge = std::function<SFHost::Outcome(std::function<void()> const&)>;

  /// Starts MPI. One object in the program.
  Ranks(int& ioCount, char**& ioTexts);
  Ranks(Ranks const&) = delete;
  Ranks& operator=(Ranks const&) = delete;
  ~Ranks();
  /// The one object.
  static Ranks& World();

  int GetRank() const { return _rank; }
  int GetCount() const { return _count; }
  bool IsFirst() const { return _rank == 0; }
  /// Threads for each process: the processors of its machine shared out, no more than it is bound to. Collective.
  unsigned int CountThreads() const;

  void SetJudge(Judge iJudge) { _judge = std::move(iJudge); }
  /// Collective: see above.
  void Together(std::function<void()> const& iWork) const;
  /// Collective: throws the failure of the lowest process that has one, everywhere.
  void Agree(SFHost::Outcome const& iMine) const;

  /// What the first process has, everywhere. Collective.
  std::string Broadcast(std::string iBytes) const;
  /// The sum over all processes, everywhere. Collective.
  std::uint64_t Sum(std::uint64_t iNumber) const;
  double Sum(double iNumber) const;
  /// Element by element. Collective.
  void SumAll(std::vector<std::uint64_t>& ioNumbers) const;
  /// The largest one. Collective.
  double Largest(double iNumber) const;

private:
  int _rank = 0;
  int _count = 1;
  Judge _judge;
};

} // namespace SFMpi
