#include "SFFieldCalculus.h"
#include "SFShapes.h"
#include "SFTransforms.h"
#include "Support.h"

#include "SFDagEvaluator.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <random>

namespace {

using namespace SF;
using Point = std::array<double, 3>;

/// A field, and the same model written as closures: the value at a point of the solid whose surface has been moved by a
/// distance.
struct Model
{
  SFField field;
  std::function<double(Point const&, double)> value;
  bool isDistance = true; ///< all its parts are; others are only asked for distance 0
};

Point Plus(Point const& iA, double iFactor, Point const& iB)
{
  return {iA[0] + iFactor * iB[0], iA[1] + iFactor * iB[1], iA[2] + iFactor * iB[2]};
}
double DotOf(Point const& iA, Point const& iB) { return iA[0] * iB[0] + iA[1] * iB[1] + iA[2] * iB[2]; }
Point CrossOf(Point const& iA, Point const& iB)
{
  return {iA[1] * iB[2] - iA[2] * iB[1], iA[2] * iB[0] - iA[0] * iB[2], iA[0] * iB[1] - iA[1] * iB[0]};
}

constexpr double Infinite = std::numeric_limits<double>::infinity();

class Generator
{
public:
  explicit Generator(std::uint64_t iSeed) : _random(iSeed) {}

  double Number(double iLow, double iHigh) { return std::uniform_real_distribution<double>(iLow, iHigh)(_random); }
  unsigned int Below(unsigned int iCount)
  {
    return std::uniform_int_distribution<unsigned int>(0, iCount - 1)(_random);
  }
  Point RandomPoint() { return {Number(-3.0, 3.0), Number(-3.0, 3.0), Number(-3.0, 3.0)}; }

  Model Make(int iDepth)
  {
    if (iDepth == 0)
      return Leaf();
    Model model = Below(2) == 0 ? Placed(Make(iDepth - 1)) : Joined(Make(iDepth - 1), Part(iDepth - 1));
    _made.push_back(model);
    return model;
  }

private:
  /// A new part, or one that stands elsewhere in the model already.
  Model Part(int iDepth)
  {
    if (!_made.empty() && Below(3) == 0)
      return _made[Below(static_cast<unsigned int>(_made.size()))];
    return Make(iDepth);
  }

  Model Leaf()
  {
    double const r = Number(0.5, 2.0);
    SFField const x = SFField::X();
    SFField const y = SFField::Y();
    SFField const z = SFField::Z();
    switch (Below(6)) {
    case 4:
      return {Sphere(r), [=](Point const& p, double d) { return std::hypot(p[0], p[1], p[2]) - r - d; }};
    case 5:
      return {Box({2.0 * r, 2.0, 1.0}), [=](Point const& p, double d) {
                Point const q{std::abs(p[0]) - r, std::abs(p[1]) - 1.0, std::abs(p[2]) - 0.5};
                double const outside = std::hypot(std::max(q[0], 0.0), std::max(q[1], 0.0), std::max(q[2], 0.0));
                return outside + std::min(std::max({q[0], q[1], q[2]}), 0.0) - d;
              }};
    case 0:
      return {Length({x, y, z}) - r, [=](Point const& p, double d) { return std::hypot(p[0], p[1], p[2]) - r - d; }};
    case 1:
      return {sqrt(square(y) + square(z)) - r,
              [=](Point const& p, double d) { return std::hypot(p[1], p[2]) - r - d; }};
    case 2:
      return {Intersection({abs(x) - r, abs(y) - 1.0, abs(z) - 0.5}), [=](Point const& p, double d) {
                return std::max({std::abs(p[0]) - r, std::abs(p[1]) - 1.0, std::abs(p[2]) - 0.5}) - d;
              }};
    default:
      return {(x - y) / std::sqrt(2.0) - r,
              [=](Point const& p, double d) { return (p[0] - p[1]) / std::sqrt(2.0) - r - d; }};
    }
  }

