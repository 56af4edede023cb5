#pragma once

#include <array>
#include <filesystem>
#include <vector>

namespace SFExample {

/// Writes a voxel grid, x fastest, as a NumPy file of 32-bit floats with shape (nz, ny, nx). The file appears
/// whole or not at all. Throws std::runtime_error, the file's name first, when it cannot be written.
void WriteNpy(std::filesystem::path const& iFile, std::array<unsigned int, 3> const& iDims,
              std::vector<float> const& iValues);

} // namespace SFExample
