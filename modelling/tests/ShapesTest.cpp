#include "SFShapes.h"
#include "SFTransforms.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace {

using namespace SF;

using Point = std::array<double, 3>;
using Distance = std::function<double(Point const&)>;
constexpr double Infinity = std::numeric_limits<double>::infinity();

Point operator-(Point const& a, Point const& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
double Dot(Point const& a, Point const& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double FromSegment(Point const& p, Point const& a, Point const& b)
{
  double const square = Dot(b - a, b - a);
  double const t = square == 0.0 ? 0.0 : std::clamp(Dot(p - a, b - a) / square, 0.0, 1.0);
  Point const q{a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]), a[2] + t * (b[2] - a[2])};
  return std::sqrt(Dot(p - q, p - q));
}

double FromStruts(Point const& p, std::vector<std::array<Point, 2>> const& iStruts, double iRadius)
{
  double nearest = Infinity;
  for (auto const& [a, b] : iStruts)
    nearest = std::min(nearest, FromSegment(p, a, b));
  return nearest - iRadius;
}

/// The sign by the sum of the angles under which a point sees the edges: inside where it is an odd number of turns.
double FromPolygon(double x, double y, std::vector<SFPoint2> const& iPolygon)
{
  double nearest = Infinity;
  double angle = 0.0;
  for (std::size_t i = 0; i < iPolygon.size(); ++i) {
    SFPoint2 const& a = iPolygon[i];
    SFPoint2 const& b = iPolygon[(i + 1) % iPolygon.size()];
    nearest = std::min(nearest, FromSegment({x, y, 0.0}, {a[0], a[1], 0.0}, {b[0], b[1], 0.0}));
    angle += std::remainder(std::atan2(b[1] - y, b[0] - x) - std::atan2(a[1] - y, a[0] - x), 2.0 * ZULPI);
  }
  return std::llround(angle / (2.0 * ZULPI)) % 2 != 0 ? -nearest : nearest;
}

double Extruded(double iFlat, double iAlong)
{
  return iFlat < 0.0 && iAlong < 0.0 ? std::max(iFlat, iAlong)
                                     : std::hypot(std::max(iFlat, 0.0), std::max(iAlong, 0.0));
}

double FromBlock(Point const& p, Point const& h)
{
  return Extruded(FromPolygon(p[0], p[1], {{-h[0], -h[1]}, {h[0], -h[1]}, {h[0], h[1]}, {-h[0], h[1]}}),
                  std::abs(p[2]) - h[2]);
}

double FromFrustum(Point const& p, double iRadius, double iTop, double iHalf)
{
  return FromPolygon(std::hypot(p[0], p[1]), p[2],
                     {{-iRadius, -iHalf}, {iRadius, -iHalf}, {iTop, iHalf}, {-iTop, iHalf}});
}

std::vector<SFPoint2> const Ell{{-2, -1}, {2, -1}, {2, 0}, {0.5, 0}, {0.5, 0}, {-1, 2}, {-2, 1.5}};
std::vector<SFPoint2> const Star{{0, 2}, {-1.2, -1.6}, {1.9, 0.6}, {-1.9, 0.6}, {1.2, -1.6}};

/// All pairs of lattice points of a box of cells, in quarters of a cell, that are a given distance apart.
std::vector<std::array<Point, 2>> LatticePairs(std::array<int, 3> const& n, Point const& iCell, int iSquare,
                                               std::function<bool(int, int, int)> const& iIsPoint, bool iToCorners)
{
  std::vector<std::array<int, 3>> points;
  for (int z = 0; z <= 4 * n[2]; ++z)
    for (int y = 0; y <= 4 * n[1]; ++y)
      for (int x = 0; x <= 4 * n[0]; ++x)
        if (iIsPoint(x & 3, y & 3, z & 3))
          points.push_back({x, y, z});
  auto const isCorner = [](auto const& p) { return ((p[0] | p[1] | p[2]) & 3) == 0; };
  std::vector<std::array<Point, 2>> pairs;
  for (std::size_t i = 0; i < points.size(); ++i)
    for (std::size_t j = 0; j < i; ++j) {
      int square = 0;
      std::array<Point, 2> pair{};
      for (std::size_t k = 0; k < 3; ++k) {
        square += (points[i][k] - points[j][k]) * (points[i][k] - points[j][k]);
        pair[0][k] = iCell[k] * (0.25 * points[i][k] - 0.5 * n[k]);
        pair[1][k] = iCell[k] * (0.25 * points[j][k] - 0.5 * n[k]);
      }
      if (square == iSquare && (!iToCorners || isCorner(points[i]) || isCorner(points[j])))
        pairs.push_back(pair);
    }
  return pairs;
}

