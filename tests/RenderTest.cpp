#include "HostResource.h"

#include "SFDagOffset.h"

#include <algorithm>
#include <limits>
#include <regex>
#include <stdexcept>
#include <thread>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

constexpr auto Level = ZULGMSFDiscretizationAccuracyLevel::ELow;
std::string const Evaluator = "src/SFDagEvaluator.cpp";
unsigned int const Cores = std::thread::hardware_concurrency();
unsigned int const Workers = Cores != 0 ? Cores : 2;

/// A grid with the arrays that a rendering of it fills.
struct Grid
{
  Grid(unsigned int iX, unsigned int iY, unsigned int iZ, double iH = 0.5) : dims{iX, iY, iZ}, h(iH)
  {
    values.assign(Count(), 77.0F);
    normals.assign(3 * Count(), 77.0F);
  }
  std::size_t Count() const { return std::size_t{dims[0]} * dims[1] * dims[2]; }

  HRESULT Clamped(SFDagNode const& iNode) { return evaluator.Render(dims, values, h, origin, iNode, tolerance, Level); }
  HRESULT Unrolled(NodePtr iNode)
  {
    return evaluator.RenderWithUnrolling(dims, values, h, origin, iNode, tolerance, Level);
  }
  HRESULT Entry(NodePtr iNode) { return evaluator.Render(dims, values, h, origin, iNode, tolerance, Level); }
  HRESULT WithNormals(SFDagNode const& iNode, std::vector<NodePtr> const& iGradient)
  {
    return evaluator.Render(dims, values, normals, h, origin, iNode, iGradient, tolerance, Level);
  }
  /// One of the four; the last takes the field for its own derivatives.
  HRESULT Variant(int iVariant, NodePtr const& iNode)
  {
    return iVariant == 0   ? Entry(iNode)
           : iVariant == 1 ? Clamped(*iNode)
           : iVariant == 2 ? Unrolled(iNode)
                           : WithNormals(*iNode, {iNode, iNode, iNode});
  }

  /// Calls `iAt(point, index)` for every point, x fastest.
  template <class At>
  void ForEach(At iAt) const
  {
    std::size_t index = 0;
    for (unsigned int k = 0; k < dims[2]; ++k)
      for (unsigned int j = 0; j < dims[1]; ++j)
        for (unsigned int i = 0; i < dims[0]; ++i)
          iAt(ZULMathPoint(origin[0] + i * h, origin[1] + j * h, origin[2] + k * h), index++);
  }

  SFDagEvaluator evaluator{Level2()};
  unsigned int dims[3];
  double h;
  double origin[3] = {-1.0, 2.0, 3.0};
  ZULTolerance tolerance{0.25};
  std::vector<float> values;
  std::vector<float> normals;
};

LineList const Announced{"SFDagEvaluator::Render, hardware_concurrency reported " + std::to_string(Cores) +
                             " virtual cores.",
                         "SFDagEvaluator::Render, will run on " + std::to_string(Workers) + " virtual cores."};

/// The lines after the two that announce the tasks; the time at the end of a success as "T".
LineList LinesAfterTheAnnouncement(LineList iLines)
{
  EXPECT_GE(iLines.size(), 2U);
  if (iLines.size() < 2)
    return iLines;
  EXPECT_EQ(LineList(iLines.begin(), iLines.begin() + 2), Announced);
  iLines.erase(iLines.begin(), iLines.begin() + 2);
  if (!iLines.empty())
    iLines.back() = std::regex_replace(iLines.back(), std::regex(R"( : [0-9.e+]+$)"), " : T");
  return iLines;
}

std::string const NotSupported = "Error in SFDagEvaluator::ComputeScalar, node type not supported.";
std::string const LastRange = FailedWith("Error in SFDagEvaluator::Render,  last renderRange");
std::string const ARange = FailedWith("Error in SFDagEvaluator::Render,  a renderRange");
std::string const NodeFailed = FailedWith("Error in SFDagEvaluator::Render, ComputeScalar(ctx, iNode)");
std::string const Time = "Dag Evaluation Elapsed time : T";

/// An offset node that remembers the tolerance under which its graph was built, and fails when told to.
class Offset : public SFDagOffset
{
public:
  Offset(NodePtr iDerived, ZULTolerance const* iTolerance)
    : SFDagOffset(Op(X), 1.0, EOneSided, iTolerance), derived(std::move(iDerived))
  {
  }
  HRESULT BuildDerivedDAG(SFSWContext const&, NodePtr& oDerivedDag) const override
  {
    during = GetTolerance();
    oDerivedDag = derived;
    return derived != nullptr ? S_OK : E_FAIL;
  }
  mutable ZULTolerance const* during = nullptr;
  NodePtr derived;
};

} // namespace

