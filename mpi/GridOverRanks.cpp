#include "OverRanks.h"

#include "Failure.h"
#include "RankProgress.h"
#include "Ranks.h"
#include "SFToolsErrors.h"
#include "SFVolumeSlabs.h"
#include "SharedCounter.h"
#include "SharedFile.h"
#include "SlabPlan.h"

#include <bit>
#include <optional>
#include <vector>

namespace SFMpi {
namespace {

static_assert(std::endian::native == std::endian::little, "values are written as they lie in memory");

template <class Value>
std::string_view BytesOf(std::vector<Value> const& iValues)
{
  return {reinterpret_cast<char const*>(iValues.data()), sizeof(Value) * iValues.size()};
}

std::vector<Slab> SlabsFor(SF::SFGridFrame const& iFrame, int iProcesses)
{
  constexpr std::uint64_t mostBytes = std::uint64_t{16} << 20;
  std::uint64_t const slice = std::uint64_t{iFrame.dims[0]} * iFrame.dims[1] * sizeof(float);
  return PlanSlabs(iFrame.dims[2], static_cast<std::uint32_t>(mostBytes / slice),
                   static_cast<std::uint32_t>(iProcesses));
}

void WriteSlab(SF::SFVolumeSlabs& ioSlabs, std::size_t iSlice, Slab const& iSlab, SharedFile& ioFile)
{
  std::vector<float> values(iSlice * (iSlab.end - iSlab.begin));
  ioSlabs.Render(iSlab.begin, iSlab.end, values);
  ioFile.WriteAt(ioSlabs.PositionOf(iSlab.begin), BytesOf(values));
}

} // namespace

SF::SFVolumeReport GridOverRanks(SFHost::VolumeTask const& iTask)
{
  if (iTask.format == SF::SFVolumeFormat::Vdb)
    throw SFHost::UsageError("--output: a .vdb is written by one process, sfdag grid");
  Ranks const& ranks = Ranks::World();
  auto const plan = SlabsFor(iTask.frame, ranks.GetCount());
  SharedCounter counter(plan.size());
  RankProgress progress(ranks, iTask.common, counter, "grid");
  progress.SetAmount(static_cast<double>(iTask.frame.PointCount()), "voxels");
  std::optional<SF::SFVolumeSlabs> slabs;
  ranks.Together([&] {
    SF::SFVolumeOptions options = iTask.options;
    options.profiler = &progress;
    options.cancel = &progress.GetCancel();
    SFHost::Named(iTask.model.name, [&] { slabs.emplace(iTask.model.field, iTask.frame, iTask.format, options); });
  });
  std::uint64_t const end = slabs->PositionOf(iTask.frame.dims[2]);
  SharedFile file(ranks, iTask.path, end + slabs->GetEnd().size());
  WorkOnPieces(ranks, counter, progress, [&](std::uint64_t iPiece) {
    if (iPiece == 0) {
      file.WriteAt(0, slabs->GetHeader());
      file.WriteAt(end, slabs->GetEnd());
    }
    WriteSlab(*slabs, std::size_t{iTask.frame.dims[0]} * iTask.frame.dims[1], plan[iPiece], file);
  });
  SF::SFVolumeReport report = slabs->GetReport();
  report.pointsWithoutValue = ranks.Sum(report.pointsWithoutValue);
  ranks.Together([&] { SF::RequireValues(report); });
  file.Commit();
  return report;
}

} // namespace SFMpi
