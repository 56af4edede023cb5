#include "SFCompiledField.h"

#include "ResourceToSF.h"
#include "SFDagEvaluator.h"
#include "SFDagFunctor.h"
#include "evaluation/SFFieldCall.h"
#include "evaluation/SFPreparedGrids.h"
#include "evaluation/SFPreparedPoints.h"
#include "evaluation/SFStatedBounds.h"
#include "evaluation/SFWorkerCount.h"
#include "graph/SFDagTraversal.h"
#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeDifferentiation.h"
#include "tape/SFTapeIntervals.h"
#include "tape/SFTapeRestriction.h"
#include "tape/SFTapeSinks.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <thread>

namespace SF {
namespace {

bool CompileTape(SFDagNode const& iRoot, bool iFinite, SFCompiledFieldOptions const& iOptions, SFTape& oTape)
{
  SFTapeCompiler compiler(iFinite, iOptions.lipschitzBounds);
  if (!compiler.AddRoot(iRoot, EFieldLimit))
    return false;
  oTape = compiler.Finish();
  return true;
}

/// The resources of a graph: a tape names them, whatever the host does with the graph later.
std::vector<std::shared_ptr<SFDagNode>> ResourcesOf(SFDagNode const& iRoot)
{
  std::vector<std::shared_ptr<SFDagNode>> resources;
  auto const add = [&](std::shared_ptr<SFDagNode> const& iNode) {
    if (iNode != nullptr && NodeAs<ResourceToSF>(*iNode) != nullptr)
      resources.push_back(iNode);
  };
  for (SFDagNode const* const node : PostOrder(iRoot, SFReach::OperandsAndDerived)) {
    add(node->GetLhs());
    add(node->GetRhs());
    if (auto const* const functor = NodeAs<SFDagFunctor>(*node))
      add(functor->GetDerivedDag());
  }
  return resources;
}

bool AreValid(SFCompiledFieldOptions const& iOptions)
{
  auto const isValid = [](SFLipschitzBound const& iBound) { return iBound.node != nullptr && iBound.bound >= 0.0; };
  if (!(iOptions.band > 0.0))
    Diagnostics::NotSatisfied("Compile", "iOptions.band > 0");
  else if (!std::all_of(iOptions.lipschitzBounds.begin(), iOptions.lipschitzBounds.end(), isValid))
    Diagnostics::NotSatisfied("Compile", "each Lipschitz bound has a node and is not negative");
  else
    return true;
  return false;
}

/// The evaluation of a graph that cannot be compiled says what is wrong with it.
void EvaluateAtOrigin(SFSWContext const& iContext, SFDagNode const& iRoot)
{
  iRoot.ResetEvaluationCache();
  SFEvaluationContext context = iRoot.GetNewEvaluationContext();
  SFDagEvaluator(iContext).ComputeScalar(context, iRoot);
  iRoot.ResetEvaluationCache();
}

bool ArePoints(char const* iMethod, std::size_t iCount, std::array<double const*, 3> const& iPoints,
               double const* iOutput)
{
  if (iCount == 0 || (iPoints[0] != nullptr && iPoints[1] != nullptr && iPoints[2] != nullptr && iOutput != nullptr))
    return true;
  Diagnostics::NotSatisfied(iMethod, "the arrays are not null");
  return false;
}

bool IsOutput(char const* iMethod, std::size_t iCount, double const* iOutput)
{
  static constexpr double point = 0.0;
  return ArePoints(iMethod, iCount, {&point, &point, &point}, iOutput);
}

/// The ranges of the coordinates in a box; false, after a line, for one that is empty or not a number.
bool AsRanges(char const* iMethod, ZULMathBox const& iBox, std::array<SFInterval, 3>& oRanges, bool& oIsBounded)
{
  auto const& [low, high] = iBox;
  if (!(low.x <= high.x && low.y <= high.y && low.z <= high.z)) {
    Diagnostics::NotSatisfied(iMethod, "iBox.low <= iBox.high");
    return false;
  }
  constexpr double bound = SFTapeCompiler::LargestCoordinate;
  oIsBounded = std::min({low.x, low.y, low.z}) >= -bound && std::max({high.x, high.y, high.z}) <= bound;
  oRanges = {SFInterval(low.x, high.x, false), SFInterval(low.y, high.y, false), SFInterval(low.z, high.z, false)};
  return true;
}

/// Where the derivatives lie among the results of a tape that has been differentiated twice: the value and its gradient,
/// then the derivatives of each, x first.
constexpr std::array<std::size_t, 1> FieldValue{0};
constexpr std::array<std::size_t, 3> FirstDerivatives{1, 2, 3};
constexpr std::array<std::size_t, 6> SecondDerivatives{5, 6, 7, 10, 11, 15};

/// Writes some results side by side, N for each point, at the places of the points. Nothing without an output.
template <std::size_t N>
void Interleave(SFTapePoints::Rows const& iRows, std::array<std::size_t, N> const& iResults,
                SFPointPlaces const& iPlaces, double* oValues)
{
  for (std::size_t k = 0; k < N && oValues != nullptr; ++k) {
    double const* const row = iRows(iResults[k]);
    for (std::size_t i = 0; i < iPlaces.count; ++i)
      oValues[N * iPlaces[i] + k] = row[i];
  }
}

/// The largest and the smallest principal curvature, the mean and the Gaussian one, from the gradient g and the Hessian H:
/// with |g| = 1 the mean curvature is (g H g - tr H) / 2 and the Gaussian one g adj(H) g. (R. Goldman, "Curvature formulas
/// for implicit curves and surfaces", 2005, propositions 4.1 and 4.2.)
void WriteCurvatures(double const* iGradient, double const* iHessian, double* oCurvatures)
{
  double const length =
      std::sqrt(iGradient[0] * iGradient[0] + iGradient[1] * iGradient[1] + iGradient[2] * iGradient[2]);
  double const x = iGradient[0] / length;
  double const y = iGradient[1] / length;
  double const z = iGradient[2] / length;
  auto const [xx, xy, xz, yy, yz, zz] =
      std::array<double, 6>{iHessian[0] / length, iHessian[1] / length, iHessian[2] / length,
                            iHessian[3] / length, iHessian[4] / length, iHessian[5] / length};
  double const along = x * (xx * x + 2.0 * (xy * y + xz * z)) + y * (yy * y + 2.0 * yz * z) + z * zz * z;
  double const mean = (along - (xx + yy + zz)) / 2.0;
  double const gaussian =
      x * x * (yy * zz - yz * yz) + y * y * (xx * zz - xz * xz) + z * z * (xx * yy - xy * xy) +
      2.0 * (x * y * (xz * yz - xy * zz) + x * z * (xy * yz - xz * yy) + y * z * (xy * xz - yz * xx));
  double const spread = mean * mean - gaussian; // not below 0 but for rounding
  double const half = std::isnan(spread) ? spread : std::sqrt(std::max(0.0, spread));
  oCurvatures[0] = mean + half;
  oCurvatures[1] = mean - half;
  oCurvatures[2] = mean;
  oCurvatures[3] = gaussian;
}

} // namespace

struct SFCompiledField::Content
{
  using Tape = std::shared_ptr<SFTape const>;
  using Resources = std::shared_ptr<std::vector<std::shared_ptr<SFDagNode>> const>;

