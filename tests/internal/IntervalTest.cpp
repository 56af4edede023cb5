#include "Fields.h"

#include "operators/SFInterval.h"
#include "operators/SFScalarOps.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace SFTest;

namespace {

bool Holds(SFInterval const& iRange, double iValue)
{
  return std::isnan(iValue) ? iRange.nan : iRange.lo <= iValue && iValue <= iRange.hi;
}

/// Ranges from a point to everything, about nasty and about random places, and values in them.
class Ranges
{
public:
  explicit Ranges(std::uint64_t iSeed) : _random(iSeed) {}

  SFInterval Next()
  {
    double const a = Place();
    double const b = Place();
    bool const nan = Below(4) == 0;
    switch (Below(6)) {
    case 0:
      return {a, a, nan};
    case 1:
      return {a, std::nextafter(std::nextafter(a, Inf), Inf), nan};
    case 2:
      return std::isfinite(a) ? SFInterval(a, a + Fraction() * 4.0, nan) : SFInterval::Anything();
    default:
      return {std::min(a, b), std::max(a, b), nan};
    }
  }

  double In(SFInterval const& iRange)
  {
    double const inside = iRange.lo + Fraction() * (iRange.hi - iRange.lo);
    switch (Below(8)) {
    case 0:
      return iRange.nan ? NaN : iRange.lo;
    case 1:
      return iRange.hi;
    case 2:
      return iRange.MayBeZero() ? (Below(2) == 0 ? -0.0 : 0.0) : iRange.lo;
    case 3:
      return std::clamp(std::nextafter(iRange.lo, Inf), iRange.lo, iRange.hi);
    case 4: { // where the periodic functions turn, and next to it
      double const turn = std::round(inside / 1.5707963267948966) * 1.5707963267948966;
      return turn >= iRange.lo && turn <= iRange.hi ? turn : iRange.hi;
    }
    case 5:
      return std::clamp(Place(), iRange.lo, iRange.hi);
    default:
      return inside >= iRange.lo && inside <= iRange.hi ? inside : iRange.lo;
    }
  }

private:
  std::uint64_t Below(std::uint64_t iEnd) { return _random() % iEnd; }
  double Fraction() { return static_cast<double>(_random() >> 11) * 0x1p-53; }
  double Place()
  {
    double const nasty = Nasty[Below(Nasty.size())];
    switch (Below(4)) {
    case 0:
      return std::isnan(nasty) ? 0.0 : nasty;
    case 1:
      return 40.0 * Fraction() - 20.0;
    case 2:
      return static_cast<double>(Below(9)) - 4.0;
    default:
      return std::ldexp(Fraction() - 0.5, static_cast<int>(Below(200)) - 100);
    }
  }

  std::mt19937_64 _random;
};

template <SFNodeType Op>
void ExpectSound()
{
  Ranges ranges(static_cast<std::uint64_t>(Op));
  int wrong = 0;
  for (int trial = 0; trial < 6000 && wrong < 5; ++trial) {
    SFInterval const a = ranges.Next();
    SFInterval const b = ranges.Next();
    SFInterval const both = ScalarOps::Apply<Op>(a, b);
    SFInterval const same = ScalarOps::Apply<Op>(a, a); // one object: both operands are one value
    ASSERT_FALSE(std::isnan(both.lo) || std::isnan(both.hi));
    for (int sample = 0; sample < 12; ++sample) {
      double const x = ranges.In(a);
      double const y = ranges.In(b);
      if (!Holds(both, ScalarOps::Apply<Op>(x, y)) || !Holds(same, ScalarOps::Apply<Op>(x, x))) {
        ADD_FAILURE() << OperatorRow(Op).name << " of " << x << " in [" << a.lo << ", " << a.hi << "], " << y << " in ["
                      << b.lo << ", " << b.hi << "] leaves [" << both.lo << ", " << both.hi << "] or [" << same.lo
                      << ", " << same.hi << "]";
        ++wrong;
      }
    }
  }
}

template <std::size_t... Kind>
void ExpectAllSound(std::index_sequence<Kind...>)
{
  auto const expect = []<std::size_t K>() {
    if constexpr (IsOperator(SFNodeType{K}))
      ExpectSound<SFNodeType{K}>();
  };
  (expect.template operator()<Kind>(), ...);
}

} // namespace

