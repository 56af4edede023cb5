// What the lattice of a Kelvin foam costs, some 20,000 struts: made of shapes, whose slopes are known, and as the text that
// textbooks have for a strut; all values, and those in a band of three voxels; against loops written by hand. Processor
// time of all threads in nanoseconds a voxel, the least of some repetitions that take turns.

#include "SFCompiledField.h"
#include "SFDagFromExpression.h"
#include "SFShapes.h"
#include "Stopwatch.h"
#include "StrutLoops.h"
#include "Workloads.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace SFBench;
using Floats = std::vector<float>;

constexpr double Radius = 0.04; ///< of a strut; the edges of a cell are 1 long
constexpr unsigned Threads = 2;

/// A number as the text has it.
std::string Text(double iNumber)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.9f", iNumber);
  return text;
}
double Rounded(double iNumber) { return std::strtod(Text(iNumber).c_str(), nullptr); }

/// The edges of the truncated octahedra that fill cells of a body-centred cubic lattice, each once: a strut in the face
/// that two cells share belongs to the cell above.
std::vector<SF::SFStrut> Kelvin(unsigned iX, unsigned iY, unsigned iZ)
{
  std::vector<std::array<int, 3>> points; // of a cell, in quarters of its edges
  for (int code = 0; code < 125; ++code) {
    std::array<int, 3> const p{code % 5, code / 5 % 5, code / 25};
    auto const count = [&](int iA, int iB) {
      return std::count_if(p.begin(), p.end(), [&](int c) { return c == iA || c == iB; });
    };
    if (count(0, 4) == 1 && count(1, 3) == 1 && count(2, 2) == 1)
      points.push_back(p);
  }
  unsigned const cells[] = {iX, iY, iZ};
  std::vector<SF::SFStrut> struts;
  for (unsigned cell = 0; cell < iX * iY * iZ; ++cell)
    for (std::size_t i = 0; i < points.size(); ++i)
      for (std::size_t j = i + 1; j < points.size(); ++j) {
        unsigned const at[] = {cell % iX, cell / iX % iY, cell / iX / iY};
        int squares = 0;
        bool isNext = false;
        std::array<double, 3> ends[2];
        for (std::size_t axis = 0; axis < 3; ++axis) {
          int const a = points[i][axis];
          int const b = points[j][axis];
          squares += (a - b) * (a - b);
          isNext = isNext || (a == 4 && b == 4 && at[axis] + 1 < cells[axis]);
          ends[0][axis] = Rounded(at[axis] - cells[axis] / 2.0 + a / 4.0);
          ends[1][axis] = Rounded(at[axis] - cells[axis] / 2.0 + b / 4.0);
        }
        if (squares == 2 && !isNext)
          struts.push_back({{ends[0][0], ends[0][1], ends[0][2]}, {ends[1][0], ends[1][1], ends[1][2]}});
      }
  return struts;
}

StrutSegment SegmentOf(SF::SFStrut const& iStrut)
{
  StrutSegment segment{{iStrut.from.x, iStrut.from.y, iStrut.from.z},
                       {Rounded(iStrut.to.x - iStrut.from.x), Rounded(iStrut.to.y - iStrut.from.y),
                        Rounded(iStrut.to.z - iStrut.from.z)},
                       0.0};
  for (double const along : segment.along)
    segment.squaredLength += along * along;
  segment.squaredLength = Rounded(segment.squaredLength);
  return segment;
}

/// A balanced union of the struts [iBegin, iEnd).
std::string TextOf(std::vector<StrutSegment> const& iStruts, std::size_t iBegin, std::size_t iEnd)
{
  if (iEnd - iBegin > 1) {
    std::size_t const middle = (iBegin + iEnd) / 2;
    return "U " + TextOf(iStruts, iBegin, middle) + TextOf(iStruts, middle, iEnd);
  }
  StrutSegment const& strut = iStruts[iBegin];
  std::string away[3];
  std::string along[3];
  for (std::size_t axis = 0; axis < 3; ++axis) {
    away[axis].append("- ").append(1, "XYZ"[axis]).append(" f").append(Text(strut.from[axis])).append(" ");
    along[axis].append("* f").append(Text(strut.along[axis])).append(" ");
  }
  std::string part = "U I / + + ";
  for (std::size_t axis = 0; axis < 3; ++axis)
    part.append(along[axis]).append(away[axis]);
  part.append("f").append(Text(strut.squaredLength)).append(" f0 f1 ");
  std::string text = "- r + + ";
  for (std::size_t axis = 0; axis < 3; ++axis)
    text.append("q - ").append(away[axis]).append(along[axis]).append(part);
  return text.append("f").append(Text(Radius)).append(" ");
}

struct Way
{
  std::string name;
  std::function<void(Floats&)> run;
  std::size_t reference; ///< the way that it is compared with
  bool isSame = true;    ///< in every bit; else but for the rounding of other arithmetic
  Floats values = {};
  double seconds = 1e9;
};

