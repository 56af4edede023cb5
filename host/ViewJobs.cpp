#include "ViewJobs.h"

#include "SFToolsErrors.h"

namespace SFHost {

ViewJobs::Flag ViewJobs::Enter(std::string const& iPage)
{
  std::lock_guard const lock(_access);
  auto const found = _newest.find(iPage);
  if (found == _newest.end() && _newest.size() >= MaxPages)
    throw SF::SFCancelled();
  if (found != _newest.end())
    *found->second = true;
  return _newest[iPage] = std::make_shared<std::atomic<bool>>(false);
}

void ViewJobs::Leave(std::string const& iPage, Flag const& iFlag)
{
  std::lock_guard const lock(_access);
  auto const found = _newest.find(iPage);
  if (found != _newest.end() && found->second == iFlag)
    _newest.erase(found);
}

std::string ViewJobs::Run(std::string const& iPage, Work const& iWork)
{
  Flag const cancel = Enter(iPage);
  std::shared_ptr<void> const leave(nullptr, [&](void*) { Leave(iPage, cancel); });
  std::lock_guard const lock(_working);
  if (*cancel)
    throw SF::SFCancelled();
  return iWork(*cancel);
}

} // namespace SFHost
