#pragma once

#include "SFDagNode.h"
#include "SFExport.h"
#include "ZULMathPoint.h"
#include "ZULTolerance.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace SF {

/// Symbolic derivatives of fields, their simplification, and the smoothing of sampled gradient fields.
///
/// Sharing: a derivative holds the operand nodes of the field that it came from, not copies of them, and
/// simplification rewrites operands in place. Whoever simplifies a derivative therefore also rewrites the field,
/// and every other graph that holds one of its nodes. A host that wants its field untouched differentiates a
/// copy (SFDagCloner).
///
/// Depth: no operation recurses on the machine stack over the depth of a graph.
///
/// Threads: differentiation writes nothing but the inverses that affine transforms keep, under their own locks.
/// Simplification, and with it BuildGradientTree, writes into the nodes that it visits without a lock: no other
/// thread may evaluate or simplify a graph that shares nodes with the one given.
class SF_EXPORT SFDagDifferentialOperator
{
public:
  // ---- differentiation ----

  /// The derivative of a field with respect to X, Y or Z, not simplified. Any other variable differs from every
  /// coordinate, so that all of them count as constants.
  ///
  /// The rules are those of the textbooks but for one: the derivative built for MIN(u, v) has the value du - dv
  /// where u < v and 0 where u > v. Write MIN as NOT(MAX(NOT, NOT)) first where the true derivative is needed. SYMDIFF
  /// goes through MIN. At u = v the rules of MIN and MAX, and at u = 0 that of ABS, take SIGN(0) = -1.
  ///
  /// The derivative of an affine transform carries the inverse of the transform that it came from, so that it is
  /// evaluated at the point mapped by that transform, where evaluation maps by the inverse: it is the derivative of
  /// the field where the transform is its own inverse, or where both points have the same derivatives. Where there is
  /// no inverse, a line says so and the identity takes its place. The derivative of a cylindrical transform carries
  /// the same cylinder; what the evaluator subtracts near the axis is not differentiated. An OFFSET node is
  /// differentiated through its derived graph, so it must be ready.
  ///
  /// Each path to a shared node gets a derivative of its own, with nodes of its own. Only after the first
  /// `MaxSeparateDerivatives` of them is the derivative of each node of the field built once and shared, since
  /// the paths of a graph may be beyond any memory: MIN and MAX alone double theirs at every level.
  ///
  /// Null, after a line, for a null node and for one that has no derivative: END, UNRESOLVEDREF, RESOLVEDREF,
  /// POLYGRADIENT, BLEND, DISCRETETRANFORM, GCGUIDEDTRANSFORM. Below the root such a node leaves an empty operand
  /// in the derivative.
  static std::shared_ptr<SFDagNode> DifferentiateFunctionTree(std::shared_ptr<SFDagNode> iNode, SFNodeType iVariable);

  /// MULT(SIGN(u), du) for the operand u of an ABS node. The flag is not read.
  static std::shared_ptr<SFDagNode> DifferentiateABSFunction(SFDagNode const& iAbsNode, unsigned char iFlag,
                                                             SFNodeType iVariable);

  /// One component of the gradient of a field: its derivative, simplified, which rewrites the field in place.
  /// Null, after a line, for a variable other than X, Y and Z, and where DifferentiateFunctionTree gives null.
  static std::shared_ptr<SFDagNode> BuildGradientTree(std::shared_ptr<SFDagNode> iNode, SFNodeType iVariable,
                                                      ZULTolerance const& iTolerance);

  /// Paths of a field that get derivatives of their own.
  static constexpr std::size_t MaxSeparateDerivatives = std::size_t{1} << 18;

  // ---- simplification ----

  /// What simplification knows of a replacement.
  enum ScalarKind : unsigned int
  {
    EZero = 0,     ///< a constant that is zero within the tolerance
    EOne = 1,      ///< a constant that is one within the tolerance
    EConstant = 2, ///< any other constant, NaN included
    EGeneral = 3   ///< not known to be constant
  };

  /// EZero, EOne or EConstant. A value counts as zero, or as one, when it is nearer than the tolerance.
  static unsigned int GetScalarType(double iValue, double iTolerance);

  /// The value of an operator over constants (leaves whose GetConstant succeeds); a unary operator has no right
  /// operand. A division by zero has the value 0, after a line. S_FALSE, and `oValue` unchanged, for a kind that
  /// is no operator; E_FAIL, after a line, for a missing operand or one that is not a constant.
  static HRESULT EvaluateSimplification(double& oValue, SFNodeType iType, std::shared_ptr<SFDagNode> iLhs,
                                        std::shared_ptr<SFDagNode> iRhs);

