#include "tape/SFTapePoints.h"

#include "ResourceToSF.h"
#include "tape/SFPointCloud.h"

#include <algorithm>
#include <bit>

namespace SF {
namespace {

/// Points of a batch: 4 KiB a value, so that those in use together stay in the first-level caches.
constexpr std::size_t BatchSize = 512;

/// Points of a batch for resources that answer many at once: enough to hide what a call of one costs.
constexpr std::size_t LargestBatchSize = 1U << 14;

/// At points a context has neither a domain size nor a voxel size.
constexpr std::array<double, ELimitCount> NoLimits{0.0, 0.0};

/// A list that costs less at a point, in additions, is run without further ado: dividing the points costs as much.
constexpr std::size_t WorthPruning = 192;
/// So many points are worth pruning for: it takes as long as a few hundred points.
constexpr std::size_t LeastPoints = 1024;
/// What planning and calling a step costs beside its values, in additions.
constexpr double StepOverhead = 1500.0;
/// Points that are divided at once, at most: they stay in a near cache or two.
constexpr std::size_t MostPoints = std::size_t{1} << 18;
/// So many points are divided further: rows of their parts are long enough, and planned for quickly enough.
constexpr std::size_t WorthDividing = 2048;
/// Batches are planned for as many points, at least: the plan serves shorter ones too.
constexpr std::size_t LeastPlanned = 64;
/// Levels of the division, each with lists of its own.
constexpr std::size_t MostLevels = 6;
/// After an attempt that gained nothing so many parts are run as they come.
constexpr unsigned int Patience = 16;

/// A batch that is no smaller than what the resources of a tape answer together.
std::size_t BatchSizeFor(SFTape const& iTape)
{
  std::size_t size = BatchSize;
  for (auto const& instruction : iTape.instructions)
    if (IsResourceCode(instruction.code))
      size = std::max(size, std::min(LargestBatchSize, instruction.resource->GetBatchSize()));
  return size;
}

} // namespace

/// The working memory of one thread.
struct SFTapePoints::Worker
{
  using Parts = std::array<SFPointCloud::Part, SFPointCloud::MaxParts>;
  /// Of a level of the division.
  struct Level
  {
    Parts parts;
    std::array<SFPrunableList, SFPointCloud::MaxParts> lists;
  };

  explicit Worker(SFTapeInvariants const& iTape) : runner(iTape) {}

  std::size_t DividingBytes() const
  {
    std::size_t bytes = cloud.GetBytes() + pruning.positions.capacity() * sizeof(std::uint32_t) +
                        pruning.single.capacity() * sizeof(SFStepState<1>) +
                        pruning.several.capacity() * sizeof(SFStepState<SFRangeLanes>);
    for (auto const& level : levels)
      for (SFPrunableList const& list : level->lists)
        bytes += list.steps.capacity() * sizeof(SFTapeStep);
    return bytes;
  }

  SFTapeRunner runner;
  SFTapeList const* planned = nullptr; ///< the tape's own, or none
  std::array<std::array<double, SFShortestRow>, 3> few{};
  std::array<std::vector<double>, 3> copies; ///< of a batch that a source gives
  SFPrunerScratch pruning;
  SFPointCloud cloud;
  std::vector<std::unique_ptr<Level>> levels;
};

/// The work of one thread in one call.
class SFTapePoints::Work
{
public:
  Work(SFTapePoints const& iOwner, Worker& ioWorker, Points const& iPoints, Sink const& iSink)
    : _owner(iOwner), _worker(ioWorker), _points(iPoints), _sink(iSink)
  {
  }

