#include "Fields.h"

#include "SFDagEvaluator.h"
#include "evaluation/SFNodeRenderer.h"

#include <gtest/gtest.h>

using namespace SFTest;

namespace {

/// The floats of the three renderers, one after the other.
struct Rendered
{
  explicit Rendered(SFGrid const& iGrid)
    : clamped(std::size_t{iGrid.dims[0]} * iGrid.dims[1] * iGrid.dims[2]), unrolled(clamped), values(clamped),
      normals(3 * clamped.size())
  {
  }
  std::vector<float> clamped, unrolled, values, normals;
};

Rendered ByEvaluator(Node iRoot, Nodes const& iGradient, SFGrid iGrid)
{
  Rendered rendered(iGrid);
  SFDagEvaluator const evaluator(Level2());
  ZULTolerance const tolerance;
  auto* const dims = iGrid.dims.data();
  double const* const origin = iGrid.origin.data();
  constexpr auto level = ZULGMSFDiscretizationAccuracyLevel::EMedium;
  Captured const quiet;
  EXPECT_EQ(evaluator.Render(dims, rendered.clamped, iGrid.h, origin, *iRoot, tolerance, level), S_OK);
  EXPECT_EQ(evaluator.RenderWithUnrolling(dims, rendered.unrolled, iGrid.h, origin, iRoot, tolerance, level), S_OK);
  EXPECT_EQ(
      evaluator.Render(dims, rendered.values, rendered.normals, iGrid.h, origin, *iRoot, iGradient, tolerance, level),
      S_OK);
  return rendered;
}

Rendered ByNode(Node const& iRoot, Nodes const& iGradient, SFGrid const& iGrid)
{
  Rendered rendered(iGrid);
  unsigned int const nz = iGrid.dims[2];
  SFNodeRenderer const single(iGrid, {iRoot.get()}, 1);
  EXPECT_EQ(single.Clamped(0, nz, 0, rendered.clamped), S_OK);
  EXPECT_EQ(single.Unrolled(0, nz, 0, rendered.unrolled), S_OK);
  SFNodeRenderer const normals(iGrid, {iRoot.get(), iGradient[0].get(), iGradient[1].get(), iGradient[2].get()}, 1);
  EXPECT_EQ(normals.WithNormals(0, nz, 0, rendered.values, rendered.normals), S_OK);
  return rendered;
}

void ExpectSameRendering(unsigned int iSeed, std::size_t iSize, std::size_t iVoxels)
{
  RandomGraph graph(iSeed, iSize);
  SFGrid const grid = graph.Grid(iVoxels);
  Nodes const gradient{graph.Any(), graph.Any(), graph.Any()};
  Rendered const expected = ByNode(graph.Root(), gradient, grid);
  graph.Root()->ResetEvaluationCache();
  Rendered const got = ByEvaluator(graph.Root(), gradient, grid);
  auto const compare = [&](char const* iWhat, std::vector<float> const& iGot, std::vector<float> const& iExpected) {
    std::size_t const at = FirstDifference(iGot, iExpected);
    EXPECT_EQ(at, iExpected.size()) << iWhat << ", seed " << iSeed << ", size " << iSize << ", grid " << grid.dims[0]
                                    << "x" << grid.dims[1] << "x" << grid.dims[2] << ": " << iGot[at] << " instead of "
                                    << iExpected[at];
  };
  compare("clamped", got.clamped, expected.clamped);
  compare("unrolled", got.unrolled, expected.unrolled);
  compare("values", got.values, expected.values);
  compare("normals", got.normals, expected.normals);
}

} // namespace

// All three renderers against the node-by-node ones.
TEST(Random, SmallGrids)
{
  for (unsigned int seed = 1; seed <= Scaled(250); ++seed)
    ExpectSameRendering(seed, 5 + seed * 7 % 296, 1500);
}

TEST(Random, GridsOfManyTiles)
{
  for (unsigned int seed = 1001; seed <= 1002 + Scaled(10); ++seed)
    ExpectSameRendering(seed, 5 + seed * 13 % 120, 70 * 33 * 40);
}

// The doubles before any clamping; with every node of interest a result of the one tape; with budgets that hoist
// nothing, something or everything.
TEST(Random, ResultsUnderAllBudgets)
{
  for (unsigned int seed = 2001; seed <= 2000 + Scaled(60); ++seed) {
    RandomGraph graph(seed, 5 + seed % 90);
    Nodes const roots{graph.Root(), graph.Any(), graph.Any(), graph.Any(), graph.Root()};
    SFGrid const grid = graph.Grid(6000);
    Values const expected = ByRecursion(roots, grid);
    for (std::size_t const budget : std::initializer_list<std::size_t>{0, 600, 5000, 40000, 1 << 26}) {
      Compiled const compiled(roots, grid, budget);
      EXPECT_EQ(FirstDifference(compiled.OnTape(), expected), expected.size()) << "seed " << seed << ", " << budget;
      EXPECT_EQ(FirstDifference(compiled.OnPrunedTape(), expected), expected.size())
          << "pruned, seed " << seed << ", " << budget;
    }
  }
}