  Model Placed(Model iModel)
  {
    auto const inner = iModel.value;
    bool const isDistance = iModel.isDistance;
    Point const v = RandomPoint();
    double const a = Number(-3.0, 3.0);
    double const length = std::sqrt(DotOf(v, v));
    Point const n{v[0] / length, v[1] / length, v[2] / length};
    switch (Below(isDistance ? 7 : 6)) {
    case 0:
      return {Translate(iModel.field, {v[0], v[1], v[2]}),
              [=](Point const& p, double d) { return inner(Plus(p, -1.0, v), d); }, isDistance};
    case 1:
      return {Rotate(iModel.field, {v[0], v[1], v[2]}, a),
              [=](Point const& p, double d) { // the parts along and across the axis, turned back
                Point const along = Plus({}, DotOf(n, p), n);
                Point const across = Plus(p, -1.0, along);
                Point const turned = Plus(Plus({}, std::cos(a), across), -std::sin(a), CrossOf(n, p));
                return inner(Plus(along, 1.0, turned), d);
              },
              isDistance};
    case 2: {
      double const s = Number(0.5, 2.0);
      return {Scale(iModel.field, s), [=](Point const& p, double d) { return s * inner(Plus({}, 1.0 / s, p), d / s); },
              isDistance};
    }
    case 3:
      return {Mirror(iModel.field, {v[0], v[1], v[2]}),
              [=](Point const& p, double d) { return inner(Plus(p, -2.0 * DotOf(n, p), n), d); }, isDistance};
    case 4:
      return {Twist(iModel.field, 0.3),
              [=](Point const& p, double d) {
                double const c = std::cos(0.3 * p[2]);
                double const s = std::sin(0.3 * p[2]);
                return inner({c * p[0] + s * p[1], c * p[1] - s * p[0], p[2]}, d);
              },
              false};
    case 5: {
      Point const s{Number(0.3, 3.0), Number(0.3, 3.0), 1.0};
      double const least = std::min({s[0], s[1], s[2]});
      return {Stretch(iModel.field, {s[0], s[1], s[2]}),
              [=](Point const& p, double) {
                return least * inner({p[0] / s[0], p[1] / s[1], p[2] / s[2]}, 0.0);
              },
              false};
    }
    default: {
      double const by = Number(-0.4, 0.4);
      return {Offset(iModel.field, by), [=](Point const& p, double d) { return inner(p, d + by); }, isDistance};
    }
    }
  }

  Model Joined(Model const& iA, Model const& iB)
  {
    auto const a = iA.value;
    auto const b = iB.value;
    bool const isDistance = iA.isDistance && iB.isDistance;
    switch (Below(6)) {
    case 0:
      return {iA.field | iB.field, [=](Point const& p, double d) { return std::min(a(p, d), b(p, d)); }, isDistance};
    case 1:
      return {iA.field & iB.field, [=](Point const& p, double d) { return std::max(a(p, d), b(p, d)); }, isDistance};
    case 2:
      return {Difference(iA.field, iB.field), [=](Point const& p, double d) { return std::max(a(p, d), -b(p, -d)); },
              isDistance};
    case 3:
      return {
          SymmetricDifference(iA.field, iB.field),
          [=](Point const& p, double d) { return std::max(std::min(a(p, d), b(p, d)), -std::max(a(p, -d), b(p, -d))); },
          isDistance};
    case 4:
      return {~iA.field, [=](Point const& p, double d) { return -a(p, -d); }, iA.isDistance};
    default:
      return {SmoothUnion(iA.field, iB.field, 0.7),
              [=](Point const& p, double d) {
                double const u = a(p, d);
                double const v = b(p, d);
                double const h = std::max(0.0, 0.7 - std::abs(u - v)) / 0.7;
                return std::min(u, v) - h * h * 0.7 / 4.0;
              },
              false};
    }
  }

