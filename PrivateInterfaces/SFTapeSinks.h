#pragma once

#include "SFTapeKernels.h"
#include "SFTapeSweep.h"

namespace SF {

/// Calls `iOnRow(j, k, index)` for the rows of a tile, with the index of a row's first voxel in the grid.
template <class OnRow>
void ForEachRow(SFGrid const& iGrid, SFTile const& iTile, OnRow iOnRow)
{
  for (unsigned int k = 0; k < iTile.count[2]; ++k)
    for (unsigned int j = 0; j < iTile.count[1]; ++j)
      iOnRow(j, k, iGrid.Index(iTile.begin[0], iTile.begin[1] + j, iTile.begin[2] + k));
}

/// Stores the one result of each tile as floats, at the place of its voxels in the grid.
inline SFTapeSweep::Sink ValueSink(SFTapeRunner const& iRunner, SFStoreKernel iStore, float* oValues)
{
  double const diagonal = iRunner.GetGrid().Diagonal();
  return [&iRunner, iStore, diagonal, oValues](SFTile const& iTile, SFTapeList const& iList, SFTapeScratch& ioScratch) {
    ForEachRow(iRunner.GetGrid(), iTile, [&](unsigned int iJ, unsigned int iK, std::size_t iIndex) {
      double const* const row = iRunner.ResultRow(iList, 0, iTile, iJ, iK, ioScratch);
      iStore(oValues + iIndex, row, iTile.count[0], diagonal);
    });
  };
}

} // namespace SF
