#pragma once

#include "Arguments.h"
#include "Grid.h"
#include "Model.h"
#include "SFCompiledField.h"
#include "SFProfilerItf.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace SFHost {

/// A bar on the standard error stream that shows how far long work has got, where that is a terminal. It appears when
/// the work has lasted for half a second, and goes with the object.
class Progress : public SF::SFProfilerItf
{
public:
  explicit Progress(std::string iWhat);
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;
  ~Progress() override;

  /// The operations that follow are this part of the work.
  void Begin(double iFrom, double iTo);
  void OnProgress(char const* iOperation, double iFraction) override;

private:
  using Clock = std::chrono::steady_clock;

  std::string _what;
  bool _isShown; ///< on a terminal
  bool _isDrawn = false;
  double _from = 0.0;
  double _to = 1.0;
  Clock::time_point _next; ///< when the bar is drawn again
};

/// The options of work that is done by several threads.
struct WorkOptions
{
  void AddTo(Arguments& ioArguments);

  std::uint32_t threads = 0; ///< 0 for one for each hardware thread
};

std::uint64_t CountNans(std::span<double const> iValues);
/// One line on the standard error stream, where there are any.
void WarnOfNans(std::string const& iModelName, std::uint64_t iNans, std::uint64_t iPoints);

/// A model prepared for many points, with a bar for its operations, which throw a Failure where they cannot be done.
class Work
{
public:
  Work(FieldModel iModel, WorkOptions const& iOptions, std::string const& iWhat);

  std::string const& GetName() const { return _model.name; }

  std::vector<double> Evaluate(std::vector<Point> const& iPoints);
  /// The largest and the smallest principal curvature at points, {-inf, inf} where none has one.
  std::array<double, 2> ExtremeCurvatures(std::vector<Point> const& iPoints);
  /// Slices of a grid, from one to before another, as SFCompiledField::RenderSlices stores them. `iTo` is how far all the
  /// work has got afterwards.
  void RenderSlices(GridOptions const& iGrid, std::uint32_t iBegin, std::uint32_t iEnd, std::span<float> oValues,
                    double iTo = 1.0);
  /// How many points of slices that have been rendered have no value.
  std::uint64_t CountNans(GridOptions const& iGrid, std::uint32_t iBegin, std::uint32_t iEnd,
                          std::span<float const> iValues);

private:
  FieldModel _model;
  std::unique_ptr<Progress> _progress;
  std::shared_ptr<SF::SFCompiledField> _compiled;
  double _done = 0.0;
};

} // namespace SFHost