struct Row
{
  std::string name;
  SFField field;
  std::optional<Point> half; ///< of the bounds, which are centred
  Distance distance;         ///< what the shape is, when that is exact
};

Row LatticeRow(std::string const& iName, SFLattice iLattice, int iSquare, std::function<bool(int, int, int)> const& iIs)
{
  auto const pairs = LatticePairs({2, 1, 2}, {1.5, 2.0, 1.0}, iSquare, iIs, iLattice == SFLattice::Fcc);
  return {iName, Lattice(iLattice, {2, 1, 2}, {1.5, 2.0, 1.0}, 0.1), Point{1.6, 1.1, 1.1},
          [pairs](Point const& p) { return FromStruts(p, pairs, 0.1); }};
}

std::vector<Row> Rows()
{
  auto const isCorner = [](int x, int y, int z) { return (x | y | z) == 0; };
  auto const isFcc = [](int x, int y, int z) { return ((x | y | z) & 1) == 0 && ((x + y + z) & 3) == 0; };
  std::vector<std::array<Point, 2>> random;
  std::vector<SFStrut> struts;
  std::mt19937 engine(3);
  std::uniform_real_distribution<double> in(-1.5, 1.5);
  random.push_back({Point{-1.75, -1.75, -1.75}, Point{1.75, 1.75, 1.75}});
  random.push_back({Point{1.0, 0.5, 0.5}, Point{1.0, 0.5, 0.5}}); // a ball
  for (int i = 0; i < 40; ++i)
    random.push_back({Point{in(engine), in(engine), in(engine)}, Point{in(engine), in(engine), in(engine)}});
  for (auto const& [a, b] : random)
    struts.push_back({{a[0], a[1], a[2]}, {b[0], b[1], b[2]}});
  std::vector<Row> rows{
      {"sphere", Sphere(1.5), Point{1.5, 1.5, 1.5}, [](Point const& p) { return std::sqrt(Dot(p, p)) - 1.5; }},
      {"box", Box({3, 2, 1}), Point{1.5, 1, 0.5},
       [](Point const& p) {
         return FromBlock(p, {1.5, 1, 0.5});
       }},
      {"rounded box", RoundedBox({3, 2, 1}, 0.25), Point{1.5, 1, 0.5},
       [](Point const& p) {
         return FromBlock(p, {1.25, 0.75, 0.25}) - 0.25;
       }},
      {"cylinder", Cylinder(1, 3), Point{1, 1, 1.5}, [](Point const& p) { return FromFrustum(p, 1, 1, 1.5); }},
      {"cone", Cone(1.5, 2), Point{1.5, 1.5, 1}, [](Point const& p) { return FromFrustum(p, 1.5, 0, 1); }},
      {"frustum", Cone(0.5, 2, 1.25), Point{1.25, 1.25, 1},
       [](Point const& p) { return FromFrustum(p, 0.5, 1.25, 1); }},
      {"torus", Torus(1.25, 0.5), Point{1.75, 1.75, 0.5},
       [](Point const& p) { return std::hypot(std::hypot(p[0], p[1]) - 1.25, p[2]) - 0.5; }},
      {"half-space", HalfSpace({1, -2, 2}, 0.5), std::nullopt,
       [](Point const& p) {
         return Dot(p, {1, -2, 2}) / 3.0 - 0.5;
       }},
      {"capsule", Capsule({-1, -0.5, 1}, {1, 0.5, -1}, 0.5), Point{1.5, 1, 1.5},
       [](Point const& p) {
         return FromSegment(p, {-1, -0.5, 1}, {1, 0.5, -1}) - 0.5;
       }},
      {"ball of a capsule", Capsule({0, 0, 0}, {0, 0, 0}, 0.5), Point{0.5, 0.5, 0.5},
       [](Point const& p) { return std::sqrt(Dot(p, p)) - 0.5; }},
      {"prism", Prism(Ell, 2), std::nullopt,
       [](Point const& p) { return Extruded(FromPolygon(p[0], p[1], Ell), std::abs(p[2]) - 1); }},
      {"clockwise prism", Prism(std::vector<SFPoint2>(Ell.rbegin(), Ell.rend()), 2), std::nullopt,
       [](Point const& p) { return Extruded(FromPolygon(p[0], p[1], Ell), std::abs(p[2]) - 1); }},
      {"crossing prism", Prism(Star, 2), std::nullopt,
       [](Point const& p) { return Extruded(FromPolygon(p[0], p[1], Star), std::abs(p[2]) - 1); }},
      {"struts", Struts(struts, 0.25), Point{2, 2, 2},
       [random](Point const& p) { return FromStruts(p, random, 0.25); }},
      LatticeRow("cubic", SFLattice::Cubic, 16, isCorner),
      LatticeRow("bcc", SFLattice::Bcc, 12, [](int x, int y, int z) { return (x | y | z) == 0 || (x & y & z) == 2; }),
      LatticeRow("fcc", SFLattice::Fcc, 8, isFcc),
      LatticeRow("octet", SFLattice::Octet, 8, isFcc),
      LatticeRow("kelvin", SFLattice::Kelvin, 2,
                 [](int x, int y, int z) { return x % 2 + y % 2 + z % 2 == 1 && (x == 0) + (y == 0) + (z == 0) == 1; }),
      {"ellipsoid", Ellipsoid({1.5, 1, 0.5}), Point{1.5, 1, 0.5}, {}},
      {"gear", Gear(0.25, 12, 1), Point{1.75, 1.75, 0.5}, {}},
  };
  for (auto const surface : {SFPeriodicSurface::Gyroid, SFPeriodicSurface::SchwarzP, SFPeriodicSurface::SchwarzD,
                             SFPeriodicSurface::Lidinoid, SFPeriodicSurface::Neovius, SFPeriodicSurface::IWP}) {
    std::string const name = "surface " + std::to_string(static_cast<int>(surface));
    rows.push_back({name, PeriodicSheet(surface, 2, 0.2), std::nullopt, {}});
    rows.push_back({name + ", one side", PeriodicNetwork(surface, 2, 0.1), std::nullopt, {}});
  }
  return rows;
}

