#include "CalculusSupport.h"

#include <numeric>

using namespace SF;
using namespace SFTest;

namespace {

double Bump(double iX, double iY, double iZ, double iRadius, double iScale)
{
  double const point[] = {iX, iY, iZ};
  return Operator::BumpFunction(point, iRadius, iScale);
}

/// The largest distance between the distribution of some numbers and one given by its distribution function.
template <class Distribution>
double KolmogorovDistance(std::vector<double> iNumbers, Distribution iDistribution)
{
  std::sort(iNumbers.begin(), iNumbers.end());
  auto const count = static_cast<double>(iNumbers.size());
  double distance = 0.0;
  for (std::size_t i = 0; i < iNumbers.size(); ++i) {
    double const expected = iDistribution(iNumbers[i]);
    auto const rank = static_cast<double>(i);
    distance = std::max({distance, expected - rank / count, (rank + 1.0) / count - expected});
  }
  return distance;
}

/// The share of a bump of radius 1 within each of the radii 0, 1 / n, ... 1, integrated by Simpson's rule.
std::vector<double> RadialShares()
{
  constexpr int n = 2000;
  auto const density = [](double iR) { return iR < 1.0 ? iR * iR * std::exp(1.0 / (iR * iR - 1.0)) : 0.0; };
  std::vector<double> shares{0.0};
  for (int i = 0; i < n; ++i) {
    double const a = static_cast<double>(i) / n;
    double const b = static_cast<double>(i + 1) / n;
    shares.push_back(shares.back() + (density(a) + 4.0 * density((a + b) / 2.0) + density(b)) / (6.0 * n));
  }
  for (double& share : shares)
    share /= shares.back();
  return shares;
}

} // namespace

TEST(BumpFunction, Values)
{
  EXPECT_EQ(Bump(0, 0, 0, 1.0, 1.0), std::exp(-1.0));
  EXPECT_EQ(Bump(1, 0, 0, 2.0, 3.0), std::exp(1.0 / -0.75) * 3.0 / 8.0);
  EXPECT_EQ(Bump(0, -1, 1, 2.0, 3.0), std::exp(1.0 / -0.5) * 3.0 / 8.0);
  EXPECT_GT(Bump(0, 0, 0.99, 1.0, 1.0), 0.0);
  for (double const outside : {1.0, 1.5, 1e300, double{NAN}})
    EXPECT_EQ(Bump(0, 0, outside, 1.0, 1.0), 0.0) << outside;
  EXPECT_EQ(Bump(0, 0, 0, 0.0, 1.0), 0.0);
}

// Each of the four comparisons rejects a right sampler with a probability below 2 exp(-2 n d^2) = 1e-9 (Dvoretzky,
// Kiefer and Wolfowitz; Massart's constant).
TEST(BumpSampling, FollowsTheKernel)
{
  constexpr unsigned int n = 100000;
  double const bound = std::sqrt(std::log(2e9) / (2.0 * n)); // 0.0104
  std::vector<double> const shares = RadialShares();
  auto const radial = [&shares](double iR) {
    double const at = std::min(iR, 1.0) * static_cast<double>(shares.size() - 1);
    auto const i = std::min(static_cast<std::size_t>(at), shares.size() - 2);
    return std::lerp(shares[i], shares[i + 1], at - static_cast<double>(i));
  };
  for (auto const& [radius, scale] : {std::pair{2.5, 7.0}, {1e-3, 0.1}}) {
    std::vector<double> samples(5, 42.0);
    ASSERT_EQ(Operator::RejectionSamplingFromBumpFunction(samples, radius, scale, n), S_OK);
    ASSERT_EQ(samples.size(), 3 * n);
    std::vector<double> radii;
    std::array<std::vector<double>, 3> cosines;
    for (std::size_t i = 0; i < samples.size(); i += 3) {
      double const r = std::hypot(samples[i], samples[i + 1], samples[i + 2]);
      radii.push_back(r / radius);
      for (std::size_t axis = 0; axis < 3; ++axis)
        cosines[axis].push_back(samples[i + axis] / r);
    }
    EXPECT_LT(*std::max_element(radii.begin(), radii.end()), 1.0);
    EXPECT_LT(KolmogorovDistance(radii, radial), bound);
    for (auto const& cosine : cosines) // of a direction that is uniform on the sphere
      EXPECT_LT(KolmogorovDistance(cosine, [](double iCosine) { return (iCosine + 1.0) / 2.0; }), bound);
  }
}

