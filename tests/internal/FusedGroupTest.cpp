#include "Fields.h"

#include "operators/SFScalarOps.h"

#include <gtest/gtest.h>

#include <utility>

using namespace SFTest;

namespace {

constexpr std::size_t RowCount = 3;
constexpr std::size_t SliceCount = 2;

/// A random fused group on rows of some length, and the values that it should give.
class RandomGroup
{
public:
  RandomGroup(std::uint64_t iSeed, std::size_t iRowLength) : _random(iSeed), _n(iRowLength)
  {
    _box.n0 = _n;
    _box.n1 = RowCount;
    _box.n2 = SliceCount;
    _box.firstVaries = Below(4) != 0;
    _box.first = NewOperand();
    _ops.resize(1 + Below(SFMaxFusedOps));
    bool isSecondSet = false;
    for (SFFusedOp& op : _ops) {
      bool const spills = !isSecondSet && Below(4) == 0;
      op.code = spills ? SFSpillCode : RandomOperator();
      bool const takes = !spills && ArityOf(op.code) == 2;
      bool const takesSecond = takes && isSecondSet && Below(2) == 0;
      op.swapped = takes && Below(2) == 0;
      op.varies = Below(3) != 0;
      if (spills || (takes && !takesSecond))
        op.operand = NewOperand();
      isSecondSet = (isSecondSet && !takesSecond) || spills;
    }
    _box.ops = _ops.data();
    _box.opCount = _ops.size();
  }

  SFFusedBox const& Box() const { return _box; }
  std::size_t Size() const { return _n * RowCount * SliceCount; }

  double Expected(std::size_t i) const
  {
    double value = At(_box.first, _box.firstVaries, i);
    double second = 0.0;
    for (SFFusedOp const& op : _ops) {
      double const other = op.operand.data == nullptr ? second : At(op.operand, op.varies, i);
      if (op.code == SFSpillCode) {
        second = std::exchange(value, other);
        continue;
      }
      value = ScalarOps::Apply(SFNodeType{op.code}, op.swapped ? other : value, op.swapped ? value : other);
    }
    return value;
  }

private:
  std::size_t Below(std::size_t iEnd) { return static_cast<std::size_t>(_random() % iEnd); }

  SFTapeCode RandomOperator()
  {
    for (;;)
      if (auto const code = static_cast<SFTapeCode>(Below(SFNodeTypeCount)); IsFusable(code))
        return code;
  }

  /// Rows and slices lie apart, overlap or are the same ones.
  SFKernelOperand NewOperand()
  {
    auto const row = static_cast<std::ptrdiff_t>(Below(2) * (_n + Below(3)));
    auto const slice = static_cast<std::ptrdiff_t>(Below(2) * (3 * _n + Below(5)));
    _values.emplace_back(16 * _n + 16);
    for (double& value : _values.back())
      value = Below(3) == 0 ? Nasty[Below(Nasty.size())] : static_cast<double>(Below(9)) - 4.0;
    return {_values.back().data(), row, slice};
  }
  double At(SFKernelOperand const& iOperand, bool iVaries, std::size_t i) const
  {
    auto const rest = static_cast<std::ptrdiff_t>(i / _n);
    auto const rows = static_cast<std::ptrdiff_t>(RowCount);
    return iOperand
        .data[(iVaries ? i % _n : 0) + static_cast<std::size_t>(rest % rows * iOperand.s1 + rest / rows * iOperand.s2)];
  }

  std::mt19937_64 _random;
  std::size_t _n;
  std::vector<Values> _values;
  std::vector<SFFusedOp> _ops;
  SFFusedBox _box;
};

float StoredFloat(double iValue, bool iClamps, double iDiagonal)
{
  double const value = std::isnan(iValue) ? iDiagonal : iValue;
  double const clamped = (value > 0.0 ? 1.0 : -1.0) * std::min(std::abs(value), iDiagonal);
  return static_cast<float>(iClamps ? clamped : iValue);
}

} // namespace

// Every fusable operator, in every kernel set, with its operands in both orders and forms and with the second register,
// on rows of whole and of broken strips; written as doubles and stored as floats. Nothing is written beside the box.
TEST(FusedGroup, GivesTheValuesOfItsOperators)
{
  constexpr double beside = 12345.0;
  for (SFTapeKernels const* const kernels : AvailableTapeKernels())
    for (std::size_t const n : {8U, 9U, 15U, 16U, 63U, 64U, 65U, 200U})
      for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        RandomGroup const group(seed * 1000 + n, n);
        SFFusedBox box = group.Box();
        Values values(group.Size() + 1, beside);
        box.out = values.data();
        kernels->fused(box);
        for (std::size_t i = 0; i < group.Size(); ++i)
          ASSERT_TRUE(Same(values[i], group.Expected(i)))
              << kernels->name << ", rows of " << n << ", seed " << seed << ", " << i << ": " << values[i]
              << " instead of " << group.Expected(i);
        EXPECT_EQ(values.back(), beside);

        // Rows of floats with a gap after each.
        std::size_t const pitch = n + seed % 3;
        std::vector<float> floats(pitch * RowCount * SliceCount + 1, static_cast<float>(beside));
        box.out = nullptr;
        box.floats = floats.data();
        box.s1 = static_cast<std::ptrdiff_t>(pitch);
        box.s2 = static_cast<std::ptrdiff_t>(pitch * RowCount);
        box.clamps = seed % 2 == 0;
        box.diagonal = 2.5;
        kernels->fused(box);
        for (std::size_t at = 0; at < floats.size(); ++at) {
          std::size_t const row = at / pitch;
          bool const isInside = at % pitch < n && row < RowCount * SliceCount;
          float const expected = isInside ? StoredFloat(group.Expected(row * n + at % pitch), box.clamps, box.diagonal)
                                          : static_cast<float>(beside);
          ASSERT_TRUE(Same(floats[at], expected))
              << kernels->name << ", rows of " << n << ", seed " << seed << ", float " << at << ": " << floats[at]
              << " instead of " << expected;
        }
      }
}