TEST(Interval, OperatorsHoldWhatTheirOperandsHold) { ExpectAllSound(std::make_index_sequence<SFNodeTypeCount>{}); }

// Ranges that are sound but useless would still prune nothing: those of the operators that fields are made of are
// tight.
TEST(Interval, CommonRangesAreTight)
{
  SFInterval const a(-1.0, 2.0, false);
  SFInterval const b(3.0, 5.0, false);
  struct Case
  {
    char const* what;
    SFInterval range;
    double lo, hi;
  };
  for (Case const& c :
       {Case{"plus", a + b, 2.0, 7.0}, Case{"minus", a - b, -6.0, -1.0}, Case{"mult", a * b, -5.0, 10.0},
        Case{"square", a * a, 0.0, 4.0}, Case{"div", a / b, -1.0 / 3.0, 2.0 / 3.0},
        Case{"root", sqrt(SFInterval(4.0, 9.0, false)), 2.0, 3.0}, Case{"abs", abs(a), 0.0, 2.0},
        Case{"min", Minimum(a, SFInterval(0.0, 9.0, false)), -1.0, 2.0},
        Case{"max", Maximum(a, SFInterval(0.0, 9.0, false)), 0.0, 9.0}}) {
    EXPECT_EQ(c.range.lo, c.lo) << c.what;
    EXPECT_EQ(c.range.hi, c.hi) << c.what;
    EXPECT_FALSE(c.range.nan) << c.what;
  }
  auto const near = [](SFInterval const& iRange, double iLo, double iHi) {
    return std::abs(iRange.lo - iLo) < 1e-12 && std::abs(iRange.hi - iHi) < 1e-12 && !iRange.nan;
  };
  EXPECT_TRUE(near(Sin(SFInterval(0.1, 0.2, false)), std::sin(0.1), std::sin(0.2)));
  EXPECT_TRUE(near(Cos(SFInterval(3.0, 3.5, false)), -1.0, std::cos(3.5)));
  EXPECT_TRUE(near(Exp(SFInterval(0.0, 1.0, false)), 1.0, std::exp(1.0)));
  EXPECT_TRUE(near(Pow(SFInterval(2.0, 3.0, false), SFInterval(4.0)), 16.0, 81.0));
}

// The ranges that a sweep computes over boxes, against all values in them.
TEST(Interval, RangesOfTapesHoldTheirValues)
{
  std::size_t ranges = 0;
  for (unsigned int seed = 3001; seed <= 3040; ++seed) {
    RandomGraph graph(seed, 60);
    Nodes roots;
    for (int i = 0; i < 40; ++i)
      roots.push_back(graph.Any());
    SFGrid const grid = graph.Grid(4000);
    Compiled const compiled(roots, grid);
    Values const values = compiled.OnTape();
    if (!grid.IsWithin(Largest))
      continue;
    SFTapePruner const pruner(*compiled.runner);
    auto scratch = pruner.MakeScratch();
    SFTapeList list;
    SFTile const box{{grid.dims[0] / 3, 0, grid.dims[2] / 2}, {(grid.dims[0] + 1) / 2, grid.dims[1], 1}};
    auto const& all = compiled.runner->GetList();
    pruner.Prune(all, {&box, 1}, SFListUse::ToPrune, scratch, &list);
    for (std::size_t r = 0; r < roots.size(); ++r) {
      SFInterval const range = scratch.single[scratch.positions[all.results[r]]].range.At(0);
      ranges += range.hi - range.lo < Inf ? 1 : 0;
      for (unsigned int j = 0; j < box.count[1]; ++j)
        for (unsigned int i = 0; i < box.count[0]; ++i) {
          std::size_t const at = grid.Index(box.begin[0] + i, j, box.begin[2]);
          double const value = values[r * (values.size() / roots.size()) + at];
          ASSERT_TRUE(Holds(range, value)) << "seed " << seed << ", result " << r << ": " << value << " outside ["
                                           << range.lo << ", " << range.hi << "]";
        }
    }
  }
  EXPECT_GT(ranges, 200U); // bounded ones, that is
}
