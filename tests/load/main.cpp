/// sf_load: threads of a host that build, compile, render, differentiate and write graphs of their own and shared ones
/// over and over. Every result is compared with the one computed before they started, and the memory is watched.
///
/// Exit status: 0; 1 for a result that differs, or for too much memory; 2 for wrong options.

#include "Jobs.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <mutex>
#include <random>
#include <streambuf>
#include <thread>
#include <unistd.h>

namespace {

using namespace SFLoad;
using Clock = std::chrono::steady_clock;

struct Options
{
  double seconds = 3.0;
  unsigned int threads = 8;
  double ceiling = 1024.0; ///< MiB
  double slack = 48.0;     ///< MiB by which memory may grow after the warm-up
};

/// Takes the library's lines and keeps nothing.
class Nowhere : public std::streambuf
{
protected:
  int_type overflow(int_type iCharacter) override { return traits_type::not_eof(iCharacter); }
  std::streamsize xsputn(char const*, std::streamsize iCount) override { return iCount; }
};

/// MiB that the process has in memory.
double ResidentMemory()
{
  std::ifstream file("/proc/self/statm");
  double all = 0.0;
  double resident = 0.0;
  file >> all >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

struct Task
{
  Model const* model;
  Job const* job;
  std::uint64_t expected;
};

/// All pieces of work, with what they give when nothing else runs.
std::vector<Task> MakeTasks(std::vector<Model> const& iModels)
{
  std::vector<Task> tasks;
  for (Model const& model : iModels)
    for (Job const& job : Jobs)
      if ((model.isSmall || !job.onlySmall) && (model.isCopyable || !job.onlyCopyable))
        tasks.push_back({&model, &job, job.run(model, 0)});
  return tasks;
}

/// What the threads share.
struct Load
{
  std::vector<Task> tasks;
  Clock::time_point end;
  std::atomic<std::size_t> done{0};
  std::atomic<std::size_t> differences{0};
  std::mutex reporting;

  void Work(unsigned int iThread)
  {
    std::mt19937 random(iThread);
    while (Clock::now() < end && differences == 0) {
      Task const& task = tasks[random() % tasks.size()];
      try {
        if (task.job->run(*task.model, iThread) != task.expected)
          Report(task, "gives another result");
      } catch (std::exception const& error) {
        Report(task, error.what());
      }
      ++done;
    }
  }

private:
  void Report(Task const& iTask, char const* iWhat)
  {
    ++differences;
    std::lock_guard<std::mutex> const lock(reporting);
    std::fprintf(stderr, "sf_load: %s of %s: %s\n", iTask.job->name, iTask.model->name.c_str(), iWhat);
  }
};

/// MiB in memory at two moments when all threads are at work.
struct Memory
{
  double warm = 0.0; ///< after a third of the time, by when every piece of work has had its turn
  double late = 0.0;
};

Memory RunThreads(Load& ioLoad, Options const& iOptions)
{
  auto const length = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(iOptions.seconds));
  auto const begin = Clock::now();
  ioLoad.end = begin + length;
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < iOptions.threads; ++i)
    threads.emplace_back([&ioLoad, i] { ioLoad.Work(i); });
  Memory memory;
  std::this_thread::sleep_until(begin + length / 3);
  memory.warm = ResidentMemory();
  std::this_thread::sleep_until(ioLoad.end);
  memory.late = ResidentMemory();
  for (std::thread& thread : threads)
    thread.join();
  return memory;
}

int Run(Options const& iOptions)
{
  Nowhere nowhere;
  std::streambuf* const before = std::cout.rdbuf(&nowhere);
  double const atStart = ResidentMemory();
  auto const models = MakeModels(iOptions.threads);
  Load load;
  load.tasks = MakeTasks(models);
  Memory const memory = RunThreads(load, iOptions);
  std::cout.rdbuf(before);

  std::printf("%zu pieces of work by %u threads in %g s, %zu with another result\n", load.done.load(), iOptions.threads,
              iOptions.seconds, load.differences.load());
  std::printf("memory: %.1f MiB at the start, %.1f MiB warm, %.1f MiB at the end\n", atStart, memory.warm, memory.late);
  bool const grown = memory.late > memory.warm + iOptions.slack;
  bool const tooMuch = std::max(memory.warm, memory.late) > iOptions.ceiling;
  if (grown || tooMuch)
    std::fprintf(stderr, "sf_load: %s\n", grown ? "memory has grown" : "more memory than allowed");
  return load.differences == 0 && load.done > 0 && !grown && !tooMuch ? 0 : 1;
}

} // namespace

int main(int iCount, char** iArguments)
{
  Options options;
  CLI::App app("Loads the library with threads and compares every result.", "sf_load");
  app.add_option("--seconds", options.seconds, "How long")->check(CLI::PositiveNumber);
  app.add_option("--threads", options.threads, "How many threads")->check(CLI::Range(1, 1024));
  app.add_option("--memory", options.ceiling, "MiB that the process may take");
  app.add_option("--slack", options.slack, "MiB that memory may grow by after a third of the time");
  try {
    app.parse(iCount, iArguments);
    return Run(options);
  } catch (CLI::ParseError const& error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "sf_load: %s\n", error.what());
    return 1;
  }
}
