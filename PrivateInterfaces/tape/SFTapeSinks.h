#pragma once

#include "tape/SFTapeKernels.h"
#include "tape/SFTapeSweep.h"

#include <algorithm>
#include <span>

namespace SF {

/// Whether floats are more than the caches hold. Then each line would be read before it is stored, and drive out what the
/// tiles work on: measured, it is as fast to go past the caches at 16 MiB, and half the time at 32 MiB.
inline bool AreStreamed(std::span<float const> iFloats) { return iFloats.size_bytes() >= std::size_t{32} << 20U; }

/// The part of a grid's floats that a tile's voxels take, `iWidth` for each voxel.
inline SFFloatBox FloatsOf(SFGrid const& iGrid, SFTile const& iTile, std::span<float> iFloats, std::size_t iWidth)
{
  auto const row = static_cast<std::ptrdiff_t>(iWidth * iGrid.dims[0]);
  return {iFloats.data() + iWidth * iGrid.Index(iTile.begin[0], iTile.begin[1], iTile.begin[2]),
          row,
          row * static_cast<std::ptrdiff_t>(iGrid.dims[1]),
          iTile.count[0],
          iTile.count[1],
          iTile.count[2],
          AreStreamed(iFloats)};
}

/// Stores a result of a tile as floats, at its voxels of the grid.
inline void StoreTile(SFTapeInvariants const& iTape, SFStoreKernel iStore, SFTile const& iTile,
                      SFValueView const& iFrom, double iDiagonal, std::span<float> oValues)
{
  iStore({FloatsOf(iTape.GetGrid(), iTile, oValues, 1),
          {iFrom.data, iFrom.strides[1], iFrom.strides[2]},
          iFrom.strides[0] != 0},
         iDiagonal);
}

/// Stores the one result of each tile: plain, or limited in magnitude to the diagonal and to `iBand`. The values begin with
/// a slice of the grid.
inline SFTapeSweep::Output ValueOutput(SFTapeInvariants const& iTape, bool iClamps, std::span<float> oValues,
                                       double iBand = SFInterval::Infinity, unsigned int iFirstSlice = 0)
{
  double const diagonal = std::min(iTape.GetGrid().Diagonal(), iBand);
  auto const& kernels = iTape.GetKernels();
  auto const store = iClamps ? kernels.storeClamped : kernels.storePlain;
  return {
      {oValues.data(), iClamps, diagonal, iFirstSlice, AreStreamed(oValues)},
      [&iTape, store, diagonal, oValues, iFirstSlice](SFTile const& iTile, SFTapeList const&, SFTapeRunner& ioRunner) {
        SFTile at = iTile;
        at.begin[2] -= iFirstSlice;
        StoreTile(iTape, store, at, ioRunner.Result(0, iTile), diagonal, oValues);
      }};
}

} // namespace SF