// ---- values -------------------------------------------------------------------------------------------------------

TEST(Render, FillsTheGridXFastestWhateverItsSlices)
{
  auto const root = Build("+ / X f64 + / Y f256 / Z f1024 "); // small enough not to be clamped
  for (unsigned int const nz : {1U, Workers - 1, Workers, Workers + 1, 3 * Workers + 1})
    for (int const variant : {0, 1, 2, 3}) {
      Grid grid(3, 2, nz);
      Captured const captured;
      ASSERT_EQ(grid.Variant(variant, root), S_OK);
      grid.ForEach([&](ZULMathPoint const& p, std::size_t i) {
        EXPECT_EQ(grid.values[i], static_cast<float>(p.x / 64 + (p.y / 256 + p.z / 1024))) << variant << ' ' << i;
      });
      EXPECT_EQ(root->GetContextCount(), 0U);
      EXPECT_EQ(root->GetLhs()->GetContextCount(), 0U);
    }
}

TEST(Render, ClampsInOneVariantOnly)
{
  double const inf = std::numeric_limits<double>::infinity();
  double const diagonal = 0.5 * std::sqrt(2.0 * 2.0 + 1.0 + 2.0 * 2.0); // of 3 x 2 x 3 points
  // clang-format off
  struct { double value, clamped; } const cases[] = {
      {NAN, diagonal}, {inf, diagonal}, {-inf, -diagonal}, {1e300, diagonal}, {-1e300, -diagonal}, {1.25, 1.25},
      {-1.25, -1.25}, {0.0, -0.0}, {-0.0, -0.0}, {5e-324, 0.0},
  };
  // clang-format on
  for (auto const& test : cases)
    for (int const variant : {0, 1, 2, 3}) {
      Grid grid(3, 2, 3);
      Captured const captured;
      EXPECT_EQ(grid.Variant(variant, Constant(test.value)), S_OK);
      auto const expected = static_cast<float>(variant < 2 ? test.clamped : test.value);
      for (float const value : grid.values)
        EXPECT_TRUE(Same(value, expected)) << test.value << " gave " << value << " in " << variant;
    }
}

TEST(Render, GridsMayBeFlatEmptyOrWithoutAnOrigin)
{
  Captured const captured;
  Grid grid(1, 1, 1);
  auto root = Build("- X f1 ");
  EXPECT_EQ(grid.evaluator.Render(grid.dims, grid.values, 1.0, nullptr, *root, grid.tolerance, Level), S_OK);
  EXPECT_TRUE(Same(grid.values[0], -0.0)) << "the diagonal of one point is 0";
  EXPECT_EQ(grid.evaluator.RenderWithUnrolling(grid.dims, grid.values, 1.0, nullptr, root, grid.tolerance, Level),
            S_OK);
  EXPECT_EQ(grid.values[0], -1.0F);
  for (int const axis : {0, 1, 2}) {
    Grid empty(2, 2, 2);
    empty.dims[axis] = 0;
    EXPECT_EQ(empty.Entry(root), S_OK);
    EXPECT_EQ(empty.values, Grid(2, 2, 2).values);
  }
}

TEST(Render, ContextsKnowTheGrid)
{
  // The correction of a cylinder reads the domain size, and the voxel size in the clamping variant alone.
  auto const root = Build("n[0;0;0;0;0;1;1] * f0 X");
  Grid grid(3, 3, 2);
  Captured const captured;
  double const dx = 1.0;
  double const dz = 0.5;
  double const limit = std::min(0.04 * std::sqrt(dx * dx + dx * dx + dz * dz), 20 * 0.5);
  EXPECT_EQ(grid.Clamped(*root), S_OK);
  grid.ForEach([&](ZULMathPoint const& p, std::size_t i) {
    EXPECT_NEAR(grid.values[i], -limit / std::pow(p.x * p.x + p.y * p.y, 2.0), 1e-9);
  });
  EXPECT_EQ(grid.WithNormals(*root, {root, root, root}), S_OK);
  for (float const value : grid.values)
    EXPECT_EQ(value, 0.0F);
}

