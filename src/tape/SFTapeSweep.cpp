#include "tape/SFTapeSweep.h"

#include "tape/SFBoxSizes.h"
#include "tape/SFDirectRunner.h"
#include "tape/SFTapeShape.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// Calls `iCall(box)` for the boxes of a size that cover another.
template <class Call>
void ForEachBox(SFTile const& iAll, std::array<unsigned int, 3> const& iSize, Call iCall)
{
  SFTile box;
  auto const cut = [&](std::size_t iAxis, std::size_t iOffset) { // wider than the counts, whose sums may overflow
    auto const offset = static_cast<unsigned int>(iOffset);
    box.begin[iAxis] = iAll.begin[iAxis] + offset;
    box.count[iAxis] = std::min(iSize[iAxis], iAll.count[iAxis] - offset);
  };
  for (std::size_t z = 0; z < iAll.count[2]; z += iSize[2])
    for (std::size_t y = 0; y < iAll.count[1]; y += iSize[1])
      for (std::size_t x = 0; x < iAll.count[0]; x += iSize[0]) {
        cut(0, x);
        cut(1, y);
        cut(2, z);
        iCall(box);
      }
}

/// The boxes to prune for, without those that are no different from the next ones where the grid is small.
std::vector<std::array<unsigned int, 3>> DifferentLevels(std::array<unsigned int, 3> const& iDims, bool iIsLong)
{
  auto levels = PruningLevels(iDims, iIsLong);
  auto const fits = [&](std::array<unsigned int, 3> const& iSize) {
    return iDims[0] <= iSize[0] && iDims[1] <= iSize[1] && iDims[2] <= iSize[2];
  };
  while (levels.size() > 1 && fits(levels[1]))
    levels.erase(levels.begin());
  if (fits(levels[0]) && VolumeOf(AllAxes, levels[0]) <= SFTapeSweep::TileVolume)
    levels.resize(1); // a grid of one tile, which keeps its plan
  return levels;
}

/// A list that costs less at a point, in additions, is run without further ado: in long rows, which a smaller box
/// would cut.
constexpr std::size_t WorthPruning = 8;
/// One that costs more is pruned without a test.
constexpr std::size_t SurelyWorthPruning = 256;
/// One that costs more in 16^3 points is pruned for boxes as small as the direct runner's.
constexpr std::size_t WorthSmallBoxes = 400;

} // namespace

/// The working memory of one thread.
struct SFSweepContext::Worker
{
  explicit Worker(SFSweepContext const& iContext)
    : runner(iContext._tape), direct(iContext._tape), pruning(iContext._pruner->MakeScratch())
  {
    pruning.stop = &runner.GetStop();
  }
  Worker(Worker const&) = delete;
  Worker& operator=(Worker const&) = delete;

  bool MustStop() { return runner.GetStop().MustStop(); }
  /// Whether the plan of the runner is one for a box, of the whole list where that is not pruned.
  bool IsPlannedFor(SFTile const& iBox, SFSweepContext const& iContext, bool iPrunes) const
  {
    return plannedIn == iContext._preparations && SameSize(planned.count, iBox.count) &&
           ((plannedWhole && !iPrunes) || SameSize(planned.begin, iBox.begin));
  }

  SFTapeRunner runner;
  SFDirectRunner direct;
  SFPrunerScratch pruning;
  std::vector<std::array<SFPrunableList, SFTapePruner::MaxBoxes>> lists; ///< by level
  SFTile planned;            ///< the box that the runner has been planned for last, if it is of one tile
  std::size_t plannedIn = 0; ///< the preparation of the tape that this holds for; 0 for none
  bool plannedWhole = false; ///< the list of the tape, which is the same everywhere
  SFTapeSweep::Sink const* sink = nullptr;
  std::function<void()> const* onTile = nullptr;
};

SFSweepContext::SFSweepContext(SFTapeInvariants const& iTape, double iLimit) : _tape(iTape) { Restart(iLimit); }
SFSweepContext::~SFSweepContext() = default;

