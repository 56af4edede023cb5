#pragma once

#include <cstdint>
#include <mpi.h>
#include <optional>

namespace SFMpi {

/// The numbers from 0 to before a count, each of which is drawn once, by whichever process asks next: work of uneven pieces
/// balances. The counter is in memory of the first process, and others reach it there by one-sided communication, without
/// that process waiting for them. Networks that need its help for that get it whenever it calls any function here or of MPI.
class SharedCounter
{
public:
  /// Collective, and so is the destructor.
  explicit SharedCounter(std::uint64_t iCount);
  SharedCounter(SharedCounter const&) = delete;
  SharedCounter& operator=(SharedCounter const&) = delete;
  ~SharedCounter();

  /// Nothing when all have been drawn, and after a Stop.
  std::optional<std::uint64_t> Draw();
  /// Nobody draws any more, in no process.
  void Stop();
  bool IsStopped();
  /// How many have been drawn.
  std::uint64_t CountDrawn();
  std::uint64_t GetCount() const { return _count; }

private:
  std::uint64_t FetchAndAdd(std::uint64_t iNumber);

  std::uint64_t _count;
  MPI_Win _window = MPI_WIN_NULL;
};

} // namespace SFMpi
