#include "evaluation/SFPreparedPoints.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace SF {

SFPreparedPoints::Place::~Place()
{
  std::shared_ptr<Entry> const entry = _entry.lock();
  if (entry == nullptr)
    return;
  std::lock_guard<std::mutex> const lock(_owner->_mutex);
  if (_owner->_entries.erase(entry) != 0)
    _owner->_bytes -= entry->counted;
}

/// Counts one that is new, or has grown.
void SFPreparedPoints::Keep(std::shared_ptr<Entry> const& iEntry)
{
  Entries dropped; // destroyed without the mutex
  std::lock_guard<std::mutex> const lock(_mutex);
  iEntry->lastUse = ++_clock;
  bool const isNew = _entries.insert(iEntry).second;
  std::size_t const bytes = iEntry->runs.GetBytes();
  _bytes += bytes - (isNew ? 0 : iEntry->counted.load());
  iEntry->counted = bytes;
  dropped = TakeOldest();
}

/// Those that are beyond the budget, and a quarter of it more, so that they need not be looked for each time. The one that
/// was used last stays.
SFPreparedPoints::Entries SFPreparedPoints::TakeOldest()
{
  Entries dropped;
  if (_bytes <= _budget)
    return dropped;
  std::vector<std::pair<std::uint64_t, std::shared_ptr<Entry>>> byAge; // others may use them meanwhile
  byAge.reserve(_entries.size());
  for (auto const& entry : _entries)
    byAge.emplace_back(entry->lastUse.load(std::memory_order_relaxed), entry);
  std::sort(byAge.begin(), byAge.end());
  byAge.pop_back();
  for (auto const& [age, entry] : byAge) {
    if (_bytes <= _budget - _budget / 4)
      break;
    _bytes -= entry->counted;
    dropped.insert(entry);
    _entries.erase(entry);
  }
  return dropped;
}

} // namespace SF
