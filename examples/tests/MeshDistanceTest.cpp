#include "MeshDistance.h"
#include "Meshes.h"
#include "StlReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>

using SFExample::MeshDistance;
using SFExample::MeshError;
using SFExample::TriangleMesh;

namespace {

ZULMathPoint Along(ZULMathPoint const& iFrom, ZULMathVector const& iDirection, double iBy)
{
  return {iFrom.x + iBy * iDirection.x, iFrom.y + iBy * iDirection.y, iFrom.z + iBy * iDirection.z};
}

double SegmentDistance(ZULMathPoint const& iP, ZULMathPoint const& iA, ZULMathPoint const& iB)
{
  ZULMathVector const along = iB - iA;
  double const t = std::clamp(Dot(iP - iA, along) / Dot(along, along), 0.0, 1.0);
  return (iP - Along(iA, along, t)).Length();
}

/// By barycentric coordinates of the projection.
double TriangleDistance(ZULMathPoint const& iP, ZULMathPoint const& iA, ZULMathPoint const& iB, ZULMathPoint const& iC)
{
  ZULMathVector const u = iB - iA;
  ZULMathVector const v = iC - iA;
  ZULMathVector const w = iP - iA;
  double const uu = Dot(u, u);
  double const uv = Dot(u, v);
  double const vv = Dot(v, v);
  double const s = (vv * Dot(u, w) - uv * Dot(v, w)) / (uu * vv - uv * uv);
  double const t = (uu * Dot(v, w) - uv * Dot(u, w)) / (uu * vv - uv * uv);
  if (s >= 0.0 && t >= 0.0 && s + t <= 1.0)
    return (iP - Along(Along(iA, u, s), v, t)).Length();
  return std::min({SegmentDistance(iP, iA, iB), SegmentDistance(iP, iB, iC), SegmentDistance(iP, iC, iA)});
}

/// Signed by the winding number: the solid angles of all triangles add up to 4 pi inside and to 0 outside
/// (A. van Oosterom, J. Strackee, "The Solid Angle of a Plane Triangle", 1983).
double BruteForce(TriangleMesh const& iMesh, ZULMathPoint const& iP)
{
  double distance = std::numeric_limits<double>::infinity();
  double angle = 0.0;
  for (auto const& t : iMesh.triangles) {
    ZULMathPoint const& p0 = iMesh.vertices[t[0]];
    ZULMathPoint const& p1 = iMesh.vertices[t[1]];
    ZULMathPoint const& p2 = iMesh.vertices[t[2]];
    distance = std::min(distance, TriangleDistance(iP, p0, p1, p2));
    ZULMathVector const a = p0 - iP;
    ZULMathVector const b = p1 - iP;
    ZULMathVector const c = p2 - iP;
    angle += 2.0 * std::atan2(Dot(a, Cross(b, c)), a.Length() * b.Length() * c.Length() + Dot(a, b) * c.Length() +
                                                       Dot(b, c) * a.Length() + Dot(c, a) * b.Length());
  }
  return angle > 6.0 ? -distance : distance;
}

std::vector<ZULMathPoint> PointsAround(ZULMathBox const& iBox, double iMargin, int iCount)
{
  std::mt19937 random(7);
  auto const between = [&](double iLow, double iHigh) {
    return std::uniform_real_distribution(iLow - iMargin, iHigh + iMargin)(random);
  };
  std::vector<ZULMathPoint> points;
  for (int i = 0; i < iCount; ++i) {
    double const x = between(iBox.low.x, iBox.high.x);
    double const y = between(iBox.low.y, iBox.high.y);
    points.emplace_back(x, y, between(iBox.low.z, iBox.high.z));
  }
  return points;
}

TriangleMesh Nut() { return SFExample::ReadStl(SF_EXAMPLES_DIR "/flange_nut.stl"); }

double CubeDistance(ZULMathPoint const& iP)
{
  ZULMathVector const q{std::abs(iP.x) - 1.0, std::abs(iP.y) - 1.0, std::abs(iP.z) - 1.0};
  ZULMathVector const outside{std::max(q.x, 0.0), std::max(q.y, 0.0), std::max(q.z, 0.0)};
  return outside.Length() + std::min(std::max({q.x, q.y, q.z}), 0.0);
}

} // namespace

