#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace SF {

/// Working memory that threads take and leave behind for the next ones. Any number of threads.
template <class T>
class SFPool
{
public:
  /// One that was left behind, the last one first, or else what `iMake()` gives.
  template <class Make>
  std::unique_ptr<T> Take(Make iMake)
  {
    {
      std::lock_guard<std::mutex> const lock(_mutex);
      if (!_free.empty()) {
        std::unique_ptr<T> taken = std::move(_free.back());
        _free.pop_back();
        return taken;
      }
    }
    return iMake();
  }
  /// Keeps up to `iMost`; drops what is beyond.
  void GiveBack(std::unique_ptr<T> iTaken, std::size_t iMost)
  {
    std::lock_guard<std::mutex> const lock(_mutex);
    if (_free.size() < iMost)
      _free.push_back(std::move(iTaken));
  }

private:
  std::mutex _mutex;
  std::vector<std::unique_ptr<T>> _free;
};

} // namespace SF
