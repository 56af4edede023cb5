/// @file
/// The host's tolerances.
#pragma once

#include "ZULResultCodes.h"

#include <cmath>

/// The host's modelling tolerance. Its resolution is the length below which two values count as equal.
class ZULTolerance
{
public:
  /// In the host's length unit.
  static constexpr double DefaultResolution = 1e-6;

  ZULTolerance() = default;
  /// A resolution in the host's length unit; ZULToleranceError tells whether it is usable.
  explicit ZULTolerance(double iResolution) : _resolution(iResolution) {}

  double GetResolution() const { return _resolution; }                  ///< in the host's length unit
  void SetResolution(double iResolution) { _resolution = iResolution; } ///< is not checked

private:
  double _resolution = DefaultResolution;
};

/// The default of the process, with a resolution of 1e-6.
inline ZULTolerance const& ZULGetDefaultTolerance()
{
  static ZULTolerance const defaultTolerance;
  return defaultTolerance;
}

/// Tells what is wrong with a tolerance: E_INVALIDARG when it is missing, or when its resolution is negative or
/// not finite; otherwise S_OK.
inline HRESULT ZULToleranceError(ZULTolerance const* iTolerance)
{
  bool const usable =
      iTolerance != nullptr && std::isfinite(iTolerance->GetResolution()) && iTolerance->GetResolution() >= 0.0;
  return usable ? S_OK : E_INVALIDARG;
}
