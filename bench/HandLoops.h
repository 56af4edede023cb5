#pragma once

#include <cstddef>

namespace SFBench {

/// A regular grid: point (i, j, k) lies at origin + (i, j, k) h, its value at (k dims[1] + j) dims[0] + i.
struct Grid
{
  unsigned dims[3];
  double origin[3];
  double h;

  std::size_t Count() const { return std::size_t{dims[0]} * dims[1] * dims[2]; }
};

/// A sphere (the radius stands first in `size`) or a box (half edges).
struct CsgPart
{
  bool isSphere;
  double center[3];
  double size[3];
  bool subtracted;
};

/// The loops that a person would write for one expression each, in double precision, with everything that depends
/// on fewer than three coordinates moved out of the innermost loop. They do the expression's arithmetic in the
/// order of its text, and store a value as Render does: limited in magnitude to the grid's diagonal, NaN as the
/// diagonal, 0 as -0. So they give the same floats, bit for bit, but for those that call functions of the C library.
///
/// Each computes the slices [iBegin, iEnd) of a grid; several threads may work on different slices.
namespace HandLoops {

/// `- r + + q X q Y q Z f1`
void Sphere(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues);

/// The sheets of a gyroid inside a cube: gyroid_shell.sf.
void GyroidShell(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues);

/// The sheets at a point mapped by the rows of an inverse transformation: rotated_gyroid.sf. Six calls of the C
/// library a point.
void RotatedGyroid(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, double const (&iInverse)[3][4]);

/// One pass over all parts for each row of the grid: csg_balanced.sf and csg_chain.sf, which have one value.
void Csg(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, CsgPart const* iParts, std::size_t iCount);

/// panel.sf without leaving anything out, as make_straight_line.py writes it: rows [iBegin, iEnd) of a flat grid.
void Panel(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues);

/// organic.sf in the same way: 29 exponentials, 8 logarithms, 3 sines and 3 cosines of the C library a point.
void Organic(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues);

} // namespace HandLoops
} // namespace SFBench