TEST(RenderUnrolled, AgreesWithTheRecursionButForTransforms)
{
  auto const root = Build("U - r + q X + q Y q Z f4 D s * f3 X \\ / c Y f2 + * f.1 X / s X f4 ");
  Grid recursive(7, 6, 5);
  Grid unrolled(7, 6, 5);
  Captured const captured;
  EXPECT_EQ(recursive.Clamped(*root), S_OK);
  EXPECT_EQ(unrolled.Unrolled(root), S_OK);
  EXPECT_EQ(recursive.values, unrolled.values);
  NodePtr paths = Op(X);
  for (int i = 0; i < 100; ++i)
    paths = Op(PLUS, paths, paths);
  EXPECT_EQ(unrolled.Unrolled(paths), S_OK);
  EXPECT_EQ(unrolled.values[0], -std::ldexp(1.0F, 100)) << "2^100 paths lead to one leaf";
  // Operands come first there, each at the grid point: the transform moves nothing.
  EXPECT_EQ(unrolled.Unrolled(Build("m[1;0;0;100;0;1;0;0;0;0;1;0] X")), S_OK);
  unrolled.ForEach([&](ZULMathPoint const& p, std::size_t i) { EXPECT_EQ(unrolled.values[i], p.x); });
}

TEST(RenderUnrolled, TakesOverAtRank4999)
{
  Grid grid(2, 2, 2);
  std::string const warning = "Warning in SFDagEvaluator::Render, this version of the method is not meant to be used "
                              "on DAG with a huge depth.";
  for (int const rank : {4998, 4999}) {
    auto const root = Constant(1e9);
    root->SetRank(rank);
    EXPECT_EQ(LinesAfterTheAnnouncement(LinesOf([&] { EXPECT_EQ(grid.Entry(root), S_OK); })), LineList{Time});
    EXPECT_EQ(grid.values[0] == 1e9F, rank == 4999) << "only the unrolled renderer does not clamp";
    auto const lines = LinesOf([&] { EXPECT_EQ(grid.Clamped(*root), S_OK); });
    EXPECT_EQ(std::count(lines.begin(), lines.end(), warning), rank == 4999 ? 1 : 0);
    EXPECT_EQ(lines.front() == warning, rank == 4999);
  }
  Captured const captured;
  EXPECT_EQ(grid.Entry(Build(Repeated("! ", 20001) + "X")), S_OK);
  EXPECT_EQ(grid.values[0], 1.0F);
}

TEST(RenderNormals, AreUnitVectorsOrZero)
{
  Grid grid(4, 3, Workers + 1);
  auto const root = Build("m[1;0;0;100;0;1;0;0;0;0;1;0] X");
  auto const x = root->GetLhs(); // shared: the transform must not move the gradient, nor the gradient the field
  Captured const captured;
  EXPECT_EQ(grid.WithNormals(*root, {x, Build("Y"), Op(NOT, x)}), S_OK);
  grid.ForEach([&](ZULMathPoint const& p, std::size_t i) {
    ZULMathVector normal(p.x, p.y, 0.0 - p.x);
    normal.Normalize();
    EXPECT_EQ(grid.values[i], static_cast<float>(p.x - 100));
    EXPECT_EQ(grid.normals[3 * i], static_cast<float>(normal.x));
    EXPECT_EQ(grid.normals[3 * i + 1], static_cast<float>(normal.y));
    EXPECT_EQ(grid.normals[3 * i + 2], static_cast<float>(normal.z));
  });
  EXPECT_EQ(x->GetContextCount(), 0U);
  EXPECT_EQ(grid.WithNormals(*root, std::vector<NodePtr>(3, Constant(0.0))), S_OK);
  EXPECT_EQ(grid.normals, std::vector<float>(3 * grid.Count(), 0.0F));
}

// ---- lines and codes ----------------------------------------------------------------------------------------------

TEST(Render, SuccessTellsItsTime)
{
  Grid grid(2, 2, 2);
  auto const root = Build("X");
  auto const lines = [](auto iAction) { return LinesAfterTheAnnouncement(LinesOf(iAction)); };
  EXPECT_EQ(lines([&] { grid.Clamped(*root); }), LineList{Time});
  EXPECT_EQ(lines([&] { grid.Unrolled(root); }), LineList{Time});
  EXPECT_EQ(lines([&] {
              grid.WithNormals(*root, {root, root, root});
            }),
            LineList{"Dag Evaluation Elapsed time (without PolyBodyToSF) : T"});
}