/// The values at the points of a row of coordinates.
std::vector<double> ValuesAt(SFField const& iField, std::vector<Point> const& iPoints)
{
  std::array<std::vector<double>, 3> axes;
  for (Point const& p : iPoints)
    for (std::size_t i = 0; i < 3; ++i)
      axes[i].push_back(p[i]);
  std::vector<double> values(iPoints.size());
  iField.Compile()->Evaluate(values.size(), axes[0].data(), axes[1].data(), axes[2].data(), values.data());
  return values;
}

std::vector<Point> RandomPoints(int iCount, double iHalf)
{
  std::mt19937 engine(11);
  std::uniform_real_distribution<double> in(-iHalf, iHalf);
  std::vector<Point> points;
  for (int i = 0; i < iCount; ++i)
    points.push_back({in(engine), in(engine), in(engine)});
  return points;
}

TEST(Shapes, AreTheDistancesThatTheySay)
{
  auto points = RandomPoints(2000, 3.0);
  for (double const x : {-2.0, -1.0, 0.0, 0.5, 1.5}) // corners, edges and axes
    for (double const y : {-1.0, 0.0, 2.0})
      for (double const z : {-1.0, 0.0, 0.5})
        points.push_back({x, y, z});
  for (Row const& row : Rows()) {
    if (!row.distance)
      continue;
    auto const values = ValuesAt(row.field, points);
    double worst = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i)
      worst = std::max(worst, std::abs(values[i] - row.distance(points[i])));
    EXPECT_LE(worst, 1e-12) << row.name;
  }
}

