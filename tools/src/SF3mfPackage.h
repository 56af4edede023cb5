#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace SF {

/// What goes into a 3MF file. Alone in this header, because lib3mf defines names that SF has too.
struct SF3mfContent
{
  std::vector<std::array<float, 3>> vertices;
  std::span<std::array<std::uint32_t, 3> const> triangles;
  std::string name;
  std::string unit;                          ///< its symbol
  std::atomic<bool> const* cancel = nullptr; ///< ends the making, with an error; may be null
};

/// The bytes of the file; empty, with the number of lib3mf's error, when it fails.
std::vector<unsigned char> Make3mfPackage(SF3mfContent const& iContent, unsigned int& oError);

} // namespace SF