TEST(Render, FailuresReportInOrder)
{
  if (Workers == 1)
    GTEST_SKIP() << "one slice has a task of its own";
  auto const expect = [](auto iRender, LineList const& iLines) {
    Grid grid(2, 2, 1); // fewer slices than tasks: the calling thread renders
    EXPECT_EQ(LinesAfterTheAnnouncement(LinesOf([&] { EXPECT_EQ(iRender(grid), E_FAIL); })), iLines);
  };
  auto const bad = Build("#a");
  auto const x = Build("X");
  auto const deep = Op(UNRESOLVEDREF);
  deep->SetRank(4999);
  auto const badTwice = Op(PLUS, Op(CONSTANT), bad); // node by node the right one comes first
  std::string const atPoint = FailedCall("operator()", Evaluator);
  std::string const atList = FailedCall("ComputeScalar", Evaluator);
  std::string const entry = FailedCall("Render", Evaluator);
  std::string const gradient =
      FailedWith("Error in SFDagEvaluator::Render, ComputeScalar(gradientCtxs[i], *gradientNodes[i])");
  expect([&](Grid& g) { return g.Clamped(*bad); }, {NotSupported, atPoint, LastRange});
  expect([&](Grid& g) { return g.Entry(bad); }, {NotSupported, atPoint, LastRange, entry});
  expect([&](Grid& g) { return g.Unrolled(badTwice); }, {NotSupported, atList, NodeFailed, LastRange});
  expect([&](Grid& g) { return g.Entry(deep); }, {NotSupported, atList, NodeFailed, LastRange, entry});
  expect([&](Grid& g) { return g.WithNormals(*bad, {x, x, x}); }, {NotSupported, NodeFailed, LastRange});
  expect([&](Grid& g) { return g.WithNormals(*x, {x, x, bad}); }, {NotSupported, gradient, LastRange});
}

// Where one report stands in the source relative to others is part of the lines.
TEST(Render, PlacesStandInTheirOrder)
{
  Grid grid(2, 2, 1);
  SFEvaluationContext context(0);
  auto const bad = Build("#a");
  auto const deep = Op(END);
  deep->SetRank(4999);
  auto const notReady = std::make_shared<Offset>(nullptr, nullptr);
  using Action = std::function<void()>;
  Action const inOrder[] = {[&] { grid.Clamped(*notReady); },
                            [&] { grid.Clamped(*bad); },
                            [&] { grid.Entry(nullptr); },
                            [&] { grid.Entry(bad); },
                            [&] { grid.Entry(deep); },
                            [&] { grid.Unrolled(nullptr); },
                            [&] { grid.Unrolled(notReady); },
                            [&] { grid.WithNormals(*notReady, {}); },
                            [&] { grid.evaluator.ComputeScalar(context, *Build("m[0;0;0;0;0;0;0;0;0;0;0;0] X")); },
                            [&] { grid.evaluator.ComputeScalar(context, *notReady); },
                            [&] { grid.evaluator.ComputeScalar(context, std::vector<NodePtr>{nullptr}); },
                            [&] { grid.evaluator.ComputeScalar(context, std::vector<NodePtr>{bad}); }};
  int before = 0;
  for (std::size_t i = 0; i < std::size(inOrder); ++i) {
    auto const places = PlacesOf(Evaluator, inOrder[i]);
    ASSERT_FALSE(places.empty()) << i;
    EXPECT_GT(places.back(), before) << i;
    before = places.back();
  }
}

TEST(Render, AFailingTaskLeavesTheOtherSlabs)
{
  Grid grid(2, 2, 2 * Workers);
  double const lastSlab = grid.origin[2] + grid.h * (2 * Workers - 2);
  auto const resource = std::make_shared<HostResource>(
      [lastSlab](ZULMathPoint const& p) { return p.z >= lastSlab ? throw std::runtime_error("host") : 0.125; });
  Captured const captured;
  EXPECT_THROW(grid.Clamped(*resource), std::runtime_error);
  for (std::size_t i = 0; i < grid.Count(); ++i)
    EXPECT_EQ(grid.values[i], i < grid.Count() - 8 ? 0.125F : 77.0F) << i;
  // Every task fails: each writes its lines, then the first to be waited for decides.
  auto lines = LinesAfterTheAnnouncement(LinesOf([&] { EXPECT_EQ(grid.Entry(Build("#a")), E_FAIL); }));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), ARange), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), LastRange), 0);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), NotSupported), Workers);
  EXPECT_EQ(lines.back(), FailedCall("Render", Evaluator));
}

TEST(Render, TheFirstSlabThatFailsDecides)
{
  Grid grid(2, 2, 2 * Workers);
  static thread_local double height;
  struct Coded : SFOp
  {
    explicit Coded(double iFirst) : SFOp(CONSTANT), first(iFirst) {}
    HRESULT GetConstant(double&) const override { return height == first ? E_INVALIDARG : E_NOTIMPL; }
    double first;
  };
  // Node by node the right operand comes first.
  auto const root = Op(PLUS, std::make_shared<Coded>(grid.origin[2]),
                       std::make_shared<HostResource>([](ZULMathPoint const& p) { return height = p.z; }));
  Captured const captured;
  EXPECT_EQ(grid.Unrolled(root), E_INVALIDARG);
}

