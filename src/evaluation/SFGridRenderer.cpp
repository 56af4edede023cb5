#include "evaluation/SFGridRenderer.h"

#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "evaluation/SFEvaluatorReports.h"
#include "evaluation/SFNodeRenderer.h"
#include "evaluation/SFWorkerCount.h"
#include "graph/SFDagTraversal.h"
#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeSinks.h"

#include <algorithm>
#include <ctime>
#include <future>
#include <string>
#include <thread>

namespace SF {
namespace {

/// Lends the caller's tolerance to an OFFSET root and takes it back.
class LentTolerance
{
public:
  LentTolerance(SFDagNode const& iRoot, ZULTolerance const& iTolerance) : _offset(NodeAs<SFDagOffset>(iRoot))
  {
    if (_offset != nullptr) {
      _before = _offset->GetTolerance();
      _offset->SetTolerance(&iTolerance);
    }
  }
  LentTolerance(LentTolerance const&) = delete;
  LentTolerance& operator=(LentTolerance const&) = delete;
  ~LentTolerance()
  {
    if (_offset != nullptr)
      _offset->SetTolerance(_before);
  }

private:
  SFDagOffset const* _offset;
  ZULTolerance const* _before = nullptr;
};

/// Announces the tasks; returns how many there will be beside the calling thread.
unsigned int AnnounceWorkers()
{
  unsigned int const reported = std::thread::hardware_concurrency();
  unsigned int const workers = WorkerCount(reported);
  Diagnostics::Sentence("SFDagEvaluator::Render, hardware_concurrency reported " + std::to_string(reported) +
                        " virtual cores.");
  Diagnostics::Sentence("SFDagEvaluator::Render, will run on " + std::to_string(workers) + " virtual cores.");
  return workers;
}

/// The end of a rendering: the time line and empty caches after a success, nothing after a failure.
HRESULT Conclude(HRESULT iCode, std::string const& iSentence, std::clock_t iStart,
                 std::vector<SFDagNode const*> const& iRoots)
{
  if (iCode != S_OK)
    return iCode;
  std::string thousands;
  ToSFString(static_cast<double>((std::clock() - iStart) / 1000), thousands);
  Diagnostics::Sentence(iSentence + thousands);
  for (SFDagNode const* const root : iRoots)
    root->ResetEvaluationCache();
  return S_OK;
}

} // namespace

HRESULT SFGridRenderer::Prepare(SFGrid const& iGrid, std::vector<float> const& iValues,
                                void (*iReportNotReady)(HRESULT))
{
  if (!iGrid.valid || !iGrid.FitsInto(iValues.size(), 1)) {
    EvaluatorReports::GridTooLarge(iGrid.valid ? "nx * ny * nz <= ioValues.size()" : "iDims != nullptr");
    return E_INVALIDARG;
  }
  HRESULT const hr = _root.GetReady(_context);
  if (Failed(hr)) {
    iReportNotReady(hr);
    return hr;
  }
  _root.ResetEvaluationCache();
  return S_OK;
}

HRESULT SFGridRenderer::RunSlabs(SFGrid const& iGrid, unsigned int iWorkers, Slab const& iSlab)
{
  unsigned int const slices = iGrid.dims[2] / iWorkers;
  // Destroyed first on every way out, which waits for the tasks that still run.
  std::vector<std::future<int>> futures;
  for (unsigned int t = 0; t < iWorkers; ++t)
    futures.push_back(std::async([&iSlab, slices, t] { return iSlab(t * slices, (t + 1) * slices, t + 1); }));
  for (auto& future : futures)
    if (HRESULT const hr = future.get(); hr != S_OK) {
      Diagnostics::FailedSentence("Error in SFDagEvaluator::Render,  a renderRange", hr);
      return hr;
    }
  HRESULT const hr = iSlab(iWorkers * slices, iGrid.dims[2], 0);
  if (hr != S_OK)
    Diagnostics::FailedSentence("Error in SFDagEvaluator::Render,  last renderRange", hr);
  return hr;
}

HRESULT SFGridRenderer::RunCompiled(SFTapeInvariants const& iTape, unsigned int iWorkers,
                                    SFTapeSweep::Output const& iOutput)
{
  // The tasks draw regions from one counter instead of keeping to their slabs, which evens out the work.
  SFSweepContext context(iTape, iOutput.Limit());
  SFTapeSweep sweep(context, 0, iTape.GetGrid().dims[2], iWorkers);
  return RunSlabs(iTape.GetGrid(), iWorkers, [&](unsigned int, unsigned int, unsigned int) {
    sweep.Work(iOutput);
    return S_OK;
  });
}

std::unique_ptr<SFTapeInvariants> SFGridRenderer::Compile(SFGrid const& iGrid, Lists const& iLists, double iVoxelSize,
                                                          unsigned int iWorkers)
{
  if (iGrid.dims[0] == 0 || iGrid.dims[1] == 0 || iGrid.dims[2] == 0)
    return nullptr;
  SFTapeCompiler compiler(iGrid.IsWithin(SFTapeCompiler::LargestCoordinate));
  for (auto const& list : iLists)
    if (!compiler.AddList(list, &list == &iLists.front() ? EFieldLimit : EGradientLimit))
      return nullptr;
  std::array<double, ELimitCount> const limits{SFCylindricalTransform::CorrectionLimit(iGrid.DomainSize(), iVoxelSize),
                                               SFCylindricalTransform::CorrectionLimit({0.0, 0.0, 0.0}, 0.0)};
  auto tape = std::make_unique<SFTapeInvariants>(compiler.Finish(), iGrid, limits);
  tape->Prepare(iWorkers);
  return tape;
}

namespace {

/// Stores a value and three derivatives as a float and a unit normal.
SFTapeSweep::Sink NormalSink(SFTapeInvariants const& iTape, std::vector<float>& ioValues, std::vector<float>& ioNormals)
{
  return [&](SFTile const& iTile, SFTapeList const&, SFTapeRunner& ioRunner) {
    auto const& kernels = iTape.GetKernels();
    StoreTile(iTape, kernels.storePlain, iTile, ioRunner.Result(0, iTile), 0.0, ioValues);
    SFNormalBox box{FloatsOf(iTape.GetGrid(), iTile, ioNormals, 3), {}, {}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      SFValueView const from = ioRunner.Result(axis + 1, iTile);
      box.components[axis] = {from.data, from.strides[1], from.strides[2]};
      box.vary[axis] = from.strides[0] != 0;
    }
    kernels.storeNormals(box);
  };
}

} // namespace

HRESULT SFGridRenderer::RenderClamped(SFGrid const& iGrid, std::vector<float>& ioValues)
{
  std::clock_t const start = std::clock();
  LentTolerance const lent(_root, _tolerance);
  HRESULT hr = Prepare(iGrid, ioValues, EvaluatorReports::RenderNotReady);
  if (Failed(hr))
    return hr;

  unsigned int const workers = AnnounceWorkers();
  if (auto const tape = Compile(iGrid, {{&_root}}, iGrid.h, workers))
    hr = RunCompiled(*tape, workers, ValueOutput(*tape, true, ioValues));
  else {
    SFNodeRenderer const renderer(iGrid, {&_root}, workers + 1);
    hr = RunSlabs(iGrid, workers, [&](unsigned int iBegin, unsigned int iEnd, unsigned int iTask) {
      return renderer.Clamped(iBegin, iEnd, iTask, ioValues);
    });
  }
  return Conclude(hr, "Dag Evaluation Elapsed time : ", start, {&_root});
}

HRESULT SFGridRenderer::RenderUnrolled(SFGrid const& iGrid, std::vector<float>& ioValues)
{
  std::clock_t const start = std::clock();
  LentTolerance const lent(_root, _tolerance);
  HRESULT hr = Prepare(iGrid, ioValues, EvaluatorReports::UnrolledNotReady);
  if (Failed(hr))
    return hr;

  unsigned int const workers = AnnounceWorkers();
  if (auto const tape = Compile(iGrid, {SFNodeRenderer::UnrolledOrder(_root)}, 0.0, workers))
    hr = RunCompiled(*tape, workers, ValueOutput(*tape, false, ioValues));
  else {
    SFNodeRenderer const renderer(iGrid, {&_root}, workers + 1);
    hr = RunSlabs(iGrid, workers, [&](unsigned int iBegin, unsigned int iEnd, unsigned int iTask) {
      return renderer.Unrolled(iBegin, iEnd, iTask, ioValues);
    });
  }
  return Conclude(hr, "Dag Evaluation Elapsed time : ", start, {&_root});
}

HRESULT SFGridRenderer::RenderWithNormals(SFGrid const& iGrid, std::vector<float>& ioValues,
                                          std::vector<float>& ioNormals,
                                          std::vector<std::shared_ptr<SFDagNode>> const& iGradientNodes)
{
  std::clock_t const start = std::clock();
  LentTolerance const lent(_root, _tolerance);
  HRESULT hr = Prepare(iGrid, ioValues, EvaluatorReports::NormalsNotReady);
  if (Failed(hr))
    return hr;
  bool const complete = iGradientNodes.size() == 3 && std::none_of(iGradientNodes.begin(), iGradientNodes.end(),
                                                                   [](auto const& iNode) { return !iNode; });
  if (!complete) {
    Diagnostics::Sentence("SFDagEvaluator::Render, invalid gradient node vector. Size must be 3 !");
    return E_FAIL;
  }
  if (!iGrid.FitsInto(ioNormals.size(), 3)) {
    EvaluatorReports::GridTooLarge("3 * nx * ny * nz <= ioNormals.size()");
    return E_INVALIDARG;
  }

  unsigned int const workers = AnnounceWorkers();
  // The field and its derivatives share nodes; each of the four graphs has contexts of its own all the same.
  std::vector<SFDagNode const*> const roots{&_root, iGradientNodes[0].get(), iGradientNodes[1].get(),
                                            iGradientNodes[2].get()};
  for (SFDagNode const* const root : roots)
    root->ResetEvaluationCache();
  if (auto const tape = Compile(iGrid, {{roots[0]}, {roots[1]}, {roots[2]}, {roots[3]}}, 0.0, workers))
    hr = RunCompiled(*tape, workers, {{}, NormalSink(*tape, ioValues, ioNormals)});
  else {
    SFNodeRenderer const renderer(iGrid, roots, workers + 1);
    hr = RunSlabs(iGrid, workers, [&](unsigned int iBegin, unsigned int iEnd, unsigned int iTask) {
      return renderer.WithNormals(iBegin, iEnd, iTask, ioValues, ioNormals);
    });
  }
  return Conclude(hr, "Dag Evaluation Elapsed time (without PolyBodyToSF) : ", start, roots);
}

} // namespace SF
