#include "Rendering.h"

#include "SFCompiledField.h"
#include "SFDagEvaluator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <optional>

namespace SFFuzz {
namespace {

using SF::SFDagEvaluator;
using SF::SFDagNode;
using SF::SFEvaluationContext;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// What an operation has come to: a code, or a HostError.
struct Outcome
{
  HRESULT code = S_OK;
  bool thrown = false;
  bool IsGood() const { return !thrown && Succeeded(code); }
};

Outcome Try(std::function<HRESULT()> const& iOperation)
{
  try {
    return {iOperation(), false};
  } catch (HostError const&) {
    return {S_OK, true};
  }
}

/// The values at the points of a grid by the definition. A point at which a resource throws has none.
struct Reference
{
  Outcome outcome; ///< the first one that is not good
  std::array<std::optional<double>, Grid::Count> values;

  void Add(std::size_t iIndex, Outcome const& iOutcome, double iValue)
  {
    if (iOutcome.IsGood())
      values[iIndex] = iValue;
    else if (outcome.IsGood())
      outcome = iOutcome;
  }
};

using Way = std::function<HRESULT(SFEvaluationContext&)>;

Reference ByRecursion(SFDagNode const& iRoot, Grid const& iGrid, SFEvaluationContext ioContext, Way const& iWay)
{
  Reference reference;
  iRoot.ResetEvaluationCache();
  for (std::size_t i = 0; i < Grid::Count && (reference.outcome.IsGood() || reference.outcome.thrown); ++i) {
    iRoot.Reset(ioContext);
    ioContext.SetAtPosition(iGrid.Point(i));
    auto const outcome = Try([&] { return iWay(ioContext); });
    reference.Add(i, outcome, outcome.IsGood() ? iRoot.GetContextInfos(0).value : 0.0);
  }
  iRoot.ResetEvaluationCache();
  return reference;
}

std::string Shown(double iValue)
{
  char text[64];
  std::snprintf(text, sizeof text, "%a (%.17g)", iValue, iValue);
  return text;
}

template <class Bits, class Number>
void RequireSame(Number iGot, Number iExpected, std::size_t iIndex, char const* iWay)
{
  bool const same =
      std::isnan(iExpected) ? std::isnan(iGot) : std::bit_cast<Bits>(iGot) == std::bit_cast<Bits>(iExpected);
  if (!same)
    Violated(std::string(iWay) + " at point " + std::to_string(iIndex) + ": " + Shown(iGot) + " instead of " +
             Shown(iExpected));
}

void RequireFloats(std::vector<float> const& iFloats, Reference const& iReference,
                   std::function<float(double)> const& iStored, char const* iWay)
{
  for (std::size_t i = 0; i < Grid::Count; ++i)
    if (iReference.values[i])
      RequireSame<std::uint32_t>(iFloats[i], iStored(*iReference.values[i]), i, iWay);
}

void RequireDoubles(std::vector<double> const& iValues, Reference const& iReference, char const* iWay)
{
  for (std::size_t i = 0; i < Grid::Count; ++i)
    if (iReference.values[i])
      RequireSame<std::uint64_t>(iValues[i], *iReference.values[i], i, iWay);
}

/// Whether an operation came to what the recursion did. Throwing resources need not be asked where they do not count.
void RequireOutcome(Outcome const& iGot, Outcome const& iExpected, char const* iWay)
{
  if (iExpected.thrown || (!iGot.thrown && iGot.code == iExpected.code))
    return;
  Violated(std::string(iWay) + (iGot.thrown ? " throws" : " gives " + std::to_string(iGot.code)) +
           " where the recursion gives " + std::to_string(iExpected.code));
}

using Floats = std::vector<float>;
using Renderer = std::function<HRESULT(unsigned int*, Floats&)>;

/// Renders in one of the ways that give floats; the values are required of it.
void CheckFloats(Reference const& iReference, Renderer const& iRender, std::function<float(double)> const& iStored,
                 char const* iWay)
{
  unsigned int dims[] = {Grid::Side, Grid::Side, Grid::Side};
  Floats floats(Grid::Count, 77.0F);
  Outcome const outcome = Try([&] { return iRender(dims, floats); });
  RequireOutcome(outcome, iReference.outcome, iWay);
  if (outcome.IsGood())
    RequireFloats(floats, iReference, iStored, iWay);
}

float Unclamped(double iValue) { return static_cast<float>(iValue); }

/// How the usual renderer stores a value: limited to the length of the grid's diagonal, which also stands for NaN.
std::function<float(double)> ClampedOn(Grid const& iGrid)
{
  double const extent = (static_cast<double>(Grid::Side) - 1.0) * iGrid.voxelSize;
  double const diagonal = std::sqrt(extent * extent + extent * extent + extent * extent);
  return [diagonal](double iValue) {
    double const value = std::isnan(iValue) ? diagonal : iValue;
    return static_cast<float>((value > 0.0 ? 1.0 : -1.0) * std::min(diagonal, std::abs(value)));
  };
}

/// The context that the renderers give each point.
SFEvaluationContext GridContext(Grid const& iGrid, bool iHasVoxelSize)
{
  SFEvaluationContext context(0);
  double const extent = (static_cast<double>(Grid::Side) - 1.0) * iGrid.voxelSize;
  context.SetDomainSize(extent, extent, extent);
  if (iHasVoxelSize)
    context.SetVoxelSize(iGrid.voxelSize);
  return context;
}

Reference CheckClamped(NodePtr const& iRoot, Grid const& iGrid)
{
  SFDagEvaluator const evaluator(Level2());
  auto const reference = ByRecursion(*iRoot, iGrid, GridContext(iGrid, true), [&](SFEvaluationContext& ioContext) {
    return evaluator.ComputeScalar(ioContext, *iRoot);
  });
  CheckFloats(
      reference,
      [&](unsigned int* ioDims, Floats& ioFloats) {
        return evaluator.Render(ioDims, ioFloats, iGrid.voxelSize, iGrid.origin.data(), *iRoot,
                                ZULGetDefaultTolerance(), ZULGMSFDiscretizationAccuracyLevel::EMedium);
      },
      ClampedOn(iGrid), "Render");
  return reference;
}

/// The nodes in the order of the text, one for each path.
std::vector<NodePtr> Unrolled(NodePtr const& iRoot)
{
  std::vector<NodePtr> open{iRoot};
  std::vector<NodePtr> list;
  while (!open.empty()) {
    NodePtr const node = std::move(open.back());
    open.pop_back();
    for (NodePtr const& operand : {node->GetRhs(), node->GetLhs()})
      if (operand != nullptr)
        open.push_back(operand);
    list.push_back(node);
  }
  return list;
}

void CheckUnrolled(NodePtr const& iRoot, Grid const& iGrid)
{
  constexpr double longestList = 2000.0; // copied for each point
  if (FactsOf(*iRoot).tokens > longestList)
    return;
  SFDagEvaluator const evaluator(Level2());
  auto const list = Unrolled(iRoot);
  auto const reference = ByRecursion(*iRoot, iGrid, GridContext(iGrid, false), [&](SFEvaluationContext& ioContext) {
    return evaluator.ComputeScalar(ioContext, list);
  });
  NodePtr root = iRoot;
  CheckFloats(
      reference,
      [&](unsigned int* ioDims, Floats& ioFloats) {
        return evaluator.RenderWithUnrolling(ioDims, ioFloats, iGrid.voxelSize, iGrid.origin.data(), root,
                                             ZULGetDefaultTolerance(), ZULGMSFDiscretizationAccuracyLevel::EMedium);
      },
      Unclamped, "RenderWithUnrolling");
}

// ---- compiled fields ------------------------------------------------------------------------------------------

/// The points of a grid, axis by axis.
std::array<std::vector<double>, 3> PointsOf(Grid const& iGrid)
{
  std::array<std::vector<double>, 3> points;
  for (std::size_t i = 0; i < Grid::Count; ++i) {
    ZULMathPoint const point = iGrid.Point(i);
    points[0].push_back(point.x);
    points[1].push_back(point.y);
    points[2].push_back(point.z);
  }
  return points;
}

void CheckPoints(SF::SFCompiledField const& iField, Reference const& iReference, Grid const& iGrid)
{
  auto const [x, y, z] = PointsOf(iGrid);
  std::vector<double> values(Grid::Count, 77.0);
  Outcome outcome = Try([&, &x = x, &y = y, &z = z] {
    return iField.Evaluate(Grid::Count, x.data(), y.data(), z.data(), values.data());
  });
  RequireOutcome(outcome, iReference.outcome, "Evaluate");
  if (outcome.IsGood())
    RequireDoubles(values, iReference, "Evaluate");

  std::vector<double> gradients(3 * Grid::Count);
  outcome = Try([&, &x = x, &y = y, &z = z] {
    return iField.EvaluateGradient(Grid::Count, x.data(), y.data(), z.data(), values.data(), gradients.data());
  });
  Require(iReference.outcome.thrown || outcome.IsGood() || outcome.thrown, "EvaluateGradient succeeds");
  if (outcome.IsGood())
    RequireDoubles(values, iReference, "EvaluateGradient");
}

void CheckInterval(SF::SFCompiledField const& iField, Reference const& iReference, ZULMathBox const& iBox,
                   std::size_t iBegin, std::size_t iEnd)
{
  double low = 77.0;
  double high = -77.0;
  HRESULT const hr = iField.EvaluateInterval(iBox, low, high);
  bool const isBox = iBox.low.x <= iBox.high.x && iBox.low.y <= iBox.high.y && iBox.low.z <= iBox.high.z;
  Require(isBox ? hr == S_OK || hr == S_FALSE : hr == E_INVALIDARG, "EvaluateInterval takes a box");
  if (!isBox)
    return;
  for (std::size_t i = iBegin; i < iEnd; ++i) {
    auto const& value = iReference.values[i];
    if (!value || (std::isnan(*value) ? hr == S_FALSE : low <= *value && *value <= high))
      continue;
    Violated("EvaluateInterval gives [" + Shown(low) + ", " + Shown(high) + "], code " + std::to_string(hr) +
             ", which leaves out " + Shown(*value) + " at point " + std::to_string(i));
  }
}

void CheckIntervals(SF::SFCompiledField const& iField, Reference const& iReference, Grid const& iGrid)
{
  ZULMathPoint const a = iGrid.Point(0);
  ZULMathPoint const b = iGrid.Point(Grid::Count - 1);
  ZULMathBox const all{{std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)},
                       {std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)}};
  CheckInterval(iField, iReference, all, 0, Grid::Count);
  for (std::size_t const i : {std::size_t{0}, Grid::Count / 3, Grid::Count - 1})
    CheckInterval(iField, iReference, {iGrid.Point(i), iGrid.Point(i)}, i, i + 1);
}

