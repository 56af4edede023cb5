/// Compiled for the machine at hand with full optimisation; see CMakeLists.txt.

#include "HandLoops.h"

#include <cmath>
#include <vector>

namespace SFBench::HandLoops {
namespace {

constexpr double Frequency = 1.25664; // 2 pi / 5, as the models have it
constexpr double Wall = 0.3;
constexpr double HalfEdge = 10.0;

double Diagonal(Grid const& iGrid)
{
  double const x = (iGrid.dims[0] - 1.0) * iGrid.h;
  double const y = (iGrid.dims[1] - 1.0) * iGrid.h;
  double const z = (iGrid.dims[2] - 1.0) * iGrid.h;
  return std::sqrt(x * x + y * y + z * z);
}

/// What is stored for a value. Two independent choices, because a branch around the negation would keep the
/// loops from being vectorised.
inline float Stored(double iValue, double iDiagonal)
{
  double const magnitude = std::abs(iValue) < iDiagonal ? std::abs(iValue) : iDiagonal;
  double const sign = iValue <= 0.0 ? -1.0 : 1.0;
  return static_cast<float>(sign * magnitude);
}

inline double Min(double iA, double iB) { return iB < iA ? iB : iA; }
inline double Max(double iA, double iB) { return iB > iA ? iB : iA; }

std::vector<double> Coordinates(Grid const& iGrid, int iAxis)
{
  std::vector<double> coordinates(iGrid.dims[iAxis]);
  for (unsigned i = 0; i < iGrid.dims[iAxis]; ++i)
    coordinates[i] = iGrid.origin[iAxis] + i * iGrid.h;
  return coordinates;
}

template <class Function>
std::vector<double> Tabulated(std::vector<double> const& iCoordinates, Function iFunction)
{
  std::vector<double> values;
  for (double const coordinate : iCoordinates)
    values.push_back(iFunction(coordinate));
  return values;
}

float* RowOf(Grid const& iGrid, unsigned iJ, unsigned iK, float* iValues)
{
  return iValues + (std::size_t{iK} * iGrid.dims[1] + iJ) * iGrid.dims[0];
}

double Square(double iValue) { return iValue * iValue; }
double SineAt(double iCoordinate) { return std::sin(Frequency * iCoordinate); }
double CosineAt(double iCoordinate) { return std::cos(Frequency * iCoordinate); }
double Beyond(double iCoordinate) { return std::abs(iCoordinate) - HalfEdge; }

} // namespace

void Sphere(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues)
{
  auto const xx = Tabulated(Coordinates(iGrid, 0), Square);
  auto const yy = Tabulated(Coordinates(iGrid, 1), Square);
  auto const zz = Tabulated(Coordinates(iGrid, 2), Square);
  double const diagonal = Diagonal(iGrid);
  for (unsigned k = iBegin; k < iEnd; ++k)
    for (unsigned j = 0; j < iGrid.dims[1]; ++j) {
      float* const row = RowOf(iGrid, j, k, oValues);
      for (unsigned i = 0; i < iGrid.dims[0]; ++i)
        row[i] = Stored(std::sqrt(xx[i] + yy[j] + zz[k]) - 1.0, diagonal);
    }
}

void GyroidShell(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues)
{
  auto const x = Coordinates(iGrid, 0);
  auto const y = Coordinates(iGrid, 1);
  auto const z = Coordinates(iGrid, 2);
  auto const sinX = Tabulated(x, SineAt);
  auto const cosX = Tabulated(x, CosineAt);
  auto const sinY = Tabulated(y, SineAt);
  auto const cosY = Tabulated(y, CosineAt);
  auto const boxX = Tabulated(x, Beyond);
  auto const boxY = Tabulated(y, Beyond);
  double const diagonal = Diagonal(iGrid);
  for (unsigned k = iBegin; k < iEnd; ++k) {
    double const sinZ = SineAt(z[k]);
    double const cosZ = CosineAt(z[k]);
    double const boxZ = Beyond(z[k]);
    for (unsigned j = 0; j < iGrid.dims[1]; ++j) {
      double const yz = sinY[j] * cosZ;
      float* const row = RowOf(iGrid, j, k, oValues);
      for (unsigned i = 0; i < iGrid.dims[0]; ++i) {
        double const sheet = std::abs(sinX[i] * cosY[j] + yz + sinZ * cosX[i]) - Wall;
        row[i] = Stored(Max(Max(Max(boxX[i], boxY[j]), boxZ), sheet), diagonal);
      }
    }
  }
}

void RotatedGyroid(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, double const (&iInverse)[3][4])
{
  auto const x = Coordinates(iGrid, 0);
  auto const y = Coordinates(iGrid, 1);
  auto const z = Coordinates(iGrid, 2);
  double const diagonal = Diagonal(iGrid);
  for (unsigned k = iBegin; k < iEnd; ++k)
    for (unsigned j = 0; j < iGrid.dims[1]; ++j) {
      float* const row = RowOf(iGrid, j, k, oValues);
      for (unsigned i = 0; i < iGrid.dims[0]; ++i) {
        double mapped[3];
        for (int axis = 0; axis < 3; ++axis) {
          auto const& c = iInverse[axis];
          mapped[axis] = Frequency * (c[0] * x[i] + c[1] * y[j] + c[2] * z[k] + c[3]);
        }
        double const gyroid = std::sin(mapped[0]) * std::cos(mapped[1]) + std::sin(mapped[1]) * std::cos(mapped[2]) +
                              std::sin(mapped[2]) * std::cos(mapped[0]);
        row[i] = Stored(std::abs(gyroid) - Wall, diagonal);
      }
    }
}

namespace {

/// Calls `iFold(i, value)` with the part's field along a row.
template <class Fold>
void AlongRow(CsgPart const& iPart, std::vector<double> const& iX, double iY, double iZ, Fold iFold)
{
  std::size_t const count = iX.size();
  double const* const x = iX.data();
  double const centerX = iPart.center[0];
  double const sizeX = iPart.size[0];
  double const dy = iY - iPart.center[1];
  double const dz = iZ - iPart.center[2];
  if (iPart.isSphere) {
    double const yy = dy * dy;
    double const zz = dz * dz;
    for (std::size_t i = 0; i < count; ++i)
      iFold(i, std::sqrt(Square(x[i] - centerX) + yy + zz) - sizeX);
  } else {
    double const sideY = std::abs(dy) - iPart.size[1];
    double const sideZ = std::abs(dz) - iPart.size[2];
    for (std::size_t i = 0; i < count; ++i)
      iFold(i, Max(Max(std::abs(x[i] - centerX) - sizeX, sideY), sideZ));
  }
}

} // namespace

void Csg(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues, CsgPart const* iParts, std::size_t iCount)
{
  auto const x = Coordinates(iGrid, 0);
  auto const y = Coordinates(iGrid, 1);
  auto const z = Coordinates(iGrid, 2);
  double const diagonal = Diagonal(iGrid);
  std::vector<double> block(iGrid.dims[0]);
  double* const solid = block.data();
  for (unsigned k = iBegin; k < iEnd; ++k)
    for (unsigned j = 0; j < iGrid.dims[1]; ++j) {
      AlongRow(iParts[0], x, y[j], z[k], [solid](std::size_t i, double iValue) { solid[i] = iValue; });
      for (CsgPart const* part = iParts + 1; part != iParts + iCount; ++part)
        if (part->subtracted)
          AlongRow(*part, x, y[j], z[k], [solid](std::size_t i, double iValue) { solid[i] = Max(solid[i], -iValue); });
        else
          AlongRow(*part, x, y[j], z[k], [solid](std::size_t i, double iValue) { solid[i] = Min(solid[i], iValue); });
      float* const row = RowOf(iGrid, j, k, oValues);
      for (unsigned i = 0; i < iGrid.dims[0]; ++i)
        row[i] = Stored(solid[i], diagonal);
    }
}

} // namespace SFBench::HandLoops
