#pragma once

#include "evaluation/SFPointRuns.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_set>

namespace SF {

/// What a field and all that are restricted from it keep prepared for points: together no more than a budget, the ones
/// used last. Any number of threads.
class SFPreparedPoints
{
public:
  explicit SFPreparedPoints(std::size_t iBudget) : _budget(iBudget) {}

  /// The working memory that they share.
  std::shared_ptr<SFPointRuns::Scratch> const& GetScratch() const { return _scratch; }

private:
  struct Entry
  {
    template <class Make>
    explicit Entry(Make const& iMake) : runs(iMake())
    {
    }

    SFPointRuns runs;
    std::atomic<std::uint64_t> lastUse{0}; ///< by the clock
    std::atomic<std::size_t> counted{0};   ///< bytes that it counts for
  };
  using Entries = std::unordered_set<std::shared_ptr<Entry>>;

public:
  /// The place of one tape among them.
  class Place
  {
  public:
    explicit Place(std::shared_ptr<SFPreparedPoints> iOwner) : _owner(std::move(iOwner)) {}
    Place(Place const&) = delete;
    Place& operator=(Place const&) = delete;
    ~Place();

    /// Calls `iUse(runs)` with what is kept, or else with what `iMake()` gives.
    template <class Make, class Use>
    HRESULT With(Make const& iMake, Use const& iUse) const
    {
      std::shared_ptr<Entry> const entry = GetEntry(iMake);
      HRESULT const code = iUse(entry->runs);
      if (entry->runs.GetBytes() != entry->counted)
        _owner->Keep(entry);
      else
        entry->lastUse.store(_owner->_clock.load(std::memory_order_relaxed), std::memory_order_relaxed);
      return code;
    }

    /// The same with what is kept, if it has parts.
    template <class Use>
    std::optional<HRESULT> WithParts(Use const& iUse) const
    {
      std::shared_ptr<Entry> entry;
      {
        std::lock_guard<std::mutex> const lock(_mutex);
        entry = _entry.lock();
      }
      if (entry == nullptr || !entry->runs.HasParts())
        return std::nullopt;
      entry->lastUse.store(_owner->_clock.load(std::memory_order_relaxed), std::memory_order_relaxed);
      return iUse(entry->runs);
    }

  private:
    template <class Make>
    std::shared_ptr<Entry> GetEntry(Make const& iMake) const
    {
      std::lock_guard<std::mutex> const lock(_mutex);
      std::shared_ptr<Entry> entry = _entry.lock();
      if (entry == nullptr) {
        entry = std::make_shared<Entry>(iMake);
        _entry = entry;
      }
      return entry;
    }

    std::shared_ptr<SFPreparedPoints> _owner;
    mutable std::mutex _mutex;
    mutable std::weak_ptr<Entry> _entry;
  };

private:
  void Keep(std::shared_ptr<Entry> const& iEntry);
  Entries TakeOldest();

  std::shared_ptr<SFPointRuns::Scratch> _scratch = std::make_shared<SFPointRuns::Scratch>();
  std::size_t _budget;
  std::mutex _mutex;
  std::atomic<std::uint64_t> _clock{0}; ///< ticks whenever something is prepared
  Entries _entries;
  std::size_t _bytes = 0; ///< of the entries
};

} // namespace SF