TEST(Shapes, KnowTheirSlopesAndBounds)
{
  constexpr double h = 1e-6;
  auto const points = RandomPoints(2000, 3.0);
  for (Row const& row : Rows()) {
    std::array<std::vector<double>, 6> around;
    for (std::size_t k = 0; k < 6; ++k) {
      auto moved = points;
      for (Point& p : moved)
        p[k / 2] += k % 2 == 0 ? h : -h;
      around[k] = ValuesAt(row.field, moved);
    }
    double steepest = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      Point slope{};
      for (std::size_t axis = 0; axis < 3; ++axis)
        slope[axis] = (around[2 * axis][i] - around[2 * axis + 1][i]) / (2.0 * h);
      steepest = std::max(steepest, std::sqrt(Dot(slope, slope)));
    }
    EXPECT_LE(steepest, row.field.LipschitzBound() + 1e-8) << row.name;
    EXPECT_GE(steepest, 0.95 * row.field.LipschitzBound()) << row.name;

    auto const bounds = row.field.Bounds();
    if (row.half) {
      ASSERT_TRUE(bounds) << row.name;
      for (auto const& [end, expected] : {std::pair(bounds->low.x, -(*row.half)[0]),
                                          {bounds->low.y, -(*row.half)[1]},
                                          {bounds->low.z, -(*row.half)[2]},
                                          {bounds->high.x, (*row.half)[0]},
                                          {bounds->high.y, (*row.half)[1]},
                                          {bounds->high.z, (*row.half)[2]}})
        EXPECT_NEAR(end, expected, 1e-12) << row.name;
    }
    auto const values = ValuesAt(row.field, points);
    for (std::size_t i = 0; bounds && i < points.size(); ++i) {
      auto const& p = points[i];
      bool const isInBox = p[0] >= bounds->low.x && p[0] <= bounds->high.x && p[1] >= bounds->low.y &&
                           p[1] <= bounds->high.y && p[2] >= bounds->low.z && p[2] <= bounds->high.z;
      EXPECT_TRUE(isInBox || values[i] > 0.0) << row.name;
    }
  }
}

TEST(Shapes, PrismHasTheSlopeOfItsFacesOnThem)
{
  auto const prism = Prism({{-2, -1}, {2, -1}, {2, 1}, {-2, 1}}, 4).Compile();
  double const x[] = {2, -2, 0.5, 0.5};
  double const y[] = {0.5, 0.5, 1, -1};
  double const z[] = {0, 0, 0, 0};
  double gradients[12];
  ASSERT_EQ(prism->EvaluateGradient(4, x, y, z, nullptr, gradients), S_OK);
  double const expected[12] = {1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1, 0};
  for (int i = 0; i < 12; ++i)
    EXPECT_EQ(gradients[i], expected[i]) << i;
}

TEST(Shapes, GearHasInvoluteFlanks)
{
  double const base = 10.0 * std::cos(ZULPI / 9.0); // module 1, 20 teeth
  double const start = ZULPI / 40.0 + std::tan(ZULPI / 9.0) - ZULPI / 9.0;
  SFField const gear = Gear(1, 20, 4);
  for (int tooth = 0; tooth < 20; tooth += 7)
    for (double const t : {0.1, 0.3, 0.5})
      for (double const d : {-0.05, 0.0, 0.05}) {
        // The involute unwinds to smaller angles from where it leaves the base circle; its normal is the thread.
        double const angle = start - t + ZULPI * tooth / 10.0;
        double const thread = base * t + d;
        double const x = base * std::cos(angle) - thread * std::sin(angle);
        double const y = base * std::sin(angle) + thread * std::cos(angle);
        EXPECT_NEAR(gear(x, y, 0.5), d, 1e-12) << tooth << ' ' << t;
      }
}

TEST(Shapes, PeriodicSheetsHaveTheirThicknessOnAverage)
{
  // Areas of the minimal surfaces in a cubic cell of edge 1, to which the series come close.
  std::pair<SFPeriodicSurface, double> const areas[] = {{SFPeriodicSurface::Gyroid, 3.0915},
                                                        {SFPeriodicSurface::SchwarzP, 2.3453},
                                                        {SFPeriodicSurface::SchwarzD, 3.8378}};
  constexpr double thickness = 0.02;
  constexpr unsigned int n = 64;
  unsigned int const dims[] = {n, n, n};
  std::vector<float> values(std::size_t{n} * n * n);
  for (auto const& [surface, area] : areas) {
    auto const sheet = PeriodicSheet(surface, 1, thickness).Compile();
    double const origin[] = {0.003, 0.005, 0.007};
    ASSERT_EQ(sheet->RenderSlices(dims, 0, n, values, 1.0 / n, origin), S_OK);
    auto const inside = std::count_if(values.begin(), values.end(), [](float v) { return v < 0.0F; });
    EXPECT_NEAR(static_cast<double>(inside) / static_cast<double>(values.size()), area * thickness,
                0.03 * area * thickness);
  }
}

