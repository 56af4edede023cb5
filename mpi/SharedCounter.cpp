#include "SharedCounter.h"

#include <algorithm>

namespace SFMpi {
namespace {

/// Far beyond any count, and far enough from the end of the range that draws can still be added.
constexpr std::uint64_t Stopped = std::uint64_t{1} << 62;

} // namespace

SharedCounter::SharedCounter(std::uint64_t iCount) : _count(iCount)
{
  int rank = 0;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  std::uint64_t* memory = nullptr;
  MPI_Win_allocate(rank == 0 ? sizeof *memory : 0, sizeof *memory, MPI_INFO_NULL, MPI_COMM_WORLD, &memory, &_window);
  MPI_Win_lock_all(0, _window);
  if (rank == 0) {
    std::uint64_t const none = 0;
    std::uint64_t before = 0;
    MPI_Fetch_and_op(&none, &before, MPI_UINT64_T, 0, 0, MPI_REPLACE, _window);
    MPI_Win_flush(0, _window);
  }
  MPI_Barrier(MPI_COMM_WORLD);
}

SharedCounter::~SharedCounter()
{
  MPI_Win_unlock_all(_window);
  MPI_Win_free(&_window);
}

std::uint64_t SharedCounter::FetchAndAdd(std::uint64_t iNumber)
{
  std::uint64_t before = 0;
  MPI_Fetch_and_op(&iNumber, &before, MPI_UINT64_T, 0, 0, iNumber == 0 ? MPI_NO_OP : MPI_SUM, _window);
  MPI_Win_flush(0, _window);
  return before;
}

std::optional<std::uint64_t> SharedCounter::Draw()
{
  std::uint64_t const number = FetchAndAdd(1);
  return number < _count ? std::optional(number) : std::nullopt;
}

void SharedCounter::Stop()
{
  if (!IsStopped())
    FetchAndAdd(Stopped);
}

bool SharedCounter::IsStopped() { return FetchAndAdd(0) >= Stopped; }

std::uint64_t SharedCounter::CountDrawn() { return std::min(FetchAndAdd(0), _count); }

} // namespace SFMpi
