#include "SFGridRenderer.h"

#include "SFDagOffset.h"
#include "SFDagTraversal.h"
#include "SFEvaluatorReports.h"
#include "SFScalarEvaluation.h"
#include "SFTapeCompiler.h"
#include "SFTapeSweep.h"
#include "ZULMathVector.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <future>
#include <string>
#include <thread>

namespace SF {

unsigned int WorkerCount(unsigned int iHardwareConcurrency)
{
  return iHardwareConcurrency != 0 ? iHardwareConcurrency : 2;
}

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

/// Opens the slots 0 to `iCount` - 1 on every node, so that tasks only ever write slots of their own.
void OpenSlots(std::vector<SFDagNode const*> const& iNodes, unsigned int iCount)
{
  SFEvaluationContext const last(static_cast<int>(iCount) - 1);
  for (SFDagNode const* const node : iNodes) {
    if (ClassOf(*node) == SFNodeClass::Foreign)
      for (std::size_t open = node->GetContextCount(); open < iCount; ++open)
        node->GetNewEvaluationContext(); // the class may have more to open than its own slot
    node->ReserveEvaluationContexts(last);
  }
}

/// Clears one context's slots of a graph between points: what Reset does, without walking the graph again.
class SlotReset
{
public:
  explicit SlotReset(std::vector<SFDagNode const*> const& iNodes)
  {
    for (SFDagNode const* const node : iNodes)
      (ClassOf(*node) == SFNodeClass::Foreign ? _foreign : _plain).push_back(node);
  }
  void Reset(SFEvaluationContext const& iContext) const
  {
    for (SFDagNode const* const node : _plain)
      node->GetContextInfos(iContext.GetIndex()) = {DBL_MAX, SFDagNode::ECacheReset};
    for (SFDagNode const* const node : _foreign)
      node->Reset(iContext);
  }

private:
  std::vector<SFDagNode const*> _plain;
  std::vector<SFDagNode const*> _foreign;
};

std::vector<SFDagNode const*> NodesOf(SFDagNode const& iRoot) { return PostOrder(iRoot, SFReach::OperandsAndDerived); }

/// Calls `iAt(point, index)` for the points of some slices until one fails.
template <class At>
HRESULT ForEachPoint(SFGrid const& iGrid, unsigned int iBegin, unsigned int iEnd, At iAt)
{
  for (unsigned int k = iBegin; k < iEnd; ++k)
    for (unsigned int j = 0; j < iGrid.dims[1]; ++j)
      for (unsigned int i = 0; i < iGrid.dims[0]; ++i) {
        HRESULT const hr = iAt(iGrid.Point(i, j, k), iGrid.Index(i, j, k));
        if (Failed(hr))
          return hr;
      }
  return S_OK;
}

SFEvaluationContext GridContext(int iIndex, SFGrid const& iGrid)
{
  SFEvaluationContext context(iIndex);
  auto const [x, y, z] = iGrid.DomainSize();
  context.SetDomainSize(x, y, z);
  return context;
}

float Clamped(double iValue, double iDiagonal)
{
  double const value = std::isnan(iValue) ? iDiagonal : iValue;
  return static_cast<float>((value > 0.0 ? 1.0 : -1.0) * std::min(iDiagonal, std::abs(value)));
}

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

void AnnounceElapsed(std::string iSentence, std::clock_t iStart)
{
  std::string thousands;
  ToSFString(static_cast<double>((std::clock() - iStart) / 1000), thousands);
  Diagnostics::Sentence(iSentence + thousands);
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

std::unique_ptr<SFTapeRunner> SFGridRenderer::Compile(SFGrid const& iGrid,
                                                      std::vector<std::vector<SFDagNode const*>> const& iLists,
                                                      double iVoxelSize, unsigned int iWorkers)
{
  if (iGrid.dims[0] == 0 || iGrid.dims[1] == 0 || iGrid.dims[2] == 0)
    return nullptr;
  SFTapeCompiler compiler(iGrid.IsWithin(SFTapeCompiler::LargestCoordinate));
  for (auto const& list : iLists)
    if (!compiler.AddList(list, &list == &iLists.front() ? EFieldLimit : EGradientLimit))
      return nullptr;
  std::array<double, ELimitCount> const limits{CylinderLimit(iGrid.DomainSize(), iVoxelSize),
                                               CylinderLimit({0.0, 0.0, 0.0}, 0.0)};
  auto runner = std::make_unique<SFTapeRunner>(compiler.Finish(), iGrid, limits);
  runner->Prepare(iWorkers);
  return runner;
}

namespace {

/// Writes the first result of a tile that has been run to where it belongs in the grid's values.
void StoreTile(SFTapeRunner const& iRunner, SFTile const& iTile, SFTapeList const& iList, SFTapeScratch& ioScratch,
               SFStoreKernel iStore, double iDiagonal, std::vector<float>& ioValues)
{
  for (unsigned int k = 0; k < iTile.count[2]; ++k)
    for (unsigned int j = 0; j < iTile.count[1]; ++j) {
      double const* const row = iRunner.ResultRow(iList.results[0], iTile, j, k, ioScratch);
      std::size_t const index = iRunner.GetGrid().Index(iTile.begin[0], iTile.begin[1] + j, iTile.begin[2] + k);
      iStore(&ioValues[index], row, iTile.count[0], iDiagonal);
    }
}

} // namespace

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

HRESULT SFGridRenderer::RenderClamped(SFGrid const& iGrid, std::vector<float>& ioValues)
{
  std::clock_t const start = std::clock();
  LentTolerance const lent(_root, _tolerance);
  HRESULT hr = Prepare(iGrid, ioValues, EvaluatorReports::RenderNotReady);
  if (Failed(hr))
    return hr;

  unsigned int const workers = AnnounceWorkers();
  double const diagonal = iGrid.Diagonal();
  if (auto const runner = Compile(iGrid, {{&_root}}, iGrid.h, workers)) {
    SFTapeSweep sweep(*runner, 0, iGrid.dims[2]);
    SFStoreKernel const store = ActiveTapeKernels().storeClamped;
    RunSlabs(iGrid, workers, [&](unsigned int, unsigned int, unsigned int) {
      sweep.Work([&](SFTile const& iTile, SFTapeList const& iList, SFTapeScratch& ioScratch) {
        StoreTile(*runner, iTile, iList, ioScratch, store, diagonal, ioValues);
      });
      return S_OK;
    });
    AnnounceElapsed("Dag Evaluation Elapsed time : ", start);
    return S_OK;
  }
  auto const nodes = NodesOf(_root);
  OpenSlots(nodes, workers + 1);
  SlotReset const reset(nodes);

  hr = RunSlabs(iGrid, workers, [&](unsigned int iBegin, unsigned int iEnd, unsigned int iTask) {
    SFScalarEvaluation evaluation;
    SFEvaluationContext context = GridContext(static_cast<int>(iTask), iGrid);
    context.SetVoxelSize(iGrid.h);
    return ForEachPoint(iGrid, iBegin, iEnd, [&](ZULMathPoint const& iPoint, std::size_t iIndex) {
      reset.Reset(context);
      context.SetAtPosition(iPoint);
      HRESULT const code = evaluation.Compute(context, _root);
      if (Failed(code)) {
        EvaluatorReports::PointFailed(code);
        return code;
      }
      ioValues[iIndex] = Clamped(_root.GetContextInfos(context.GetIndex()).value, diagonal);
      return S_OK;
    });
  });
  if (hr != S_OK)
    return hr;
  AnnounceElapsed("Dag Evaluation Elapsed time : ", start);
  _root.ResetEvaluationCache();
  return S_OK;
}

HRESULT SFGridRenderer::RenderUnrolled(SFGrid const& iGrid, std::vector<float>& ioValues)
{
  std::clock_t const start = std::clock();
  LentTolerance const lent(_root, _tolerance);
  HRESULT hr = Prepare(iGrid, ioValues, EvaluatorReports::UnrolledNotReady);
  if (Failed(hr))
    return hr;

  unsigned int const workers = AnnounceWorkers();
  auto const nodes = NodesOf(_root);
  OpenSlots(nodes, workers + 1);
  SlotReset const reset(nodes);
  // The list of nodes from the root, left before right, one entry a path, is evaluated from its end. All but the
  // last entry of a node find it done, which leaves each node once, operands first, right before left.
  auto const list = PostOrder(_root, SFReach::OperandsRightFirst);

  hr = RunSlabs(iGrid, workers, [&](unsigned int iBegin, unsigned int iEnd, unsigned int iTask) {
    SFScalarEvaluation evaluation;
    SFEvaluationContext context = GridContext(static_cast<int>(iTask), iGrid);
    return ForEachPoint(iGrid, iBegin, iEnd, [&](ZULMathPoint const& iPoint, std::size_t iIndex) {
      reset.Reset(context);
      context.SetAtPosition(iPoint);
      for (SFDagNode const* const node : list) {
        HRESULT const code = evaluation.Compute(context, *node);
        if (Failed(code)) {
          EvaluatorReports::ListFailed(code);
          Diagnostics::FailedSentence("Error in SFDagEvaluator::Render, ComputeScalar(ctx, iNode)", code);
          return code;
        }
      }
      ioValues[iIndex] = static_cast<float>(_root.GetContextInfos(context.GetIndex()).value);
      return S_OK;
    });
  });
  if (hr != S_OK)
    return hr;
  AnnounceElapsed("Dag Evaluation Elapsed time : ", start);
  _root.ResetEvaluationCache();
  return S_OK;
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

  // The field and its derivatives share nodes, so each of the four graphs has a context of its own in each task.
  constexpr unsigned int graphs = 4;
  unsigned int const workers = AnnounceWorkers();
  std::vector<SFDagNode const*> const roots{&_root, iGradientNodes[0].get(), iGradientNodes[1].get(),
                                            iGradientNodes[2].get()};
  std::vector<SlotReset> resets;
  for (SFDagNode const* const root : roots) {
    root->ResetEvaluationCache();
    resets.emplace_back(NodesOf(*root));
  }
  OpenSlots(PostOrder(roots, SFReach::OperandsAndDerived), graphs * (workers + 1));

  hr = RunSlabs(iGrid, workers, [&](unsigned int iBegin, unsigned int iEnd, unsigned int iTask) {
    SFScalarEvaluation evaluation;
    std::vector<SFEvaluationContext> contexts;
    for (unsigned int g = 0; g < graphs; ++g)
      contexts.emplace_back(static_cast<int>(graphs * iTask + g));
    contexts[0] = GridContext(contexts[0].GetIndex(), iGrid);
    return ForEachPoint(iGrid, iBegin, iEnd, [&](ZULMathPoint const& iPoint, std::size_t iIndex) {
      double values[graphs];
      for (unsigned int g = 0; g < graphs; ++g) {
        resets[g].Reset(contexts[g]);
        contexts[g].SetAtPosition(iPoint);
        HRESULT const code = evaluation.Compute(contexts[g], *roots[g]);
        if (Failed(code)) {
          Diagnostics::FailedSentence(
              g == 0 ? "Error in SFDagEvaluator::Render, ComputeScalar(ctx, iNode)"
                     : "Error in SFDagEvaluator::Render, ComputeScalar(gradientCtxs[i], *gradientNodes[i])",
              code);
          return code;
        }
        values[g] = roots[g]->GetContextInfos(contexts[g].GetIndex()).value;
        if (g == 0)
          ioValues[iIndex] = static_cast<float>(values[0]);
      }
      ZULMathVector normal{values[1], values[2], values[3]};
      normal.Normalize();
      ioNormals[3 * iIndex] = static_cast<float>(normal.x);
      ioNormals[3 * iIndex + 1] = static_cast<float>(normal.y);
      ioNormals[3 * iIndex + 2] = static_cast<float>(normal.z);
      return S_OK;
    });
  });
  if (hr != S_OK)
    return hr;
  AnnounceElapsed("Dag Evaluation Elapsed time (without PolyBodyToSF) : ", start);
  for (SFDagNode const* const root : roots)
    root->ResetEvaluationCache();
  return S_OK;
}

} // namespace SF
