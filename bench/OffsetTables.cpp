/// Prints the tables of docs/offsets.md: how far the zero set of an offset lies from the true offset surface, and how
/// nodes and text of an offset grow with the field and the order.

#include "Stopwatch.h"
#include "Workloads.h"

#include "SFDagEvaluator.h"
#include "SFDagFromExpression.h"
#include "SFDagOffsetOperator.h"
#include "SFDagToExpression.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using NodePtr = std::shared_ptr<SF::SFDagNode>;

ZULTolerance const tolerance;
SF::SFSWContext const level2(SF::SFSemanticLevel::ESemanticLevel2);

void Require(HRESULT iCode)
{
  if (Failed(iCode))
    throw std::runtime_error("failed with hr: " + std::to_string(iCode));
}

std::string Short(double iValue)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.2g", iValue);
  return std::isnan(iValue) ? "none" : text;
}

NodePtr Read(std::string const& iText) { return SF::SFDagFromExpression::BuildFromExpression(iText, nullptr); }

NodePtr Offset(std::string const& iField, double iDistance, int iOrder)
{
  NodePtr offset = SF::SFDagOffsetOperator(level2).BuildOneSidedOffsetTree(Read(iField), iDistance, tolerance, iOrder);
  if (offset == nullptr)
    throw std::runtime_error("no offset of " + iField);
  return offset;
}

double ValueAt(SF::SFDagNode const& iNode, ZULMathPoint const& iPoint)
{
  iNode.ResetEvaluationCache();
  SF::SFEvaluationContext context(0);
  context.SetAtPosition(iPoint);
  Require(SF::SFDagEvaluator(level2).ComputeScalar(context, iNode));
  return iNode.GetContextInfos(0).value;
}

/// Distances, as fractions of the one asked for; NaN without a zero set.
struct Errors
{
  double onGrid = NAN;  ///< zeros interpolated between the voxels of a rendering
  double ofZeros = NAN; ///< some of them made exact
};

using Distance = std::function<double(ZULMathPoint const&)>;

/// How far the zero set of a field lies from where a distance is `iLevel`, in three slices about y = 0.
Errors ErrorsOf(NodePtr iField, Distance const& iDistance, double iLevel)
{
  constexpr unsigned int n = 64;
  constexpr double low = -1.5;
  constexpr double h = 3.0 / (n - 1);
  std::array<unsigned int, 3> dims{n, 3, n};
  std::array<double, 3> const origin{low, -h, low};
  std::vector<float> values(std::size_t{3} * n * n);
  Require(SF::SFDagEvaluator(level2).Render(dims.data(), values, h, origin.data(), iField, tolerance,
                                            ZULGMSFDiscretizationAccuracyLevel::EMedium));

  Errors errors;
  auto const note = [&](double& ioError, ZULMathPoint const& iPoint) {
    ioError = std::fmax(ioError, std::abs(iDistance(iPoint) - iLevel) / std::abs(iLevel));
  };
  int crossings = 0;
  for (unsigned int i = 0; i + 1 < values.size(); ++i) {
    double const a = values[i];
    double const b = values[i + 1];
    if (i % n == n - 1 || (a < 0.0) == (b < 0.0))
      continue;
    double left = low + h * (i % n);
    double right = left + h;
    ZULMathPoint point(left + h * a / (a - b), h * (i / n % 3) - h, low + h * (i / (n * 3)));
    note(errors.onGrid, point);
    if (crossings++ % 8 != 0)
      continue;
    for (int step = 0; step < 40; ++step) {
      point.x = 0.5 * (left + right);
      ((ValueAt(*iField, point) < 0.0) == (a < 0.0) ? left : right) = point.x;
    }
    note(errors.ofZeros, point);
  }
  return errors;
}

double Length(double iX, double iY, double iZ) { return std::sqrt(iX * iX + iY * iY + iZ * iZ); }

