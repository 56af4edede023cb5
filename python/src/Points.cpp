#include "Points.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace SFPython {
namespace {

bool IsAligned(char const* iAddress) { return reinterpret_cast<std::uintptr_t>(iAddress) % alignof(double) == 0; }

/// Points of three numbers, one after the other: with this stride as a constant, compilers make it as fast as a copy.
void CopyRows(double const* iPoints, std::size_t iCount, std::array<double*, 3> const& oCoordinates)
{
  auto const [x, y, z] = oCoordinates;
  for (std::size_t i = 0; i < iCount; ++i) {
    x[i] = iPoints[3 * i];
    y[i] = iPoints[3 * i + 1];
    z[i] = iPoints[3 * i + 2];
  }
}

/// An array may be unaligned.
void CopyStrided(char const* iValues, std::ptrdiff_t iStride, std::size_t iCount, double* oValues)
{
  for (std::size_t i = 0; i < iCount; ++i, iValues += iStride)
    std::memcpy(oValues + i, iValues, sizeof(double));
}

} // namespace

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
  constexpr std::ptrdiff_t size = sizeof(double);
  _isRows = _data[1] == _data[0] + size && _data[2] == _data[1] + size && IsAligned(_data[0]) &&
            _axes.front().strides == std::array{3 * size, 3 * size, 3 * size};
}

std::array<double const*, 3> ArrayPoints::GetArrays() const
{
  bool isWhole = _axes.size() == 1;
  for (std::size_t i = 0; i < 3; ++i)
    isWhole = isWhole && _axes.front().strides[i] == sizeof(double) && IsAligned(_data[i]);
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
    std::array<double*, 3> const to{oCoordinates[0] + done, oCoordinates[1] + done, oCoordinates[2] + done};
    if (_isRows && IsAligned(from[0]))
      CopyRows(reinterpret_cast<double const*>(from[0]), length, to);
    else
      for (std::size_t i = 0; i < 3; ++i)
        CopyStrided(from[i], row.strides[i], length, to[i]);
    done += length;
  }
}

} // namespace SFPython
