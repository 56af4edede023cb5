#pragma once

#include "SFCompiledFieldOptions.h"
#include "SFExport.h"
#include "SFSWContext.h"
#include "ZULMathBox.h"
#include "ZULResultCodes.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>

namespace SF {

class SFDagNode;
class SFPointSource;

/// A field prepared for many evaluations: at any points, with derivatives, over boxes, and on parts of grids.
///
/// The values are those of SFDagEvaluator, bit for bit. The graph is read once, by Compile: later changes of its
/// structure, constants or parameters are not seen. The compiled field keeps the graph and its resources alive
/// but uses none of its caches.
///
/// Threads: operations on one compiled field may run at once. A resource of the host is called from several
/// threads then, and within one operation too; an exception that it throws ends the operation and reaches its
/// caller, once all threads of the operation have ended.
///
/// Codes: S_OK; E_INVALIDARG, after a line, for arguments that are stated to be invalid; E_ABORT when a cancel
/// flag was set in time. After E_ABORT or an exception the output is incomplete.
class SF_EXPORT SFCompiledField
{
public:
  /// Makes `iRoot` ready under `iContext`, which is not kept, and compiles it. As for a rendering, no other thread
  /// may evaluate or prepare the graph meanwhile. `oField` is unchanged on failure: E_INVALIDARG, after a line, for
  /// a null root and for options that are stated to be refused; the code of GetReady when that fails; E_FAIL for a graph that cannot be evaluated, after the
  /// lines that its evaluation at the origin writes.
  static HRESULT Compile(SFSWContext const& iContext, std::shared_ptr<SFDagNode> const& iRoot,
                         SFCompiledFieldOptions const& iOptions, std::shared_ptr<SFCompiledField>& oField);

  SFCompiledField(SFCompiledField const&) = delete;
  SFCompiledField& operator=(SFCompiledField const&) = delete;
  ~SFCompiledField();

  /// The values at `iCount` points: oValues[i] is what SFDagEvaluator::ComputeScalar gives at (iX[i], iY[i], iZ[i])
  /// under a context that carries that position and nothing else. Points may be infinite or NaN. Any count;
  /// E_INVALIDARG for a null array with points. `iCancel` is a cancel flag of this call beside that of the options;
  /// may be null.
  HRESULT Evaluate(std::size_t iCount, double const* iX, double const* iY, double const* iZ, double* oValues,
                   std::atomic<bool> const* iCancel = nullptr) const;
  /// The same, and so below, for points that lie otherwise than in arrays.
  HRESULT Evaluate(std::size_t iCount, SFPointSource const& iPoints, double* oValues,
                   std::atomic<bool> const* iCancel = nullptr) const;

  /// As Evaluate, with the partial derivatives of the field at point i in oGradients[3 i], [3 i + 1], [3 i + 2],
  /// along x, y and z. `oValues` may be null when the values are not wanted.
  ///
  /// Derivatives follow the rules of calculus, carried along with the values, and have their accuracy. At a kink
  /// they are those of one side: of the operand that the rule of the value takes (on ties the left one of MIN, MAX
  /// and WITHOUT, and that of the minimum for SYMDIFF); ABS has slope 1 above 0 and -1 elsewhere, SIGN slope 0.
  /// Powers with a constant exponent have their derivative for
  /// negative bases too. A root, an arc or a power of what does not move has the derivative 0, also at the end of its
  /// domain. A resource answers with its
  /// GetGradient, called once a point and place in the graph; where that fails, or gives MissingValue, the
  /// component counts as NaN. Where the field has no value or no derivative the components may be NaN, infinite or
  /// without meaning.
  HRESULT EvaluateGradient(std::size_t iCount, double const* iX, double const* iY, double const* iZ, double* oValues,
                           double* oGradients, std::atomic<bool> const* iCancel = nullptr) const;
  HRESULT EvaluateGradient(std::size_t iCount, SFPointSource const& iPoints, double* oValues, double* oGradients,
                           std::atomic<bool> const* iCancel = nullptr) const;