SFTapeSweep::SFTapeSweep(SFSweepContext& ioContext, unsigned int iBegin, unsigned int iEnd, unsigned int iThreads,
                         std::size_t iTileVolume)
  : _context(ioContext), _tape(ioContext._tape), _pruner(*ioContext._pruner), _threads(std::max(1U, iThreads)),
    _tileVolume(iTileVolume)
{
  auto const& dims = _tape.GetGrid().dims;
  _all = {{0, 0, iBegin}, {dims[0], dims[1], iEnd - iBegin}};
  SFPrunableList const& list = _pruner.GetList();
  if (list.choices > 0 && list.cost >= WorthPruning)
    _levels = DifferentLevels(_all.count, SFTapePruner::BoxesFor(list) == 1);
  _prunes = !_levels.empty() && (list.cost >= SurelyWorthPruning || PruningGains());
  if (!_prunes) {
    unsigned int const rows = std::max(1U, 32768U / std::max(1U, dims[0]));
    _levels = {{std::max(1U, dims[0]), rows, 1}};
  }
  _regionCount = 1;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    _regions[axis] = (std::size_t{_all.count[axis]} + _levels[0][axis] - 1) / _levels[0][axis];
    _regionCount *= _regions[axis];
  }
  CutRegions();
}

/// Where regions are few for each thread, or one takes much longer than others, parts of them are drawn.
void SFTapeSweep::CutRegions()
{
  _drawCount = _regionCount;
  if (!_prunes || _threads == 1 || _regionCount >= 4 * _threads || _levels.size() < 2)
    return;
  std::size_t parts = 1;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    std::size_t const length = std::min(_levels[0][axis], _all.count[axis]);
    parts *= (length + _levels[1][axis] - 1) / _levels[1][axis];
  }
  if (parts == 1)
    return;
  _drawCount = _regionCount * parts;
  _shared = std::make_unique<SharedRegion[]>(_regionCount);
}

