#include "MeshExchange.h"

#include "RankProgress.h"
#include "SharedCounter.h"

#include <algorithm>
#include <mpi.h>
#include <numeric>
#include <set>

namespace SFMpi {
namespace {

template <class Value>
std::vector<std::uint64_t> SumsBefore(std::vector<Value> const& iValues)
{
  std::vector<std::uint64_t> sums(iValues.size() + 1, 0);
  std::partial_sum(iValues.begin(), iValues.end(), sums.begin() + 1);
  return sums;
}

} // namespace

MeshExchange::MeshExchange(Ranks const& iRanks, SFHost::CommonOptions const& iCommon, std::string iModelName)
  : _ranks(iRanks), _common(iCommon), _modelName(std::move(iModelName))
{
}

void MeshExchange::Make(SF::SFField const& iField, SFHost::SampledBox const& iSampled,
                        SF::SFMeshingOptions const& iOptions, std::string const& iWhat)
{
  SF::SFMeshingOptions options = iOptions;
  options.profiler = nullptr;
  _ranks.Together([&] {
    SFHost::Named(_modelName, [&] { _shares.emplace(iField, iSampled.box, iSampled.voxel, options); });
    for (auto* const table : {&_makers, &_sizes, &_vertexBefore})
      table->assign(_shares->GetPlan().CountStrips(), 0);
    _triangles.assign(_shares->GetPlan().CountSlabs(), 0);
  });
  _work = options;
  SharedCounter counter(_shares->GetPlan().CountTasks());
  RankProgress progress(_ranks, _common, counter, iWhat);
  WorkOnPieces(_ranks, counter, progress, [&](std::uint64_t iTask) {
    for (auto& strip : _shares->Make(static_cast<std::uint32_t>(iTask), _work)) {
      _makers[strip.number] = static_cast<std::uint64_t>(_ranks.GetRank());
      _sizes[strip.number] = strip.bytes.size();
      _vertexBefore[strip.number] = strip.vertices;
      _strips.emplace(strip.number, std::move(strip.bytes));
    }
  });
  _ranks.SumAll(_makers);
  _ranks.SumAll(_sizes);
  _ranks.SumAll(_vertexBefore);
  _vertexBefore = SumsBefore(_vertexBefore);
}

int MeshExchange::KeeperOf(std::uint32_t iSlab) const
{
  if (_keeper == Keeper::First || CountVertices() == 0)
    return 0;
  // By the middle of its vertices.
  auto const strips = _shares->GetPlan().StripsOf(iSlab);
  double const middle =
      0.5 * (static_cast<double>(_vertexBefore[strips.own]) + static_cast<double>(_vertexBefore[strips.last]));
  double const part = middle / static_cast<double>(CountVertices());
  return std::min(static_cast<int>(part * _ranks.GetCount()), _ranks.GetCount() - 1);
}

/// Sends each strip to all keepers of slabs that need it. Messages between two processes are in the order of the strips.
void MeshExchange::Send()
{
  std::vector<std::set<int>> needed(_shares->GetPlan().CountStrips());
  for (std::uint32_t slab = 0; slab < _shares->GetPlan().CountSlabs(); ++slab) {
    auto const range = _shares->GetPlan().StripsOf(slab);
    for (std::uint32_t strip = range.first; strip < range.last; ++strip)
      needed[strip].insert(KeeperOf(slab));
  }
  std::vector<MPI_Request> requests;
  for (std::uint32_t strip = 0; strip < needed.size(); ++strip) {
    auto const maker = static_cast<int>(_makers[strip]);
    auto const size = static_cast<int>(_sizes[strip]);
    for (int const keeper : needed[strip]) {
      if (size == 0 || keeper == maker)
        continue;
      if (maker == _ranks.GetRank())
        MPI_Isend(_strips[strip].data(), size, MPI_BYTE, keeper, 0, MPI_COMM_WORLD, &requests.emplace_back());
      if (keeper == _ranks.GetRank())
        MPI_Irecv(_strips[strip].data(), size, MPI_BYTE, maker, 0, MPI_COMM_WORLD, &requests.emplace_back());
    }
  }
  MPI_Waitall(static_cast<int>(requests.size()), requests.data(), MPI_STATUSES_IGNORE);
}

void MeshExchange::AssembleSlab(std::uint32_t iSlab)
{
  auto const range = _shares->GetPlan().StripsOf(iSlab);
  std::vector<std::string_view> strips;
  for (std::uint32_t strip = range.first; strip < range.last; ++strip)
    strips.emplace_back(_strips[strip]);
  auto const& slab =
      _slabs.emplace(iSlab, _shares->Assemble(iSlab, strips, _vertexBefore[range.first], _work)).first->second;
  _triangles[iSlab] = slab.mesh.triangles.size();
}

void MeshExchange::Assemble(Keeper iKeeper, Surface iSurface)
{
  _keeper = iKeeper;
  // Room for what comes, before anybody sends.
  _ranks.Together([&] {
    for (std::uint32_t slab = 0; slab < _shares->GetPlan().CountSlabs(); ++slab)
      if (auto const range = _shares->GetPlan().StripsOf(slab); KeeperOf(slab) == _ranks.GetRank())
        for (std::uint32_t strip = range.first; strip < range.last; ++strip)
          _strips[strip].resize(_sizes[strip]);
  });
  Send();
  _ranks.Together([&] {
    SFHost::Named(_modelName, [&] {
      for (std::uint32_t slab = 0; slab < _shares->GetPlan().CountSlabs(); ++slab)
        if (KeeperOf(slab) == _ranks.GetRank())
          AssembleSlab(slab);
    });
    _strips.clear();
  });
  _ranks.SumAll(_triangles);
  ShareReport();
  _ranks.Together([&] {
    if (iSurface == Surface::Required)
      SFHost::Named(_modelName, [&] { _shares->RequireSurface(_report.triangles); });
  });
}

/// Of all processes, as Add does it.
void MeshExchange::ShareReport()
{
  _report = _shares->GetReport();
  for (auto const& [number, slab] : _slabs)
    _report.Add(slab.report);
  for (std::uint64_t* const count :
       {&_report.vertices, &_report.triangles, &_report.sharpVertices, &_report.unplacedVertices})
    *count = _ranks.Sum(*count);
  for (double* const distance : {&_report.vertexDistance, &_report.sharpVertexDistance, &_report.surfaceDistance})
    *distance = _ranks.Largest(*distance);
}

std::vector<std::uint64_t> MeshExchange::TrianglesBefore() const { return SumsBefore(_triangles); }

} // namespace SFMpi
