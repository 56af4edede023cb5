#include "Fields.h"

#include "SFDagEvaluator.h"
#include "evaluation/SFGridRenderer.h"
#include "evaluation/SFNodeRenderer.h"
#include "evaluation/SFWorkerCount.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

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

/// Lines whose last number, a time, is masked; sorted when tasks may write in any order.
std::vector<std::string> Comparable(std::vector<std::string> iLines, bool iSort)
{
  for (std::string& line : iLines)
    if (auto const at = line.find("Elapsed time"); at != std::string::npos)
      line.erase(line.rfind(' '));
  if (iSort)
    std::sort(iLines.begin(), iLines.end());
  return iLines;
}

/// A constant whose value cannot be had the first time, which is when a field is compiled.
class LateConstant : public SFOp
{
public:
  explicit LateConstant(double iValue) : SFOp(CONSTANT), _value(iValue) {}
  HRESULT GetConstant(double& oValue) const override
  {
    oValue = _value;
    return _asked.exchange(true) ? S_OK : E_FAIL;
  }

private:
  double _value;
  mutable std::atomic<bool> _asked{false};
};

} // namespace

// A host field that throws: the caller gets the exception, the tasks end, and the graph can be used again.
TEST(ThreadRendering, ExceptionsOfTheHostReachTheCaller)
{
  struct HostError : std::runtime_error
  {
    using std::runtime_error::runtime_error;
  };
  std::atomic<bool> broken{true};
  Node const root = SolidAround(std::make_shared<HostResource>([&](ZULMathPoint const& iP) {
    if (broken && iP.x == 31.0 && iP.y == 7.0 && iP.z >= 11.0)
      throw HostError("the host's own words");
    return iP.x - 40.0;
  }));
  SFGrid const grid = GridOf(65, 17, 30);
  std::vector<float> values(VolumeOf(grid));
  std::vector<float> normals(3 * values.size());
  Captured const quiet;
  for (int repeat = 0; repeat < 3; ++repeat) {
    EXPECT_THROW(RenderClamped(*root, grid, values), HostError);
    EXPECT_THROW(RenderUnrolled(root, grid, values), HostError);
    auto dims = grid.dims;
    EXPECT_THROW(SFDagEvaluator(Level2()).Render(dims.data(), values, normals, 1.0, nullptr, *Op(X),
                                                 {root, Op(Y), Op(Z)}, ZULGetDefaultTolerance(), Level),
                 HostError);
  }
  broken = false;
  EXPECT_EQ(RenderClamped(*root, grid, values), S_OK);
  std::vector<float> expected(values.size());
  SFNodeRenderer(grid, {root.get()}, 1).Clamped(0, grid.dims[2], 0, expected);
  EXPECT_EQ(FirstDifference(values, expected), values.size());
}

