#include "Ranks.h"

#include <mpi.h>
#include <sched.h>

#include <algorithm>
#include <thread>

namespace SFMpi {
namespace {

Ranks* world = nullptr;

/// The processors that this process may run on.
int BoundProcessors()
{
  cpu_set_t set;
  CPU_ZERO(&set);
  return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
}

} // namespace

Ranks::Ranks(int& ioCount, char**& ioTexts)
{
  int provided = 0;
  MPI_Init_thread(&ioCount, &ioTexts, MPI_THREAD_FUNNELED, &provided);
  MPI_Comm_rank(MPI_COMM_WORLD, &_rank);
  MPI_Comm_size(MPI_COMM_WORLD, &_count);
  world = this;
}

Ranks::~Ranks() { MPI_Finalize(); }

Ranks& Ranks::World() { return *world; }

unsigned int Ranks::CountThreads() const
{
  MPI_Comm machine = MPI_COMM_NULL;
  MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &machine);
  int here = 1;
  MPI_Comm_size(machine, &here);
  MPI_Comm_free(&machine);
  int const share = static_cast<int>(std::thread::hardware_concurrency()) / here;
  return static_cast<unsigned int>(std::max(1, std::min(share, BoundProcessors())));
}

void Ranks::Together(std::function<void()> const& iWork) const { Agree(_judge(iWork)); }

void Ranks::Agree(SFHost::Outcome const& iMine) const
{
  int failed = iMine.status != 0 ? _rank : _count;
  MPI_Allreduce(MPI_IN_PLACE, &failed, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
  if (failed == _count)
    return;
  SFHost::Outcome agreed = iMine;
  MPI_Bcast(&agreed.status, 1, MPI_INT, failed, MPI_COMM_WORLD);
  auto length = static_cast<int>(agreed.line.size());
  MPI_Bcast(&length, 1, MPI_INT, failed, MPI_COMM_WORLD);
  agreed.line.resize(static_cast<std::size_t>(length));
  MPI_Bcast(agreed.line.data(), length, MPI_CHAR, failed, MPI_COMM_WORLD);
  throw AgreedFailure{agreed};
}

std::string Ranks::Broadcast(std::string iBytes) const
{
  auto length = static_cast<int>(iBytes.size());
  MPI_Bcast(&length, 1, MPI_INT, 0, MPI_COMM_WORLD);
  Together([&] { iBytes.resize(static_cast<std::size_t>(length)); });
  MPI_Bcast(iBytes.data(), length, MPI_CHAR, 0, MPI_COMM_WORLD);
  return iBytes;
}

std::uint64_t Ranks::Sum(std::uint64_t iNumber) const
{
  MPI_Allreduce(MPI_IN_PLACE, &iNumber, 1, MPI_UINT64_T, MPI_SUM, MPI_COMM_WORLD);
  return iNumber;
}

double Ranks::Sum(double iNumber) const
{
  MPI_Allreduce(MPI_IN_PLACE, &iNumber, 1, MPI_DOUBLE, MPI_SUM, MPI_COMM_WORLD);
  return iNumber;
}

void Ranks::SumAll(std::vector<std::uint64_t>& ioNumbers) const
{
  MPI_Allreduce(MPI_IN_PLACE, ioNumbers.data(), static_cast<int>(ioNumbers.size()), MPI_UINT64_T, MPI_SUM,
                MPI_COMM_WORLD);
}

double Ranks::Largest(double iNumber) const
{
  MPI_Allreduce(MPI_IN_PLACE, &iNumber, 1, MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
  return iNumber;
}

} // namespace SFMpi
