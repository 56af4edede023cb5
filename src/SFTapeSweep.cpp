#include "SFTapeSweep.h"

#include <algorithm>

namespace SF {
namespace {

/// Calls `iCall(box)` for the boxes of a size that cover another.
template <class Call>
void ForEachBox(SFTile const& iAll, std::array<unsigned int, 3> const& iSize, Call iCall)
{
  SFTile box;
  for (unsigned int z = 0; z < iAll.count[2]; z += iSize[2])
    for (unsigned int y = 0; y < iAll.count[1]; y += iSize[1])
      for (unsigned int x = 0; x < iAll.count[0]; x += iSize[0]) {
        box.begin = {iAll.begin[0] + x, iAll.begin[1] + y, iAll.begin[2] + z};
        box.count = {std::min(iSize[0], iAll.count[0] - x), std::min(iSize[1], iAll.count[1] - y),
                     std::min(iSize[2], iAll.count[2] - z)};
        iCall(box);
      }
}

/// The boxes to prune for, by how many axes the grid has. The last level is a tile.
std::vector<std::array<unsigned int, 3>> PruningLevels(std::array<unsigned int, 3> const& iDims)
{
  auto const flat = std::count_if(iDims.begin(), iDims.end(), [](unsigned int iN) { return iN < 8; });
  if (flat == 0)
    return {{64, 64, 64}, {32, 32, 32}, {16, 8, 8}};
  if (iDims[2] < 8)
    return {{256, 256, 8}, {64, 64, 8}, {32, 32, 8}};
  return {{256, 64, 64}, {64, 32, 32}, {16, 16, 16}};
}

} // namespace

struct SFTapeSweep::Worker
{
  Sink const& sink;
  SFTapeScratch scratch;
  SFPrunerScratch pruning;
  std::vector<SFTapeList> lists; ///< by level
};

SFTapeSweep::SFTapeSweep(SFTapeRunner const& iRunner, unsigned int iBegin, unsigned int iEnd, std::size_t iTileVolume)
  : _runner(iRunner), _pruner(iRunner), _tileVolume(iTileVolume)
{
  auto const& dims = iRunner.GetGrid().dims;
  _all = {{0, 0, iBegin}, {dims[0], dims[1], iEnd - iBegin}};
  if (iRunner.GetList().choices > 0)
    _levels = PruningLevels(_all.count);
  else {
    unsigned int const rows = std::max(1U, 32768U / std::max(1U, dims[0]));
    _levels = {{std::max(1U, dims[0]), rows, 1}};
  }
  _regionCount = 1;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    _regions[axis] = (std::size_t{_all.count[axis]} + _levels[0][axis] - 1) / _levels[0][axis];
    _regionCount *= _regions[axis];
  }
}

SFTile SFTapeSweep::RegionAt(std::size_t iNumber) const
{
  std::array<std::size_t, 3> const at{iNumber % _regions[0], iNumber / _regions[0] % _regions[1],
                                      iNumber / _regions[0] / _regions[1]};
  SFTile region;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    auto const offset = static_cast<unsigned int>(at[axis] * _levels[0][axis]);
    region.begin[axis] = _all.begin[axis] + offset;
    region.count[axis] = std::min(_levels[0][axis], _all.count[axis] - offset);
  }
  return region;
}

void SFTapeSweep::Work(Sink const& iSink, SFStopRequest const& iStop)
{
  Worker worker{iSink, _runner.MakeScratch(), {}, {}};
  worker.scratch.stop = &iStop;
  bool const prunes = _runner.GetList().choices > 0;
  if (prunes)
    worker.pruning = _pruner.MakeScratch();
  worker.lists.resize(_levels.size());
  for (std::size_t region = _next++; region < _regionCount && !worker.scratch.stopped; region = _next++) {
    SFTile const box = RegionAt(region);
    if (prunes)
      Visit(worker, box, _runner.GetList(), 0);
    else
      RunBox(worker, box, _runner.GetList());
    ++_done;
  }
}

/// Prunes for a box and goes on to its parts, while there is something left to decide.
void SFTapeSweep::Visit(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList, std::size_t iLevel) const
{
  SFTapeList& list = ioWorker.lists[iLevel];
  bool const shorter = _pruner.Prune(iList, iBox, ioWorker.pruning, list);
  if (!shorter || list.choices == 0 || iLevel + 1 == _levels.size()) {
    RunBox(ioWorker, iBox, list);
    return;
  }
  ForEachBox(iBox, _levels[iLevel + 1], [&](SFTile const& iPart) {
    if (!ioWorker.scratch.MustStop())
      Visit(ioWorker, iPart, list, iLevel + 1);
  });
}

void SFTapeSweep::RunBox(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList) const
{
  std::array<unsigned int, 3> size{};
  std::size_t left = _tileVolume;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    size[axis] = static_cast<unsigned int>(std::clamp<std::size_t>(iBox.count[axis], 1, left));
    left = std::max<std::size_t>(1, left / size[axis]);
  }
  ForEachBox(iBox, size, [&](SFTile const& iTile) {
    if (ioWorker.scratch.MustStop())
      return;
    _runner.RunTile(iList, iTile, ioWorker.scratch);
    if (!ioWorker.scratch.stopped)
      ioWorker.sink(iTile, iList, ioWorker.scratch);
  });
}

} // namespace SF
