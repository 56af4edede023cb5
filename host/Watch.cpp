#include "Watch.h"

#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace SFHost {
std::optional<FileState> StateOf(std::string const& iPath)
{
  struct stat file
  {
  };
  if (stat(iPath.c_str(), &file) != 0)
    return std::nullopt;
  return FileState{static_cast<long long>(file.st_ino), file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
}

void RunWhenChanged(std::string const& iPath, std::function<void()> const& iRun)
{
  constexpr auto pause = std::chrono::milliseconds(100);
  for (;;) {
    auto const before = StateOf(iPath);
    iRun();
    for (auto now = before; !now || now == before; now = StateOf(iPath))
      std::this_thread::sleep_for(pause);
    // Writers that are not done yet go on for a moment.
    std::this_thread::sleep_for(pause);
  }
}

} // namespace SFHost