TEST(MeshDistance, AgreesWithBruteForce)
{
  for (TriangleMesh const& mesh : {SFTest::Wedge(), SFTest::Cube(), Nut()}) {
    MeshDistance const distance(mesh);
    for (ZULMathPoint const& p : PointsAround(distance.Box(), 2.0, 2000))
      ASSERT_NEAR(distance.SignedDistance(p), BruteForce(mesh, p), 1e-12 * (1.0 + p.z * p.z))
          << p.x << ' ' << p.y << ' ' << p.z << " of " << mesh.triangles.size();
  }
}

TEST(MeshDistance, PointsOnTheSurfaceAndBeyondNumbers)
{
  MeshDistance const cube(SFTest::Cube());
  for (ZULMathPoint const& p : {ZULMathPoint{1, 0.3, 0.2}, {1, 1, 0.5}, {1, -1, 1}, {-1, 0, 0}})
    EXPECT_EQ(cube.SignedDistance(p), 0.0);
  double const infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(cube.SignedDistance({infinity, 0, 0}), infinity);
  EXPECT_TRUE(std::isnan(cube.SignedDistance({0, std::nan(""), 0})));
}

TEST(MeshDistance, GradientIsTheUnitDirectionOfSteepestGrowth)
{
  MeshDistance const cube(SFTest::Cube());
  int compared = 0;
  for (ZULMathPoint const& p : PointsAround(cube.Box(), 1.0, 500)) {
    ZULMathVector const gradient = cube.Gradient(p);
    ASSERT_NEAR(gradient.Length(), 1.0, 1e-12);
    // A step along the gradient adds its length, unless the nearest point changes on the way.
    double const step = 1e-3;
    double const there = CubeDistance(Along(p, gradient, step));
    double const back = CubeDistance(Along(p, gradient, -step));
    if (std::abs(there + back - 2.0 * CubeDistance(p)) < 1e-9) {
      ASSERT_NEAR(there - back, 2.0 * step, 1e-9) << p.x << ' ' << p.y << ' ' << p.z;
      ++compared;
    }
  }
  EXPECT_GT(compared, 450);

  struct Case
  {
    ZULMathPoint onSurface;
    ZULMathVector normal;
  };
  double const edge = std::sqrt(0.5);
  double const corner = std::sqrt(1.0 / 3.0);
  for (auto const& [p, normal] : std::vector<Case>{
           {{1, 0.3, 0.2}, {1, 0, 0}}, {{0.5, -1, 1}, {0, -edge, edge}}, {{-1, -1, -1}, {-corner, -corner, -corner}}}) {
    ZULMathVector const gradient = cube.Gradient(p);
    EXPECT_NEAR(Dot(gradient, normal), 1.0, 1e-12) << gradient.x << ' ' << gradient.y << ' ' << gradient.z;
  }
}

TEST(TriangleMesh, OnlyClosedSurfacesBoundASolid)
{
  struct Case
  {
    char const* message;
    std::function<void(TriangleMesh&)> damage;
  };
  for (auto const& [message, damage] : std::vector<Case>{
           {"no triangles", [](auto& m) { m.triangles.clear(); }},
           {"the surface is open at the edge from (", [](auto& m) { m.triangles.pop_back(); }},
           {"twice in one direction", [](auto& m) { std::swap(m.triangles[3][0], m.triangles[3][1]); }},
           {"twice in one direction", [](auto& m) { m.triangles.push_back(m.triangles[5]); }},
           {"triangle 2 at (-1, -1, -1) has no area", [](auto& m) { m.triangles[1][1] = m.triangles[1][0]; }},
           {"triangle 1 at (-1, -1, -1) has no area",
            [](auto& m) {
              m.vertices[3] = {-1, 3, -1};
            }},
           {"inside out",
            [](auto& m) {
              for (auto& triangle : m.triangles)
                std::swap(triangle[0], triangle[1]);
            }},
           {"touch at the vertex (1, 1, 1) only",
            [](auto& m) {
              // A second cube that shares one corner.
              for (auto const& triangle : SFTest::Cube().triangles) {
                auto const other = [](std::uint32_t i) { return i == 0 ? 7 : i + 7; };
                m.triangles.push_back({other(triangle[0]), other(triangle[1]), other(triangle[2])});
              }
              for (std::size_t i = 1; i < 8; ++i)
                m.vertices.emplace_back(m.vertices[i].x + 2, m.vertices[i].y + 2, m.vertices[i].z + 2);
            }},
       }) {
    TriangleMesh mesh = SFTest::Cube();
    damage(mesh);
    try {
      MeshDistance const distance(mesh);
      ADD_FAILURE() << "accepted, where expected: " << message;
    } catch (MeshError const& error) {
      EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
    }
  }
}