// The host is asked once for each node and point at most, and only for points of the grid.
TEST(ThreadRendering, HostFieldsAreAskedOnceAPoint)
{
  for (SFGrid const& grid :
       {GridOf(65, 17, 30), GridOf(1, 1, 1), GridOf(9, 1, 1), GridOf(1, 1, 7), GridOf(64, 64, 1)}) {
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

// Two hosts' renderings at once, each on a graph of its own.
TEST(ThreadRendering, RenderingsRunSideBySide)
{
  SFGrid const grid = GridOf(33, 17, 19);
  std::vector<float> a(VolumeOf(grid));
  std::vector<float> b(a.size());
  Captured const quiet;
  std::thread other([&] { EXPECT_EQ(RenderClamped(*SolidAround(Op(X)), grid, a), S_OK); });
  EXPECT_EQ(RenderClamped(*SolidAround(Op(X)), grid, b), S_OK);
  other.join();
  EXPECT_EQ(FirstDifference(a, b), a.size());
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

// Sizes that overflow 32 bits, or 64, are no way past the check of the vector.
TEST(Rendering, OverflowingSizesAreRefused)
{
  constexpr unsigned int most = 0xFFFFFFFFU;
  for (auto const [x, y, z] :
       {std::array{65536U, 65536U, 1U}, std::array{65536U, 65537U, 2U}, std::array{most, most, most},
        std::array{0x80000000U, 2U, 1U}, std::array{0x80000000U, 0x80000000U, 4U}}) {
    std::vector<float> values(1000, 77.0F);
    std::vector<float> normals(3000, 77.0F);
    Captured const captured;
    EXPECT_EQ(RenderClamped(*Op(X), GridOf(x, y, z), values), E_INVALIDARG);
    EXPECT_EQ(RenderUnrolled(Op(X), GridOf(x, y, z), values), E_INVALIDARG);
    EXPECT_EQ(values, std::vector<float>(1000, 77.0F));
    EXPECT_EQ(captured.Lines().size(), 2U);
  }
}

// A compiled rendering says what the node-by-node one says.
TEST(Rendering, LinesAreThoseOfTheDefinition)
{
  auto const lines = [](Node iRoot, SFGrid iGrid) {
    std::vector<float> values(VolumeOf(iGrid));
    std::vector<float> normals(3 * values.size());
    auto* const dims = iGrid.dims.data();
    auto const& tolerance = ZULGetDefaultTolerance();
    Captured const captured;
    SFDagEvaluator const evaluator(Level2());
    EXPECT_EQ(evaluator.Render(dims, values, 1.0, nullptr, iRoot, tolerance, Level), S_OK);
    EXPECT_EQ(evaluator.RenderWithUnrolling(dims, values, 1.0, nullptr, iRoot, tolerance, Level), S_OK);
    EXPECT_EQ(evaluator.Render(dims, values, normals, 1.0, nullptr, *iRoot, {iRoot, iRoot, iRoot}, tolerance, Level),
              S_OK);
    return Comparable(captured.Lines(), false);
  };
  for (SFGrid const& grid : {GridOf(5, 4, 3), GridOf(1, 1, 1), GridOf(0, 4, 3)}) {
    auto const definition = [&](double iValue) {
      return lines(Op(MIN, Op(X), std::make_shared<LateConstant>(iValue)), grid);
    };
    auto const compiled = lines(Op(MIN, Op(X), Constant(2.0)), grid);
    EXPECT_EQ(compiled, definition(2.0));
    EXPECT_EQ(compiled.size(), 9U);
  }
}

// What cannot be evaluated is not compiled, and fails with the lines of the evaluator: those of each slab.
TEST(Rendering, FailuresAreThoseOfTheDefinition)
{
  Node const pole = Affine({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0}, Op(X));
  for (Node const& part : {Op(END), Op(PLUS, Op(X)), Op(BLEND, Op(X), Op(Y)), pole, Op(UNRESOLVEDREF),
                           Node(std::make_shared<SFDagNode>(POLY)), Op(OFFSET, Op(X))}) {
    Node const root = Op(MAX, Op(X), Op(NOT, part));
    SFGrid const grid = GridOf(3, 2, 4 * WorkerCount(std::thread::hardware_concurrency()));
    std::vector<float> values(VolumeOf(grid));
    HRESULT got = S_OK;
    std::vector<std::string> lines;
    {
      Captured const captured;
      got = RenderClamped(*root, grid, values);
      lines = captured.Lines();
    }
    if (lines.size() < 4) // not even ready
      continue;
    std::vector<std::string> expected;
    {
      Captured const captured;
      unsigned int const workers = WorkerCount(std::thread::hardware_concurrency());
      SFNodeRenderer const renderer(grid, {root.get()}, 1);
      HRESULT code = S_OK;
      for (unsigned int t = 0; t < workers; ++t)
        code = renderer.Clamped(t * 4, (t + 1) * 4, 0, values);
      EXPECT_EQ(got, code);
      Diagnostics::FailedSentence("Error in SFDagEvaluator::Render,  a renderRange", code);
      expected = captured.Lines();
    }
    lines.erase(lines.begin(), lines.begin() + 2); // the announcement of the tasks
    EXPECT_EQ(Comparable(lines, true), Comparable(expected, true));
  }
}
