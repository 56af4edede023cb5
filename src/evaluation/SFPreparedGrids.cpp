#include "evaluation/SFPreparedGrids.h"

#include "SFCylindricalTransform.h"

#include <algorithm>
#include <limits>

namespace SF {
namespace {

/// The memory budget of a rendering divided by this is for hoisted values; the tiles get the rest.
constexpr std::size_t HoistedShare = 2;

/// Grids that are kept, at most.
constexpr std::size_t MostGrids = 8;

/// Slices that a grid is prepared for together when it is asked for slice by slice.
constexpr unsigned int WindowSlices = 64;

std::array<double, ELimitCount> LimitsOf(SFGrid const& iGrid)
{
  return {SFCylindricalTransform::CorrectionLimit(iGrid.DomainSize(), iGrid.h), 0.0};
}

bool IsFinite(SFGrid const& iGrid) { return iGrid.IsWithin(std::numeric_limits<double>::max()); }

} // namespace

// ---- one grid -------------------------------------------------------------------------------------------------

SFPreparedGrid::SFPreparedGrid(SFTape const& iField, SFGrid const& iSlices, SFWorkPlan const& iPlan, std::size_t iShare,
                               double iBand)
  : _field(iField), _plan(iPlan), _band(iBand), _asksHost(HasResources(iField)),
    _tape(iField, iSlices, LimitsOf(iSlices), iShare)
{
}

unsigned int SFPreparedGrid::ThreadsFor(std::size_t iPoints) const
{
  return _asksHost ? _plan.threads : ThreadsWorth(_plan.threads, _context->GetPruner().GetList().cost, iPoints);
}

bool SFPreparedGrid::IsOf(SFGrid const& iGrid) const
{
  SFGrid const& grid = _tape.GetGrid();
  return grid.whole == iGrid.whole && grid.h == iGrid.h && grid.origin == iGrid.origin;
}

bool SFPreparedGrid::Serves(SFGrid const& iSlices) const
{
  SFGrid const& grid = _tape.GetGrid();
  return IsOf(iSlices) && grid.firstSlice <= iSlices.firstSlice &&
         iSlices.firstSlice - grid.firstSlice + iSlices.dims[2] <= grid.dims[2];
}

bool SFPreparedGrid::CanMoveTo(SFTape const& iField, SFGrid const& iSlices) const
{
  SFGrid const& grid = _tape.GetGrid();
  return &_field == &iField && grid.dims == iSlices.dims && IsFinite(grid) && IsFinite(iSlices);
}

void SFPreparedGrid::MoveTo(SFGrid const& iSlices) { _tape.MoveTo(iSlices, LimitsOf(iSlices)); }

/// The magnitude that values are limited to.
double SFPreparedGrid::Limit() const { return std::min(_tape.GetGrid().Diagonal(), _band); }

void SFPreparedGrid::Prepare(SFFieldCall& ioCall)
{
  _tape.Prepare(_plan.threads, ioCall.GetStopRequest());
  if (_context == nullptr)
    _context = std::make_unique<SFSweepContext>(_tape, Limit());
  else
    _context->Restart(Limit());
}

// ---- those that are kept --------------------------------------------------------------------------------------

/// For the time of an operation. The mutex is held.
std::shared_ptr<SFPreparedGrid> SFPreparedGrids::Lend(Entry const& iEntry)
{
  ++iEntry->users;
  return {iEntry->grid.get(), [this, iEntry](SFPreparedGrid*) {
            std::lock_guard<std::mutex> const lock(_mutex);
            --iEntry->users;
          }};
}

/// The entry that serves some slices, moved to the front; or none.
SFPreparedGrids::Entry SFPreparedGrids::Find(SFGrid const& iSlices)
{
  auto const found = std::find_if(_entries.begin(), _entries.end(),
                                  [&](Entry const& iEntry) { return iEntry->grid->Serves(iSlices); });
  if (found == _entries.end())
    return nullptr;
  std::rotate(_entries.begin(), found, found + 1);
  return _entries.front();
}

/// An entry that nobody uses and that can be moved, taken out; or none. The last grid stays, so that two in turns do.
SFPreparedGrids::Entry SFPreparedGrids::Reuse(SFTape const& iField, SFGrid const& iSlices)
{
  for (std::size_t i = _entries.size(); i-- > 1;)
    if (_entries[i]->users == 0 && _entries[i]->grid->CanMoveTo(iField, iSlices)) {
      Entry const entry = _entries[i];
      _entries.erase(_entries.begin() + static_cast<std::ptrdiff_t>(i));
      return entry;
    }
  return nullptr;
}

/// The slices to prepare for: those that are asked for, or whole windows of a grid that is known.
SFGrid SFPreparedGrids::Window(SFGrid const& iGrid, unsigned int iBegin, unsigned int iEnd)
{
  bool const isKnown =
      std::any_of(_entries.begin(), _entries.end(), [&](Entry const& iEntry) { return iEntry->grid->IsOf(iGrid); });
  if (!isKnown)
    return iGrid.Slices(iBegin, iEnd);
  unsigned int const begin = iBegin / WindowSlices * WindowSlices;
  std::size_t const end = (std::size_t{iEnd} + WindowSlices - 1) / WindowSlices * WindowSlices;
  return iGrid.Slices(begin, static_cast<unsigned int>(std::min<std::size_t>(end, iGrid.dims[2])));
}

/// Lets go of the oldest ones until the others take no more than some bytes.
void SFPreparedGrids::Trim(std::size_t iBytes)
{
  std::size_t bytes = 0;
  std::size_t kept = 0;
  while (kept < std::min(MostGrids, _entries.size()) && bytes + _entries[kept]->grid->GetBytes() <= iBytes)
    bytes += _entries[kept++]->grid->GetBytes();
  _entries.resize(kept);
}

/// Makes room for another one first.
SFPreparedGrids::Entry SFPreparedGrids::Make(SFTape const& iField, SFGrid const& iSlices)
{
  std::size_t const budget = _options.memoryBudget;
  std::size_t const share = budget / HoistedShare;
  SFWorkPlan const plan = PlanWork(iField, _options.threads, SFTapeSweep::TileVolume, budget - share);
  {
    std::lock_guard<std::mutex> const lock(_mutex);
    Trim(budget - std::min(budget, share + plan.bytes));
  }
  return std::make_shared<Lent>(Lent{std::make_shared<SFPreparedGrid>(iField, iSlices, plan, share, _options.band)});
}

std::shared_ptr<SFPreparedGrid> SFPreparedGrids::Get(SFTape const& iField, SFGrid const& iGrid, unsigned int iBegin,
                                                     unsigned int iEnd, SFFieldCall& ioCall)
{
  SFGrid slices = iGrid.Slices(iBegin, iEnd);
  Entry entry;
  {
    std::lock_guard<std::mutex> const lock(_mutex);
    if (Entry const known = Find(slices))
      return Lend(known);
    slices = Window(iGrid, iBegin, iEnd);
    entry = Reuse(iField, slices);
  }
  if (entry != nullptr)
    entry->grid->MoveTo(slices);
  else
    entry = Make(iField, slices);
  entry->grid->Prepare(ioCall);
  if (ioCall.GetStopRequest()())
    return nullptr;
  std::lock_guard<std::mutex> const lock(_mutex);
  auto const lent = Lend(entry);
  if (entry->grid->MayBeKept()) {
    _entries.insert(_entries.begin(), entry);
    Trim(_options.memoryBudget);
  }
  return lent;
}

} // namespace SF