  /// `iPrepared` is that of the field that this one is restricted from.
  Content(std::shared_ptr<SFDagNode> iRoot, Resources iResources, SFCompiledFieldOptions const& iOptions,
          Tape iAnywhere, Tape iBounded, std::shared_ptr<SFPreparedPoints> iPrepared,
          std::optional<SFPointBox> const& iBox = {})
    : root(std::move(iRoot)), resources(std::move(iResources)), options(iOptions), anywhere(std::move(iAnywhere)),
      bounded(std::move(iBounded)), box(iBox), grids(options), prepared(std::move(iPrepared)), points(prepared),
      gradients(prepared), hessians(prepared)
  {
  }

  /// The tape for coordinates up to a magnitude; with a bound it may be shorter.
  SFTape const& TapeFor(bool iBounded) const { return iBounded ? *bounded : *anywhere; }

  /// The slopes of that tape in a box.
  std::shared_ptr<SFSlopeTable const> SlopesFor(bool iBounded, SFPointBox const& iBox) const
  {
    SFTape const& tape = TapeFor(iBounded);
    if (tape.slopes != nullptr)
      return tape.slopes;
    return slopes[iBounded ? 1 : 0].Get(
        iBox, [&](SFPointBox const& iAll) { return SlopesOverBox(WhereSlopesHelp(tape), tape, iAll); });
  }