void CheckSlices(SF::SFCompiledField const& iField, Reference const& iReference, Grid const& iGrid)
{
  CheckFloats(
      iReference,
      [&](unsigned int* ioDims, Floats& ioFloats) {
        constexpr unsigned int cut = 1;
        std::size_t const first = std::size_t{cut} * Grid::Side * Grid::Side;
        HRESULT const hr =
            iField.RenderSlices(ioDims, 0, cut, std::span(ioFloats).first(first), iGrid.voxelSize, iGrid.origin.data());
        return Failed(hr) ? hr
                          : iField.RenderSlices(ioDims, cut, Grid::Side, std::span(ioFloats).subspan(first),
                                                iGrid.voxelSize, iGrid.origin.data());
      },
      ClampedOn(iGrid), "RenderSlices");
}

void CheckCompiled(NodePtr const& iRoot, Grid const& iGrid, Reference const& iOnGrid)
{
  SFDagEvaluator const evaluator(Level2());
  auto const atPoints = ByRecursion(*iRoot, iGrid, SFEvaluationContext(0), [&](SFEvaluationContext& ioContext) {
    return evaluator.ComputeScalar(ioContext, *iRoot);
  });
  SF::SFCompiledFieldOptions options;
  options.threads = 1;
  std::shared_ptr<SF::SFCompiledField> field;
  Outcome const outcome = Try([&] { return SF::SFCompiledField::Compile(Level2(), iRoot, options, field); });
  if (!outcome.IsGood()) {
    Require(field == nullptr, "a field that cannot be compiled is none");
    Require(atPoints.outcome.thrown || Failed(atPoints.outcome.code), "what can be evaluated can be compiled");
    return;
  }
  Require(atPoints.outcome.thrown || atPoints.outcome.IsGood(), "what cannot be evaluated cannot be compiled");
  CheckPoints(*field, atPoints, iGrid);
  CheckIntervals(*field, atPoints, iGrid);
  CheckSlices(*field, iOnGrid, iGrid);
}

} // namespace

