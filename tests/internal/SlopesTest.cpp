#include "CompiledFieldSupport.h"

#include "tape/SFBlockCentres.h"
#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeIntervals.h"
#include "tape/SFTapePoints.h"
#include "tape/SFTapeSlopes.h"

#include <cmath>
#include <numeric>

using namespace SF;
using namespace SFTest;

namespace {

SFTape TapeOf(std::string const& iText)
{
  RootPtr const root = Build(iText);
  EXPECT_EQ(root->GetReady(Level2()), S_OK);
  SFTapeCompiler compiler(true);
  EXPECT_TRUE(compiler.AddRoot(*root, EFieldLimit));
  return compiler.Finish();
}

/// Over the cube of edge 4 about the origin.
std::vector<SFSlope> SlopesOfCube(SFTape const& iTape)
{
  std::vector<SFInterval> ranges;
  for (SFRanges<1> const& range : RangesOverBox(iTape, {{{-2.0, 2.0, false}, {-2.0, 2.0, false}, {-2.0, 2.0, false}}}))
    ranges.push_back(range.At(0));
  return SlopesOf(iTape, ranges);
}

/// From the segment between (0, 0, 0) and (3, 1, 2), as textbooks have it.
std::string const Segment = "r + + q - X * f3 U I / + + * f3 X * f1 Y * f2 Z f14 f0 f1 "
                            "q - Y * f1 U I / + + * f3 X * f1 Y * f2 Z f14 f0 f1 "
                            "q - Z * f2 U I / + + * f3 X * f1 Y * f2 Z f14 f0 f1 ";

TEST(Slopes, AreThoseOfTheFunctions)
{
  struct Case
  {
    std::string text;
    double lipschitz;
  };
  double const wide = std::sqrt(3.0);
  for (Case const& c :
       {Case{"X $", 1.0},
        {"+ X Y $", std::sqrt(2.0)},
        {"- X X $", 0.0},
        {"/ * f-3 X f2 $", 1.5},
        {"! a X $", 1.0},
        {"- r + + q X q Y q Z f1 $", 1.0},
        {"r + q X q X $", std::sqrt(2.0)},
        {Segment + "$", 1.0},
        {"r + + q - - * f0.6 X * f0.8 Y f1 q + * f0.8 X * f0.6 Y q I - a Z f2 f0 $", 1.0},
        {"r + + q I - a X f1 f0 q I - a Y f1 f0 q I - a Z f1 f0 $", wide}, // the components count one by one
        {"r U q X * f4 q Y $", 2.0},
        {"U I \\ X Y D Z * f2 Z r + f3 q X $", 2.0},
        {"s + X T * f2 Y $", 3.0},
        {"q X $", Inf},
        {"e X $", Inf},
        {"/ f1 X $", Inf},
        {"r X $", Inf},
        {"r - q X f1 $", Inf},
        {"? X $", Inf}}) {
    SFTape const tape = TapeOf(c.text);
    double const found = SlopesOfCube(tape)[tape.results.front()].lipschitz;
    EXPECT_GE(found, c.lipschitz) << c.text;
    EXPECT_LE(found, c.lipschitz * 1.006 + 1e-9) << c.text;
  }
}

TEST(Slopes, AndErrorsHoldBetweenAnyTwoPoints)
{
  std::size_t known = 0;
  for (unsigned int seed = 0; seed < Scaled(3000); ++seed) {
    Expressions expressions(seed);
    SFTape const tape = TapeOf(expressions.Next(6));
    SFTape all = tape;
    all.results.clear();
    for (SFValueId id = 0; id < tape.instructions.size(); ++id)
      all.results.push_back(id);
    auto const slopes = SlopesOfCube(tape);
    Points points = RandomPoints(40, 2.0);
    SFCompiledFieldOptions const options = WithThreads(1);
    SFFieldCall call(options, nullptr, "");
    std::vector<std::vector<double>> values(slopes.size(), std::vector<double>(points.Count()));
    SFTapePoints(std::move(all), options)
        .Run(points.Count(), {{points.x.data(), points.y.data(), points.z.data()}}, call,
             [&](SFPointPlaces const& iPlaces, SFTapePoints::Rows const& iRows) {
               for (std::size_t id = 0; id < slopes.size(); ++id)
                 for (std::size_t i = 0; i < iPlaces.count; ++i)
                   values[id][iPlaces[i]] = iRows(id)[i];
             });
    for (std::size_t id = 0; id < slopes.size(); ++id)
      for (std::size_t i = 0; i + 1 < points.Count(); ++i) {
        double const distance =
            std::hypot(points.x[i + 1] - points.x[i], points.y[i + 1] - points.y[i], points.z[i + 1] - points.z[i]);
        auto const [a, b] = std::pair{values[id][i], values[id][i + 1]};
        SFSlope const& slope = slopes[id];
        known += slope.lipschitz * slope.error < Inf ? 1 : 0;
        ASSERT_FALSE(std::abs(a - b) > slope.lipschitz * distance + 2.0 * slope.error + 1e-12 * std::abs(a)) << seed;
        if (slope.ofRoot < Inf && slope.error < Inf) {
          double const reach = slope.ofRoot * distance + 2.0 * std::sqrt(slope.error) + 1e-12 * std::abs(a) + 1e-150;
          ASSERT_FALSE(std::abs(std::sqrt(std::max(a, 0.0)) - std::sqrt(std::max(b, 0.0))) > reach) << seed;
          ASSERT_GE(a, -slope.error) << seed;
        }
      }
  }
  EXPECT_GT(known, Scaled(100000));
}

TEST(Slopes, ErrorsHoldWhereDigitsAreLost)
{
  struct Case
  {
    std::string text;
    double x, exact;
  };
  for (Case const& c : {Case{"- + X f1 f1 $", 1e-17, 1e-17},
                        {"r - + q X f1 f1 $", 1e-9, 1e-9},
                        {"* f1e9 - + X f1 f1 $", 1e-17, 1e-8},
                        {"e * f1e3 - + X f1 f1 $", 3e-17, 1.0 + 3e-14}}) {
    SFTape const tape = TapeOf(c.text);
    Points points;
    points.Add(c.x, 0.0, 0.0);
    ASSERT_EQ(points.Evaluate(*Compiled(Build(c.text))), S_OK);
    EXPECT_NE(points.values[0], c.exact);
    EXPECT_LE(std::abs(points.values[0] - c.exact), SlopesOfCube(tape)[tape.results.front()].error) << c.text;
  }
}

TEST(Slopes, NormsAreBoundedFromAbove)
{
  Expressions random(3);
  auto const vector = [&] {
    return std::array<double, 3>{random.Uniform(-1.0, 1.0), random.Uniform(-1.0, 1.0), random.Uniform(-1.0, 1.0)};
  };
  for (int i = 0; i < 200; ++i) {
    std::array<std::array<double, 3>, 3> const rows{vector(), vector(),
                                                    i % 2 == 0 ? vector() : std::array{0.0, 0.0, 0.0}};
    double largest = 0.0;
    std::array<double, 3> v = vector(); // towards the direction that grows the most
    for (int step = 0; step < 2000; ++step) {
      std::array<double, 3> next{};
      double squares = 0.0;
      for (auto const& row : rows) {
        double const along = row[0] * v[0] + row[1] * v[1] + row[2] * v[2];
        squares += along * along;
        for (std::size_t k = 0; k < 3; ++k)
          next[k] += along * row[k];
      }
      largest = std::sqrt(squares) / std::hypot(v[0], v[1], v[2]);
      double const length = std::hypot(next[0], next[1], next[2]);
      v = {next[0] / length, next[1] / length, next[2] / length};
    }
    EXPECT_GE(NormBound(rows), largest * (1.0 - 1e-12));
    EXPECT_LE(NormBound(rows), largest * 1.006);
  }
}

// Any extent of any axis has a position that there is, and it lies within the extent; that of a block is its centre.
TEST(Slopes, CentresOfBlocksAreWhereTheyAreLookedUp)
{
  for (std::size_t const shortest : {4U, 16U})
    for (std::size_t all = 1; all <= 40; ++all) {
      std::vector<double> coordinates(all);
      std::iota(coordinates.begin(), coordinates.end(), 0.0);
      SFBlockCentres::Append(coordinates, shortest);
      for (std::size_t begin = 0; begin < all; ++begin)
        for (std::size_t count = 1; begin + count <= all; ++count) {
          std::size_t const position = SFBlockCentres::PositionOf(begin, count, all, shortest);
          ASSERT_LT(position, coordinates.size()) << begin << " " << count << " of " << all;
          EXPECT_GE(coordinates[position], static_cast<double>(begin));
          EXPECT_LE(coordinates[position], static_cast<double>(begin + count - 1));
          bool const isBlock = begin % count == 0 && (count == shortest || count == 2 * shortest);
          EXPECT_TRUE(!isBlock || 2.0 * coordinates[position] == static_cast<double>(2 * begin + count - 1));
        }
    }
}

} // namespace
