#include "Failure.h"
#include "Grid.h"
#include "Model.h"
#include "Report.h"
#include "SFCompiledField.h"
#include "SFInstructionSets.h"
#include "Verbs.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>

namespace SFHost {
namespace {

constexpr double HalfBand = 3.0; // voxels
constexpr std::size_t MostPoints = 1 << 18;

/// Nanoseconds for each of some values: the least of several runs that take a moment together.
double NanosecondsPerValue(std::size_t iCount, std::function<HRESULT()> const& iRun)
{
  using Clock = std::chrono::steady_clock;
  constexpr auto moment = std::chrono::milliseconds(150);
  constexpr int least = 3;
  double best = HUGE_VAL;
  auto const begin = Clock::now();
  for (int run = 0; run < least || Clock::now() - begin < moment; ++run) {
    auto const start = Clock::now();
    if (Failed(iRun()))
      return NAN;
    best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count());
  }
  return best / static_cast<double>(iCount);
}

/// The work that is timed: one grid, and points in it.
class Bench
{
public:
  Bench(CommonOptions const& iCommon, FieldModel const& iModel, SF::SFGridFrame const& iFrame)
    : _common(iCommon), _model(iModel), _frame(iFrame), _values(MakeValues(iCommon, iFrame))
  {
    std::size_t const step = std::max<std::size_t>(1, _values.size() / MostPoints);
    auto const [nx, ny, nz] = iFrame.dims;
    for (std::size_t index = 0; index < _values.size(); index += step) {
      std::array<std::size_t, 3> const at{index % nx, index / nx % ny, index / nx / ny};
      for (std::size_t axis = 0; axis < 3; ++axis)
        _points[axis].push_back(iFrame.origin[axis] + static_cast<double>(at[axis]) * iFrame.voxel);
    }
  }

  double Grid(unsigned int iThreads, double iBand)
  {
    auto const field = Compile(iThreads, iBand);
    return NanosecondsPerValue(_values.size(), [&] {
      return field->RenderSlices(_frame.dims.data(), 0, _frame.dims[2], _values, _frame.voxel, _frame.origin.data());
    });
  }

  double Points(unsigned int iThreads, bool iWithGradients)
  {
    auto const field = Compile(iThreads, HUGE_VAL);
    auto const& [x, y, z] = _points;
    std::vector<double> values(x.size());
    std::vector<double> gradients(iWithGradients ? 3 * x.size() : 0);
    return NanosecondsPerValue(x.size(), [&, &x = x, &y = y, &z = z] {
      return iWithGradients
                 ? field->EvaluateGradient(x.size(), x.data(), y.data(), z.data(), values.data(), gradients.data())
                 : field->Evaluate(x.size(), x.data(), y.data(), z.data(), values.data());
    });
  }

private:
  std::shared_ptr<SF::SFCompiledField> Compile(unsigned int iThreads, double iBand) const
  {
    SF::SFCompiledFieldOptions options = _common.ForTools();
    options.threads = iThreads;
    options.band = iBand;
    return Named(_model.name, [&] { return _model.field.Compile(options); });
  }

  CommonOptions const& _common;
  FieldModel const& _model;
  SF::SFGridFrame _frame;
  std::vector<float> _values;
  std::array<std::vector<double>, 3> _points;
};

void AddRow(Report& ioReport, std::string const& iKey, std::string const& iLabel,
            std::function<double(unsigned int)> const& iTime, unsigned int iThreads)
{
  double const one = iTime(1);
  double const all = iTime(iThreads);
  char text[96];
  std::snprintf(text, sizeof text, "%.3g ns on one core, %.3g ns on %u", one, all, iThreads);
  ioReport.Add(iKey, iLabel, {{"one", JsonNumber(one)}, {"all", JsonNumber(all)}}, text);
}

void RunBench(CommonOptions const& iCommon, GridOptions const& iOptions)
{
  RequirePlain(iCommon.model);
  FieldModel const model = LoadField(iCommon.model);
  SF::SFGridFrame const frame = iOptions.FrameFor(model);
  unsigned int const threads =
      iCommon.threads != 0 ? iCommon.threads : std::max(1U, std::thread::hardware_concurrency());
  Bench bench(iCommon, model, frame);
  auto const [nx, ny, nz] = frame.dims;
  Report report;
  report.Add("dims", "points", Json{nx, ny, nz},
             std::to_string(nx) + " x " + std::to_string(ny) + " x " + std::to_string(nz));
  report.AddCount("threads", "threads", threads);
  AddRow(
      report, "grid", "a voxel of the grid", [&](unsigned int iThreads) { return bench.Grid(iThreads, HUGE_VAL); },
      threads);
  AddRow(
      report, "band", "with a band of 3 voxels",
      [&](unsigned int iThreads) { return bench.Grid(iThreads, HalfBand * frame.voxel); }, threads);
  AddRow(
      report, "points", "a point alone", [&](unsigned int iThreads) { return bench.Points(iThreads, false); }, threads);
  AddRow(
      report, "gradients", "with its gradient", [&](unsigned int iThreads) { return bench.Points(iThreads, true); },
      threads);
  report.Print(iCommon);
}

} // namespace

Action AddBench(Arguments& ioArguments)
{
  auto const options = std::make_shared<GridOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples("  sfdag bench part.sfm -n 256\n"
                       "  sfdag bench -x '- r + + q X q Y q Z f1' -n 32 -j 2 --json\n\n"
                       "Time for each value, the least of several runs, on one core and on all (-j): on a grid, where\n"
                       "what depends on one axis is computed once and far parts are left out, and at points alone.");
  return [options](CommonOptions const& iCommon) { RunBench(iCommon, *options); };
}

} // namespace SFHost