TEST(BumpSampling, DrawsAnewAndRefusesWhatWouldNotEnd)
{
  std::vector<double> first;
  std::vector<double> second;
  EXPECT_EQ(Operator::RejectionSamplingFromBumpFunction(first, 1.0, 1.0, 10), S_OK);
  EXPECT_EQ(Operator::RejectionSamplingFromBumpFunction(second, 1.0, 1.0, 10), S_OK);
  EXPECT_NE(first, second);
  EXPECT_EQ(Operator::RejectionSamplingFromBumpFunction(second, 0.0, 1.0, 0), S_OK);
  EXPECT_TRUE(second.empty());

  std::vector<double> const before = first;
  for (auto const& [radius, scale] : {std::pair{0.0, 1.0},
                                      {1.0, 0.0},
                                      {double{NAN}, 1.0},
                                      {1.0, double{NAN}},
                                      {double{INFINITY}, 1.0},
                                      {1e-120, 1.0},
                                      {1e200, 1.0}}) {
    Captured const captured;
    EXPECT_EQ(Operator::RejectionSamplingFromBumpFunction(first, radius, scale, 10), E_INVALIDARG) << radius;
    EXPECT_EQ(captured.Lines(), LineList{"Error in RejectionSamplingFromBumpFunction at src/SFGradientSmoothing.cpp:N "
                                         "std::isfinite(peak) && peak != 0.0 not satisfied."});
    EXPECT_EQ(first, before);
  }
}

namespace {

/// Four voxels along X at 10, 12, 14, 16 with the gradients (1, 10, 100) (2, 20, 200) (3, 30, 300) (4, 40, 400).
struct Row
{
  std::vector<float> gradients{1, 10, 100, 2, 20, 200, 3, 30, 300, 4, 40, 400};
  unsigned int dims[3] = {4, 1, 1};

  /// The first components after smoothing above 5.
  std::vector<float> Smoothed(std::vector<float> const& iValues, std::vector<double> const& iOffsets)
  {
    EXPECT_EQ(Operator::SmoothGradientField(gradients, dims, 5.0, 2.0, {10, 0, 0}, iValues, iOffsets), S_OK);
    std::vector<float> x;
    for (std::size_t i = 0; i < 4; ++i) {
      x.push_back(gradients[3 * i]);
      EXPECT_EQ(gradients[3 * i + 1], 10 * x.back());
      EXPECT_EQ(gradients[3 * i + 2], 100 * x.back());
    }
    return x;
  }
};

} // namespace

TEST(GradientSmoothing, AveragesOverTheOffsets)
{
  std::vector<float> const far(4, 9.0F);
  struct
  {
    std::vector<float> values;
    std::vector<double> offsets;
    std::vector<float> expected;
  } const cases[] = {
      {far, {}, {1, 2, 3, 4}},
      {far, {0, 0, 0}, {1, 2, 3, 4}},
      {far, {2, 0, 0}, {1, 1, 2, 3}}, // the first one would come from outside
      {far, {-2, 0, 0}, {2, 3, 4, 4}},
      {far, {-2, 0, 0, 0, 0, 0}, {1.5, 2.5, 3.5, 4}}, // from the field as it was, not as it becomes
      {far, {0.5, 0, 0, -2, 0, 0}, {2, 2, 3, 3}},     // a little below a voxel is the voxel before
      {far, {-1.9, 0, 0}, {1, 2, 3, 4}},
      {far, {0, 0.1, 0}, {1, 2, 3, 4}}, // outside along another axis
      {far, {0, -0.1, 0, 2, -1.9, -1.9}, {1, 1.5, 2.5, 3.5}},
      {far, {0, 0, -2, 2, 0, 0}, {1, 1, 2, 3}},
      {far, {NAN, 0, 0, INFINITY, 0, 0, 2, 0, 0}, {1, 1, 2, 3}},
      {{4.9F, 5.0F, NAN, -9.0F}, {-2, 0, 0}, {1, 3, 4, 4}}, // below the threshold all stays as it is
  };
  for (auto const& c : cases)
    EXPECT_EQ(Row().Smoothed(c.values, c.offsets), c.expected) << &c - cases;
}

TEST(GradientSmoothing, UsesTheFirstThousandOffsetsThatCount)
{
  std::vector<double> offsets;
  auto const add = [&offsets](double iX, int iTimes) {
    for (int i = 0; i < iTimes; ++i)
      offsets.insert(offsets.end(), {iX, 0, 0});
  };
  add(100, 5000); // outside
  add(0, 500);
  add(-2, 500);
  add(-4, 500); // too late, but for the last two voxels
  EXPECT_EQ(Row().Smoothed(std::vector<float>(4, 9.0F), offsets), (std::vector<float>{1.5, 2.5, 3.5, 4}));
}