  /// All steps at points as they come.
  void RunInOrder(SFPointPlaces const& iPlaces)
  {
    auto const& [x, y, z] = _points.arrays;
    if (_points.source == nullptr)
      return Run(_owner._tape.GetList(), {x + iPlaces.first, y + iPlaces.first, z + iPlaces.first}, iPlaces);
    auto& copies = _worker.copies;
    for (std::size_t done = 0; done < iPlaces.count && !_worker.runner.GetStop().IsStopped();) {
      SFPointPlaces const places{iPlaces.first + done, std::min(_owner._plan.volume, iPlaces.count - done), nullptr};
      for (auto& copy : copies)
        copy.resize(std::max(copy.size(), places.count));
      _points.source->GetPoints(places.first, places.count, {copies[0].data(), copies[1].data(), copies[2].data()});
      Run(_owner._tape.GetList(), {copies[0].data(), copies[1].data(), copies[2].data()}, places);
      done += places.count;
    }
  }

  /// Returns whether pruning gained something.
  bool RunDivided(SFPointPlaces const& iPlaces)
  {
    _first = iPlaces.first;
    Part const all = _worker.cloud.Gather(_points, iPlaces.first, iPlaces.count);
    _pruner = _owner.PrunerFor(all.box);
    if (_worker.pruning.positions.empty())
      _worker.pruning = _pruner->MakeScratch();
    _worker.pruning.stop = &_worker.runner.GetStop();
    return Visit(all, _pruner->GetList(), 0, false);
  }

private:
  using Part = SFPointCloud::Part;

  bool MustStop() { return _worker.runner.GetStop().MustStop(); }

  Worker::Level& LevelAt(std::size_t iLevel)
  {
    while (_worker.levels.size() <= iLevel)
      _worker.levels.push_back(std::make_unique<Worker::Level>());
    return *_worker.levels[iLevel];
  }

  /// About how long a list takes at some points, in additions.
  static double TimeOf(SFPrunableList const& iList, std::size_t iCount)
  {
    return static_cast<double>(iList.cost) * static_cast<double>(iCount) +
           StepOverhead * static_cast<double>(iList.steps.size());
  }

  /// Divides a part, prunes for its parts, and goes on with those that are worth it. Where nothing is gained, twice or in
  /// small parts, it is run as it is. Returns whether something is gained.
  bool Visit(Part const& iPart, SFPrunableList const& iList, std::size_t iLevel, bool iLastWasVain)
  {
    Worker::Level& level = LevelAt(iLevel);
    std::size_t const count = _worker.cloud.Divide(iPart, level.parts);
    std::array<SFPointBox, SFPointCloud::MaxParts> boxes;
    for (std::size_t i = 0; i < count; ++i)
      boxes[i] = level.parts[i].box;
    _pruner->Prune(iList, SFPruningBoxes(std::span<SFPointBox const>(boxes.data(), count)), SFListUse::ToPrune,
                   _worker.pruning, level.lists.data());
    if (MustStop())
      return false;
    double time = 0.0;
    bool goesOn = false;
    for (std::size_t i = 0; i < count; ++i) {
      time += TimeOf(level.lists[i], level.parts[i].count);
      goesOn = goesOn || (count > 1 && IsWorthDividing(level.parts[i], level.lists[i], iLevel + 1));
    }
    bool const isVain = time > 0.8 * TimeOf(iList, iPart.count);
    if (isVain && (iLastWasVain || !goesOn)) {
      RunPart(iPart, iLevel == 0 ? _owner._tape.GetList() : iList);
      return false;
    }
    bool gains = !isVain;
    for (std::size_t i = 0; i < count && !MustStop(); ++i)
      if (count > 1 && IsWorthDividing(level.parts[i], level.lists[i], iLevel + 1))
        gains = Visit(level.parts[i], level.lists[i], iLevel + 1, isVain) || gains;
      else
        RunPart(level.parts[i], level.lists[i]);
    return gains;
  }

  static bool IsWorthDividing(Part const& iPart, SFPrunableList const& iList, std::size_t iLevel)
  {
    return iLevel < MostLevels && iPart.count >= WorthDividing && iList.choices > 0 && iList.cost >= WorthPruning;
  }

