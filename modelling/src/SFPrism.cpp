#include "SFAffineImage.h"
#include "SFArgument.h"
#include "SFElementary.h"
#include "SFShapeParts.h"
#include "SFShapes.h"

#include <algorithm>

namespace SF {
namespace {

using Points = std::vector<SFPoint2>;

/// The corners without those that repeat the one before.
Points Corners(std::span<SFPoint2 const> iPolygon)
{
  Points corners;
  for (SFPoint2 const& point : iPolygon) {
    SFPoint2 const corner{Argument::Finite("polygon", point[0]), Argument::Finite("polygon", point[1])};
    if (corners.empty() || corner != corners.back())
      corners.push_back(corner);
  }
  while (corners.size() > 1 && corners.back() == corners.front())
    corners.pop_back();
  if (corners.size() < 3)
    Argument::Refuse("polygon", "has fewer than three corners");
  return corners;
}

/// 1 when the polygon turns counter-clockwise, else -1.
double Orientation(Points const& iCorners)
{
  SFPoint2 const& origin = iCorners.front();
  double area = 0.0;
  for (std::size_t i = 1; i + 1 < iCorners.size(); ++i)
    area += (iCorners[i][0] - origin[0]) * (iCorners[i + 1][1] - origin[1]) -
            (iCorners[i + 1][0] - origin[0]) * (iCorners[i][1] - origin[1]);
  return area < 0.0 ? -1.0 : 1.0;
}

/// The signed distance from a polygon, edge by edge.
class PolygonDistance
{
public:
  explicit PolygonDistance(Points const& iCorners) : _corners(iCorners), _orientation(Orientation(iCorners))
  {
    for (SFPoint2 const& corner : _corners)
      _isAbove.push_back(sign(SFField::Y() - corner[1]));
    for (std::size_t i = 0; i < _corners.size(); ++i)
      AddEdge(i, (i + 1) % _corners.size());
  }

  SFField Result() const
  {
    // Both terms of the distance are the same but for rounding near an edge. Exactly on an edge, where the root has no
    // derivative, the maximum takes the first one. Edges belong to the inside, so that the derivative is the outer one.
    SFField const square = Union(_squares);
    SFField const distance = max(Union(_inMaximumNorm), sqrt(square));
    return WithFacts(min(Product(_sides), sign(square)) * distance, ShapeParts::UnboundedDistanceFacts());
  }

private:
  void AddEdge(std::size_t iFrom, std::size_t iTo)
  {
    SFPoint2 const& a = _corners[iFrom];
    SFPoint2 const& b = _corners[iTo];
    double const length = Elementary::Hypot(b[0] - a[0], b[1] - a[1]);
    double const x = (b[0] - a[0]) / length;
    double const y = (b[1] - a[1]) / length;
    double const middle = x * ((a[0] + b[0]) / 2.0) + y * ((a[1] + b[1]) / 2.0);
    double const nx = _orientation * y;
    double const ny = -_orientation * x;
    SFField const across = AffineForm({nx, ny, 0.0, -(nx * a[0] + ny * a[1])}, Coordinates());
    SFField const along = AffineForm({x, y, 0.0, -middle}, Coordinates());
    SFField const beyond = max(abs(along) - length / 2.0, 0.0);
    _squares.push_back(square(across) + square(beyond));
    _inMaximumNorm.push_back(max(abs(across), beyond));
    if (a[1] != b[1])
      AddCrossing(across, iFrom, iTo);
  }

  /// -1 where the ray from a point along x meets the edge, else 1.
  void AddCrossing(SFField const& iAcross, std::size_t iFrom, std::size_t iTo)
  {
    bool const isUpwards = _corners[iFrom][1] < _corners[iTo][1];
    SFField const& overLower = _isAbove[isUpwards ? iFrom : iTo];
    SFField const& overUpper = _isAbove[isUpwards ? iTo : iFrom];
    // The outer side of an upward edge of a polygon that turns counter-clockwise is the one beyond it along x.
    SFField const isBeyond = isUpwards == (_orientation > 0.0) ? sign(iAcross) : sign(-iAcross);
    _sides.push_back(max(max(-overLower, overUpper), isBeyond));
  }

  static SFField Product(std::vector<SFField> iFactors)
  {
    while (iFactors.size() > 1) {
      std::size_t count = 0;
      for (std::size_t i = 0; i < iFactors.size(); i += 2)
        iFactors[count++] = i + 1 < iFactors.size() ? iFactors[i] * iFactors[i + 1] : iFactors[i];
      iFactors.resize(count);
    }
    return iFactors.empty() ? SFField(1.0) : iFactors.front();
  }

  Points const& _corners;
  double _orientation;
  std::vector<SFField> _isAbove; ///< for each corner, 1 above it and -1 elsewhere
  std::vector<SFField> _squares;
  std::vector<SFField> _inMaximumNorm;
  std::vector<SFField> _sides;
};

} // namespace

SFField Prism(std::span<SFPoint2 const> iPolygon, SFField const& iHeight)
{
  Points const corners = Corners(iPolygon);
  SFPoint2 low = corners.front();
  SFPoint2 high = corners.front();
  for (SFPoint2 const& corner : corners)
    for (std::size_t i = 0; i < 2; ++i) {
      low[i] = std::min(low[i], corner[i]);
      high[i] = std::max(high[i], corner[i]);
    }
  SFField const distance =
      ShapeParts::RightAngled({PolygonDistance(corners).Result(), abs(SFField::Z()) - iHeight / 2.0});
  auto const facts = [low, high](std::span<double const> d) {
    SFFieldFacts prism = ShapeParts::UnboundedDistanceFacts();
    prism.growth = 1.0;
    prism.bounds = Boxes::Grown({{low[0], low[1], -d[0] / 2.0}, {high[0], high[1], d[0] / 2.0}}, 0.0);
    return prism;
  };
  return WithRecipe(distance, {{{"height", iHeight}}, facts, {}});
}

} // namespace SF
