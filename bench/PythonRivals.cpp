/// What a program of C++ does where python_bench.py calls a field of Python: the same operation of a compiled field on the
/// same points, and a new array for the values. Loaded by ctypes into the process that is measured.

#include "SFCompiledField.h"
#include "SFListing.h"
#include "SFPointSource.h"

#include <memory>

namespace {

using Compiled = std::shared_ptr<SF::SFCompiledField>;

/// Points as structures of three numbers.
class Rows : public SF::SFPointSource
{
public:
  explicit Rows(double const* iPoints) : _points(iPoints) {}
  void GetPoints(std::size_t iFirst, std::size_t iCount, std::array<double*, 3> const& oCoordinates) const override
  {
    auto const [x, y, z] = oCoordinates;
    for (std::size_t i = 0; i < iCount; ++i) {
      double const* const point = _points + 3 * (iFirst + i);
      x[i] = point[0];
      y[i] = point[1];
      z[i] = point[2];
    }
  }

private:
  double const* _points;
};

} // namespace

extern "C" {

/// The field of a listing, compiled; to be given back to sf_rival_drop.
Compiled* sf_rival_make(char const* iListing) { return new Compiled(SF::ReadListing(iListing, {}).Compile()); }

void sf_rival_drop(Compiled* iField) { delete iField; }

/// The last of the values at points in rows.
double sf_rival_rows(Compiled const* iField, std::size_t iCount, double const* iPoints)
{
  std::unique_ptr<double[]> const values(new double[iCount]);
  (*iField)->Evaluate(iCount, Rows(iPoints), values.get());
  return values[iCount - 1];
}

/// The last of the values at points in three arrays.
double sf_rival_columns(Compiled const* iField, std::size_t iCount, double const* iX, double const* iY,
                        double const* iZ)
{
  std::unique_ptr<double[]> const values(new double[iCount]);
  (*iField)->Evaluate(iCount, iX, iY, iZ, values.get());
  return values[iCount - 1];
}
}
