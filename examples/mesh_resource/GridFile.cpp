#include "GridFile.h"

#include <bit>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace SFExample {

static_assert(std::endian::native == std::endian::little, "the header below says that the floats are little-endian");

namespace {

/// Magic, version 1.0, the header's length in 16 bits, the header; padded so that the values start at a multiple
/// of 64 bytes.
std::string NpyHeader(std::array<unsigned int, 3> const& iDims)
{
  constexpr std::size_t preamble = 10;
  constexpr std::size_t alignment = 64;
  std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + std::to_string(iDims[2]) + ", " +
                       std::to_string(iDims[1]) + ", " + std::to_string(iDims[0]) + "), }";
  std::size_t const end = preamble + header.size() + 1;
  header.append((alignment - end % alignment) % alignment, ' ').append("\n");
  std::string const length{static_cast<char>(header.size() & 0xFF), static_cast<char>(header.size() >> 8)};
  return "\x93NUMPY" + std::string{'\1', '\0'} + length + header;
}

} // namespace

void WriteNpy(std::filesystem::path const& iFile, std::array<unsigned int, 3> const& iDims,
              std::vector<float> const& iValues)
{
  std::filesystem::path partial = iFile;
  partial += ".partial";
  std::string const header = NpyHeader(iDims);
  std::ofstream stream(partial, std::ios::binary);
  stream.write(header.data(), static_cast<std::streamsize>(header.size()));
  stream.write(reinterpret_cast<char const*>(iValues.data()),
               static_cast<std::streamsize>(iValues.size() * sizeof(float)));
  stream.close();

  std::error_code error;
  if (stream)
    std::filesystem::rename(partial, iFile, error);
  if (!stream || error) {
    std::error_code ignored;
    std::filesystem::remove(partial, ignored);
    throw std::runtime_error(iFile.string() + ": cannot be written" + (error ? ": " + error.message() : ""));
  }
}

} // namespace SFExample
