#include "SFSampling.h"

#include "SFNameTable.h"
#include "SFToolsErrors.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <stdexcept>
#include <string>

namespace SF {
namespace {

constexpr SFNameTable<SFLengthUnit, 5> Units{{SFLengthUnit::Micrometre, SFLengthUnit::Millimetre,
                                              SFLengthUnit::Centimetre, SFLengthUnit::Metre, SFLengthUnit::Inch},
                                             {"um", "mm", "cm", "m", "in"}};
constexpr std::array<double, 5> Metres{1e-6, 1e-3, 1e-2, 1.0, 0.0254}; ///< in the order of the units

std::array<double, 3> SidesOf(ZULMathBox const& iBox)
{
  std::array<double, 3> const sides{iBox.high.x - iBox.low.x, iBox.high.y - iBox.low.y, iBox.high.z - iBox.low.z};
  for (double const side : sides)
    if (!std::isfinite(side) || side < 0.0)
      throw std::invalid_argument("bounds: the low corner must be below the high one, both finite");
  return sides;
}

} // namespace

ZULMathBox RequireBounds(SFField const& iField)
{
  auto const box = iField.Bounds();
  if (!box)
    throw SFModelError("no bounds are known of the model: it may be unbounded; give a box");
  if (!(box->low.x <= box->high.x && box->low.y <= box->high.y && box->low.z <= box->high.z))
    throw SFModelError("the model is empty: it is positive everywhere");
  return *box;
}

double VoxelFor(ZULMathBox const& iBox, std::uint32_t iCells)
{
  auto const sides = SidesOf(iBox);
  double const longest = *std::max_element(sides.begin(), sides.end());
  if (iCells == 0 || iCells > SFMaxCells)
    throw std::invalid_argument("cells: not from 1 to " + std::to_string(SFMaxCells));
  if (!(longest > 0.0))
    throw std::invalid_argument("bounds: the box is a point");
  return longest / iCells;
}

SFGridFrame FrameOver(ZULMathBox const& iBox, double iVoxel)
{
  if (!(iVoxel > 0.0) || !std::isfinite(iVoxel))
    throw std::invalid_argument("voxel: not a length above 0");
  SFGridFrame frame;
  frame.voxel = iVoxel;
  frame.origin = {iBox.low.x, iBox.low.y, iBox.low.z};
  auto const sides = SidesOf(iBox);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    // A side that is a multiple of the voxel up to rounding has no further cell.
    double const cells = std::ceil(sides[axis] / iVoxel * (1.0 - 1e-12));
    if (!(cells <= SFMaxCells))
      throw std::invalid_argument("voxel: more than " + std::to_string(SFMaxCells) + " cells along an axis");
    frame.dims[axis] = static_cast<std::uint32_t>(cells) + 1;
  }
  return frame;
}

std::string_view SymbolOf(SFLengthUnit iUnit) { return Units.NameOf(iUnit); }
double MetresOf(SFLengthUnit iUnit) { return Metres[static_cast<std::size_t>(iUnit)]; }

SFLengthUnit UnitOf(std::string_view iSymbol)
{
  return Units.Find(iSymbol, "unit: '" + std::string(iSymbol) + "' is not");
}

std::string ExtensionOf(std::string_view iPath)
{
  std::string_view const name = iPath.substr(iPath.rfind('/') + 1);
  auto const dot = name.rfind('.');
  std::string extension(dot == std::string_view::npos ? std::string_view() : name.substr(dot));
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char iCharacter) { return static_cast<char>(std::tolower(iCharacter)); });
  return extension;
}

} // namespace SF
