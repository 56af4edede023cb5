#include "SFMeshEstimate.h"

#include "SFMeshBlock.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

namespace SF {
namespace {

/// Lattices with fewer cells along all axes are not looked at in advance.
constexpr std::int64_t SmallLattice = 400;
/// Coarse boxes along the longest axis, at most.
constexpr std::int64_t CoarseBoxes = 16;
/// A vertex of a whole mesh and its two triangles.
constexpr double BytesPerVertex = 24 + 12 + 2 * 12;
/// The tables of a layer of blocks, of which there are two.
constexpr double BytesPerBlockPlace = 2 * sizeof(void*);

/// Counts coarse boxes that the surface may pass through.
class Survey
{
public:
  using BoxBetween = std::function<ZULMathBox(SFLatticeIndex const&, SFLatticeIndex const&)>;

  Survey(std::array<std::uint32_t, 3> const& iCells, BoxBetween const& iBoxBetween, SFWorkOptions const& iOptions)
    : _cells(iCells), _boxBetween(iBoxBetween), _options(iOptions)
  {
  }

  double Count(SFCompiledField const& iField, SFLatticeIndex const& iLow, std::int64_t iSide, std::int64_t iLeast) const
  {
    ThrowIfCancelled(_options);
    SFLatticeIndex high{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (iLow[axis] >= _cells[axis])
        return 0.0;
      high[axis] = std::min<std::int64_t>(iLow[axis] + iSide, _cells[axis]);
    }
    double low = 0.0;
    double top = 0.0;
    HRESULT const hr = iField.EvaluateInterval(_boxBetween(iLow, high), low, top);
    Require(hr);
    if (low > 0.0 || (top < 0.0 && hr == S_OK))
      return 0.0;
    if (iSide <= iLeast)
      return 1.0;
    std::shared_ptr<SFCompiledField> here;
    Require(iField.Restrict(_boxBetween(iLow, high), here));
    double count = 0.0;
    std::int64_t const half = iSide / 2;
    for (std::int64_t child = 0; child < 8; ++child)
      count +=
          Count(*here, {iLow[0] + (child & 1) * half, iLow[1] + (child >> 1 & 1) * half, iLow[2] + (child >> 2) * half},
                half, iLeast);
    return count;
  }

private:
  std::array<std::uint32_t, 3> _cells;
  BoxBetween const& _boxBetween;
  SFWorkOptions const& _options;
};

} // namespace

double EstimateVertices(SFCompiledField const& iField, std::array<std::uint32_t, 3> const& iCells,
                        Survey::BoxBetween const& iBoxBetween, SFWorkOptions const& iOptions)
{
  std::int64_t const longest = *std::max_element(iCells.begin(), iCells.end());
  if (longest < SmallLattice)
    return 0.0;
  std::int64_t side = SFMeshBlock::Side;
  while (side < longest)
    side *= 2;
  std::int64_t const least = side / CoarseBoxes;
  auto const edge = static_cast<double>(least);
  return Survey(iCells, iBoxBetween, iOptions).Count(iField, {}, side, least) * edge * edge / 2.0;
}

double RequireFeasible(SFCompiledField const& iField, SFMeshLattice const& iLattice, bool iIsWhole,
                       SFWorkOptions const& iOptions)
{
  auto const& [x, y, z] = iLattice.cells;
  if (std::max({x, y, z}) < SmallLattice)
    return 0.0;
  double const vertices = EstimateVertices(
      iField, iLattice.cells,
      [&](SFLatticeIndex const& iLow, SFLatticeIndex const& iHigh) { return iLattice.BoxBetween(iLow, iHigh); },
      iOptions);
  std::string const what =
      "a mesh of " + std::to_string(x) + " x " + std::to_string(y) + " x " + std::to_string(z) + " cells";
  double const places = static_cast<double>(x) * y / (SFMeshBlock::Side * SFMeshBlock::Side);
  RequireMemory(iOptions, places * BytesPerBlockPlace + (iIsWhole ? vertices * BytesPerVertex : 0.0), what);
  if (vertices > 2.0 * std::numeric_limits<std::uint32_t>::max())
    throw std::invalid_argument("voxel: " + what + " would have more than 4294967295 vertices");
  return vertices;
}

} // namespace SF