/// Whether pruning makes points cheaper by more than it takes: the pruning itself, and rows as short as its boxes. Tried
/// on some boxes all over the grid.
bool SFTapeSweep::PruningGains() const
{
  constexpr std::size_t overhead = 12; // additions a point
  constexpr std::size_t attempts = 4;
  constexpr std::array<double, 3> increments{0.8191725134, 0.6710436067, 0.5497004779}; // spread evenly, Roberts 2018
  SFPrunerScratch scratch = _pruner.MakeScratch();
  std::array<SFTile, SFTapePruner::MaxBoxes> boxes;
  std::array<SFPrunableList, SFTapePruner::MaxBoxes> lists;
  std::size_t cost = 0;
  for (std::size_t attempt = 0; attempt < attempts; ++attempt) {
    for (std::size_t i = 0; i < boxes.size(); ++i)
      for (std::size_t axis = 0; axis < 3; ++axis) {
        double const fraction = std::fmod(static_cast<double>(attempt * boxes.size() + i) * increments[axis], 1.0);
        unsigned int const count = std::min(_levels[LevelsFor(_pruner.GetList()) - 1][axis], _all.count[axis]);
        boxes[i].count[axis] = count;
        boxes[i].begin[axis] =
            _all.begin[axis] + static_cast<unsigned int>(fraction * (_all.count[axis] / count)) * count;
      }
    _pruner.Prune(_pruner.GetList(), boxes, SFListUse::ToRun, scratch, lists.data());
    for (SFPrunableList const& list : lists)
      cost += list.cost;
  }
  std::size_t const pruned = cost / (attempts * boxes.size());
  return pruned + pruned / 2 + overhead < _pruner.GetList().cost;
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

void SFTapeSweep::Work(Output const& iOutput, SFStopRequest const& iStop, std::function<void()> const& iOnTile)
{
  auto worker = _context._workers.Take([&] { return std::make_unique<Worker>(_context); });
  worker->runner.SetTarget(iOutput.target);
  worker->runner.GetStop().Restart(&iStop);
  worker->lists.resize(std::max(_levels.size(), worker->lists.size()));
  worker->sink = &iOutput.sink;
  worker->onTile = &iOnTile;
  std::array<SFTile, SFTapePruner::MaxBoxes> boxes;
  for (std::size_t count = 1; count > 0 && !worker->MustStop(); _done += count) {
    count = _shared != nullptr ? 0 : DrawRegions(boxes.data());
    if (_shared != nullptr)
      count = WorkOnPart(*worker) ? 1 : 0;
    else if (count == 1 && worker->IsPlannedFor(boxes[0], _context, _prunes))
      RunTile(*worker, boxes[0], _tape.GetList()); // also for small grids that are asked for again and again
    else if (count > 0 && _prunes)
      Visit(*worker, {boxes.data(), count}, nullptr, _pruner.GetList(), 0, false);
    else if (count > 0)
      RunBox(*worker, boxes[0], _tape.GetList());
  }
  worker->runner.GetStop().Restart(nullptr);
  _context._workers.GiveBack(std::move(worker), _threads);
}

/// Takes the next part of a region, one of each region in turn. False when none is left.
bool SFTapeSweep::WorkOnPart(Worker& ioWorker)
{
  std::size_t const number = _next.fetch_add(1);
  if (number >= _drawCount)
    return false;
  SFTile const region = RegionAt(number % _regionCount);
  SharedRegion& shared = _shared[number % _regionCount];
  std::call_once(shared.once, [&] {
    shared.isVain =
        _pruner.Prune(_pruner.GetList(), {&region, 1}, SFListUse::ToPrune, ioWorker.pruning, &shared.list) == 0;
  });
  std::size_t left = number / _regionCount; // parts before this one
  ForEachBox(region, _levels[1], [&](SFTile const& iPart) {
    if (left-- == 0 && !ioWorker.MustStop())
      VisitPart(ioWorker, iPart, shared);
  });
  return true;
}

void SFTapeSweep::VisitPart(Worker& ioWorker, SFTile const& iPart, SharedRegion const& iRegion) const
{
  if (iRegion.list.IsSettled())
    FillBox(ioWorker, iPart, iRegion.list.settled);
  else if (iRegion.list.choices == 0 || iRegion.list.cost < WorthPruning)
    RunBox(ioWorker, iPart, iRegion.list);
  else
    Visit(ioWorker, {&iPart, 1}, nullptr, iRegion.list, 1, iRegion.isVain);
}

/// Takes the next regions; none when none is left. Several at once, to be pruned for together, while there are many
/// for each thread.
std::size_t SFTapeSweep::DrawRegions(SFTile* oBoxes)
{
  std::size_t const next = _next.load(std::memory_order_relaxed);
  std::size_t const left = _regionCount - std::min(next, _regionCount);
  std::size_t const wanted =
      _prunes ? std::clamp<std::size_t>(left / (4 * _threads), 1, SFTapePruner::BoxesFor(_pruner.GetList())) : 1;
  std::size_t const first = _next.fetch_add(wanted);
  std::size_t const count = std::min(_regionCount - std::min(first, _regionCount), wanted);
  for (std::size_t i = 0; i < count; ++i)
    oBoxes[i] = RegionAt(first + i);
  return count;
}

/// How many of the levels a list is pruned on.
std::size_t SFTapeSweep::LevelsFor(SFPrunableList const& iList) const
{
  std::size_t const count = _levels.size();
  bool const endsSmall = count > 1 && VolumeOf(AllAxes, _levels.back()) <= SFDirectRunner::MaxVolume;
  return endsSmall && iList.cost < WorthSmallBoxes ? count - 1 : count;
}

/// Prunes for some boxes and goes on to their parts, while there is something left to decide. One attempt in vain does
/// not say that smaller boxes decide nothing: a few parts spread over the first box all reach it. Where the boxes make
/// up `iWhole` and little has been gained by the smallest of them, that is run with the list it had, in longer rows.
void SFTapeSweep::Visit(Worker& ioWorker, std::span<SFTile const> iBoxes, SFTile const* iWhole,
                        SFPrunableList const& iList, std::size_t iLevel, bool iLastWasVain) const
{
  bool const isLast = iLevel + 1 >= LevelsFor(iList);
  auto& lists = ioWorker.lists[iLevel];
  SFBoxes const changed =
      _pruner.Prune(iList, iBoxes, isLast ? SFListUse::ToRun : SFListUse::ToPrune, ioWorker.pruning, lists.data());
  if (ioWorker.MustStop())
    return;
  std::size_t cost = 0;
  for (std::size_t i = 0; i < iBoxes.size(); ++i)
    cost += lists[i].cost;
  bool const gainsLittle = isLast ? 4 * cost > 3 * iBoxes.size() * iList.cost : changed == 0 && iLastWasVain;
  if (iWhole != nullptr && gainsLittle) {
    RunBox(ioWorker, *iWhole, iList);
    return;
  }
  for (std::size_t i = 0; i < iBoxes.size() && !ioWorker.MustStop(); ++i) {
    bool const vain = (changed >> i & 1U) == 0;
    if (lists[i].IsSettled())
      FillBox(ioWorker, iBoxes[i], lists[i].settled);
    else if (isLast || (vain && iLastWasVain) || lists[i].choices == 0 || lists[i].cost < WorthPruning)
      RunBox(ioWorker, iBoxes[i], lists[i]);
    else
      VisitParts(ioWorker, iBoxes[i], lists[i], iLevel + 1, vain);
  }
}

void SFTapeSweep::VisitParts(Worker& ioWorker, SFTile const& iBox, SFPrunableList const& iList, std::size_t iLevel,
                             bool iLastWasVain) const
{
  std::array<SFTile, SFTapePruner::MaxBoxes> parts;
  std::size_t count = 0;
  bool isFirst = true;
  auto const visit = [&](bool iIsLast) {
    if (count > 0 && !ioWorker.MustStop())
      Visit(ioWorker, {parts.data(), count}, isFirst && iIsLast ? &iBox : nullptr, iList, iLevel, iLastWasVain);
    count = 0;
    isFirst = false;
  };
  ForEachBox(iBox, _levels[iLevel], [&](SFTile const& iPart) {
    if (count == SFTapePruner::BoxesFor(iList))
      visit(false);
    parts[count++] = iPart;
  });
  visit(true);
}

/// Stores one value all over a box.
void SFTapeSweep::FillBox(Worker& ioWorker, SFTile const& iBox, float iValue) const
{
  SFGrid const& grid = _tape.GetGrid();
  SFFloatTarget const& target = ioWorker.runner.GetTarget();
  for (unsigned int k = 0; k < iBox.count[2]; ++k)
    for (unsigned int j = 0; j < iBox.count[1]; ++j)
      std::fill_n(target.floats + grid.Index(iBox.begin[0], iBox.begin[1] + j, iBox.begin[2] - target.firstSlice + k),
                  iBox.count[0], iValue);
  if (*ioWorker.onTile)
    (*ioWorker.onTile)();
}

/// Without a plan, where that is faster: false where it is not.
bool SFTapeSweep::RunSmallBox(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList) const
{
  SFFloatTarget const& target = ioWorker.runner.GetTarget();
  bool const isSmall = VolumeOf(AllAxes, iBox.count) <= SFDirectRunner::MaxVolume;
  bool const isAll = SameSize(iBox.count, _all.count); // whose plan may serve once more
  if (!isSmall || isAll || target.floats == nullptr || !SFDirectRunner::CanRun(iList))
    return false;
  SFValueView const result = ioWorker.direct.Run(iList, iBox);
  SFGrid const& grid = _tape.GetGrid();
  auto const row = static_cast<std::ptrdiff_t>(grid.dims[0]);
  SFStoreBox box;
  box.floats.out = target.floats + grid.Index(iBox.begin[0], iBox.begin[1], iBox.begin[2] - target.firstSlice);
  box.floats.s1 = row;
  box.floats.s2 = row * static_cast<std::ptrdiff_t>(grid.dims[1]);
  box.floats.n0 = iBox.count[0];
  box.floats.n1 = iBox.count[1];
  box.floats.n2 = iBox.count[2];
  box.values = {result.data, result.strides[1], result.strides[2]};
  box.varies = result.strides[0] != 0;
  auto const& kernels = _tape.GetKernels();
  (target.clamps ? kernels.storeClamped : kernels.storePlain)(box, target.diagonal);
  if (*ioWorker.onTile)
    (*ioWorker.onTile)();
  return true;
}

void SFTapeSweep::RunBox(Worker& ioWorker, SFTile const& iBox, SFTapeList const& iList) const
{
  if (RunSmallBox(ioWorker, iBox, iList))
    return;
  Size size{};
  std::size_t left = _tileVolume;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    size[axis] = static_cast<unsigned int>(std::clamp<std::size_t>(iBox.count[axis], 1, left));
    left = std::max<std::size_t>(1, left / size[axis]);
  }
  SFTapeRunner& runner = ioWorker.runner;
  runner.Plan(iList, size);
  // What leaves nothing behind but floats does so for the whole region: the lines of the cache that two tiles share are
  // brought in and written twice.
  if (!_prunes && runner.StoresResult() && !runner.KeepsValues())
    size = iBox.count;
  ForEachBox(iBox, size, [&](SFTile const& iTile) {
    if (ioWorker.MustStop())
      return;
    if (!SameSize(runner.PlannedCount(), iTile.count))
      runner.Plan(iList, iTile.count);
    RunTile(ioWorker, iTile, iList);
  });
  bool const holds = SameSize(size, iBox.count) && runner.StoresResult() && !runner.GetStop().IsStopped();
  ioWorker.planned = iBox;
  ioWorker.plannedIn = holds ? _context._preparations : 0;
  ioWorker.plannedWhole = &iList == &_tape.GetList();
}

/// Of the list that the runner has been planned for.
void SFTapeSweep::RunTile(Worker& ioWorker, SFTile const& iTile, SFTapeList const& iList) const
{
  SFTapeRunner& runner = ioWorker.runner;
  runner.RunTile(iTile);
  if (runner.GetStop().IsStopped())
    return;
  if (!runner.StoresResult())
    (*ioWorker.sink)(iTile, iList, runner);
  if (*ioWorker.onTile)
    (*ioWorker.onTile)();
}

} // namespace SF
