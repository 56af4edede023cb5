#include "SFDagDifferentialOperator.h"
#include "SFDagEvaluator.h"
#include "ZULMath3x3Matrix.h"
#include "calculus/SFNumericDerivative.h"
#include "graph/SFSlotReset.h"
#include "tape/SFGrid.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <optional>
#include <string>

namespace SF {
namespace {

using NodePtr = std::shared_ptr<SFDagNode>;
constexpr std::array Coordinates{SFNodeType::X, SFNodeType::Y, SFNodeType::Z};

struct Extremes
{
  double maximum = -DBL_MAX;
  double minimum = DBL_MAX;

  /// NaN changes nothing.
  void Include(double iLarger, double iSmaller)
  {
    maximum = std::max(maximum, iLarger);
    minimum = std::min(minimum, iSmaller);
  }
};

/// A graph that is evaluated at point after point.
class Probe
{
public:
  explicit Probe(NodePtr iRoot) : _root(std::move(iRoot)), _slots(*_root), _values(_root->GetNewEvaluationContext())
  {
    _slots.Reserve(_values);
  }

  HRESULT Value(ZULMathPoint const& iPoint, double& oValue)
  {
    MoveTo(_values, iPoint);
    HRESULT const hr = _evaluation.Compute(_values, *_root);
    oValue = _root->GetContextInfos(_values.GetIndex()).value;
    return hr;
  }

protected:
  void MoveTo(SFEvaluationContext& ioContext, ZULMathPoint const& iPoint) const
  {
    _slots.Reset(ioContext);
    ioContext.SetAtPosition(iPoint);
  }

  NodePtr _root;
  SFSlotReset _slots;
  SFEvaluationContext _values;

private:
  SFScalarEvaluation _evaluation;
};

/// A component of the gradient, with its derivatives.
class GradientProbe : public Probe
{
public:
  explicit GradientProbe(NodePtr iRoot) : Probe(std::move(iRoot)), _derivatives(_root->GetNewEvaluationContext())
  {
    _slots.Reserve(_derivatives);
  }

  /// Both contexts start afresh, as the derivatives that they hold may be along another variable.
  HRESULT Derivative(ZULMathPoint const& iPoint, SFNodeType iVariable, double& oDerivative)
  {
    MoveTo(_values, iPoint);
    MoveTo(_derivatives, iPoint);
    HRESULT const hr = _numericDerivative.Compute(_values, _derivatives, _root, iVariable);
    oDerivative = _root->GetContextInfos(_derivatives.GetIndex()).value;
    return hr;
  }

private:
  SFEvaluationContext _derivatives;
  SFNumericDerivative _numericDerivative;
};

HRESULT Report(char const* iCall, HRESULT iCode, std::optional<unsigned int> iIndex = {})
{
  std::string line("Error in SFDagEvaluator::ComputeGaussianCurvature, ");
  line.append(iCall).append(" failed with hr: ").append(std::to_string(iCode));
  if (iIndex)
    line.append(" at i = ").append(std::to_string(*iIndex));
  Diagnostics::Sentence(line);
  return iCode;
}

ZULMathVector Column(std::array<double, 9> const& iRows, std::size_t iColumn)
{
  return {iRows[iColumn], iRows[3 + iColumn], iRows[6 + iColumn]};
}

/// Principal curvatures of the level set through a point from gradient and Hessian: Gaussian and mean curvature of
/// implicit surfaces (Ron Goldman, Curvature formulas for implicit curves and surfaces, 2005).
void IncludeCurvatures(ZULMathVector const& iGradient, std::array<double, 9> const& iHessian, Extremes& ioExtremes)
{
  ZULMath3x3Matrix hessian;
  hessian.SetCoef(iHessian.data());
  ZULMathVector const c0 = Column(iHessian, 0);
  ZULMathVector const c1 = Column(iHessian, 1);
  ZULMathVector const c2 = Column(iHessian, 2);
  ZULMath3x3Matrix adjugate;
  adjugate.SetMatrix(Cross(c1, c2), Cross(c2, c0), Cross(c0, c1));

  double const square = Dot(iGradient, iGradient);
  double const gaussian = Dot(iGradient, adjugate * iGradient) / (square * square);
  double const mean =
      (Dot(iGradient, hessian * iGradient) - hessian.Trace() * square) / (2.0 * std::sqrt(square) * square);
  double const discriminant = mean * mean - gaussian;
  if (discriminant >= 0.0)
    ioExtremes.Include(mean + std::sqrt(discriminant), mean - std::sqrt(discriminant));
}

/// A field with the three components of its gradient.
class CurvatureProbe
{
public:
  CurvatureProbe(NodePtr const& iField, std::array<NodePtr, 3> const& iGradient)
    : _field(iField), _gradient{GradientProbe(iGradient[0]), GradientProbe(iGradient[1]), GradientProbe(iGradient[2])}
  {
  }

