#pragma once

#include "SFMeshLattice.h"
#include "SFWork.h"

namespace SF {

/// Refuses what cannot be done, before the work begins: SFMemoryLimit for a mesh that would take more memory than there is,
/// std::invalid_argument for one with more vertices than can be counted. The surface is measured in coarse boxes, of which the
/// bounds of the field tell that it may pass through them; half of what they would hold is counted. `iIsWhole` for a mesh
/// that is in memory as a whole, not in slabs. Returns how many vertices were counted; 0 for small lattices.
double RequireFeasible(SFCompiledField const& iField, SFMeshLattice const& iLattice, bool iIsWhole,
                       SFWorkOptions const& iOptions);

} // namespace SF