  std::mt19937_64 _random;
  std::vector<Model> _made;
};

SFCompiledFieldOptions OneThread()
{
  SFCompiledFieldOptions options;
  options.threads = 1;
  return options;
}

std::uint64_t BitsOf(double iValue) { return std::bit_cast<std::uint64_t>(iValue); }

TEST(RandomModels, AreWhatClosuresSay)
{
  std::size_t const count = SFTest::Scaled(3000);
  for (std::size_t seed = 0; seed < count; ++seed) {
    Generator generator(seed);
    Model const model = generator.Make(static_cast<int>(1 + seed % 5));
    auto const compiled = model.field.Compile(OneThread());
    for (int i = 0; i < 8; ++i) {
      Point const p = generator.RandomPoint();
      double value = 0.0;
      compiled->Evaluate(1, &p[0], &p[1], &p[2], &value);
      ASSERT_NEAR(value, model.value(p, 0.0), 1e-12) << "seed " << seed;
      if (std::isfinite(model.field.LipschitzBound())) {
        Point const q = generator.RandomPoint();
        Point const difference = Plus(p, -1.0, q);
        ASSERT_LE(std::abs(value - model.value(q, 0.0)),
                  model.field.LipschitzBound() * std::sqrt(DotOf(difference, difference)) + 1e-12)
            << "seed " << seed;
      }
    }
  }
}

TEST(RandomModels, BoundsHoldTheSolid)
{
  std::size_t bounded = 0;
  for (std::size_t seed = 0; seed < SFTest::Scaled(1000); ++seed) {
    Generator generator(seed);
    Model const model = generator.Make(static_cast<int>(seed % 4));
    auto const bounds = model.field.Bounds();
    if (!bounds)
      continue;
    ++bounded;
    for (int i = 0; i < 200; ++i) {
      Point const p = Plus({}, 4.0, generator.RandomPoint());
      bool const isInside = p[0] >= bounds->low.x && p[0] <= bounds->high.x && p[1] >= bounds->low.y &&
                            p[1] <= bounds->high.y && p[2] >= bounds->low.z && p[2] <= bounds->high.z;
      if (!isInside) {
        ASSERT_GT(model.value(p, 0.0), 0.0) << "seed " << seed;
      }
    }
  }
  EXPECT_GT(bounded, SFTest::Scaled(1000) / 4);
}

TEST(RandomModels, EveryEvaluatorGivesTheSameBits)
{
  SFSWContext const context(SFSemanticLevel::ESemanticLevel2);
  SFDagEvaluator const evaluator(context);
  SFTest::Captured const lines;
  unsigned int dims[] = {5, 4, 3};
  double const origin[] = {-2.0, -1.5, -1.0};
  constexpr double voxel = 0.9;
  for (std::size_t seed = 0; seed < SFTest::Scaled(300); ++seed) {
    Generator generator(seed);
    SFField const field = generator.Make(static_cast<int>(1 + seed % 5)).field;
    auto graph = field.Node();
    std::vector<float> values(5 * 4 * 3);
    ASSERT_EQ(evaluator.Render(dims, values, voxel, origin, graph, ZULGetDefaultTolerance(),
                               ZULGMSFDiscretizationAccuracyLevel::EMedium),
              S_OK);
    auto const compiled = field.Compile(OneThread());
    std::vector<float> slices(values.size());
    ASSERT_EQ(compiled->RenderSlices(dims, 0, 3, slices, voxel, origin), S_OK);
    ASSERT_EQ(graph->GetReady(context), S_OK);
    SFEvaluationContext slot = graph->GetNewEvaluationContext();
    for (std::size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(std::bit_cast<std::uint32_t>(values[i]), std::bit_cast<std::uint32_t>(slices[i])) << seed;
      double const x = origin[0] + voxel * static_cast<double>(i % 5);
      double const y = origin[1] + voxel * static_cast<double>(i / 5 % 4);
      double const z = origin[2] + voxel * static_cast<double>(i / 20);
      slot.SetAtPosition({x, y, z});
      graph->Reset(slot);
      ASSERT_EQ(evaluator.ComputeScalar(slot, *graph), S_OK);
      double value = 0.0;
      compiled->Evaluate(1, &x, &y, &z, &value);
      ASSERT_EQ(BitsOf(graph->GetContextInfos(slot.GetIndex()).value), BitsOf(value)) << seed;
    }
  }
}

/// Many parts, so that they are pruned down to the smallest boxes.
TEST(RandomModels, KeepTheirBitsWhereSlopesAreKnown)
{
  SFSWContext const context(SFSemanticLevel::ESemanticLevel2);
  unsigned int const dims[] = {53, 36, 33};
  double const origin[] = {-6.0, -4.0, -4.0};
  constexpr double voxel = 0.23;
  for (std::size_t seed = 0; seed < std::max<std::size_t>(1, SFTest::Scaled(12)); ++seed) {
    Generator generator(1000 + seed);
    std::vector<SFField> parts;
    while (parts.size() < 60) {
      SFField const part = generator.Make(static_cast<int>(parts.size() % 3)).field;
      Point const at = generator.RandomPoint();
      parts.push_back(Translate(Scale(part, 0.3), {2.0 * at[0], at[1], at[2]}));
    }
    SFField const field = seed % 2 == 0 ? Union(parts) : SmoothUnion(parts, 0.2);
    std::vector<double> coordinates[3];
    std::vector<double> values(std::size_t{dims[0]} * dims[1] * dims[2]);
    for (std::size_t i = 0; i < values.size(); ++i) {
      std::size_t const at[] = {i % dims[0], i / dims[0] % dims[1], i / dims[0] / dims[1]};
      for (std::size_t axis = 0; axis < 3; ++axis)
        coordinates[axis].push_back(origin[axis] + static_cast<double>(at[axis]) * voxel);
    }
    auto const compiled = field.Compile(OneThread());
    compiled->Evaluate(values.size(), coordinates[0].data(), coordinates[1].data(), coordinates[2].data(),
                       values.data());
    std::vector<float> slices(values.size());
    for (double const band : {Infinite, 0.5}) {
      SFCompiledFieldOptions options = OneThread();
      options.band = band;
      ASSERT_EQ(field.Compile(options)->RenderSlices(dims, 0, dims[2], slices, voxel, origin), S_OK);
      for (std::size_t i = 0; i < values.size(); ++i)
        if (std::abs(values[i]) < std::min(band, 10.0))
          ASSERT_EQ(std::bit_cast<std::uint32_t>(static_cast<float>(values[i] == 0.0 ? -0.0 : values[i])),
                    std::bit_cast<std::uint32_t>(slices[i]))
              << seed << ", voxel " << i;
        else
          ASSERT_TRUE(std::isnan(values[i]) || (slices[i] > 0.0F) == (values[i] > 0.0)) << seed << ", voxel " << i;
    }
  }
}

} // namespace