  /// Folds operators over constants, drops zeros and ones, and writes 0 - x as NOT(x), in one pass from the
  /// leaves up that rewrites operands in place. Null when the node itself is to be kept, its operands rewritten
  /// or not; otherwise what replaces it, with its kind in `ioKind`, which is not written for a kept node.
  ///
  /// MIN, MAX, SYMDIFF, WITHOUT, SIGN, every transform but the affine one, BLEND and OFFSET are kept with all
  /// that is below them. A shared node is simplified again along every path that reaches it, with the operands
  /// that the visit before has left.
  ///
  /// Not every rule is an identity: DIV(1, x) becomes x where x was itself rewritten; DIV(0, x) is kept there;
  /// POW(x, 0) is 1 but counts as a zero where x was kept; an affine transform of a constant becomes 0; numbers
  /// within the tolerance of 0 or 1 are taken for them.
  static std::shared_ptr<SFDagNode> SimplifyTree(std::shared_ptr<SFDagNode> iNode, unsigned int& ioKind,
                                                 double iTolerance);

  /// As above, with the tolerance's resolution. Callers keep their node when the result is null.
  static std::shared_ptr<SFDagNode> SimplifyTree(std::shared_ptr<SFDagNode> iNode, ZULTolerance const& iTolerance);

  // ---- smoothing of sampled gradients ----

  /// The bump exp(1 / (t - 1)) `iScale` / r^3 with t = |p|^2 / r^2, for a point of three coordinates; 0 unless
  /// t < 1. Smooth everywhere.
  ///
  /// @param iPoint three coordinates.
  /// @param iRadius r, in the unit of the coordinates.
  /// @param iScale a factor.
  static double BumpFunction(double const* iPoint, double iRadius, double iScale);

  /// Draws points that are distributed like the bump function. Every call draws others. The scale does not matter to
  /// the distribution.
  ///
  /// S_OK; E_INVALIDARG, after a line and with `oSamples` unchanged, for a radius or scale of which the bump has no
  /// finite peak above zero in magnitude: no point would ever be accepted.
  ///
  /// @param[out] oSamples 3 `iCount` coordinates: x, y, z of each point.
  /// @param iRadius, iScale as in BumpFunction.
  /// @param iCount how many points.
  static HRESULT RejectionSamplingFromBumpFunction(std::vector<double>& oSamples, double iRadius, double iScale,
                                                   unsigned int iCount);

  /// Smooths a gradient field sampled on a grid where the values sampled with it are `iThreshold` or more. There, each
  /// gradient becomes the mean of those of the voxels that hold the points at up to `SmoothingPoints` offsets,
  /// drawn like a bump function of radius 8/9 `iThreshold`; where no offset leads into the grid it stays. Results
  /// differ from call to call, as the offsets do. Floats behind those of the last voxel become 0. Runs on all threads
  /// of the machine; how many there are changes no bit.
  ///
  /// S_OK; E_INVALIDARG, after a line and with the gradients unchanged, for missing dimensions, for fewer values or
  /// gradients than voxels, and for a threshold that RejectionSamplingFromBumpFunction refuses.
  ///
  /// @param[in,out] ioGradients x, y, z of voxel (i, j, k) at [3 ((k ny + j) nx + i)] and on: 3 nx ny nz floats.
  /// @param iDims three numbers of voxels: nx, ny, nz.
  /// @param iThreshold in the unit of the values, and of length.
  /// @param iVoxelSize the distance between voxels, in the host's length unit.
  /// @param iOrigin the place of voxel (0, 0, 0).
  /// @param iValues nx ny nz values, x fastest.
  static HRESULT SmoothGradientField(std::vector<float>& ioGradients, unsigned int const* iDims, double iThreshold,
                                     double iVoxelSize, ZULMathPoint const& iOrigin, std::vector<float> const& iValues);

  /// As above with given offsets: x, y, z of each, in the order in which they are tried.
  static HRESULT SmoothGradientField(std::vector<float>& ioGradients, unsigned int const* iDims, double iThreshold,
                                     double iVoxelSize, ZULMathPoint const& iOrigin, std::vector<float> const& iValues,
                                     std::vector<double> const& iOffsets);

  static constexpr unsigned int SmoothingOffsets = 100000; ///< drawn for one field
  static constexpr unsigned int SmoothingPoints = 1000;    ///< used for one voxel
};

} // namespace SF
