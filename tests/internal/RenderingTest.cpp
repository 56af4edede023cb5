#include "Fields.h"

#include "SFDagEvaluator.h"
#include "evaluation/SFGridRenderer.h"
#include "evaluation/SFNodeRenderer.h"
#include "evaluation/SFWorkerCount.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace SFTest;

namespace {

constexpr auto Level = ZULGMSFDiscretizationAccuracyLevel::EMedium;

HRESULT RenderClamped(SFDagNode const& iRoot, SFGrid iGrid, std::vector<float>& ioValues)
{
  return SFDagEvaluator(Level2()).Render(iGrid.dims.data(), ioValues, iGrid.h, iGrid.origin.data(), iRoot,
                                         ZULGetDefaultTolerance(), Level);
}
HRESULT RenderUnrolled(Node iRoot, SFGrid iGrid, std::vector<float>& ioValues)
{
  return SFDagEvaluator(Level2()).RenderWithUnrolling(iGrid.dims.data(), ioValues, iGrid.h, iGrid.origin.data(), iRoot,
                                                      ZULGetDefaultTolerance(), Level);
}

SFGrid GridOf(unsigned int iX, unsigned int iY, unsigned int iZ)
{
  unsigned int const dims[3] = {iX, iY, iZ};
  return {dims, 1.0, nullptr};
}
std::size_t VolumeOf(SFGrid const& iGrid) { return std::size_t{iGrid.dims[0]} * iGrid.dims[1] * iGrid.dims[2]; }

/// A union of which much is pruned, with a host field in its midst.
Node SolidAround(Node iHostField)
{
  Nodes parts;
  for (int i = 0; i < 12; ++i)
    parts.push_back(Sphere(5.0 * i, 18.0 - i, 3.0 * i, 3.0));
  parts.insert(parts.begin() + 5, std::move(iHostField));
  return Chain(MIN, parts, false);
}

} // namespace

// The host is asked once for each node and point at most, and only for points of the grid.
TEST(ThreadRendering, HostFieldsAreAskedOnceAPoint)
{
  for (SFGrid const& grid : {GridOf(65, 17, 30), GridOf(1, 1, 1), GridOf(9, 1, 1), GridOf(1, 1, 7), GridOf(64, 64, 1),
                             GridOf(1, 1, 100000)}) {
    std::vector<std::atomic<int>> calls(VolumeOf(grid));
    Node const host = std::make_shared<HostResource>([&](ZULMathPoint const& iP) {
      ++calls.at(grid.Index(static_cast<unsigned int>(iP.x), static_cast<unsigned int>(iP.y),
                            static_cast<unsigned int>(iP.z)));
      return iP.x + iP.y == 9.0 ? NaN : iP.x - 12.0;
    });
    Node const root = Op(MAX, SolidAround(host), Op(MIN, host, Op(ROOT, host)));
    std::vector<float> values(calls.size());
    Captured const quiet;
    for (bool const unrolled : {false, true}) {
      for (auto& count : calls)
        count = 0;
      EXPECT_EQ(unrolled ? RenderUnrolled(root, grid, values) : RenderClamped(*root, grid, values), S_OK);
      EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](int iCount) { return iCount == 1; }));
    }
  }
}

// A request to stop is looked at while the values of axes and of planes are hoisted.
TEST(Rendering, HoistingAsksWhetherToStop)
{
  auto const asked = [](std::size_t iBudget) {
    SFTapeCompiler compiler(true);
    EXPECT_TRUE(compiler.AddRoot(*Build("+ Y s + X s Z $"), EFieldLimit));
    SFTapeInvariants tape(compiler.Finish(), GridOf(64, 8, 64), {}, iBudget);
    int count = 0;
    tape.Prepare(1, [&count] { return ++count < 0; });
    return count;
  };
  int const forAxes = asked(4096);
  EXPECT_GT(forAxes, 0);
  EXPECT_GT(asked(SFTapeInvariants::DefaultBudget), forAxes); // room for a plane
}

// Grids without points, with one, flat and thin ones, fewer slices than tasks, a last row or column of its own.
TEST(Rendering, GridsOfEverySize)
{
  Node const flat = Op(MIN, Op(MULT, Op(X), Op(Y)), Op(PLUS, Op(X), Op(SQUARE, Op(Y))));
  Node const root = Op(MIN, SolidAround(Op(MULT, Op(X), Op(Y))), Op(PLUS, flat, Op(MULT, Op(X), Op(Z))));
  for (unsigned int const nx : {0U, 1U, 7U, 65U, 81U})
    for (unsigned int const ny : {0U, 1U, 9U, 33U})
      for (unsigned int const nz : {0U, 1U, 2U, 3U, 41U}) {
        SFGrid const grid = GridOf(nx, ny, nz);
        std::vector<float> values(VolumeOf(grid) + 1, 77.0F);
        std::vector<float> expected(values);
        Captured const quiet;
        EXPECT_EQ(RenderClamped(*root, grid, values), S_OK);
        EXPECT_EQ(SFNodeRenderer(grid, {root.get()}, 1).Clamped(0, nz, 0, expected), S_OK);
        EXPECT_EQ(FirstDifference(values, expected), values.size()) << nx << "x" << ny << "x" << nz;
      }
}
