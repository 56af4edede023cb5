#pragma once

#include "SFVector3.h"
#include "ZULMathBox.h"
#include "ZULMathVector.h"

namespace SF {

inline SFVector3 operator*(SFVector3 const& iA, double iFactor) { return iFactor * iA; }
/// Component by component.
inline SFVector3 Product(SFVector3 const& iA, SFVector3 const& iB)
{
  return {iA[0] * iB[0], iA[1] * iB[1], iA[2] * iB[2]};
}
inline SFVector3 Mix(SFVector3 const& iA, SFVector3 const& iB, double iShare) { return iA + (iB - iA) * iShare; }

inline SFVector3 VectorOf(ZULMathPoint const& iPoint) { return {iPoint.x, iPoint.y, iPoint.z}; }
inline SFVector3 VectorOf(ZULMathVector const& iVector) { return {iVector.x, iVector.y, iVector.z}; }
inline ZULMathPoint PointOf(SFVector3 const& iVector) { return {iVector[0], iVector[1], iVector[2]}; }

inline SFVector3 CentreOf(ZULMathBox const& iBox) { return (VectorOf(iBox.low) + VectorOf(iBox.high)) * 0.5; }
inline SFVector3 SizeOf(ZULMathBox const& iBox) { return VectorOf(iBox.high) - VectorOf(iBox.low); }
/// Corner 0 to 7; bit k of the number says whether it is at the high end of axis k.
inline SFVector3 CornerOf(ZULMathBox const& iBox, unsigned int iCorner)
{
  return {(iCorner & 1U) != 0 ? iBox.high.x : iBox.low.x, (iCorner & 2U) != 0 ? iBox.high.y : iBox.low.y,
          (iCorner & 4U) != 0 ? iBox.high.z : iBox.low.z};
}

/// The smallest box around points, or boxes.
class SFBoxAround
{
public:
  void Add(SFVector3 const& iPoint)
  {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      _low[axis] = std::fmin(_low[axis], iPoint[axis]);
      _high[axis] = std::fmax(_high[axis], iPoint[axis]);
    }
  }
  void Add(ZULMathBox const& iBox)
  {
    Add(VectorOf(iBox.low));
    Add(VectorOf(iBox.high));
  }
  /// Inside out while there is none.
  ZULMathBox Get() const { return {PointOf(_low), PointOf(_high)}; }

private:
  SFVector3 _low{HUGE_VAL, HUGE_VAL, HUGE_VAL};
  SFVector3 _high{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
};

} // namespace SF
