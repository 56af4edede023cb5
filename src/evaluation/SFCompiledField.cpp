#include "SFCompiledField.h"

#include "ResourceToSF.h"
#include "SFCylindricalTransform.h"
#include "SFDagEvaluator.h"
#include "SFDagFunctor.h"
#include "evaluation/SFFieldCall.h"
#include "evaluation/SFWorkerCount.h"
#include "graph/SFDagTraversal.h"
#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeDifferentiation.h"
#include "tape/SFTapeIntervals.h"
#include "tape/SFTapePoints.h"
#include "tape/SFTapeSinks.h"

#include <algorithm>
#include <thread>

namespace SF {
namespace {

/// The memory budget of a rendering divided by this is for hoisted values; the tiles get the rest.
constexpr std::size_t HoistedShare = 2;

bool CompileTape(SFDagNode const& iRoot, bool iFinite, SFTape& oTape)
{
  SFTapeCompiler compiler(iFinite);
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

} // namespace

struct SFCompiledField::Content
{
  Content(std::shared_ptr<SFDagNode> iRoot, SFCompiledFieldOptions const& iOptions, SFTape iAnywhere, SFTape iBounded)
    : root(std::move(iRoot)), resources(ResourcesOf(*root)), options(iOptions), anywhere(std::move(iAnywhere)),
      bounded(std::move(iBounded)), points(anywhere, options)
  {
  }

  /// The tape for coordinates up to a magnitude; with a bound it may be shorter.
  SFTape const& TapeFor(bool iBounded) const { return iBounded ? bounded : anywhere; }

  SFTapePoints const& GetGradients() const
  {
    std::call_once(gradientsOnce, [this] {
      gradients = std::make_unique<SFTapePoints>(SFTapeDifferentiation().Run(anywhere), options);
    });
    return *gradients;
  }

  std::shared_ptr<SFDagNode> root;
  std::vector<std::shared_ptr<SFDagNode>> resources;
  SFCompiledFieldOptions options;
  SFTape anywhere;
  SFTape bounded; ///< for coordinates up to SFTapeCompiler::LargestCoordinate
  SFTapePoints points;
  mutable std::once_flag gradientsOnce;
  mutable std::unique_ptr<SFTapePoints> gradients; ///< made when first asked for
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
  HRESULT const hr = iRoot->GetReady(iContext);
  if (Failed(hr)) {
    Diagnostics::FailedCall("Compile", hr);
    return hr;
  }
  SFTape anywhere;
  SFTape bounded;
  if (!CompileTape(*iRoot, false, anywhere) || !CompileTape(*iRoot, true, bounded)) {
    EvaluateAtOrigin(iContext, *iRoot);
    return E_FAIL;
  }
  SFCompiledFieldOptions options = iOptions;
  if (options.threads == 0)
    options.threads = WorkerCount(std::thread::hardware_concurrency());
  oField.reset(new SFCompiledField(std::make_unique<Content>(iRoot, options, std::move(anywhere), std::move(bounded))));
  return S_OK;
}

HRESULT SFCompiledField::Evaluate(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                                  double* oValues, std::atomic<bool> const* iCancel) const
{
  if (!ArePoints("Evaluate", iCount, {iX, iY, iZ}, oValues))
    return E_INVALIDARG;
  SFFieldCall call(_content->options, iCancel, "Evaluate");
  return call.Conclude(_content->points.Run(
      iCount, {iX, iY, iZ}, call, [&](std::size_t iFirst, std::size_t iBatch, SFTapePoints::Rows const& iRows) {
        std::copy_n(iRows(0), iBatch, oValues + iFirst);
      }));
}

HRESULT SFCompiledField::EvaluateGradient(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                                          double* oValues, double* oGradients, std::atomic<bool> const* iCancel) const
{
  if (!ArePoints("EvaluateGradient", iCount, {iX, iY, iZ}, oGradients))
    return E_INVALIDARG;
  SFFieldCall call(_content->options, iCancel, "EvaluateGradient");
  return call.Conclude(_content->GetGradients().Run(
      iCount, {iX, iY, iZ}, call, [&](std::size_t iFirst, std::size_t iBatch, SFTapePoints::Rows const& iRows) {
        if (oValues != nullptr)
          std::copy_n(iRows(0), iBatch, oValues + iFirst);
        for (std::size_t axis = 0; axis < 3; ++axis) {
          double const* const row = iRows(axis + 1);
          for (std::size_t i = 0; i < iBatch; ++i)
            oGradients[3 * (iFirst + i) + axis] = row[i];
        }
      }));
}

HRESULT SFCompiledField::EvaluateInterval(ZULMathBox const& iBox, double& oLow, double& oHigh) const
{
  auto const& [low, high] = iBox;
  if (!(low.x <= high.x && low.y <= high.y && low.z <= high.z)) {
    Diagnostics::NotSatisfied("EvaluateInterval", "iBox.low <= iBox.high");
    return E_INVALIDARG;
  }
  constexpr double bound = SFTapeCompiler::LargestCoordinate;
  bool const bounded = std::min({low.x, low.y, low.z}) >= -bound && std::max({high.x, high.y, high.z}) <= bound;
  SFInterval const range =
      RangeOverBox(_content->TapeFor(bounded), {SFInterval(low.x, high.x, false), SFInterval(low.y, high.y, false),
                                                SFInterval(low.z, high.z, false)});
  oLow = range.lo;
  oHigh = range.hi;
  return range.nan ? S_FALSE : S_OK;
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
  std::size_t const share = options.memoryBudget / HoistedShare;
  SFWorkPlan const plan = PlanWork(field, options.threads, SFTapeSweep::TileVolume, options.memoryBudget - share);
  SFTapeInvariants tape(field, slices, {SFCylindricalTransform::CorrectionLimit(grid.DomainSize(), iVoxelSize), 0.0},
                        share);
  HRESULT hr = call.Run(1, [&](bool) { tape.Prepare(plan.threads, call.GetStopRequest()); });
  if (Failed(hr))
    return hr;
  SFTapeSweep sweep(tape, 0, slices.dims[2], plan.threads, plan.volume);
  auto const output = ValueOutput(tape, true, ioValues.data());
  double const regions = static_cast<double>(sweep.GetRegionCount());
  hr = call.Run(plan.threads, [&](bool iIsCaller) {
    auto const report = [&] { call.Report(static_cast<double>(sweep.GetRegionsDone()) / regions); };
    sweep.Work(output, call.GetStopRequest(), iIsCaller ? std::function<void()>(report) : nullptr);
  });
  return call.Conclude(hr);
}

} // namespace SF
