/// Runs a target over kept inputs: files, or folders of files. Exit status 0 when all of them pass, 2 when an argument
/// cannot be read or a folder holds nothing; a violated property aborts.

#include "Harness.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(fs::path const& iPath)
{
  if (!fs::is_directory(iPath))
    return {iPath};
  std::vector<fs::path> files;
  for (auto const& entry : fs::directory_iterator(iPath))
    if (entry.is_regular_file())
      files.push_back(entry.path());
  if (files.empty())
    throw std::runtime_error(iPath.string() + " holds no file");
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::uint8_t> BytesOf(fs::path const& iFile)
{
  std::ifstream stream(iFile, std::ios::binary);
  if (!stream)
    throw std::runtime_error(iFile.string() + " cannot be read");
  return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

int main(int iCount, char** iArguments)
{
  std::size_t replayed = 0;
  try {
    for (int i = 1; i < iCount; ++i)
      for (fs::path const& file : FilesOf(iArguments[i])) {
        std::cerr << file.string() << std::endl; // before the run, so that the last line names a failing input
        auto const bytes = BytesOf(file);
        TestOneInput(bytes.data(), bytes.size());
        ++replayed;
      }
  } catch (std::exception const& error) {
    std::cerr << iArguments[0] << ": " << error.what() << '\n';
    return 2;
  }
  std::cerr << replayed << " inputs replayed\n";
  return replayed > 0 ? 0 : 2;
}