  HRESULT Evaluate(std::size_t iCount, SFTapePoints::Points const& iPoints, double* oValues,
                   std::atomic<bool> const* iCancel) const;
  HRESULT EvaluateGradient(std::size_t iCount, SFTapePoints::Points const& iPoints, double* oValues, double* oGradients,
                           std::atomic<bool> const* iCancel) const;
  HRESULT EvaluateHessian(std::size_t iCount, SFTapePoints::Points const& iPoints, double* oValues, double* oGradients,
                          double* oHessians, std::atomic<bool> const* iCancel) const;
  HRESULT EvaluateCurvature(std::size_t iCount, SFTapePoints::Points const& iPoints, double* oCurvatures,
                            std::atomic<bool> const* iCancel) const;

  /// Runs the field, with its derivatives up to an order, at points.
  HRESULT RunAt(int iOrder, std::size_t iCount, SFTapePoints::Points const& iPoints, SFFieldCall& ioCall,
                SFTapePoints::Sink const& iSink) const
  {
    auto const make = [&] {
      Tape tape = anywhere;
      for (int i = 0; i < iOrder; ++i)
        tape = std::make_shared<SFTape const>(SFTapeDifferentiation().Run(*tape));
      return SFPointRuns(std::move(tape), iOrder != 0, box, options, prepared->GetScratch());
    };
    SFPreparedPoints::Place const& place = iOrder == 0 ? points : iOrder == 1 ? gradients : hessians;
    return place.With(make, [&](SFPointRuns const& iRuns) { return iRuns.Run(iCount, iPoints, ioCall, iSink); });
  }

