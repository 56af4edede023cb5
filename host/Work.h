#pragma once

#include "Arguments.h"
#include "CommonOptions.h"
#include "Model.h"
#include "Progress.h"
#include "SFCompiledField.h"
#include "SFSampling.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace SFHost {

std::uint64_t CountNans(std::span<double const> iValues);
/// One line on the standard error stream, where there are any.
void WarnOfNans(std::string const& iModelName, std::uint64_t iNans, std::uint64_t iPoints);

/// A model prepared for many points, with a bar for its operations, which throw a Failure where they cannot be done.
class Work
{
public:
  Work(CommonOptions const& iCommon, FieldModel iModel, std::string const& iWhat);

  std::string const& GetName() const { return _model.name; }

  std::vector<double> Evaluate(std::vector<Point> const& iPoints);
  /// The largest and the smallest principal curvature at points, {-inf, inf} where none has one.
  std::array<double, 2> ExtremeCurvatures(std::vector<Point> const& iPoints);
  /// Slices of a grid, from one to before another, as SFCompiledField::RenderSlices stores them. `iTo` is how far all the
  /// work has got afterwards.
  void RenderSlices(SF::SFGridFrame const& iGrid, std::uint32_t iBegin, std::uint32_t iEnd, std::span<float> oValues,
                    double iTo = 1.0);
  /// How many points of slices that have been rendered have no value.
  std::uint64_t CountNans(SF::SFGridFrame const& iGrid, std::uint32_t iBegin, std::span<float const> iValues);

private:
  FieldModel _model;
  std::unique_ptr<Progress> _progress;
  std::shared_ptr<SF::SFCompiledField> _compiled;
  double _done = 0.0;
};

} // namespace SFHost
