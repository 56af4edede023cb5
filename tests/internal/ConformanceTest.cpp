#include "Fields.h"

#include "operators/SFScalarOps.h"
#include "tape/SFTapeKernels.h"

#include <gtest/gtest.h>

#include <iostream>

using namespace SFTest;

namespace {

std::vector<SFNodeType> Operators()
{
  std::vector<SFNodeType> operators;
  for (auto const& row : SFOperatorTable)
    if (row.family == SFNodeFamily::Operator)
      operators.push_back(row.type);
  return operators;
}

/// Compares the tape and the pruned tape of some fields, on every kernel set, with the recursion.
void ExpectConformance(Nodes const& iRoots, SFGrid const& iGrid, std::string const& iWhat)
{
  Values const expected = ByRecursion(iRoots, iGrid);
  for (SFTapeKernels const* const kernels : AvailableTapeKernels()) {
    KernelsInUse const inUse(kernels->name);
    Compiled const compiled(iRoots, iGrid);
    for (bool const pruned : {false, true}) {
      Values const values = pruned ? compiled.OnPrunedTape() : compiled.OnTape();
      std::size_t const at = FirstDifference(values, expected);
      ASSERT_EQ(at, expected.size()) << iWhat << ", " << kernels->name << (pruned ? ", pruned" : "") << ": "
                                     << values[at] << " instead of " << expected[at];
    }
  }
}

} // namespace

// Every operator on every pair of nasty values: one field of them along x, the other along y. The second result is
// a choice that pruning takes, so that the first one runs on a rewritten list too.
TEST(Conformance, OperatorsOnNastyValues)
{
  auto const along = [](double ZULMathPoint::*iAxis) {
    return std::make_shared<HostResource>(
        [iAxis](ZULMathPoint const& iP) { return Nasty[static_cast<std::size_t>(iP.*iAxis)]; });
  };
  auto const count = static_cast<unsigned int>(Nasty.size());
  unsigned int const dims[3] = {count, count, 1};
  SFGrid const grid(dims, 1.0, nullptr);
  Node const decided = Op(MIN, Op(X), Op(PLUS, Op(X), Constant(100.0)));
  for (SFNodeType const type : Operators()) {
    Node const field = Op(type, along(&ZULMathPoint::x), IsBinaryOperator(type) ? along(&ZULMathPoint::y) : nullptr);
    ExpectConformance({field, decided}, grid, std::string(OperatorRow(type).name));
  }
}

// The same from coordinates, constants and parameters, which fold, are hoisted, and have ranges.
TEST(Conformance, OperatorsOnNastyCoordinatesAndConstants)
{
  for (SFNodeType const type : Operators())
    for (double const a : Nasty)
      for (double const b : Nasty) {
        if (!IsBinaryOperator(type) && !Same(b, 0.0))
          continue;
        double const origin[3] = {a, b, 1.0};
        unsigned int const dims[3] = {3, 9, 2};
        Node const constant = std::make_shared<SFVariable>("b", b);
        Nodes const fields{Op(type, Op(X), Op(Y)), Op(type, Op(X), constant), Op(type, Constant(a), Op(Y)),
                           Op(type, Constant(a), constant), Op(type, Op(MULT, Op(X), Op(Z)), Op(MULT, Op(Y), Op(Z)))};
        std::string const what =
            std::string(OperatorRow(type).name) + " of " + std::to_string(a) + ", " + std::to_string(b);
        ASSERT_NO_FATAL_FAILURE(ExpectConformance(fields, {dims, 0.0, origin}, what));
      }
}

// Mapped coordinates and choices where coordinates are no numbers: 0 times infinity must not be left out of a mapping,
// and no range holds such a point.
TEST(Conformance, MappingsAndChoicesAtNastyPoints)
{
  Nodes fields;
  for (char const* const text :
       {"m[1;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] - / f1 X Y $",
        "m[1e-200;0;0;0;0;1;0;0;0;0;1;0] m[1e-200;0;0;0;0;1;0;0;0;0;1;0] m[1;0;0;0;0;1;0;0;0;0;1;0] Y $",
        "m[1;0;0;-3;0;2;0;1;0;0;1;0;0;0;0;1] + Y Z $", "m[0;1;0;0;-1;0;0;0;0;0;1;4;0;0;0;1] X $",
        "m[0.6;-0.8;0;1;0.8;0.6;0;0;0;0;1;0;0;0;0;1] / X Y $", "n[0;0;0;0;0;1;3] + X Y $", "n[1;2;-1;1;1;-0.5;6.5] X $",
        "n[0;0;0;0;1;0;0] Z $", "U U f9 X f5 $", "I I f5 X f9 $", "\\ X U U f9 Y f5 $", "a + X f1 $", "? U X f-1 $"}) {
    fields.push_back(Build(text));
    ASSERT_NE(fields.back(), nullptr) << text;
  }
  for (double const a : Nasty)
    for (double const b : Nasty) {
      double const origin[3] = {a, b, 1.0};
      // On the second grid the coordinates are not hoisted, so their ranges are not those of hoisted values. An infinite
      // spacing makes the first point NaN and the others infinite.
      for (auto const& [dims, h] : {std::pair{std::array{3U, 9U, 2U}, -0.5}, std::pair{std::array{9U, 1U, 1U}, Inf}})
        ASSERT_NO_FATAL_FAILURE(
            ExpectConformance(fields, {dims.data(), h, origin}, std::to_string(a) + ", " + std::to_string(b)));
    }
}

