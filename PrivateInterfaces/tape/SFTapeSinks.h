#pragma once

#include "tape/SFTapeKernels.h"
#include "tape/SFTapeSweep.h"

#include <algorithm>
#include <span>

namespace SF {

/// The part of a grid's floats that a tile's voxels take, `iWidth` for each voxel.
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

/// Stores a result of a tile as floats, at its voxels of the grid.
inline void StoreTile(SFTapeInvariants const& iTape, SFStoreKernel iStore, SFTile const& iTile,
                      SFValueView const& iFrom, double iDiagonal, float* oValues)
{
  iStore({FloatsOf(iTape.GetGrid(), iTile, oValues, 1),
          {iFrom.data, iFrom.strides[1], iFrom.strides[2]},
          iFrom.strides[0] != 0},
         iDiagonal);
}

/// Stores the one result of each tile: plain, or limited in magnitude to the diagonal and to `iBand`. The values begin with
/// a slice of the grid. More than the caches hold are stored past them, as each line would first be read, and drive out
/// what the tiles work on: measured, as fast at 16 MiB and half the time at 32 MiB.
inline SFTapeSweep::Output ValueOutput(SFTapeInvariants const& iTape, bool iClamps, std::span<float> oValues,
                                       double iBand = SFInterval::Infinity, unsigned int iFirstSlice = 0)
{
  double const diagonal = std::min(iTape.GetGrid().Diagonal(), iBand);
  auto const& kernels = iTape.GetKernels();
  auto const store = iClamps ? kernels.storeClamped : kernels.storePlain;
  bool const streams = oValues.size_bytes() >= std::size_t{32} << 20U;
  float* const values = oValues.data();
  return {
      {values, iClamps, diagonal, iFirstSlice, streams},
      [&iTape, store, diagonal, values, iFirstSlice](SFTile const& iTile, SFTapeList const&, SFTapeRunner& ioRunner) {
        SFTile at = iTile;
        at.begin[2] -= iFirstSlice;
        StoreTile(iTape, store, at, ioRunner.Result(0, iTile), diagonal, values);
      }};
}

} // namespace SF