TEST(Shapes, FollowTheirParameters)
{
  SFField const bore = SFField::Parameter("bore", 4.0);
  SFField const moved = Translate(Rotate(Cylinder(bore, bore * 2.0 + 1.0), {1, 0, 0}, ZULPI / 2.0), {10, 0, 0});
  EXPECT_NEAR(moved.Bounds()->high.y, 4.5, 1e-9);
  SFField const wide = With(moved, "bore", 6.0);
  EXPECT_NEAR(wide.Bounds()->high.y, 6.5, 1e-9);
  EXPECT_NEAR(wide.Bounds()->low.x, 4.0, 1e-9);
  EXPECT_NEAR(With(Box({8, 8, 8}) - bore, "bore", 1.0).Bounds()->high.x, 5.0, 1e-9);
  EXPECT_THROW(With(moved, "bore", -1.0), std::invalid_argument);
}

TEST(Shapes, LatticesShareWhatTheyCan)
{
  // 324 cells of a Kelvin foam, 24 struts a cell and those of the outer faces.
  EXPECT_LT(Lattice(SFLattice::Kelvin, {6, 6, 9}, {1, 1, 1}, 0.1).NodeCount(), 3.5 * 24 * 324);
  // The struts of a line are one.
  EXPECT_LT(Lattice(SFLattice::Octet, {9, 9, 9}, {1, 1, 1}, 0.1).NodeCount(), 12000U);
  // The same with points that are off by roundings.
  std::vector<SFStrut> struts;
  for (int i = 0; i < 100; ++i)
    struts.push_back({{0.1 * i, 0.1 * i, 0.3}, {0.1 * (i + 1), 0.1 * (i + 1), 0.1 * 3}});
  EXPECT_LT(Struts(struts, 0.01).NodeCount(), 40U);
}

TEST(Shapes, RefuseBadDimensionsByName)
{
  double const nan = std::nan("");
  auto const lattice = [](std::array<unsigned int, 3> const& iCounts, double iCell, double iRadius) {
    return Lattice(SFLattice::Bcc, iCounts, {1.0, iCell, 1.0}, iRadius);
  };
  std::pair<std::string, std::function<SFField()>> const cases[] = {
      {"radius", [] { return Sphere(-1); }},
      {"radius", [&] { return Sphere(nan); }},
      {"radius", [] { return Sphere(SFField::X()); }},
      {"radius", [] { return Sphere(SFField::Parameter("r", 1) - 2); }},
      {"size",
       [] {
         return Box({1, -1, 1});
       }},
      {"radius",
       [] {
         return RoundedBox({4, 4, 1}, 0.6);
       }},
      {"height", [] { return Cylinder(1, Infinity); }},
      {"to",
       [&] {
         return Capsule({0, 0, 0}, {nan, 0, 0}, 1);
       }},
      {"height", [] { return Cone(1, 0); }},
      {"topRadius", [] { return Cone(1, 1, -0.5); }},
      {"tubeRadius", [] { return Torus(1, 1.5); }},
      {"radii",
       [] {
         return Ellipsoid({1, 0, 1});
       }},
      {"normal",
       [] {
         return HalfSpace({0, 0, 0});
       }},
      {"polygon",
       [] {
         return Prism({{0, 0}, {1, 1}, {1, 1}, {0, 0}}, 1);
       }},
      {"polygon",
       [&] {
         return Prism({{0, 0}, {1, nan}, {1, 0}}, 1);
       }},
      {"teeth", [] { return Gear(1, 12.5, 1); }},
      {"pressureAngle", [] { return Gear(1, 12, 1, 20.0); }},
      {"cell", [] { return PeriodicSheet(SFPeriodicSurface::Gyroid, 0, 1); }},
      {"offset", [&] { return PeriodicNetwork(SFPeriodicSurface::IWP, 1, nan); }},
      {"struts", [] { return Struts(std::vector<SFStrut>(), 1); }},
      {"struts",
       [&] {
         return Struts({{{0, 0, 0}, {0, nan, 0}}}, 1);
       }},
      {"points", [] { return Chain({ZULMathPoint()}, 1); }},
      {"counts",
       [&] {
         return lattice({1, 0, 1}, 1, 1);
       }},
      {"cell",
       [&] {
         return lattice({1, 1, 1}, -1, 1);
       }},
      {"radius",
       [&] {
         return lattice({1, 1, 1}, 1, -1);
       }},
  };
  for (auto const& [name, make] : cases) {
    try {
      make();
      ADD_FAILURE() << name << " was accepted";
    } catch (std::invalid_argument const& error) {
      EXPECT_EQ(std::string(error.what()).substr(0, name.size() + 1), name + ":");
    }
  }
  EXPECT_THROW(lattice({100'000, 100'000, 100'000}, 1, 1), std::length_error);
}

} // namespace
