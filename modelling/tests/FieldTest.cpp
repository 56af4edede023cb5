#include "BRXResourceToSF.h"
#include "SFFieldCalculus.h"
#include "SFPointSource.h"
#include "SFShapes.h"
#include "SFTransforms.h"
#include "ZULPI.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace SF;

SFField Ball(double iRadius) { return Length({SFField::X(), SFField::Y(), SFField::Z()}) - iRadius; }

TEST(Field, TransformsPlaceTheirOperandOnly)
{
  SFField const ball = Ball(1.0);
  SFField const two = Translate(ball, {-3.0, 0.0, 0.0}) | Translate(ball, {3.0, 0.0, 0.0});
  EXPECT_EQ(two(3.0, 0.0, 0.0), -1.0);
  EXPECT_EQ(two(-3.0, 0.0, 0.0), -1.0);
  EXPECT_EQ(two(0.0, 0.0, 0.0), 2.0);
  auto const bounds = two.Bounds();
  ASSERT_TRUE(bounds);
  EXPECT_NEAR(bounds->low.x, -4.0, 1e-3);
  EXPECT_NEAR(bounds->high.y, 1.0, 1e-3);
}

/// A ball of radius 1 that the host owns; far away it fails.
class HostBall : public BRXResourceToSF
{
public:
  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return S_OK;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    if (iPoint.x > 100.0)
      throw std::runtime_error("far away");
    return std::sqrt(iPoint.x * iPoint.x + iPoint.y * iPoint.y + iPoint.z * iPoint.z) - 1.0;
  }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    double const length = GetScalar(iPoint) + 1.0;
    oGradient[0] = iPoint.x / length;
    oGradient[1] = iPoint.y / length;
    oGradient[2] = iPoint.z / length;
    return S_OK;
  }
};

/// No distance, whatever is said of it.
class SteepBall : public HostBall
{
public:
  double GetScalar(ZULMathPoint const& iPoint) const override { return 3.0 * HostBall::GetScalar(iPoint); }
};

TEST(Field, CompilesWithTheSlopesThatItKnows)
{
  SFLipschitzCheck const check{{{-2, -2, -2}, {2, 2, 2}}, 500};
  SFCompiledFieldOptions options;
  options.lipschitzCheck = &check;
  auto const compile = [&](std::shared_ptr<ResourceToSF> iResource, SFResourceKind iKind) {
    Rotate(SFField::Resource(std::move(iResource), iKind), {1, 2, 3}, 0.4).Compile(options);
  };
  EXPECT_NO_THROW(compile(std::make_shared<HostBall>(), SFResourceKind::Distance));
  EXPECT_NO_THROW(compile(std::make_shared<SteepBall>(), SFResourceKind::General));
  EXPECT_THROW(compile(std::make_shared<SteepBall>(), SFResourceKind::Distance), std::runtime_error);
  // Shapes are what they say, and parts of them too.
  EXPECT_NO_THROW(Union({Torus(1.0, 0.3), Translate(Cone(1.0, 2.0, 0.5), {1, 0, 0}), Ellipsoid({1.0, 0.5, 0.3}),
                         Rotate(RoundedBox({1.0, 1.0, 1.0}, 0.2), {1, 1, 0}, 1.0),
                         Stretch(Lattice(SFLattice::Octet, {2, 2, 2}, {1, 1, 1}, 0.1), {1.0, 2.0, 0.5})})
                      .Compile(options));
}

TEST(Field, ResourcesArePlacedDifferentiatedAndOffset)
{
  auto const ball = std::make_shared<HostBall>();
  for (SFResourceKind const kind : {SFResourceKind::General, SFResourceKind::Distance}) {
    SFField const field = SFField::Resource(ball, kind, ZULMathBox{{-1, -1, -1}, {1, 1, 1}});
    SFField const two =
        Translate(field, {3, 0, 0}) | Scale(Rotate(Translate(field, {2, 0, 0}), {0, 0, 1}, ZULPI / 2), 2);
    EXPECT_EQ(two(3.0, 0.0, 0.0), -1.0);
    EXPECT_NEAR(two(0.0, 4.0, 0.0), -2.0, 1e-12);
    EXPECT_NEAR(Offset(two, 0.5)(0.0, 6.5, 0.0), 0.0, 1e-12);
    EXPECT_NEAR(Offset(two, 0.5)(4.5, 0.0, 0.0), 0.0, 1e-12);
    auto const gradient = Gradient(two);
    EXPECT_NEAR(gradient[0](1.0, 5.0, 0.0), std::sqrt(0.5), 1e-12);
    EXPECT_NEAR(gradient[1](1.0, 5.0, 0.0), std::sqrt(0.5), 1e-12);
    EXPECT_THROW(field(101.0, 0.0, 0.0), std::runtime_error);
    auto const bounds = two.Bounds();
    ASSERT_TRUE(bounds);
    EXPECT_NEAR(bounds->high.y, 6.0, 1e-9);
  }
}

/// Answers many points together; below z = -3 its gradient is not known.
class BatchedBall : public HostBall
{
public:
  std::size_t GetBatchSize() const override { return 4000; }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    HostBall::GetGradient(oGradient, iPoint);
    return iPoint.z < -3.0 ? E_FAIL : S_OK;
  }
  void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                  StopRequest const& iMustStop) const override
  {
    most = std::max(most, iCount); // one thread
    return HostBall::GetScalars(iCount, iPoints, oValues, iMustStop);
  }
  mutable std::size_t most = 0;
};

