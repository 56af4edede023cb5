/// Measures the operations of compiled fields that are called many times, or with many points: what they cost beside the
/// plain way to the same bits. README.md says what each figure means.

#include "Stopwatch.h"
#include "Workloads.h"

#include "SFCompiledField.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

using namespace SFBench;
using Field = std::shared_ptr<SF::SFCompiledField>;

constexpr double Extent = 100.0; // of the domain of the thousand solids
constexpr std::size_t PointCount = 1000000;
constexpr std::size_t AFewPoints = 500; // at once, which are evaluated as they come

void Expect(HRESULT iCode)
{
  if (Failed(iCode))
    throw std::runtime_error("an operation of a compiled field failed");
}

Field Compiled(std::shared_ptr<SF::SFDagNode> const& iRoot)
{
  Field field;
  Expect(SF::SFCompiledField::Compile(SF::SFSWContext(SF::SFSemanticLevel::ESemanticLevel2), iRoot, {}, field));
  return field;
}

/// The least processor time of some runs, in nanoseconds for each of `iCount`.
double Least(int iRuns, std::size_t iCount, std::function<void()> const& iWork)
{
  double least = 1e300;
  for (int i = 0; i < iRuns; ++i) {
    Stopwatch const watch;
    iWork();
    least = std::min(least, watch.Elapsed().cpu);
  }
  return 1e9 * least / static_cast<double>(iCount);
}

struct Points
{
  std::vector<double> x, y, z;
};

/// In rows, as those of a grid are.
Points CoherentPoints()
{
  Points points;
  constexpr std::size_t side = 100;
  for (std::size_t i = 0; i < PointCount; ++i) {
    points.x.push_back(static_cast<double>(i % side) * Extent / side);
    points.y.push_back(static_cast<double>(i / side % side) * Extent / side);
    points.z.push_back(static_cast<double>(i / side / side) * Extent / side);
  }
  return points;
}

Points ScatteredPoints()
{
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> anywhere(0.0, Extent);
  Points points;
  for (std::size_t i = 0; i < PointCount; ++i) {
    points.x.push_back(anywhere(random));
    points.y.push_back(anywhere(random));
    points.z.push_back(anywhere(random));
  }
  return points;
}

void Gradients(SF::SFCompiledField const& iField, Points const& iPoints, std::size_t iAtOnce, std::size_t iCount,
               std::vector<double>& oGradients)
{
  for (std::size_t first = 0; first < iCount; first += iAtOnce)
    Expect(iField.EvaluateGradient(std::min(iAtOnce, iCount - first), &iPoints.x[first], &iPoints.y[first],
                                   &iPoints.z[first], nullptr, &oGradients[3 * first]));
}

bool SameBits(std::vector<double> const& iA, std::vector<double> const& iB, std::size_t iCount)
{
  return std::equal(iA.begin(), iA.begin() + static_cast<std::ptrdiff_t>(iCount), iB.begin(), [](double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
  });
}

/// Returns whether the bits are the same.
bool ReportGradients(char const* iName, Field const& iField, Points const& iPoints)
{
  constexpr std::size_t compared = PointCount / 20;
  std::vector<double> many(3 * PointCount);
  std::vector<double> few(3 * PointCount);
  double const together = Least(3, PointCount, [&] { Gradients(*iField, iPoints, PointCount, PointCount, many); });
  double const plain = Least(3, compared, [&] { Gradients(*iField, iPoints, AFewPoints, compared, few); });
  bool const isSame = SameBits(many, few, 3 * compared);
  std::printf("%-34s %10.0f ns %10.0f ns %8.3f  %s\n", iName, together, plain, together / plain,
              isSame ? "same bits" : "DIFFERENT");
  return isSame;
}

/// The second call for a small grid beside the first one of a field, which prepares.
bool ReportSmallGrid(char const* iName, std::shared_ptr<SF::SFDagNode> const& iRoot, unsigned int iSide)
{
  unsigned int const dims[3] = {iSide, iSide, iSide};
  double const h = Extent / (iSide - 1);
  std::vector<float> again(std::size_t{iSide} * iSide * iSide);
  std::vector<float> first(again.size());
  Field const field = Compiled(iRoot);
  auto const render = [&](SF::SFCompiledField const& iField, std::vector<float>& oValues) {
    Expect(iField.RenderSlices(dims, 0, iSide, oValues, h, nullptr));
  };
  render(*field, again);
  double const kept = Least(50, 1000, [&] { render(*field, again); });
  double anew = 1e300;
  for (int i = 0; i < 5; ++i) {
    Field const fresh = Compiled(iRoot);
    anew = std::min(anew, Least(1, 1000, [&] { render(*fresh, first); }));
  }
  bool const isSame = again == first;
  std::printf("%-34s %10.0f us %10.0f us %8.3f  %s\n", iName, kept, anew, kept / anew,
              isSame ? "same floats" : "DIFFERENT");
  return isSame;
}

} // namespace

int main()
{
  try {
    auto const root = BuildQuietly(ReadText(SF_BENCH_MODELS "/csg_balanced.sf"));
    Field const field = Compiled(root);
    std::printf("%-34s %13s %13s %8s\n", "a thousand solids", "measured", "plain way", "quotient");
    bool isSame = ReportGradients("gradients at 10^6 points of a grid", field, CoherentPoints());
    isSame = ReportGradients("gradients at 10^6 scattered points", field, ScatteredPoints()) && isSame;
    isSame = ReportSmallGrid("8^3 points, second call", root, 8) && isSame;
    isSame = ReportSmallGrid("32^3 points, second call", root, 32) && isSame;
    return isSame ? 0 : 1;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "sf_field_bench: %s\n", error.what());
    return 1;
  }
}