// All forms of each kernel on its own, at lengths that leave a remainder in every vector width.
TEST(Conformance, KernelsInAllForms)
{
  for (SFTapeKernels const* const kernels : AvailableTapeKernels())
    for (SFNodeType const type : Operators())
      for (std::size_t form = 0; form < SFKernelFormCount; ++form)
        for (std::size_t shift = 0; shift < Nasty.size(); ++shift) {
          Values a(Nasty.size());
          Values b = Nasty;
          for (std::size_t i = 0; i < a.size(); ++i)
            a[i] = Nasty[(i + shift) % a.size()];
          Values out(2 * Nasty.size() - 2);
          std::size_t const n = Nasty.size() - 1;
          kernels->operators[static_cast<std::size_t>(type)][form](
              {out.data(), n, 2, 1, {a.data(), 1, 0}, {b.data(), 1, 0}});
          for (std::size_t i = 0; i < out.size(); ++i) {
            std::size_t const at = i % n + i / n;
            std::size_t const atA = form == static_cast<std::size_t>(SFKernelForm::SecondVaries) ? i / n : at;
            std::size_t const atB = form == static_cast<std::size_t>(SFKernelForm::FirstVaries) ? i / n : at;
            double const expected = ScalarOps::Apply(type, a[atA], b[atB]);
            ASSERT_TRUE(Same(out[i], expected))
                << kernels->name << " " << OperatorRow(type).name << "[" << form << "](" << a[atA] << ", " << b[atB]
                << ") is " << out[i] << " instead of " << expected;
          }
        }
}

// The conversion to floats: clamping, NaN, zeros, vanishing and overflowing normals.
TEST(Conformance, Stores)
{
  SFTapeKernels const& reference = *AvailableTapeKernels().back();
  Values x, y, z;
  for (double const a : Nasty)
    for (double const b : Nasty) {
      x.push_back(a);
      y.push_back(b);
      z.push_back(a == b ? 0.0 : a);
    }
  for (SFTapeKernels const* const kernels : AvailableTapeKernels())
    for (double const diagonal : {0.0, 1.0, 17.5, Inf, NaN}) {
      std::vector<float> got(3 * x.size());
      std::vector<float> expected(3 * x.size());
      auto const check = [&](char const* iWhat) {
        EXPECT_EQ(FirstDifference(got, expected), expected.size()) << kernels->name << " " << iWhat << " " << diagonal;
      };
      SFStoreBox box{{got.data(), 0, 0, x.size(), 1, 1}, {x.data(), 0, 0}, true};
      kernels->storeClamped(box, diagonal);
      for (std::size_t i = 0; i < x.size(); ++i) {
        double const value = std::isnan(x[i]) ? diagonal : x[i];
        expected[i] = static_cast<float>((value > 0.0 ? 1.0 : -1.0) * std::min(diagonal, std::abs(value)));
      }
      check("clamped");
      kernels->storePlain(box, diagonal);
      box.floats.out = expected.data();
      reference.storePlain(box, diagonal);
      check("plain");
      kernels->storeNormals({{got.data(), 0, 0, x.size(), 1, 1},
                             {{{x.data(), 0, 0}, {y.data(), 0, 0}, {z.data(), 0, 0}}},
                             {true, true, true}});
      for (std::size_t i = 0; i < x.size(); ++i) {
        ZULMathVector normal{x[i], y[i], z[i]};
        normal.Normalize();
        expected[3 * i] = static_cast<float>(normal.x);
        expected[3 * i + 1] = static_cast<float>(normal.y);
        expected[3 * i + 2] = static_cast<float>(normal.z);
      }
      check("normals");
    }
}

TEST(KernelNames, AnUnknownOneIsRefusedOnceAndTheBestSetRuns)
{
  KernelsInUse const misspelt("avx-512");
  SFTest::LineList const lines = SFTest::LinesOf([] {
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(&ActiveTapeKernels(), AvailableTapeKernels().front());
  });
  EXPECT_EQ(lines, SFTest::LineList{"Error in SFInstructionSets, SF_KERNELS=avx-512 is none of avx512 avx2 portable"});
}

// Run by itself for each set, named by SF_KERNELS: which set a process really takes.
TEST(ForcedKernels, TheNamedSetRuns)
{
  auto const& available = AvailableTapeKernels();
  char const* const wanted = std::getenv("SF_KERNELS");
  auto const has = [&](std::string_view iName) {
    return std::any_of(available.begin(), available.end(), [&](auto const* iSet) { return iSet->name == iName; });
  };
  for (std::string_view const known : {"avx512", "avx2", "portable"})
    std::cout << "kernels " << known << (has(known) ? " can run here\n" : " cannot run here\n");
  if (wanted != nullptr && !has(wanted)) {
    EXPECT_EQ(ActiveTapeKernels().name, "portable");
    std::cout << "SF_KERNELS=" << wanted << " skipped: not on this machine\n";
    GTEST_SKIP();
  }
  EXPECT_EQ(ActiveTapeKernels().name, wanted != nullptr ? wanted : available.front()->name);
  std::cout << "running " << ActiveTapeKernels().name << "\n";

  // A name is not enough: the sets must not share code, and a runner must call the one that is named.
  for (SFTapeKernels const* const set : available)
    EXPECT_EQ(set->operators[CodeOf(PLUS)][0] == ActiveTapeKernels().operators[CodeOf(PLUS)][0],
              set == &ActiveTapeKernels());
  unsigned int const dims[3] = {9, 5, 3};
  EXPECT_EQ(&Compiled({Op(PLUS, Op(X), Op(Y))}, {dims, 1.0, nullptr}).tape->GetKernels(), &ActiveTapeKernels());
}
