#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace SFHost {

/// Work that pages ask for: one piece at a time, as each uses all processors, and for each page only what it asked for last.
/// Safe for several threads.
class ViewJobs
{
public:
  using Work = std::function<std::string(std::atomic<bool> const& iCancel)>;

  /// The result of a piece of work. Cancels an earlier one of the same page. Throws SFCancelled when it is cancelled itself,
  /// and where too many pages wait.
  std::string Run(std::string const& iPage, Work const& iWork);

private:
  using Flag = std::shared_ptr<std::atomic<bool>>;

  Flag Enter(std::string const& iPage);
  void Leave(std::string const& iPage, Flag const& iFlag);

  static constexpr std::size_t MaxPages = 16;

  std::mutex _access;
  std::map<std::string, Flag> _newest;
  std::mutex _working;
};

} // namespace SFHost
