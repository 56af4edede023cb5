#pragma once

#include "SFExport.h"
#include "SFTypes.h"

#include <utility>
#include <vector>

namespace SF {

/// The way from the root of an expression to one of its nodes: the operand taken at each step. Without steps it
/// leads to the root.
class SF_EXPORT SFExpressionPath
{
public:
  SFExpressionPath() = default;
  /// Steps from the root downwards.
  explicit SFExpressionPath(std::vector<SFOperand> iSteps) : _steps(std::move(iSteps)) {}

  /// From the root downwards.
  std::vector<SFOperand> const& GetSteps() const { return _steps; }
  /// One step further down.
  void Append(SFOperand iStep) { _steps.push_back(iStep); }

  bool operator==(SFExpressionPath const&) const = default;

private:
  std::vector<SFOperand> _steps;
};

} // namespace SF