std::function<void(Floats&)> Rendered(std::shared_ptr<SF::SFCompiledField> const& iField, Grid const& iGrid)
{
  return [iField, iGrid](Floats& oValues) {
    if (Failed(iField->RenderSlices(iGrid.dims, 0, iGrid.dims[2], oValues, iGrid.h, iGrid.origin)))
      throw std::runtime_error("a rendering failed");
  };
}

template <class Loop>
std::function<void(Floats&)> InSlabs(Grid const& iGrid, Loop iLoop)
{
  return [iGrid, iLoop](Floats& oValues) {
    std::vector<std::future<void>> futures;
    for (unsigned t = 0; t < Threads; ++t)
      futures.push_back(std::async(std::launch::async, [&, t] {
        iLoop(iGrid.dims[2] * t / Threads, iGrid.dims[2] * (t + 1) / Threads, oValues.data());
      }));
    for (auto& future : futures)
      future.get();
  };
}

std::size_t Differences(Way const& iWay, Way const& iReference)
{
  std::size_t count = 0;
  for (std::size_t i = 0; i < iWay.values.size(); ++i) {
    float const a = iWay.values[i];
    float const b = iReference.values[i];
    bool const isSame = std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
                        (!iWay.isSame && std::abs(a - b) <= 2e-7F * std::abs(b) + 1e-12F);
    count += isSame ? 0 : 1;
  }
  return count;
}

std::vector<Way> WaysOf(Grid const& iGrid, std::vector<SF::SFStrut> const& iStruts, double iBand)
{
  std::vector<StrutSegment> segments;
  for (SF::SFStrut const& strut : iStruts)
    segments.push_back(SegmentOf(strut));
  SF::SFField const shapes = SF::Struts(iStruts, Radius);
  auto const root = BuildQuietly(TextOf(segments, 0, segments.size()) + "$");
  auto const compiled = [&](bool iOfShapes, double iLimit) {
    SF::SFCompiledFieldOptions options;
    options.threads = Threads;
    options.band = iLimit;
    if (iOfShapes)
      return shapes.Compile(options);
    std::shared_ptr<SF::SFCompiledField> field;
    if (Failed(
            SF::SFCompiledField::Compile(SF::SFSWContext(SF::SFSemanticLevel::ESemanticLevel2), root, options, field)))
      throw std::runtime_error("the text cannot be compiled");
    return field;
  };
  constexpr double all = std::numeric_limits<double>::infinity();
  auto const whole = [iGrid, segments](unsigned iBegin, unsigned iEnd, float* oValues) {
    StrutLoops::Whole(iGrid, iBegin, iEnd, oValues, segments, Radius);
  };
  auto const band = [iGrid, segments, iBand](unsigned iBegin, unsigned iEnd, float* oValues) {
    StrutLoops::Band(iGrid, iBegin, iEnd, oValues, segments, Radius, iBand);
  };
  return {{"all values: loop over the struts near a block", InSlabs(iGrid, whole), 0},
          {"all values: text", Rendered(compiled(false, all), iGrid), 0},
          {"all values: shapes", Rendered(compiled(true, all), iGrid), 0, false},
          {"band: loop over the points near a strut", InSlabs(iGrid, band), 3},
          {"band: text", Rendered(compiled(false, iBand), iGrid), 3},
          {"band: shapes", Rendered(compiled(true, iBand), iGrid), 3, false}};
}

int Run(bool iChecks)
{
  unsigned const side = iChecks ? 40 : 256;
  unsigned const cells = iChecks ? 2 : 9;
  auto const struts = Kelvin(cells + 1, cells, cells);
  double const extent = cells + 1.0;
  Grid const grid{{side, side, side}, {-extent / 2.0, -extent / 2.0, -extent / 2.0}, extent / (side - 1)};
  auto ways = WaysOf(grid, struts, 3.0 * grid.h);
  for (Way& way : ways)
    way.values.resize(grid.Count());
  for (int repetition = 0; repetition < (iChecks ? 1 : 3); ++repetition)
    for (Way& way : ways) {
      Stopwatch const watch;
      way.run(way.values);
      way.seconds = std::min(way.seconds, watch.Elapsed().cpu);
    }
  std::printf("%zu struts, %u^3 points; processor ns a voxel, values that differ\n", struts.size(), side);
  std::size_t differences = 0;
  for (Way const& way : ways) {
    std::size_t const others = Differences(way, ways[way.reference]);
    differences += others;
    std::printf("%-46s %8.1f %8zu\n", way.name.c_str(), 1e9 * way.seconds / static_cast<double>(grid.Count()), others);
  }
  return differences == 0 ? 0 : 1;
}

} // namespace

int main(int iCount, char** iArguments)
{
  try {
    return Run(iCount > 1 && std::string(iArguments[1]) == "--check");
  } catch (std::exception const& error) {
    std::fprintf(stderr, "sf_struts_bench: %s\n", error.what());
    return 1;
  }
}
