#pragma once

#include "Support.h"

#include "BRXResourceToSF.h"

#include <atomic>
#include <functional>

namespace SFTest {

/// A resource of a host: a field given as a function, with the gradient (1, 2, 3) or a failing one.
class HostResource : public SF::BRXResourceToSF
{
public:
  using Field = std::function<double(ZULMathPoint const&)>;

  explicit HostResource(
      Field iField = [](ZULMathPoint const& iPoint) { return iPoint.x; }, HRESULT iGradient = S_OK)
    : BRXResourceToSF(SF::SFNodeType::RESOLVEDREF), _field(std::move(iField)), _gradient(iGradient)
  {
  }
  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return S_OK;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    ++calls;
    return _field(iPoint);
  }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const&) const override
  {
    for (int i = 0; i < 3; ++i)
      oGradient[i] = i + 1;
    return _gradient;
  }

  mutable std::atomic<int> calls{0};

private:
  Field _field;
  HRESULT _gradient;
};

/// Gives a resource for each reference but for those that hold "none"; throws at "throw"; remembers what it was asked.
class HostResolver : public SF::SFResourceResolver
{
public:
  SF::ResourceToSF* Resolve(std::string const& iText) override
  {
    asked.push_back(iText);
    if (iText.find("throw") != std::string::npos)
      throw std::runtime_error(iText);
    return none || iText.find("none") != std::string::npos ? nullptr : new HostResource;
  }
  LineList asked;
  bool none = false;
};

} // namespace SFTest
