#include "Layout.h"

#include "Failure.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace SFHost {
namespace {

constexpr char const* Program = "dot";

struct CloseFile
{
  void operator()(std::FILE* iFile) const { std::fclose(iFile); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// A file without a name that holds some bytes, at its start. Unlike a pipe it takes all of them at once.
File FileWith(std::string const& iBytes)
{
  File file(std::tmpfile());
  bool const written = file != nullptr && std::fwrite(iBytes.data(), 1, iBytes.size(), file.get()) == iBytes.size() &&
                       std::fflush(file.get()) == 0 && lseek(fileno(file.get()), 0, SEEK_SET) == 0;
  if (!written)
    throw SystemFailure("temporary file", errno);
  return file;
}

/// Starts the program between two files. 0, or an error number.
int Start(int iInput, int iOutput, pid_t& oProcess)
{
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, iInput, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, iOutput, STDOUT_FILENO);
  char program[] = "dot";
  char format[] = "-Tsvg";
  char* const arguments[] = {program, format, nullptr};
  int const error = posix_spawnp(&oProcess, Program, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

std::string ReadAll(int iDescriptor)
{
  std::string bytes;
  char buffer[1 << 16];
  for (;;) {
    ssize_t const count = read(iDescriptor, buffer, sizeof buffer);
    if (count > 0)
      bytes.append(buffer, static_cast<std::size_t>(count));
    else if (count == 0 || errno != EINTR)
      return bytes;
  }
}

} // namespace

std::string LayOutAsSvg(std::string const& iDrawing)
{
  File const input = FileWith(iDrawing);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0)
    throw SystemFailure(Program, errno);
  File const output(fdopen(ends[0], "rb"));
  pid_t process = 0;
  int const error = Start(fileno(input.get()), ends[1], process);
  close(ends[1]);
  if (error == ENOENT)
    throw Failure(Program, "not found; install GraphViz, or write a .dot file");
  if (error != 0)
    throw SystemFailure(Program, error);

  std::string svg = ReadAll(ends[0]);
  int status = 0;
  while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw Failure(Program, "did not lay out the drawing");
  return svg;
}

} // namespace SFHost