/// Three values a point, one point after the other.
class Rows : public SFPointSource
{
public:
  explicit Rows(std::vector<double> const& iValues) : _values(iValues) {}
  void GetPoints(std::size_t iFirst, std::size_t iCount, std::array<double*, 3> const& oCoordinates) const override
  {
    for (std::size_t i = 0; i < 3 * iCount; ++i)
      oCoordinates[i % 3][i / 3] = _values[3 * iFirst + i];
  }

private:
  std::vector<double> const& _values;
};

TEST(Field, PointsGoToResourcesInBatchesWithTheBitsOfSingleOnes)
{
  constexpr std::size_t count = 10'001;
  std::array<std::vector<double>, 3> points;
  std::vector<double> rows(3 * count);
  for (std::size_t i = 0; i < 3 * count; ++i) {
    rows[i] = 5.0 * std::sin(static_cast<double>(i));
    points[i % 3].push_back(rows[i]);
  }
  auto const ball = std::make_shared<BatchedBall>();
  SFField const resource = SFField::Resource(ball);
  SFField const placed = Scale(Rotate(Translate(resource, {2, 0, 1}), {0, 0, 1}, 0.3), 2);
  SFField const field = Offset(placed, 0.5) | resource;
  SFCompiledFieldOptions options;
  options.threads = 1;
  auto const compiled = field.Compile(options);
  std::vector<double> values(count);
  std::vector<double> gradients(3 * count);
  std::vector<double> again(4 * count);
  auto const& [x, y, z] = points;
  ASSERT_EQ(compiled->EvaluateGradient(count, x.data(), y.data(), z.data(), values.data(), gradients.data()), S_OK);
  EXPECT_GE(ball->most, 2000U);
  for (std::size_t i = 0; i < count; i += 7)
    EXPECT_EQ(values[i], field(x[i], y[i], z[i])) << i;
  ASSERT_EQ(compiled->EvaluateGradient(count, Rows(rows), again.data(), again.data() + count), S_OK);
  auto const isSame = [](double iA, double iB) { return iA == iB || (iA != iA && iB != iB); };
  EXPECT_TRUE(std::equal(values.begin(), values.end(), again.begin()));
  EXPECT_TRUE(std::equal(gradients.begin(), gradients.end(), again.begin() + count, isSame));
  EXPECT_EQ(compiled->Evaluate(1, Rows(rows), nullptr), E_INVALIDARG);
}

TEST(Field, NormalsOfATurnedBlockAreThoseOfItsFaces)
{
  SFField const block = Rotate(Box({4.0, 2.0, 2.0}), {0.0, 0.0, 1.0}, ZULPI / 6.0);
  auto const compiled = block.Compile();
  double const c = std::cos(ZULPI / 6.0);
  double const s = std::sin(ZULPI / 6.0);
  for (double along = -0.9; along < 1.0; along += 0.1)
    for (double const side : {-1.0, 1.0}) { // points outside of the faces x = +-2 and y = +-1 of the block
      double const x[] = {c * 2.1 * side - s * along, c * along - s * 1.1 * side};
      double const y[] = {s * 2.1 * side + c * along, s * along + c * 1.1 * side};
      double const z[] = {0.3, 0.3};
      double normals[6];
      ASSERT_EQ(compiled->EvaluateGradient(2, x, y, z, nullptr, normals), S_OK);
      EXPECT_NEAR(normals[0], c * side, 1e-12);
      EXPECT_NEAR(normals[1], s * side, 1e-12);
      EXPECT_NEAR(normals[3], -s * side, 1e-12);
      EXPECT_NEAR(normals[4], c * side, 1e-12);
    }
}

TEST(Field, ParametersStayAlive)
{
  SFField const radius = SFField::Parameter("radius", 2.5, 1.0, 4.0);
  SFField const part = Offset(Shell(Translate(Sphere(radius), {1.0, 0.0, 0.0}), 0.5), 0.25);
  EXPECT_NEAR(part(3.75, 0.0, 0.0), 0.0, 1e-12);
  EXPECT_NEAR(With(part, "radius", 3.0)(4.25, 0.0, 0.0), 0.0, 1e-12);
  EXPECT_EQ(Parameters(part).front().high, 4.0);
  EXPECT_THROW(With(part, "radios", 3.0), std::invalid_argument);
  SFField const blended = SmoothUnion(SFField::Parameter("a", 2.0), SFField::Parameter("b", 2.0), 4.0);
  EXPECT_NEAR(Sphere(blended).Bounds()->high.x, 1.0, 1e-9);
  EXPECT_THROW((SFField::Parameter("a", 1.0) + SFField::Parameter("a", 2.0)).Node(), std::invalid_argument);
}

TEST(Field, IsAValue)
{
  SFField const ball = Ball(1.0);
  EXPECT_EQ(ball, Ball(1.0));
  EXPECT_EQ(ball.Hash(), Ball(1.0).Hash());
  EXPECT_NE(ball, Ball(1.0 + 1e-16 * 4.0));
  EXPECT_NE(SFField(0.0), SFField(-0.0));
  SFField deep = SFField::X();
  for (int i = 0; i < 200000; ++i)
    deep = abs(deep - 1.0);
  EXPECT_EQ(Translate(deep, {1.0, 0.0, 0.0}).NodeCount(), deep.NodeCount() + 2);
  EXPECT_THROW(Array(deep, {1000, 1000, 100}, {1.0, 1.0, 1.0}), std::length_error);
}

} // namespace
