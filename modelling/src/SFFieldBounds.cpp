#include "SFBoxes.h"
#include "SFFieldNode.h"
#include "SFFrameBounds.h"

#include <cmath>

namespace SF {
namespace {

/// Searches for the ends of a box outside of which interval arithmetic shows a field to be positive.
class BoundsSearch
{
public:
  explicit BoundsSearch(SFCompiledField const& iField) : _field(iField) {}

  std::optional<ZULMathBox> Run()
  {
    for (int round = 0; round < Rounds; ++round)
      for (std::size_t axis = 0; axis < 3; ++axis)
        for (std::size_t side = 0; side < 2; ++side)
          Shrink(axis, side);
    for (auto const& end : _ends)
      if (end[0] == -Far || end[1] == Far)
        return std::nullopt;
    return Boxes::BoxOf(_ends);
  }

private:
  static constexpr double Far = 1e60; ///< squares and cubes of coordinates stay finite
  static constexpr int Rounds = 3;    ///< an end that is found helps to find the others
  static constexpr int Halvings = 24;

  /// Whether the field is positive in the part of the box beyond a plane.
  bool IsPositiveBeyond(std::size_t iAxis, std::size_t iSide, double iPlane) const
  {
    Boxes::Ends slab = _ends;
    slab[iAxis][1 - iSide] = iPlane;
    double low = 0.0;
    double high = 0.0;
    return _field.EvaluateInterval(Boxes::BoxOf(slab), low, high) == S_OK && low > 0.0;
  }

  /// Moves one end of the box inwards as far as the field can be shown to be positive.
  void Shrink(std::size_t iAxis, std::size_t iSide)
  {
    double const inwards = iSide == 1 ? -1.0 : 1.0;
    double& end = _ends[iAxis][iSide];
    double const other = _ends[iAxis][1 - iSide];
    double proven = end;
    double open = other;
    // Planes at falling distances from 0, on the end's side first.
    bool const isFar = std::abs(end) == Far;
    for (double distance = 1e30; isFar && distance > 1e-12; distance *= 0.25) {
      double const plane = -inwards * distance;
      bool const isPastOther = inwards * (plane - other) >= 0.0;
      if (isPastOther)
        break;
      if (!IsPositiveBeyond(iAxis, iSide, plane)) {
        open = plane;
        break;
      }
      proven = plane;
    }
    if (isFar && proven == end)
      return;
    for (int i = 0; i < Halvings; ++i) {
      double const plane = 0.5 * (proven + open);
      if (std::abs(plane) >= Far || plane == proven)
        break;
      (IsPositiveBeyond(iAxis, iSide, plane) ? proven : open) = plane;
    }
    end = proven;
  }

  SFCompiledField const& _field;
  Boxes::Ends _ends{{{-Far, Far}, {-Far, Far}, {-Far, Far}}};
};

} // namespace

std::optional<ZULMathBox> SearchBounds(SFField const& iField)
{
  SFCompiledFieldOptions options;
  options.threads = 1;
  return BoundsSearch(*iField.Compile(options)).Run();
}

std::optional<ZULMathBox> SFField::Bounds() const
{
  SFFieldFacts const facts = FactsOf(*this);
  if (facts.HasBounds())
    return facts.bounds;
  auto const box = SearchBoundsInFrames(*this);
  return box ? box : SearchBounds(*this);
}

} // namespace SF
