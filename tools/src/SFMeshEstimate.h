#pragma once

#include "SFMeshLattice.h"
#include "SFWork.h"

#include <functional>

namespace SF {

/// About how many vertices a mesh over a lattice of cells would have at least: the surface is measured in coarse boxes, of
/// which the bounds of the field tell that it may pass through them; half of what they would hold is counted. 0 for small
/// lattices. `iBoxBetween` is the box from one point of the lattice to another.
double EstimateVertices(SFCompiledField const& iField, std::array<std::uint32_t, 3> const& iCells,
                        std::function<ZULMathBox(SFLatticeIndex const&, SFLatticeIndex const&)> const& iBoxBetween,
                        SFWorkOptions const& iOptions);

/// Refuses what cannot be done, before the work begins: SFMemoryLimit for a mesh that would take more memory than there is,
/// std::invalid_argument for one with more vertices than can be counted. `iIsWhole` for a mesh that is in memory as a whole,
/// not in slabs. Returns how many vertices were estimated.
double RequireFeasible(SFCompiledField const& iField, SFMeshLattice const& iLattice, bool iIsWhole,
                       SFWorkOptions const& iOptions);

} // namespace SF
