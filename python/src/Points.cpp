#include "Points.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace SFPython {

ArrayPoints::ArrayPoints(std::array<py::array, 3> const& iCoordinates)
{
  for (std::size_t i = 0; i < 3; ++i)
    _data[i] = static_cast<char const*>(iCoordinates[i].data());
  for (py::ssize_t axis = iCoordinates[0].ndim() - 1; axis >= 0; --axis) {
    Axis added{static_cast<std::size_t>(iCoordinates[0].shape(axis)), {}};
    for (std::size_t i = 0; i < 3; ++i)
      added.strides[i] = iCoordinates[i].strides(axis);
    Add(added);
    _count *= added.length;
  }
  if (_axes.empty())
    _axes.push_back({});
}

std::array<double const*, 3> ArrayPoints::GetArrays() const
{
  bool isWhole = _axes.size() == 1;
  for (std::size_t i = 0; i < 3; ++i)
    isWhole = isWhole && _axes.front().strides[i] == sizeof(double) &&
              reinterpret_cast<std::uintptr_t>(_data[i]) % alignof(double) == 0;
  std::array<double const*, 3> arrays{};
  for (std::size_t i = 0; isWhole && i < 3; ++i)
    arrays[i] = reinterpret_cast<double const*>(_data[i]);
  return arrays;
}

void ArrayPoints::Add(Axis const& iAxis)
{
  if (iAxis.length == 1)
    return;
  if (!_axes.empty()) {
    Axis& last = _axes.back();
    bool goesOn = true;
    for (std::size_t i = 0; i < 3; ++i)
      goesOn = goesOn && iAxis.strides[i] == static_cast<std::ptrdiff_t>(last.length) * last.strides[i];
    if (goesOn) {
      last.length *= iAxis.length;
      return;
    }
  }
  _axes.push_back(iAxis);
}

void ArrayPoints::GetPoints(std::size_t iFirst, std::size_t iCount, std::array<double*, 3> const& oCoordinates) const
{
  for (std::size_t done = 0; done < iCount;) {
    std::array<char const*, 3> from = _data;
    std::size_t rest = iFirst + done;
    for (Axis const& axis : _axes) {
      for (std::size_t i = 0; i < 3; ++i)
        from[i] += static_cast<std::ptrdiff_t>(rest % axis.length) * axis.strides[i];
      rest /= axis.length;
    }
    Axis const& row = _axes.front();
    std::size_t const length = std::min(row.length - (iFirst + done) % row.length, iCount - done);
    for (std::size_t i = 0; i < 3; ++i) {
      char const* value = from[i];
      double* const values = oCoordinates[i] + done;
      std::ptrdiff_t const stride = row.strides[i];
      for (std::size_t k = 0; k < length; ++k, value += stride)
        std::memcpy(values + k, value, sizeof(double)); // an array may be unaligned
    }
    done += length;
  }
}

} // namespace SFPython