  void RunPart(Part const& iPart, SFTapeList const& iList)
  {
    Run(iList, _worker.cloud.PointsOf(iPart), {_first, iPart.count, _worker.cloud.NumbersOf(iPart)});
  }

  /// Runs a list in batches of about one length.
  void Run(SFTapeList const& iList, std::array<double const*, 3> const& iPoints, SFPointPlaces const& iPlaces)
  {
    std::size_t const batches = (iPlaces.count + _owner._plan.volume - 1) / _owner._plan.volume;
    std::size_t const length = iPlaces.count / batches + (iPlaces.count % batches != 0 ? 1 : 0);
    bool isPlanned = &iList == _worker.planned;
    for (std::size_t from = 0; from < iPlaces.count && !_worker.runner.GetStop().IsStopped(); from += length) {
      SFPointPlaces places{iPlaces.first, std::min(length, iPlaces.count - from), nullptr};
      if (iPlaces.numbers != nullptr)
        places.numbers = iPlaces.numbers + from;
      else
        places.first += from;
      isPlanned = RunBatch(iList, {iPoints[0] + from, iPoints[1] + from, iPoints[2] + from}, places, isPlanned);
    }
    _worker.planned = isPlanned && &iList == &_owner._tape.GetList() ? &iList : nullptr;
  }

  /// A batch shorter than the kernels like is filled up with its last point, unless the host would be asked about it.
  bool RunBatch(SFTapeList const& iList, std::array<double const*, 3> iPoints, SFPointPlaces const& iPlaces,
                bool iIsPlanned)
  {
    SFTapeRunner& runner = _worker.runner;
    std::size_t count = iPlaces.count;
    if (count < SFShortestRow && !_owner._asksHost) {
      for (std::size_t axis = 0; axis < 3; ++axis) {
        std::fill(std::copy_n(iPoints[axis], count, _worker.few[axis].begin()), _worker.few[axis].end(),
                  iPoints[axis][count - 1]);
        iPoints[axis] = _worker.few[axis].data();
      }
      count = SFShortestRow;
    }
    SFTile const tile{{0, 0, 0}, {static_cast<unsigned int>(count), 1, 1}};
    if (!iIsPlanned || !runner.Recount(tile.count[0])) {
      std::size_t const longest = std::min(_owner._plan.volume, std::max(LeastPlanned, std::bit_ceil(count)));
      runner.Plan(iList, {static_cast<unsigned int>(std::max(count, longest)), 1, 1});
      if (!runner.Recount(tile.count[0]))
        runner.Plan(iList, tile.count);
    }
    runner.SetPoints(iPoints);
    runner.RunTile(tile);
    if (!MustStop())
      _sink(iPlaces, [&](std::size_t iResult) { return runner.ResultRow(iResult, tile, 0, 0); });
    return true;
  }