  /// Includes the curvatures at a point that is within the band of the zero set.
  HRESULT At(ZULMathPoint const& iPoint, double iBand, Extremes& ioExtremes)
  {
    double value = 0.0;
    HRESULT hr = _field.Value(iPoint, value);
    if (Failed(hr))
      return Report("ComputeScalar(iZeroOrderCtx, iFunctionNode)", hr);
    if (std::abs(value) > iBand)
      return S_OK;
    std::array<double, 3> gradient{};
    for (unsigned int i = 0; i < 3; ++i) {
      hr = _gradient[i].Value(iPoint, gradient[i]);
      if (Failed(hr))
        return Report("ComputeScalar(iZeroOrderCtx[i], *gradient[i])", hr, i);
    }
    std::array<double, 9> hessian{};
    for (unsigned int i = 0; i < 9; ++i) {
      hr = _gradient[i / 3].Derivative(iPoint, Coordinates[i % 3], hessian[i]);
      if (Failed(hr))
        return Report("ComputeFirstOrderDerivative(gradient[i / 3], variable[i % 3], iZeroOrderCtx[i / 3], "
                      "iFirstOrderCtx[i / 3])",
                      hr, i);
    }
    IncludeCurvatures({gradient[0], gradient[1], gradient[2]}, hessian, ioExtremes);
    return S_OK;
  }

private:
  Probe _field;
  std::array<GradientProbe, 3> _gradient;
};

HRESULT BuildGradient(NodePtr const& iField, ZULTolerance const& iTolerance, SFSWContext const& iContext,
                      std::array<NodePtr, 3>& oGradient)
{
  for (std::size_t i = 0; i < 3; ++i)
    oGradient[i] = SFDagDifferentialOperator::BuildGradientTree(iField, Coordinates[i], iTolerance);
  for (NodePtr const& component : oGradient)
    if (component == nullptr)
      return E_FAIL;
  for (NodePtr const& component : oGradient) {
    HRESULT const hr = component->GetReady(iContext);
    if (Failed(hr))
      return hr;
  }
  return S_OK;
}

} // namespace

HRESULT SFDagEvaluator::ComputeMaxAndMinCurvature(double& oMaxCurvature, double& oMinCurvature, unsigned int* iDims,
                                                  double const* iOrigin, double iVoxelSize,
                                                  std::shared_ptr<SFDagNode> iNode,
                                                  ZULTolerance const& iTolerance) const
{
  SFGrid const grid(iDims, iVoxelSize, iOrigin);
  if (!grid.valid) {
    Diagnostics::NotSatisfied("ComputeMaxAndMinCurvature", "iDims != nullptr");
    return E_INVALIDARG;
  }
  std::array<NodePtr, 3> gradient;
  HRESULT hr = BuildGradient(iNode, iTolerance, GetContext(), gradient);
  if (Failed(hr))
    return hr;

  CurvatureProbe probe(iNode, gradient);
  Extremes extremes;
  for (unsigned int k = 0; k < grid.dims[2]; ++k)
    for (unsigned int j = 0; j < grid.dims[1]; ++j)
      for (unsigned int i = 0; i < grid.dims[0]; ++i) {
        hr = probe.At(grid.Point(i, j, k), 0.8 * grid.h, extremes);
        if (Failed(hr))
          return hr;
      }
  oMaxCurvature = extremes.maximum;
  oMinCurvature = extremes.minimum;
  return S_OK;
}

} // namespace SF