ZULMathPoint Grid::Point(std::size_t iIndex) const
{
  return {origin[0] + static_cast<double>(iIndex % Side) * voxelSize,
          origin[1] + static_cast<double>(iIndex / Side % Side) * voxelSize,
          origin[2] + static_cast<double>(iIndex / Side / Side) * voxelSize};
}

Grid GridOf(std::uint8_t iByte)
{
  static constexpr std::array<Grid, 16> grids{{
      {1.0, {-1.0, -1.0, -1.0}},
      {0.5, {-0.5, -1.0, 0.0}},
      {0.1, {0.05, -0.15, 0.3}},
      {1.0, {0.0, 0.0, 0.0}},
      {2.0, {-3.0, 1.0, -2.0}},
      {-1.0, {1.0, 2.0, 1.5}},
      {0.0, {0.5, -0.5, 0.0}},
      {-0.0, {-0.0, -0.0, -0.0}},
      {1e-3, {0.999, -1.001, -0.001}},
      {1e5, {-1.5e5, -1e5, 0.0}},
      {1e150, {-1.5e150, -1e150, 0.0}},
      {1e308, {-1e308, 0.0, 1e308}},
      {5e-324, {-5e-324, 0.0, 5e-324}},
      {1.0, {Inf, -Inf, 0.0}},
      {1.0, {NaN, 0.0, 1.0}},
      {Inf, {0.0, -1.0, 1.0}},
  }};
  return grids[iByte % grids.size()];
}

std::string WithOperands(std::string iText)
{
  std::size_t const operands = iText.size() + 1; // every character may be an operator with a right operand to come
  if (!iText.empty() && iText.back() == '$')
    iText.pop_back();
  for (std::size_t i = 0; i < operands; ++i)
    iText.append(1, ' ').append(1, "XYZ"[i % 3]);
  return iText + " $";
}

void CheckRendering(NodePtr const& iRoot, Grid const& iGrid)
{
  Reference const onGrid = CheckClamped(iRoot, iGrid);
  CheckUnrolled(iRoot, iGrid);
  CheckCompiled(iRoot, iGrid, onGrid);
}

} // namespace SFFuzz