/// A balanced union of spheres, a power of two of them.
std::string Spheres(int iFirst, int iCount)
{
  if (iCount > 1)
    return "U " + Spheres(iFirst, iCount / 2) + Spheres(iFirst + iCount / 2, iCount / 2);
  std::string const x = std::to_string(iFirst);
  return "- r + + q - X f" + x + " q - Y f" + x + "5 q Z f1 ";
}

void PrintDistances()
{
  auto const sphere = [](ZULMathPoint const& iP) { return Length(iP.x, iP.y, iP.z) - 1.0; };
  struct
  {
    char const* name;
    char const* text;
    double radius;
    Distance distance;
  } const shapes[] = {
      {"sphere", "- r + + q X q Y q Z f1 $", 1.0, sphere},
      {"plane", "- + * X f0.6 * Y f0.8 f0.1 $", 1.0,
       [](ZULMathPoint const& iP) { return 0.6 * iP.x + 0.8 * iP.y - 0.1; }},
      {"capsule", "- r + + q X q Y q I - a Z f0.75 f0 f0.5 $", 0.5,
       [](ZULMathPoint const& iP) { return Length(iP.x, iP.y, std::max(std::abs(iP.z) - 0.75, 0.0)) - 0.5; }},
      {"sphere as x² + y² + z² - 1", "- + + q X q Y q Z f1 $", 1.0, sphere},
      {"sphere as exp(r²) - e", "- e + + q X q Y q Z f2.71828182845905 $", 1.0, sphere},
  };
  std::puts("| field | d / radius | order 1 | order 2 | order 3 |\n| --- | ---: | ---: | ---: | ---: |");
  for (auto const& [name, text, radius, distance] : shapes)
    for (double const fraction : {-0.3, 0.1, 0.3}) {
      std::printf("| %s | %s |", name, Short(fraction).c_str());
      for (int order = 1; order <= 3; ++order) {
        auto const [onGrid, ofZeros] = ErrorsOf(Offset(text, fraction * radius, order), distance, fraction * radius);
        std::printf(" %s (%s) |", Short(ofZeros).c_str(), Short(onGrid).c_str());
      }
      std::puts("");
    }
}

void PrintGrowth()
{
  std::string const gyroid = "- a + + * s X f6 c * Y f6 * s * Y f6 c * Z f6 * s * Z f6 c * X f6 f0.4 ";
  std::string const box = "I I - a X f1.1 - a Y f1.2 - a Z f1.3 ";
  std::pair<char const*, std::string> const fields[] = {
      {"plane", "X "},
      {"sphere", "- r + + q X q Y q Z f1 "},
      {"gyroid shell", gyroid},
      {"gyroid shell in a box", "I " + gyroid + box},
      {"the same with a boss and a bore",
       "\\ U I " + gyroid + box + "- r + q - X f0.5 q Y f0.3 - r + + q X q Y q Z f0.5 "},
      {"2 spheres", Spheres(0, 2)},
      {"4 spheres", Spheres(0, 4)},
      {"8 spheres", Spheres(0, 8)},
      {"16 spheres", Spheres(0, 16)},
  };
  std::puts("| field | its nodes | order | nodes | text | s |\n| --- | ---: | ---: | ---: | ---: | ---: |");
  for (auto const& [name, text] : fields)
    for (int order = 1; order <= 3; ++order) {
      SFBench::Stopwatch const watch;
      NodePtr const offset = Offset(text, 0.1, order);
      double const seconds = watch.Elapsed().cpu;
      std::string written;
      Require(SF::SFDagToExpression(level2).Export(*offset, written, true, false));
      std::printf("| %s | %zu | %d | %zu | %zu | %s |\n", name, SFBench::CountNodes(*Read(text)), order,
                  SFBench::CountNodes(*offset), written.size(), Short(seconds).c_str());
    }
}

} // namespace

int main()
{
  try {
    std::cout.setstate(std::ios::failbit); // the library's lines are not of interest
    PrintDistances();
    PrintGrowth();
    return 0;
  } catch (std::exception const& error) {
    std::cerr << "sf_offset_tables: " << error.what() << '\n';
    return 1;
  }
}
