#include "SFFieldCalculus.h"
#include "SFTransforms.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace SF;

SFField const X = SFField::X();
SFField const Y = SFField::Y();
SFField const Z = SFField::Z();

SFField Ball(double iRadius) { return Length({X, Y, Z}) - iRadius; }

/// Fields with every operator, away from the ends of their domains in the cube [0.1, 0.9]^3.
SFField const Smooth[] = {
    X * Y - Z / (X + 2.0),
    square(X) + sqrt(Y* Z) - abs(X - 2.0),
    sin(X * 3.0) * cos(Y) + tan(Z * 0.5),
    asin(X* Y) - acos(Z * 0.5) + atan(X / Z),
    exp(-X) * log(Y + 1.0),
    pow(X - 3.0, 3.0) + pow(Y + 1.0, Z),
    Translate(square(X), {3.0, 0.0, 0.0}),
    Twist(Rotate(X* Y, {1.0, 2.0, 3.0}, 0.5), 1.5),
    min(X + Y, Z * 3.0) + max(X, Y * 1.1),
    Difference(X - 0.4, Y* Z - 0.2),
    SymmetricDifference(X - 0.31, Y * 1.2 - 0.4),
    SmoothUnion(Ball(0.3), X - 0.5, 0.4),
};

TEST(Calculus, GradientIsTheSlopeAlongEachAxis)
{
  std::mt19937 random(7);
  std::uniform_real_distribution<double> coordinate(0.1, 0.9);
  for (std::size_t field = 0; field < std::size(Smooth); ++field) {
    SFField const& f = Smooth[field];
    SFField3 const gradient = Gradient(f);
    int close = 0;
    for (int i = 0; i < 50; ++i) {
      double const p[3] = {coordinate(random), coordinate(random), coordinate(random)};
      constexpr double h = 1e-5;
      bool isClose = true;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        double const d[3] = {axis == 0 ? h : 0.0, axis == 1 ? h : 0.0, axis == 2 ? h : 0.0};
        double const slope =
            (f(p[0] + d[0], p[1] + d[1], p[2] + d[2]) - f(p[0] - d[0], p[1] - d[1], p[2] - d[2])) / (2.0 * h);
        isClose = isClose && std::abs(slope - gradient[axis](p[0], p[1], p[2])) < 1e-7 * (1.0 + std::abs(slope));
      }
      close += isClose ? 1 : 0;
    }
    EXPECT_GE(close, 49) << "field " << field; // a difference may lie across a kink
  }
}

TEST(Calculus, GradientAtKinksTakesTheSideOfTheCompiledOne)
{
  SFField const kinks[] = {min(X, Y),  max(X, Y),  Difference(X, -Y), SymmetricDifference(X, Y * -1.0),
                           abs(X - Y), sqrt(X - Y)};
  for (SFField const& f : kinks) {
    double const at = 0.5;
    double value = 0.0;
    double compiled[3];
    f.Compile()->EvaluateGradient(1, &at, &at, &at, &value, compiled);
    SFField3 const gradient = Gradient(f);
    for (std::size_t axis = 0; axis < 3; ++axis)
      if (std::isfinite(compiled[axis])) {
        EXPECT_EQ(gradient[axis](at, at, at), compiled[axis]) << f.NodeCount() << ' ' << axis;
      }
  }
}

/// A solid, a distance, and a point on the surface afterwards.
struct OffsetCase
{
  SFField solid;
  double distance;
  double point[3];
};

TEST(Calculus, OffsetMovesAllSurfaces)
{
  SFField const balls = Translate(Ball(1.0), {-3.0, 0.0, 0.0}) | Translate(Ball(1.0), {3.0, 0.0, 0.0});
  SFField const slab = X - 1.0;
  OffsetCase const cases[] = {
      {balls, 0.5, {4.5, 0.0, 0.0}},
      {balls, 0.5, {-1.5, 0.0, 0.0}},
      {Translate(X, {2.0, 0.0, 0.0}), 0.5, {2.5, 1.0, 1.0}},
      {2.0 * X - 2.0, 0.25, {1.25, 0.0, 0.0}},
      {~slab, 0.25, {0.75, 0.0, 0.0}},
      {Difference(Ball(2.0), Ball(1.0)), 0.25, {0.75, 0.0, 0.0}},
      {Difference(Ball(2.0), Ball(1.0)), 0.25, {0.0, 2.25, 0.0}},
      {SymmetricDifference(X - 2.0, X), 0.25, {2.25, 0.0, 0.0}},
      {SymmetricDifference(X - 2.0, X), 0.25, {-0.25, 0.0, 0.0}},
      {~Difference(X - 2.0, X), 0.25, {0.25, 0.0, 0.0}},
      {Length({X, Y}) - 0.2, -0.1, {0.1, 0.0, 0.0}},
      {Offset(balls, SFField::Parameter("d", 0.25)), 0.25, {4.5, 0.0, 0.0}},
      {Shell(Ball(2.0), 0.5), 0.0, {1.5, 0.0, 0.0}},
      {Shell(Ball(2.0), -0.5), 0.0, {0.0, 2.5, 0.0}},
  };
  for (OffsetCase const& c : cases) {
    SFField const moved = Offset(c.solid, c.distance);
    EXPECT_NEAR(moved(c.point[0], c.point[1], c.point[2]), 0.0, 1e-12) << c.distance << ' ' << c.point[0];
  }
  EXPECT_TRUE(std::isfinite(Offset(sqrt(square(X) + square(Y)) - 1.0, 0.1)(0.0, 0.0, 0.0)));
  EXPECT_LT(Offset(sqrt(square(X) + square(Y)) - 1.0, 0.1)(0.0, 0.0, 0.0), 0.0);
  auto const bounds = Offset(balls, 0.5).Bounds();
  ASSERT_TRUE(bounds);
  EXPECT_NEAR(bounds->high.x, 4.5, 1e-2);
  EXPECT_THROW(Offset(balls, X), std::invalid_argument);
  EXPECT_THROW(Offset(balls, NAN), std::invalid_argument);
  EXPECT_THROW(Shell(balls, 0.0), std::invalid_argument);
}

} // namespace