  /// As EvaluateGradient, with the second derivatives of the field at point i in oHessians[6 i] and on, in the order xx,
  /// xy, xz, yy, yz, zz. `oValues` and `oGradients` may be null. Kinks count as above, and what is chosen there stands
  /// still; the second derivatives of a resource are NaN.
  HRESULT EvaluateHessian(std::size_t iCount, double const* iX, double const* iY, double const* iZ, double* oValues,
                          double* oGradients, double* oHessians, std::atomic<bool> const* iCancel = nullptr) const;
  HRESULT EvaluateHessian(std::size_t iCount, SFPointSource const& iPoints, double* oValues, double* oGradients,
                          double* oHessians, std::atomic<bool> const* iCancel = nullptr) const;

  /// Curvatures of the level surface through each point, per unit of length, at oCurvatures[4 i] and on: the largest and the
  /// smallest principal curvature, their mean, their product. Negative where the solid is convex: a ball of radius r has
  /// -1/r, -1/r, -1/r, 1/r^2. NaN where the gradient is 0 or there is no second derivative. The principal curvatures are
  /// the mean plus and minus a root, and lose half of their digits where they are nearly equal. (R. Goldman, "Curvature
  /// formulas for implicit curves and surfaces", 2005.)
  HRESULT EvaluateCurvature(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                            double* oCurvatures, std::atomic<bool> const* iCancel = nullptr) const;
  HRESULT EvaluateCurvature(std::size_t iCount, SFPointSource const& iPoints, double* oCurvatures,
                            std::atomic<bool> const* iCancel = nullptr) const;

  /// Bounds of the values that Evaluate gives for points in a box, its surface included: no value other than NaN
  /// is below `oLow` or above `oHigh`. The bounds may be infinite, and wider than the true range, the more so the
  /// larger the box. S_OK when no value is NaN; S_FALSE when some may be. E_INVALIDARG for a box with a NaN, or with
  /// a low coordinate above its high one. (Interval arithmetic: Moore, Kearfott and Cloud, Introduction to Interval
  /// Analysis, 2009.)
  HRESULT EvaluateInterval(ZULMathBox const& iBox, double& oLow, double& oHigh) const;

  /// The field for points of a box, surface included: pruned once of what no point of the box can choose, it has the same
  /// bits there and costs what is left. Elsewhere its values have no meaning, and boxes and grids that it is given must lie
  /// in that box. Boxes within boxes are restricted step by step, as in an octree. Shares graph, resources and options with
  /// this one. Codes of EvaluateInterval.
  HRESULT Restrict(ZULMathBox const& iBox, std::shared_ptr<SFCompiledField>& oField) const;

  /// The slices iBegin <= k < iEnd of a grid of `iDims` = {nx, ny, nz} points at `iOrigin` + (i, j, k) `iVoxelSize`;
  /// a null origin is (0, 0, 0). Value (i, j, k) goes to ioValues[((k - iBegin) ny + j) nx + i] as
  /// SFDagEvaluator::Render, the one that takes a reference to the root, stores it: as a float, limited to the
  /// diagonal of the whole grid. All slices in a row are the whole grid, so that one which does not fit into memory
  /// can be streamed, or split between processes. E_INVALIDARG for missing dimensions, slices outside the grid, or
  /// fewer than nx ny (iEnd - iBegin) places. `iCancel` as in Evaluate.
  HRESULT RenderSlices(unsigned int const* iDims, unsigned int iBegin, unsigned int iEnd, std::span<float> ioValues,
                       double iVoxelSize, double const* iOrigin, std::atomic<bool> const* iCancel = nullptr) const;

private:
  struct Content;
  explicit SFCompiledField(std::unique_ptr<Content> iContent);

  std::unique_ptr<Content> _content;
};

} // namespace SF