TEST(GradientSmoothing, EachVoxelOfManyComesFromItsOwnPlace)
{
  // Each gradient is the place of its voxel; all look at the neighbour (1, 2, -1) on.
  unsigned int const dims[] = {5, 7, 40};
  std::vector<float> gradients;
  std::vector<float> expected;
  for (unsigned int k = 0; k < dims[2]; ++k)
    for (unsigned int j = 0; j < dims[1]; ++j)
      for (unsigned int i = 0; i < dims[0]; ++i) {
        bool const inside = i + 1 < dims[0] && j + 2 < dims[1] && k > 0;
        for (unsigned int const value : {i, j, k})
          gradients.push_back(static_cast<float>(value));
        for (unsigned int const value : {i + inside, j + 2 * inside, k - inside})
          expected.push_back(static_cast<float>(value));
      }
  std::vector<float> const values(gradients.size() / 3, 9.0F);
  EXPECT_EQ(Operator::SmoothGradientField(gradients, dims, 5.0, 0.5, {1, 2, 3}, values, {-0.5, -1.0, 0.5}), S_OK);
  EXPECT_EQ(gradients, expected);
}

TEST(GradientSmoothing, AddsInSinglePrecision)
{
  std::vector<float> gradients{16777216.0F, 0, 0, 1.0F, 0, 0, 42, 42};
  unsigned int const dims[] = {2, 1, 1};
  std::vector<float> const values(2, 1.0F);
  EXPECT_EQ(Operator::SmoothGradientField(gradients, dims, 1.0, 1.0, {}, values, {0, 0, 0, -1, 0, 0, -1, 0, 0}), S_OK);
  EXPECT_EQ(gradients, (std::vector<float>{16777216.0F / 3.0F, 0, 0, 1.0F, 0, 0, 0, 0}));
}

TEST(GradientSmoothing, DrawsItsOffsetsFromABump)
{
  // A step across a row of cubes: 0 up to voxel 9, 1 from voxel 10 on. The bump's radius is 8 voxels.
  constexpr unsigned int n = 20;
  unsigned int const dims[] = {n, 21, 21};
  std::size_t const voxels = std::size_t{n} * 21 * 21;
  std::vector<float> before(3 * voxels, 0.0F);
  for (std::size_t v = 0; v < voxels; ++v)
    before[3 * v] = v % n >= 10 ? 1.0F : 0.0F;
  std::vector<float> values(voxels, 0.0F);
  std::size_t const middle = (std::size_t{10} * 21 + 10) * n;
  for (std::size_t const i : {1U, 5U, 10U, 19U})
    values[middle + i] = 9.0F;

  constexpr int calls = 20; // of 1000 offsets used each
  std::array<double, n> mean{};
  std::size_t strays = 0;
  for (int call = 0; call < calls; ++call) {
    auto gradients = before;
    EXPECT_EQ(Operator::SmoothGradientField(gradients, dims, 9.0, 1.0, {1, 2, 3}, values), S_OK);
    for (std::size_t i = 0; i < n; ++i)
      mean[i] += static_cast<double>(gradients[3 * (middle + i)]) / calls;
    for (std::size_t v = 0; v < voxels; ++v)
      strays += values[v] == 0.0F && gradients[3 * v] != before[3 * v];
  }
  EXPECT_EQ(strays, 0U);
  EXPECT_EQ(mean[1], 0.0);
  EXPECT_NEAR(mean[19], 1.0, 1e-12);
  // Half of the offsets lead below voxel 10 from there, and a share of 0.0247 of a bump lies beyond 5/8 of its
  // radius along an axis. Each is missed with a probability below 1e-10 (Chernoff). A bump of radius 9 would have
  // 0.0451 there.
  EXPECT_NEAR(mean[10], 0.5, 0.025);
  EXPECT_NEAR(mean[5], 0.0247, 0.0085);
}

TEST(GradientSmoothing, RefusesFieldsThatAreTooSmall)
{
  unsigned int const dims[] = {2, 2, 2};
  unsigned int const many[] = {4294967295U, 4294967295U, 4294967295U};
  struct
  {
    unsigned int const* dims;
    std::size_t gradients, values;
    double threshold;
    std::string condition;
  } const cases[] = {
      {nullptr, 24, 8, 1.0, "iDims != nullptr"},
      {dims, 23, 8, 1.0, "3 * nx * ny * nz <= ioGradients.size()"},
      {dims, 24, 7, 1.0, "nx * ny * nz <= iValues.size()"},
      {many, 24, 8, 1.0, "3 * nx * ny * nz <= ioGradients.size()"},
      {dims, 24, 8, 0.0, "std::isfinite(peak) && peak != 0.0"},
  };
  for (auto const& c : cases) {
    std::vector<float> gradients(c.gradients, 1.0F);
    LineList const lines = LinesOf([&] {
      EXPECT_EQ(Operator::SmoothGradientField(gradients, c.dims, c.threshold, 1.0, {}, std::vector<float>(c.values)),
                E_INVALIDARG);
    });
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines.front().find(" " + c.condition + " not satisfied."), std::string::npos) << lines.front();
    EXPECT_EQ(gradients, std::vector<float>(c.gradients, 1.0F));
  }
  std::vector<float> none;
  unsigned int const empty[] = {0, 5, 5};
  EXPECT_EQ(Operator::SmoothGradientField(none, empty, 1.0, 1.0, {}, {}), S_OK);
}
