#include "FileContent.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace SFExample {

std::string ReadFile(std::filesystem::path const& iFile)
{
  std::error_code error;
  auto const status = std::filesystem::status(iFile, error);
  if (!std::filesystem::exists(status))
    throw std::runtime_error("there is no such file");
  if (!std::filesystem::is_regular_file(status))
    throw std::runtime_error("this is not a file");
  std::ifstream stream(iFile, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream)
    throw std::runtime_error("the file cannot be read");
  return content;
}

} // namespace SFExample