  std::shared_ptr<SFDagNode> root;
  Resources resources;
  SFCompiledFieldOptions options;
  Tape anywhere;
  Tape bounded;                                     ///< for coordinates up to SFTapeCompiler::LargestCoordinate
  std::optional<SFPointBox> box;                    ///< what it has been restricted to
  std::array<SFMadeForBox<SFSlopeTable>, 2> slopes; ///< by tape
  mutable SFPreparedGrids grids;
  std::shared_ptr<SFPreparedPoints> prepared;
  SFPreparedPoints::Place points;
  SFPreparedPoints::Place gradients;
  SFPreparedPoints::Place hessians;
};

SFCompiledField::SFCompiledField(std::unique_ptr<Content> iContent) : _content(std::move(iContent)) {}
SFCompiledField::~SFCompiledField() = default;

HRESULT SFCompiledField::Compile(SFSWContext const& iContext, std::shared_ptr<SFDagNode> const& iRoot,
                                 SFCompiledFieldOptions const& iOptions, std::shared_ptr<SFCompiledField>& oField)
{
  if (iRoot == nullptr) {
    Diagnostics::NullPointer("Compile", "iRoot.get()");
    return E_INVALIDARG;
  }
  if (!AreValid(iOptions))
    return E_INVALIDARG;
  HRESULT const hr = iRoot->GetReady(iContext);
  if (Failed(hr)) {
    Diagnostics::FailedCall("Compile", hr);
    return hr;
  }
  SFTape anywhere;
  SFTape bounded;
  if (!CompileTape(*iRoot, false, iOptions, anywhere) || !CompileTape(*iRoot, true, iOptions, bounded)) {
    EvaluateAtOrigin(iContext, *iRoot);
    return E_FAIL;
  }
  if (iOptions.lipschitzCheck != nullptr && !HoldStatedBounds(anywhere, *iOptions.lipschitzCheck))
    return E_INVALIDARG;
  SFCompiledFieldOptions options = iOptions;
  options.lipschitzBounds = {};
  options.lipschitzCheck = nullptr;
  if (options.threads == 0)
    options.threads = WorkerCount(std::thread::hardware_concurrency());
  auto resources = std::make_shared<std::vector<std::shared_ptr<SFDagNode>> const>(ResourcesOf(*iRoot));
  oField.reset(new SFCompiledField(std::make_unique<Content>(
      iRoot, std::move(resources), options, std::make_shared<SFTape const>(std::move(anywhere)),
      std::make_shared<SFTape const>(std::move(bounded)), std::make_shared<SFPreparedPoints>(options.memoryBudget))));
  return S_OK;
}

HRESULT SFCompiledField::Content::Evaluate(std::size_t iCount, SFTapePoints::Points const& iPoints, double* oValues,
                                           std::atomic<bool> const* iCancel) const
{
  constexpr std::size_t fewPoints = 64; // no more are worth a tape of their own where there is one with derivatives
  SFFieldCall call(options, iCancel, "Evaluate");
  SFTapePoints::Sink const sink = [&](SFPointPlaces const& iPlaces, SFTapePoints::Rows const& iRows) {
    Interleave(iRows, FieldValue, iPlaces, oValues);
  };
  std::optional<HRESULT> code;
  if (iCount <= fewPoints && iPoints.source == nullptr)
    code = gradients.WithParts([&](SFPointRuns const& iRuns) { return iRuns.RunValue(iCount, iPoints, call, sink); });
  return call.Conclude(code ? *code : RunAt(0, iCount, iPoints, call, sink));
}

HRESULT SFCompiledField::Evaluate(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                                  double* oValues, std::atomic<bool> const* iCancel) const
{
  if (!ArePoints("Evaluate", iCount, {iX, iY, iZ}, oValues))
    return E_INVALIDARG;
  return _content->Evaluate(iCount, {{iX, iY, iZ}}, oValues, iCancel);
}

HRESULT SFCompiledField::Evaluate(std::size_t iCount, SFPointSource const& iPoints, double* oValues,
                                  std::atomic<bool> const* iCancel) const
{
  if (!IsOutput("Evaluate", iCount, oValues))
    return E_INVALIDARG;
  return _content->Evaluate(iCount, {{}, &iPoints}, oValues, iCancel);
}

HRESULT SFCompiledField::Content::EvaluateGradient(std::size_t iCount, SFTapePoints::Points const& iPoints,
                                                   double* oValues, double* oGradients,
                                                   std::atomic<bool> const* iCancel) const
{
  SFFieldCall call(options, iCancel, "EvaluateGradient");
  return call.Conclude(
      RunAt(1, iCount, iPoints, call, [&](SFPointPlaces const& iPlaces, SFTapePoints::Rows const& iRows) {
        Interleave(iRows, FieldValue, iPlaces, oValues);
        Interleave(iRows, FirstDerivatives, iPlaces, oGradients);
      }));
}

HRESULT SFCompiledField::EvaluateGradient(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                                          double* oValues, double* oGradients, std::atomic<bool> const* iCancel) const
{
  if (!ArePoints("EvaluateGradient", iCount, {iX, iY, iZ}, oGradients))
    return E_INVALIDARG;
  return _content->EvaluateGradient(iCount, {{iX, iY, iZ}}, oValues, oGradients, iCancel);
}

HRESULT SFCompiledField::EvaluateGradient(std::size_t iCount, SFPointSource const& iPoints, double* oValues,
                                          double* oGradients, std::atomic<bool> const* iCancel) const
{
  if (!IsOutput("EvaluateGradient", iCount, oGradients))
    return E_INVALIDARG;
  return _content->EvaluateGradient(iCount, {{}, &iPoints}, oValues, oGradients, iCancel);
}

HRESULT SFCompiledField::Content::EvaluateHessian(std::size_t iCount, SFTapePoints::Points const& iPoints,
                                                  double* oValues, double* oGradients, double* oHessians,
                                                  std::atomic<bool> const* iCancel) const
{
  SFFieldCall call(options, iCancel, "EvaluateHessian");
  return call.Conclude(
      RunAt(2, iCount, iPoints, call, [&](SFPointPlaces const& iPlaces, SFTapePoints::Rows const& iRows) {
        Interleave(iRows, FieldValue, iPlaces, oValues);
        Interleave(iRows, FirstDerivatives, iPlaces, oGradients);
        Interleave(iRows, SecondDerivatives, iPlaces, oHessians);
      }));
}

HRESULT SFCompiledField::EvaluateHessian(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                                         double* oValues, double* oGradients, double* oHessians,
                                         std::atomic<bool> const* iCancel) const
{
  if (!ArePoints("EvaluateHessian", iCount, {iX, iY, iZ}, oHessians))
    return E_INVALIDARG;
  return _content->EvaluateHessian(iCount, {{iX, iY, iZ}}, oValues, oGradients, oHessians, iCancel);
}

HRESULT SFCompiledField::EvaluateHessian(std::size_t iCount, SFPointSource const& iPoints, double* oValues,
                                         double* oGradients, double* oHessians, std::atomic<bool> const* iCancel) const
{
  if (!IsOutput("EvaluateHessian", iCount, oHessians))
    return E_INVALIDARG;
  return _content->EvaluateHessian(iCount, {{}, &iPoints}, oValues, oGradients, oHessians, iCancel);
}

HRESULT SFCompiledField::Content::EvaluateCurvature(std::size_t iCount, SFTapePoints::Points const& iPoints,
                                                    double* oCurvatures, std::atomic<bool> const* iCancel) const
{
  SFFieldCall call(options, iCancel, "EvaluateCurvature");
  return call.Conclude(
      RunAt(2, iCount, iPoints, call, [&](SFPointPlaces const& iPlaces, SFTapePoints::Rows const& iRows) {
        std::vector<double> first(3 * iPlaces.count);
        std::vector<double> second(6 * iPlaces.count);
        SFPointPlaces const inARow{0, iPlaces.count, nullptr};
        Interleave(iRows, FirstDerivatives, inARow, first.data());
        Interleave(iRows, SecondDerivatives, inARow, second.data());
        for (std::size_t i = 0; i < iPlaces.count; ++i)
          WriteCurvatures(&first[3 * i], &second[6 * i], oCurvatures + 4 * iPlaces[i]);
      }));
}

HRESULT SFCompiledField::EvaluateCurvature(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                                           double* oCurvatures, std::atomic<bool> const* iCancel) const
{
  if (!ArePoints("EvaluateCurvature", iCount, {iX, iY, iZ}, oCurvatures))
    return E_INVALIDARG;
  return _content->EvaluateCurvature(iCount, {{iX, iY, iZ}}, oCurvatures, iCancel);
}

HRESULT SFCompiledField::EvaluateCurvature(std::size_t iCount, SFPointSource const& iPoints, double* oCurvatures,
                                           std::atomic<bool> const* iCancel) const
{
  if (!IsOutput("EvaluateCurvature", iCount, oCurvatures))
    return E_INVALIDARG;
  return _content->EvaluateCurvature(iCount, {{}, &iPoints}, oCurvatures, iCancel);
}

HRESULT SFCompiledField::EvaluateInterval(ZULMathBox const& iBox, double& oLow, double& oHigh) const
{
  std::array<SFInterval, 3> box;
  bool isBounded = false;
  if (!AsRanges("EvaluateInterval", iBox, box, isBounded))
    return E_INVALIDARG;
  SFInterval const range = RangeOverBox(_content->TapeFor(isBounded), box, *_content->SlopesFor(isBounded, box));
  oLow = range.lo;
  oHigh = range.hi;
  return range.nan ? S_FALSE : S_OK;
}

HRESULT SFCompiledField::Restrict(ZULMathBox const& iBox, std::shared_ptr<SFCompiledField>& oField) const
{
  std::array<SFInterval, 3> box;
  bool isBounded = false;
  if (!AsRanges("Restrict", iBox, box, isBounded))
    return E_INVALIDARG;
  auto tape = std::make_shared<SFTape const>(
      Restricted(_content->TapeFor(isBounded), box, *_content->SlopesFor(isBounded, box)));
  oField.reset(new SFCompiledField(std::make_unique<Content>(_content->root, _content->resources, _content->options,
                                                             tape, tape, _content->prepared, box)));
  return S_OK;
}

bool SFCompiledField::IsContinuous() const
{
  auto const& steps = _content->anywhere->instructions;
  return std::none_of(steps.begin(), steps.end(), [](SFTapeInstruction const& iStep) {
    return iStep.code == CodeOf(SFNodeType::SIGN) || iStep.code == AngleCode || IsResourceCode(iStep.code);
  });
}

HRESULT SFCompiledField::RenderSlices(unsigned int const* iDims, unsigned int iBegin, unsigned int iEnd,
                                      std::span<float> ioValues, double iVoxelSize, double const* iOrigin,
                                      std::atomic<bool> const* iCancel) const
{
  SFGrid const grid(iDims, iVoxelSize, iOrigin);
  bool const isPart = grid.valid && iBegin <= iEnd && iEnd <= grid.dims[2];
  SFGrid const slices = isPart ? grid.Slices(iBegin, iEnd) : grid;
  if (!isPart || !slices.FitsInto(ioValues.size(), 1)) {
    Diagnostics::NotSatisfied("RenderSlices", !grid.valid ? "iDims != nullptr"
                                              : !isPart   ? "iBegin <= iEnd && iEnd <= nz"
                                                          : "nx * ny * (iEnd - iBegin) <= ioValues.size()");
    return E_INVALIDARG;
  }
  auto const& options = _content->options;
  SFFieldCall call(options, iCancel, "RenderSlices");
  if (slices.dims[0] == 0 || slices.dims[1] == 0 || slices.dims[2] == 0)
    return call.Conclude(call.Run(1, [](bool) {}));

  SFTape const& field = _content->TapeFor(grid.IsWithin(SFTapeCompiler::LargestCoordinate));
  std::shared_ptr<SFPreparedGrid> prepared;
  HRESULT hr = call.Run(1, [&](bool) { prepared = _content->grids.Get(field, grid, iBegin, iEnd, call); });
  if (Failed(hr))
    return hr;
  SFTapeInvariants const& tape = prepared->GetTape();
  unsigned int const begin = iBegin - tape.GetGrid().firstSlice;
  std::size_t const points = std::size_t{slices.dims[0]} * slices.dims[1] * slices.dims[2];
  unsigned int const threads = prepared->ThreadsFor(points);
  SFTapeSweep sweep(prepared->GetContext(), begin, begin + slices.dims[2], threads, prepared->GetTileVolume());
  auto const output = ValueOutput(tape, true, ioValues, options.band, begin);
  std::size_t const regions = sweep.GetRegionCount();
  auto const workers = static_cast<unsigned int>(std::min<std::size_t>(threads, regions));
  hr = call.Run(workers, [&](bool iIsCaller) {
    auto const report = [&] {
      call.Report(static_cast<double>(sweep.GetRegionsDone()) / static_cast<double>(regions));
    };
    sweep.Work(output, call.GetStopRequest(), iIsCaller ? std::function<void()>(report) : nullptr);
  });
  return call.Conclude(hr);
}

} // namespace SF
