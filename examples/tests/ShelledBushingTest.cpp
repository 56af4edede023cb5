#include "Models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace SFTest;

namespace {

/// The bushing without its hollows, by formulas of its own.
double Solid(ZULMathPoint const& iP)
{
  double const r = std::hypot(iP.x, iP.y);
  double const flange = std::max(r - 30.0, std::abs(iP.z - 4.5) - 4.5);
  double const hub = std::max(r - 19.0, std::abs(iP.z - 20.0) - 20.0);
  double field = std::max(std::min(flange, hub), 8.0 - r);
  for (double const at : {-24.5, 24.5})
    field = std::max({field, 2.6 - std::hypot(iP.x - at, iP.y), 2.6 - std::hypot(iP.x, iP.y - at)});
  return field;
}

/// How far the middle of the nearest gyroid wall is, to first order.
double ToGyroid(ZULMathPoint const& iP)
{
  double const k = 2.0 * std::acos(-1.0) / 9.0;
  double const x = k * iP.x;
  double const y = k * iP.y;
  double const z = k * iP.z;
  double const field = std::sin(x) * std::cos(y) + std::sin(y) * std::cos(z) + std::sin(z) * std::cos(x);
  double const gx = std::cos(x) * std::cos(y) - std::sin(z) * std::sin(x);
  double const gy = std::cos(y) * std::cos(z) - std::sin(x) * std::sin(y);
  double const gz = std::cos(z) * std::cos(x) - std::sin(y) * std::sin(z);
  return std::abs(field) / (k * std::sqrt(gx * gx + gy * gy + gz * gz));
}

} // namespace

TEST(ShelledBushing, HasSkinAndWallsOfTheirThickness)
{
  auto const root = BuildModel("shelled_bushing.sf");
  ASSERT_NE(root, nullptr);
  {
    Captured const quiet;
    ASSERT_EQ(root->GetReady(Level2()), S_OK);
  }

  constexpr double unsure = 0.01;
  int skin = 0;
  int wall = 0;
  int hollow = 0;
  for (double x = -31.0; x < 31.0; x += 1.37)
    for (double y = -31.0; y < 31.0; y += 1.41)
      for (double z = -1.0; z < 41.0; z += 2.93) {
        ZULMathPoint const point(x, y, z);
        double const solid = Solid(point);
        double const gyroid = ToGyroid(point);
        if (std::abs(solid) < unsure || std::abs(solid + 1.2) < unsure || std::abs(gyroid - 0.4) < unsure)
          continue;
        bool const inSkin = solid < 0.0 && solid > -1.2;
        bool const inWall = solid < 0.0 && gyroid < 0.4;
        skin += inSkin;
        wall += inWall && !inSkin;
        hollow += solid < 0.0 && !inSkin && !inWall;
        ASSERT_EQ(ValueAt(*root, point) < 0.0, inSkin || inWall) << x << " " << y << " " << z;
      }
  EXPECT_GT(skin, 300);
  EXPECT_GT(wall, 300);
  EXPECT_GT(hollow, 1000);
}
