#pragma once

#include "tape/SFTapeKernels.h"
#include "tape/SFTapeSweep.h"

namespace SF {

/// The place of a tile's voxels in the floats of a grid, `iWidth` for each voxel.
inline SFFloatBox FloatsOf(SFGrid const& iGrid, SFTile const& iTile, float* iFloats, std::size_t iWidth)
{
  auto const row = static_cast<std::ptrdiff_t>(iWidth * iGrid.dims[0]);
  return {iFloats + iWidth * iGrid.Index(iTile.begin[0], iTile.begin[1], iTile.begin[2]),
          row,
          row * static_cast<std::ptrdiff_t>(iGrid.dims[1]),
          iTile.count[0],
          iTile.count[1],
          iTile.count[2]};
}

/// Stores a result of a tile as floats, at the place of its voxels in the grid.
inline void StoreTile(SFTapeRunner const& iRunner, SFStoreKernel iStore, SFTile const& iTile, SFTapePlace const& iFrom,
                      double iDiagonal, float* oValues)
{
  iStore({FloatsOf(iRunner.GetGrid(), iTile, oValues, 1),
          {iFrom.data, iFrom.strides[1], iFrom.strides[2]},
          iFrom.strides[0] != 0},
         iDiagonal);
}

/// Stores the one result of each tile, clamped or plain.
inline SFTapeSweep::Output ValueOutput(SFTapeRunner const& iRunner, bool iClamps, float* oValues)
{
  double const diagonal = iRunner.GetGrid().Diagonal();
  auto const& kernels = iRunner.GetKernels();
  auto const store = iClamps ? kernels.storeClamped : kernels.storePlain;
  return {{oValues, iClamps, diagonal},
          [&iRunner, store, diagonal, oValues](SFTile const& iTile, SFTapeList const& iList, SFTapeScratch& ioScratch) {
            StoreTile(iRunner, store, iTile, iRunner.ResultPlace(iList, 0, iTile, ioScratch), diagonal, oValues);
          }};
}

} // namespace SF