  SFTapePoints const& _owner;
  Worker& _worker;
  Points const& _points;
  Sink const& _sink;
  std::size_t _first = 0;
  std::shared_ptr<SFTapePruner const> _pruner;
};

SFTapePoints::SFTapePoints(SFTape iTape, SFCompiledFieldOptions const& iOptions)
  : _plan(PlanWork(iTape, iOptions.threads, BatchSizeFor(iTape), iOptions.memoryBudget)),
    _most((iOptions.memoryBudget - std::min(iOptions.memoryBudget, _plan.bytes)) / _plan.threads /
          SFPointCloud::BytesPerPoint),
    _asksHost(HasResources(iTape)),
    _whereSlopesHelp(iTape.slopes == nullptr ? WhereSlopesHelp(iTape) : std::vector<char>()),
    _tape(SFTapeInvariants::AtPoints(std::move(iTape), NoLimits))
{
  std::size_t cost = 0;
  for (SFTapeStep const& step : _tape.GetList().steps)
    cost += CostOf(step.code);
  if (cost < WorthPruning || _most < LeastPoints || _plan.volume > BatchSize)
    return;
  auto const& steps = _tape.GetList().steps;
  _mayPrune = std::any_of(steps.begin(), steps.end(), [](SFTapeStep const& iStep) { return IsChoiceCode(iStep.code); });
}

SFTapePoints::~SFTapePoints() = default;

std::shared_ptr<SFTapePruner const> SFTapePoints::PrunerFor(SFPointBox const& iBox) const
{
  SFTape const& tape = _tape.GetTape();
  SFPointBox const anywhere{};
  return _pruner.Get(tape.slopes != nullptr ? anywhere : iBox, [&](SFPointBox const& iAll) {
    std::shared_ptr<SFSlopeTable const> slopes = tape.slopes;
    if (slopes == nullptr)
      slopes = std::make_shared<SFSlopeTable const>(SlopesOverBox(_whereSlopesHelp, tape, iAll));
    return SFTapePruner(_tape, SFInterval::Infinity, std::move(slopes));
  });
}

std::size_t SFTapePoints::GetBytes() const
{
  std::size_t const each = _plan.bytes / _plan.threads + _dividing.load(std::memory_order_relaxed);
  return each * std::clamp(_made.load(std::memory_order_relaxed), 1U, _plan.threads);
}

/// How many points a thread takes at once.
std::size_t SFTapePoints::PointsAtOnce(std::size_t iCount) const
{
  if (!_mayPrune || iCount < LeastPoints)
    return _plan.volume;
  std::size_t const share = _plan.threads == 1 ? iCount : iCount / (2 * std::size_t{_plan.threads}) + 1;
  return std::min(_most, std::clamp(share, 4 * WorthDividing, MostPoints));
}

/// Not for a while after an attempt in vain.
bool SFTapePoints::TriesPruning(std::size_t iCount) const
{
  if (!_mayPrune || iCount < LeastPoints)
    return false;
  unsigned int const left = _inVain.load(std::memory_order_relaxed);
  if (left > 0)
    _inVain.store(left - 1, std::memory_order_relaxed);
  return left == 0;
}

HRESULT SFTapePoints::Run(std::size_t iCount, Points const& iPoints, SFFieldCall& ioCall, Sink const& iSink) const
{
  std::size_t const length = PointsAtOnce(iCount);
  std::size_t const turns = iCount / length + (iCount % length != 0 ? 1 : 0);
  std::size_t const worth =
      _asksHost ? _plan.threads : ThreadsWorth(_plan.threads, _tape.GetList().steps.size(), iCount);
  auto const threads = static_cast<unsigned int>(std::clamp<std::size_t>(turns, 1, worth));
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> done{0};
  return ioCall.Run(threads, [&](bool iIsCaller) {
    auto worker = _workers.Take([&] {
      ++_made;
      return std::make_unique<Worker>(_tape);
    });
    SFStopState& stop = worker->runner.GetStop();
    stop.Restart(&ioCall.GetStopRequest());
    Sink const sink = [&](SFPointPlaces const& iPlaces, Rows const& iRows) {
      iSink(iPlaces, iRows);
      done += iPlaces.count;
      if (iIsCaller)
        ioCall.Report(static_cast<double>(done) / static_cast<double>(iCount));
    };
    Work work(*this, *worker, iPoints, sink);
    for (std::size_t turn = next++; turn < turns && !stop.IsStopped(); turn = next++) {
      SFPointPlaces const places{turn * length, std::min(length, iCount - turn * length), nullptr};
      if (!TriesPruning(places.count))
        work.RunInOrder(places);
      else if (!work.RunDivided(places))
        _inVain = Patience;
    }
    if (stop.IsStopped())
      return;
    stop.Restart(nullptr);
    if (std::size_t const bytes = worker->DividingBytes(); bytes > _dividing)
      _dividing = bytes;
    _workers.GiveBack(std::move(worker), _plan.threads);
  });
}

} // namespace SF
