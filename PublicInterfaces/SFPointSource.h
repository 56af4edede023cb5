#pragma once

#include "SFExport.h"

#include <array>
#include <cstddef>

namespace SF {

/// Points of a host that lie otherwise than in three arrays of coordinates: an operation takes them batch by batch, so
/// that no copy of all is made.
class SF_EXPORT SFPointSource
{
public:
  virtual ~SFPointSource();

  /// Writes the coordinates of a run of points. Called from several threads at once; an exception ends the operation
  /// and reaches its caller.
  ///
  /// @param iFirst the number of the first point, from 0.
  /// @param iCount how many points.
  /// @param[out] oCoordinates three arrays of `iCount` coordinates: along x, y and z, in the host's length unit.
  virtual void GetPoints(std::size_t iFirst, std::size_t iCount, std::array<double*, 3> const& oCoordinates) const = 0;
};

} // namespace SF
