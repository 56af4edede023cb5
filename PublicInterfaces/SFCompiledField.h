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
  /// Makes `iRoot` ready under `iContext`, which is not kept, and compiles it. As for a rendering, no other thread may
  /// evaluate or prepare the graph meanwhile. `oField` is unchanged on failure: E_INVALIDARG, after a line, for a null
  /// root and for options that are stated to be refused; the code of GetReady when that fails; E_FAIL for a graph that
  /// cannot be evaluated, after the lines that its evaluation at the origin writes.
  static HRESULT Compile(SFSWContext const& iContext, std::shared_ptr<SFDagNode> const& iRoot,
                         SFCompiledFieldOptions const& iOptions, std::shared_ptr<SFCompiledField>& oField);

  SFCompiledField(SFCompiledField const&) = delete;
  SFCompiledField& operator=(SFCompiledField const&) = delete;
  ~SFCompiledField();

  /// The values at points: what SFDagEvaluator::ComputeScalar gives under a context that carries the position and
  /// nothing else. Points may be infinite or NaN. E_INVALIDARG for a null array with points.
  ///
  /// @param iCount how many points; may be 0.
  /// @param iX, iY, iZ `iCount` coordinates each, in the host's length unit.
  /// @param[out] oValues `iCount` values, in the order of the points.
  /// @param iCancel a cancel flag of this call beside that of the options; may be null.
  HRESULT Evaluate(std::size_t iCount, double const* iX, double const* iY, double const* iZ, double* oValues,
                   std::atomic<bool> const* iCancel = nullptr) const;
  /// The same for points that lie otherwise than in arrays.
  ///
  /// @param iCount how many points; may be 0.
  /// @param iPoints gives them, and is called by several threads.
  /// @param[out] oValues `iCount` values, in the order of the points.
  /// @param iCancel as in the first Evaluate.
  HRESULT Evaluate(std::size_t iCount, SFPointSource const& iPoints, double* oValues,
                   std::atomic<bool> const* iCancel = nullptr) const;

  /// As Evaluate, with the partial derivatives of the field along x, y and z.
  ///
  /// Derivatives follow the rules of calculus, carried along with the values, and have their accuracy. At a kink they
  /// are those of one side: of the operand that the rule of the value takes (on ties the left one of MIN, MAX and
  /// WITHOUT, and that of the minimum for SYMDIFF); ABS has slope 1 above 0 and -1 elsewhere, SIGN slope 0. Powers with
  /// a constant exponent have their derivative for negative bases too. A root, an arc or a power of what does not move
  /// has the derivative 0, also at the end of its domain. A resource answers with its GetGradient, called once a point
  /// and place in the graph; where that fails, or gives MissingValue, the component counts as NaN. Where the field has
  /// no value or no derivative the components may be NaN, infinite or without meaning.
  ///
  /// @param iCount how many points; may be 0.
  /// @param iX, iY, iZ `iCount` coordinates each.
  /// @param[out] oValues `iCount` values; null when they are not wanted.
  /// @param[out] oGradients 3 `iCount` derivatives: those of point i at [3 i], [3 i + 1], [3 i + 2].
  /// @param iCancel as in the first Evaluate.
  HRESULT EvaluateGradient(std::size_t iCount, double const* iX, double const* iY, double const* iZ, double* oValues,
                           double* oGradients, std::atomic<bool> const* iCancel = nullptr) const;
  /// The same for points that lie otherwise than in arrays.
  HRESULT EvaluateGradient(std::size_t iCount, SFPointSource const& iPoints, double* oValues, double* oGradients,
                           std::atomic<bool> const* iCancel = nullptr) const;

  /// As EvaluateGradient, with the second derivatives. Kinks count as above, and what is chosen there stands still; the
  /// second derivatives of a resource are NaN.
  ///
  /// @param iCount how many points; may be 0.
  /// @param iX, iY, iZ `iCount` coordinates each.
  /// @param[out] oValues `iCount` values; null when they are not wanted.
  /// @param[out] oGradients 3 `iCount` derivatives as in EvaluateGradient; null when they are not wanted.
  /// @param[out] oHessians 6 `iCount` second derivatives: those of point i from [6 i] on, in the order xx, xy, xz, yy,
  ///   yz, zz.
  /// @param iCancel as in the first Evaluate.
  HRESULT EvaluateHessian(std::size_t iCount, double const* iX, double const* iY, double const* iZ, double* oValues,
                          double* oGradients, double* oHessians, std::atomic<bool> const* iCancel = nullptr) const;
  /// The same for points that lie otherwise than in arrays.
  HRESULT EvaluateHessian(std::size_t iCount, SFPointSource const& iPoints, double* oValues, double* oGradients,
                          double* oHessians, std::atomic<bool> const* iCancel = nullptr) const;

  /// Curvatures of the level surface through each point, negative where the solid is convex: a ball of radius r has
  /// -1/r, -1/r, -1/r, 1/r^2. NaN where the gradient is 0 or there is no second derivative. The principal curvatures
  /// are the mean plus and minus a root, and lose half of their digits where they are nearly equal. (R. Goldman,
  /// "Curvature formulas for implicit curves and surfaces", 2005.)
  ///
  /// @param iCount how many points; may be 0.
  /// @param iX, iY, iZ `iCount` coordinates each.
  /// @param[out] oCurvatures 4 `iCount` numbers: from [4 i] on, for point i, the largest and the smallest principal
  ///   curvature and their mean, in the inverse of the length unit, and their product.
  /// @param iCancel as in the first Evaluate.
  HRESULT EvaluateCurvature(std::size_t iCount, double const* iX, double const* iY, double const* iZ,
                            double* oCurvatures, std::atomic<bool> const* iCancel = nullptr) const;
  /// The same for points that lie otherwise than in arrays.
  HRESULT EvaluateCurvature(std::size_t iCount, SFPointSource const& iPoints, double* oCurvatures,
                            std::atomic<bool> const* iCancel = nullptr) const;

  /// Bounds of the values that Evaluate gives for points in a box, its surface included: no value other than NaN
  /// is below `oLow` or above `oHigh`. The bounds may be infinite, and wider than the true range, the more so the
  /// larger the box. S_OK when no value is NaN; S_FALSE when some may be. E_INVALIDARG for a box with a NaN, or with
  /// a low coordinate above its high one. (Interval arithmetic: Moore, Kearfott and Cloud, Introduction to Interval
  /// Analysis, 2009.)
  HRESULT EvaluateInterval(ZULMathBox const& iBox, double& oLow, double& oHigh) const;

  /// The field for points of a box, surface included: pruned once of what no point of the box can choose, it has the
  /// same bits there and costs what is left. Elsewhere its values have no meaning, and boxes and grids that it is given
  /// must lie in that box. Boxes within boxes are restricted step by step, as in an octree. Shares graph, resources and
  /// options with this one. Codes of EvaluateInterval.
  HRESULT Restrict(ZULMathBox const& iBox, std::shared_ptr<SFCompiledField>& oField) const;

  /// Whether the values of a restricted field cannot jump in its box, other than at poles: no SIGN is left of it, and no
  /// resource. Where that is so, the gradient bounds how much they change. False says nothing.
  bool IsContinuous() const;

  /// The slices iBegin <= k < iEnd of a grid of nx ny nz points. Values are stored as SFDagEvaluator::Render does, the
  /// one that takes a reference to the root: as floats, limited to the diagonal of the whole grid. All slices in a row
  /// are the whole grid, so that one which does not fit into memory can be streamed, or split between processes.
  /// E_INVALIDARG for missing dimensions, slices outside the grid, or too few places.
  ///
  /// @param iDims three numbers of points: nx, ny, nz.
  /// @param iBegin, iEnd the first slice and the one after the last.
  /// @param[out] ioValues at least nx ny (iEnd - iBegin) places; value (i, j, k) goes to [((k - iBegin) ny + j) nx +
  ///   i].
  /// @param iVoxelSize the distance between points, in the host's length unit.
  /// @param iOrigin three coordinates of point (0, 0, 0); null stands for 0, 0, 0.
  /// @param iCancel as in the first Evaluate.
  HRESULT RenderSlices(unsigned int const* iDims, unsigned int iBegin, unsigned int iEnd, std::span<float> ioValues,
                       double iVoxelSize, double const* iOrigin, std::atomic<bool> const* iCancel = nullptr) const;

private:
  struct Content;
  explicit SFCompiledField(std::unique_ptr<Content> iContent);

  std::unique_ptr<Content> _content;
};

} // namespace SF
