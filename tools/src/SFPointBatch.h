#pragma once

#include "SFCompiledField.h"
#include "SFVector3.h"
#include "SFWork.h"

#include <cstddef>
#include <vector>

namespace SF {

/// Points that a field is evaluated at together. The memory is used again from batch to batch.
class SFPointBatch
{
public:
  void Clear()
  {
    for (auto& coordinates : _points)
      coordinates.clear();
  }
  void Add(SFVector3 const& iPoint)
  {
    for (std::size_t axis = 0; axis < 3; ++axis)
      _points[axis].push_back(iPoint[axis]);
  }
  std::size_t Size() const { return _points[0].size(); }

  void Evaluate(SFCompiledField const& iField)
  {
    _values.resize(Size());
    Require(iField.Evaluate(Size(), _points[0].data(), _points[1].data(), _points[2].data(), _values.data()));
  }
  void EvaluateGradient(SFCompiledField const& iField)
  {
    _values.resize(Size());
    _gradients.resize(3 * Size());
    Require(iField.EvaluateGradient(Size(), _points[0].data(), _points[1].data(), _points[2].data(), _values.data(),
                                    _gradients.data()));
  }

  SFVector3 Point(std::size_t iIndex) const { return {_points[0][iIndex], _points[1][iIndex], _points[2][iIndex]}; }
  double Value(std::size_t iIndex) const { return _values[iIndex]; }
  SFVector3 Gradient(std::size_t iIndex) const
  {
    return {_gradients[3 * iIndex], _gradients[3 * iIndex + 1], _gradients[3 * iIndex + 2]};
  }

private:
  std::array<std::vector<double>, 3> _points;
  std::vector<double> _values;
  std::vector<double> _gradients;
};

} // namespace SF
