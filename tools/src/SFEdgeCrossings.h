#pragma once

#include "SFPointBatch.h"
#include "SFTangentPlanes.h"

#include <cstdint>
#include <vector>

namespace SF {

/// Where the surface crosses edges of the lattice, and its tangent planes there.
class SFEdgeCrossings
{
public:
  struct Crossing
  {
    SFVector3 low{}; ///< the lower end of the edge
    std::size_t axis = 0;
    double values[2]{};   ///< at the ends; of different signs, NaN for an end outside
    double at = 0.0;      ///< from 0 at the lower end to 1 at the upper one
    SFTangentPlane plane; ///< unknown where the field jumps, or has no gradient
  };

  explicit SFEdgeCrossings(double iVoxel) : _voxel(iVoxel) {}

  void Clear() { _crossings.clear(); }
  /// Returns the number of the crossing.
  std::size_t Add(SFVector3 const& iLow, std::size_t iAxis, double iLowValue, double iHighValue);
  /// Finds all of them.
  void Run(SFCompiledField const& iField);

  Crossing const& operator[](std::size_t iIndex) const { return _crossings[iIndex]; }
  SFVector3 Position(std::size_t iIndex) const { return PointAt(_crossings[iIndex], _crossings[iIndex].at); }
  std::size_t Size() const { return _crossings.size(); }

private:
  /// A crossing between two places on its edge.
  struct Search
  {
    std::size_t crossing;
    double low = 0.0;
    double high = 1.0;
    double next = 0.0;
  };

  SFVector3 PointAt(Crossing const& iCrossing, double iAt) const;
  bool Update(Search& ioSearch, double iValue, SFVector3 const& iGradient, int iRound);

  double _voxel;
  std::vector<Crossing> _crossings;
  std::vector<Search> _open;
  SFPointBatch _batch;
};

} // namespace SF
