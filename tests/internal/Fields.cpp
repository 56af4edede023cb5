#include "Fields.h"

#include "evaluation/SFScalarEvaluation.h"

#include <gtest/gtest.h>

namespace SFTest {

Values ByRecursion(Nodes const& iRoots, SFGrid const& iGrid)
{
  Values values;
  SFEvaluationContext context(0);
  auto const [x, y, z] = iGrid.DomainSize();
  context.SetDomainSize(x, y, z);
  context.SetVoxelSize(iGrid.h);
  SFScalarEvaluation evaluation;
  for (Node const& root : iRoots)
    for (unsigned int k = 0; k < iGrid.dims[2]; ++k)
      for (unsigned int j = 0; j < iGrid.dims[1]; ++j)
        for (unsigned int i = 0; i < iGrid.dims[0]; ++i) {
          root->Reset(context);
          context.SetAtPosition(iGrid.Point(i, j, k));
          EXPECT_EQ(evaluation.Compute(context, *root), S_OK);
          values.push_back(root->GetContextInfos(0).value);
        }
  return values;
}

Compiled::Compiled(Nodes const& iRoots, SFGrid const& iGrid, std::size_t iBudget)
{
  SFTapeCompiler compiler(iGrid.IsWithin(SFTapeCompiler::LargestCoordinate));
  for (Node const& root : iRoots)
    EXPECT_TRUE(compiler.AddRoot(*root, EFieldLimit));
  std::array<double, ELimitCount> const limits{SFCylindricalTransform::CorrectionLimit(iGrid.DomainSize(), iGrid.h),
                                               0.0};
  tape = std::make_unique<SFTapeInvariants>(compiler.Finish(), iGrid, limits, iBudget);
  tape->Prepare(2);
}

namespace {

/// Copies the results of tiles to their points.
SFTapeSweep::Sink Into(Values& oValues, SFTapeInvariants const& iTape)
{
  auto const& grid = iTape.GetGrid();
  std::size_t const volume = std::size_t{grid.dims[0]} * grid.dims[1] * grid.dims[2];
  oValues.assign(volume * iTape.GetTape().results.size(), 0.0);
  return [&oValues, &grid, volume](SFTile const& iTile, SFTapeList const& iList, SFTapeRunner& ioRunner) {
    for (std::size_t r = 0; r < iList.results.size(); ++r)
      for (unsigned int k = 0; k < iTile.count[2]; ++k)
        for (unsigned int j = 0; j < iTile.count[1]; ++j) {
          double const* const row = ioRunner.ResultRow(r, iTile, j, k);
          std::size_t const at = grid.Index(iTile.begin[0], iTile.begin[1] + j, iTile.begin[2] + k);
          std::copy_n(row, iTile.count[0], oValues.begin() + static_cast<std::ptrdiff_t>(r * volume + at));
        }
  };
}

} // namespace

Values Compiled::OnTape() const
{
  Values values;
  auto const sink = Into(values, *tape);
  SFTapeRunner runner(*tape);
  auto const& dims = tape->GetGrid().dims;
  for (unsigned int k = 0; k < dims[2]; ++k)
    for (unsigned int j = 0; j < dims[1]; ++j) {
      SFTile const tile{{0, j, k}, {dims[0], 1, 1}};
      runner.Plan(tape->GetList(), tile.count);
      runner.RunTile(tile);
      sink(tile, tape->GetList(), runner);
    }
  return values;
}

Values Compiled::OnPrunedTape(double* oStepsPerVoxel) const
{
  Values values;
  auto const store = Into(values, *tape);
  double steps = 0.0;
  SFSweepContext context(*tape);
  SFTapeSweep sweep(context, 0, tape->GetGrid().dims[2], 1);
  sweep.Work({{}, [&](SFTile const& iTile, SFTapeList const& iList, SFTapeRunner& ioRunner) {
                store(iTile, iList, ioRunner);
                steps += static_cast<double>(iList.steps.size()) * iTile.count[0] * iTile.count[1] * iTile.count[2];
              }});
  if (oStepsPerVoxel != nullptr)
    *oStepsPerVoxel = steps * static_cast<double>(tape->GetTape().results.size()) / static_cast<double>(values.size());
  return values;
}

// ---- random graphs --------------------------------------------------------------------------------------------

namespace {

/// Choices come in runs, so that chains form.
std::vector<SFNodeType> MostlyChoices()
{
  std::vector<SFNodeType> operators = OperatorsWithout({});
  for (SFOperatorRow const& row : SFOperatorTable)
    if (IsChoice(row.type))
      operators.insert(operators.end(), 3, row.type);
  return operators;
}

/// Signed zeros and NaN at whole coordinates, a distance elsewhere.
double HostField(ZULMathPoint const& iP)
{
  double const sum = iP.x + 2.0 * iP.y - iP.z;
  double const phase = std::fmod(std::abs(sum), 7.0);
  return phase == 1.0 ? NaN : phase == 2.0 ? -0.0 : phase == 3.0 ? 0.0 : sum;
}

} // namespace

RandomGraph::RandomGraph(unsigned int iSeed, std::size_t iSize) : _random(iSeed, MostlyChoices())
{
  _nodes = {Op(X), Op(Y), Op(Z), Leaf(), Leaf()};
  while (_nodes.size() < iSize)
    switch (Below(16)) {
    case 0:
    case 1:
      _nodes.push_back(Leaf());
      break;
    case 2:
      _nodes.push_back(Transform(_random.Recent(_nodes)));
      break;
    case 3:
    case 4:
      _nodes.push_back(Any()); // used again
      break;
    default:
      _random.Grow(_nodes, 1);
    }
  // A chain over the lot, so that the root reaches most of it.
  static constexpr std::array links{MIN, MAX, MIN, WITHOUT, MAX, SYMDIFF};
  SFNodeType const link = links[Below(links.size())];
  Nodes ends;
  for (std::size_t i = 0; i < 4 + iSize / 8; ++i)
    ends.push_back(Below(3) == 0 ? Any() : _random.Recent(_nodes));
  std::size_t const shape = Below(3);
  _nodes.push_back(Chain(shape == 0 ? links[Below(links.size())] : link, ends, shape == 1));
}

double RandomGraph::Simple()
{
  if (Below(12) == 0)
    return Nasty[Below(Nasty.size())];
  static constexpr std::array values{0.0, -0.0, 1.0, -1.0, 2.0, -2.0, 0.5, 3.0, 4.0, -5.0, 8.0, 0.1, 16.0, 1.5};
  return values[Below(values.size())];
}

Node RandomGraph::Leaf()
{
  switch (Below(8)) {
  case 0:
    return Constant(Simple());
  case 1:
    return std::make_shared<SFVariable>("p", Simple());
  case 2:
    return std::make_shared<HostResource>(HostField);
  case 3:
    return Op(static_cast<SFNodeType>(static_cast<int>(X) + static_cast<int>(Below(3))));
  case 4:
    return Op(MINUS, Op(MAX, Op(ABS, Op(X)), Op(ABS, Op(Y))), Constant(Simple()));
  default: {
    auto const at = [this] { return static_cast<double>(Below(40)) - 8.0; };
    double const x = at();
    double const y = at();
    double const z = at();
    return Sphere(x, y, z, 1.0 + static_cast<double>(Below(12)));
  }
  }
}

Node RandomGraph::Transform(Node iOperand)
{
  static std::array<std::array<double, 12>, 6> const maps{{
      {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0},
      {1, 0, 0, -3, 0, 1, 0, 2, 0, 0, 1, -0.0},
      {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 4},
      {0.6, -0.8, 0, 1, 0.8, 0.6, 0, 0.1, 0, 0, 1, 0},
      {2, 0, 0, 0, 0, 0.5, 0, 0, 0, 0, -1, 0},
      {1, 0.25, -0.5, 0, -0.0, 1, 0.125, 0, 0.5, 0, 1, 3},
  }};
  if (Below(3) != 0)
    return Affine(maps[Below(maps.size())], std::move(iOperand));
  static std::array<std::array<double, 7>, 3> const axes{
      {{0, 0, 0, 0, 0, 1, 3}, {1, 2, -1, 0, 1, 0, 1}, {-2, 0.5, 3, 1, 1, -0.5, 6.5}}};
  return Cylindrical(axes[Below(axes.size())], std::move(iOperand));
}

SFGrid RandomGraph::Grid(std::size_t iVoxels)
{
  static constexpr std::array<unsigned int, 12> sizes{1, 1, 2, 3, 5, 9, 17, 19, 33, 40, 65, 70};
  std::array<unsigned int, 3> dims{};
  do
    for (unsigned int& n : dims)
      n = sizes[Below(sizes.size())];
  while (std::size_t{dims[0]} * dims[1] * dims[2] > iVoxels);
  static constexpr std::array steps{1.0, 1.0, 0.5, 0.1, -1.0, 0.0};
  double const h = steps[Below(steps.size())];
  std::array<double, 3> origin{};
  for (double& o : origin)
    o = Below(30) == 0 ? Nasty[Below(Nasty.size())] : static_cast<double>(Below(24)) - 16.0;
  return {dims.data(), h, origin.data()};
}

} // namespace SFTest
