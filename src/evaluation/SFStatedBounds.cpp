#include "evaluation/SFStatedBounds.h"

#include "SFDiagnostics.h"
#include "evaluation/SFFieldCall.h"
#include "tape/SFTapePoints.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace SF {
namespace {

/// Pairs of points of a box, 0 and 1, 2 and 3, ...
class Pairs
{
public:
  explicit Pairs(SFLipschitzCheck const& iCheck)
  {
    auto const& [low, high] = iCheck.box;
    std::array<double, 3> const from{low.x, low.y, low.z};
    std::array<double, 3> const to{high.x, high.y, high.z};
    diagonal = std::hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]);
    for (std::size_t pair = 0; pair < iCheck.pairs; ++pair) {
      double const length = diagonal * std::pow(LeastPart, Uniform());
      std::array<double, 3> direction{};
      double norm = 0.0;
      while (!(norm > 0.01 && norm <= 1.0)) {
        for (double& component : direction)
          component = 2.0 * Uniform() - 1.0;
        norm = std::hypot(direction[0], direction[1], direction[2]);
      }
      for (std::size_t axis = 0; axis < 3; ++axis) {
        double const at = from[axis] + Uniform() * (to[axis] - from[axis]);
        coordinates[axis].push_back(at);
        coordinates[axis].push_back(std::clamp(at + length / norm * direction[axis], from[axis], to[axis]));
      }
    }
  }

  double Distance(std::size_t iPair) const
  {
    auto const along = [&](std::size_t iAxis) {
      return coordinates[iAxis][2 * iPair + 1] - coordinates[iAxis][2 * iPair];
    };
    return std::hypot(along(0), along(1), along(2));
  }
  std::string PointText(std::size_t iPoint) const
  {
    std::ostringstream text;
    text << '(' << coordinates[0][iPoint] << ", " << coordinates[1][iPoint] << ", " << coordinates[2][iPoint] << ')';
    return text.str();
  }

  std::array<std::vector<double>, 3> coordinates;
  double diagonal = 0.0;

private:
  static constexpr double LeastPart = 0.001; ///< of the diagonal, between the points of a pair

  double Uniform() { return static_cast<double>(_random() >> 11) * 0x1p-53; }
  std::mt19937_64 _random{1};
};

/// Whether two values agree with a bound; else writes the line.
bool MayHold(double iBound, double const* iValues, Pairs const& iPairs, std::size_t iPair)
{
  // Roots of small differences of large numbers lose half of their digits.
  double const slack = 1e-7 * iPairs.diagonal;
  double const change = std::abs(iValues[1] - iValues[0]);
  if (!(change > iBound * (iPairs.Distance(iPair) + slack) + 1e-12 * std::abs(iValues[0])))
    return true;
  std::ostringstream text;
  text << "a stated Lipschitz bound is false: with " << iBound << " a value may not change by " << change << " from "
       << iPairs.PointText(2 * iPair) << " to " << iPairs.PointText(2 * iPair + 1);
  Diagnostics::Problem("Compile", text.str());
  return false;
}

} // namespace

bool HoldStatedBounds(SFTape const& iTape, SFLipschitzCheck const& iCheck)
{
  if (iTape.bounds.empty() || iCheck.pairs == 0)
    return true;
  SFTape tape = iTape;
  tape.results.clear();
  for (SFStatedBound const& bound : iTape.bounds)
    tape.results.push_back(bound.value);
  SFCompiledFieldOptions options;
  options.threads = 1;
  SFTapePoints const points(std::move(tape), options);
  Pairs const pairs(iCheck);
  constexpr std::size_t chunk = 512; // points
  std::vector<double> values(chunk * iTape.bounds.size());
  SFFieldCall call(options, nullptr, "Compile");
  for (std::size_t first = 0; first < pairs.coordinates[0].size(); first += chunk) {
    std::size_t const count = std::min(chunk, pairs.coordinates[0].size() - first);
    auto const& [x, y, z] = pairs.coordinates;
    points.Run(count, {{&x[first], &y[first], &z[first]}}, call,
               [&](SFPointPlaces const& iPlaces, SFTapePoints::Rows const& iRows) {
                 for (std::size_t i = 0; i < iTape.bounds.size(); ++i)
                   for (std::size_t at = 0; at < iPlaces.count; ++at)
                     values[chunk * i + iPlaces[at]] = iRows(i)[at];
               });
    for (std::size_t i = 0; i < iTape.bounds.size(); ++i)
      for (std::size_t at = 0; at < count; at += 2)
        if (!MayHold(iTape.bounds[i].lipschitz, &values[chunk * i + at], pairs, (first + at) / 2))
          return false;
  }
  return true;
}

} // namespace SF
