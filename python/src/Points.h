#pragma once

#include "SFPointSource.h"

#include <pybind11/numpy.h>

#include <array>
#include <cstddef>
#include <vector>

namespace SFPython {

namespace py = pybind11;

/// The coordinates of points in three arrays of one shape and any strides, which are read where they lie. The arrays must
/// outlive the object.
class ArrayPoints : public SF::SFPointSource
{
public:
  /// Arrays of float64 that have been broadcast to one shape.
  explicit ArrayPoints(std::array<py::array, 3> const& iCoordinates);

  std::size_t GetCount() const { return _count; }
  /// The coordinates themselves where each lies in one piece, else null pointers.
  std::array<double const*, 3> GetArrays() const;
  void GetPoints(std::size_t iFirst, std::size_t iCount, std::array<double*, 3> const& oCoordinates) const override;

private:
  /// An axis of the arrays; neighbours over which all three go on evenly are one.
  struct Axis
  {
    std::size_t length = 1;
    std::array<std::ptrdiff_t, 3> strides{}; ///< in bytes
  };
  void Add(Axis const& iAxis);

  std::vector<Axis> _axes; ///< the fastest first
  std::array<char const*, 3> _data{};
  std::size_t _count = 1;
  bool _isRows = false; ///< along the fastest axis x, y and z of a point lie side by side, and the points too
};

} // namespace SFPython