TEST(Render, ExceptionsReachTheCallerFromEverySlab)
{
  for (unsigned int const slice : {0U, Workers, 2 * Workers}) // the last is the calling thread's, if there are two
    for (int const variant : {0, 1, 2, 3}) {
      Grid grid(2, 2, 2 * Workers + 1);
      double const z = grid.origin[2] + slice * grid.h;
      auto const root = std::make_shared<HostResource>(
          [z](ZULMathPoint const& p) { return p.z == z ? throw std::runtime_error("host") : p.x; });
      Captured const captured;
      EXPECT_THROW(grid.Variant(variant, root), std::runtime_error) << slice << ' ' << variant;
    }
}

TEST(Render, RefusesWhatItCannotUse)
{
  Grid grid(2, 2, 2);
  auto const x = Build("X");
  std::string const nullRoot = ":N iNode.get() is nullptr";
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(grid.Entry(nullptr), E_INVALIDARG); }),
            LineList{"Error in Render at " + Evaluator + nullRoot});
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(grid.Unrolled(nullptr), E_INVALIDARG); }),
            LineList{"Error in RenderWithUnrolling at " + Evaluator + nullRoot});
  for (std::size_t const count : {0U, 2U, 4U})
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(grid.WithNormals(*x, std::vector<NodePtr>(count, x)), E_FAIL); }),
              LineList{"SFDagEvaluator::Render, invalid gradient node vector. Size must be 3 !"});

  Captured const captured;
  std::vector<NodePtr> const gradient(3, x);
  EXPECT_EQ(grid.WithNormals(*x, {x, nullptr, x}), E_FAIL);
  grid.normals.pop_back();
  EXPECT_EQ(grid.WithNormals(*x, gradient), E_INVALIDARG);
  grid.values.pop_back();
  for (auto const dim : {2U, 0x10000U, 0x400000U, 0xFFFFFFFFU}) { // the products overflow 32 and 64 bits
    grid.dims[0] = grid.dims[1] = grid.dims[2] = dim;
    EXPECT_EQ(grid.Clamped(*x), E_INVALIDARG);
    EXPECT_EQ(grid.Unrolled(x), E_INVALIDARG);
    EXPECT_EQ(grid.WithNormals(*x, gradient), E_INVALIDARG);
  }
  EXPECT_EQ(grid.evaluator.Render(nullptr, grid.values, 1.0, nullptr, *x, grid.tolerance, Level), E_INVALIDARG);
  EXPECT_EQ(grid.values, std::vector<float>(7, 77.0F));

  NodePtr node = x;
  std::shared_ptr<ResourceToSF> resource;
  EXPECT_EQ(grid.evaluator.Render(grid.dims, 1.0, nullptr, grid.tolerance, node, resource, Level), E_NOTIMPL);
}

TEST(Render, LendsItsToleranceToAnOffsetRoot)
{
  ZULTolerance const own(0.5);
  auto const throwing =
      std::make_shared<HostResource>([](ZULMathPoint const&) -> double { throw std::runtime_error("host"); });
  for (ZULTolerance const* const before : {&own, static_cast<ZULTolerance const*>(nullptr)})
    for (int const variant : {0, 1, 2, 3}) {
      Grid grid(2, 2, 2);
      auto const offset = std::make_shared<Offset>(Constant(0.25), before);
      auto const failing = std::make_shared<Offset>(nullptr, before);
      auto const unlucky = std::make_shared<Offset>(throwing, before);
      auto const lines = LinesOf([&] { EXPECT_EQ(grid.Variant(variant, failing), E_FAIL); });
      ASSERT_EQ(lines.size(), variant == 0 ? 3U : 2U);
      EXPECT_EQ(lines[0], FailedCall("GetReady", "src/SFDagFunctor.cpp"));
      EXPECT_EQ(lines[1], FailedCall(variant == 2 ? "RenderWithUnrolling" : "Render", Evaluator));
      Captured const captured;
      EXPECT_EQ(grid.Variant(variant, offset), S_OK);
      EXPECT_EQ(grid.values[0], 0.25F);
      EXPECT_THROW(grid.Variant(variant, unlucky), std::runtime_error);
      for (auto const& node : {offset, failing, unlucky}) {
        EXPECT_EQ(node->during, &grid.tolerance);
        EXPECT_EQ(node->GetTolerance(), before);
      }
    }
}
