#pragma once

#include "SFContextedObject.h"
#include "SFDagEvaluatorItf.h"
#include "SFEvaluationContext.h"
#include "ZULMathBox.h"

#include <vector>

namespace SF {

/// Evaluates fields at points and on voxel grids.
///
/// Values: plain IEEE 754 doubles. Division by zero and arguments outside a function's domain give infinities
/// and NaN, which are values and not errors. MIN is union, MAX intersection, NOT complement, WITHOUT difference
/// and SYMDIFF symmetric difference of fields that are negative inside.
///
/// Blends, guided and discrete transforms, unresolved references and END nodes cannot be evaluated; each failure
/// writes a line where it happens and one for every node above it.
///
/// Threads: an evaluator has no state and may be shared. Evaluations of one graph at once must use contexts
/// with different indices.
class SF_EXPORT SFDagEvaluator : public SFDagEvaluatorItf, public SFContextedObject
{
public:
  /// The context, which stays the caller's, is the one that graphs are made ready for.
  explicit SFDagEvaluator(SFSWContext const& iContext) : SFContextedObject(iContext) {}
  SFDagEvaluator(SFDagEvaluator const&) = default;
  ~SFDagEvaluator() override;

  /// E_NOTIMPL.
  HRESULT Render(unsigned int* iDims, double iVoxelSize, double const* iOrigin, ZULTolerance const& iTolerance,
                 std::shared_ptr<SFDagNode>& iNode, std::shared_ptr<ResourceToSF>& oResource,
                 ZULGMSFDiscretizationAccuracyLevel iLevel) const override;

  /// Samples a field on a grid of nx ny nz points. The graph is made ready first, and its caches are empty afterwards.
  ///
  /// A root of rank below 4999 goes to the renderer that clamps, a deeper one to RenderWithUnrolling. Slabs of z
  /// slices run on one task for each hardware thread; the first slab in order that fails decides the code, and
  /// what others have written stays. Exceptions of a host resource reach the caller once all tasks have ended.
  /// E_INVALIDARG for a null root, missing dimensions or too few values.
  ///
  /// @param iDims three numbers of points: nx, ny, nz.
  /// @param[in,out] ioValues at least nx ny nz floats, which are there already; value (i, j, k) goes to
  ///   [(k ny + j) nx + i].
  /// @param iVoxelSize the distance between points, in the host's length unit.
  /// @param iOrigin three coordinates of point (0, 0, 0); null stands for 0, 0, 0.
  /// @param iNode the root.
  /// @param iTolerance lent to an OFFSET root for the time of the call.
  /// @param iLevel is not read.
  virtual HRESULT Render(unsigned int* iDims, std::vector<float>& ioValues, double iVoxelSize, double const* iOrigin,
                         std::shared_ptr<SFDagNode>& iNode, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) const;

  /// The renderer that clamps: a value is limited to the length of the grid's diagonal in magnitude, NaN becomes
  /// that length, and 0 becomes -0.
  HRESULT Render(unsigned int* iDims, std::vector<float>& ioValues, double iVoxelSize, double const* iOrigin,
                 SFDagNode const& iNode, ZULTolerance const& iTolerance,
                 ZULGMSFDiscretizationAccuracyLevel iLevel) const;

  /// The renderer for deep graphs: evaluates the nodes one by one, operands first, each at the grid point itself
  /// (a transform above a node does not move it). Values are stored as they are.
  HRESULT RenderWithUnrolling(unsigned int* iDims, std::vector<float>& ioValues, double iVoxelSize,
                              double const* iOrigin, std::shared_ptr<SFDagNode>& iNode, ZULTolerance const& iTolerance,
                              ZULGMSFDiscretizationAccuracyLevel iLevel) const;

  /// Values as they are, and unit normals from the partial derivatives. A vanishing gradient stays zero. E_FAIL when
  /// there are not three gradient nodes.
  ///
  /// @param iDims, ioValues, iVoxelSize, iOrigin, iNode, iTolerance, iLevel as in the first Render.
  /// @param[in,out] ioNormals at least 3 nx ny nz floats, which are there already: x, y, z of point (i, j, k) at
  ///   [3 ((k ny + j) nx + i)] and on.
  /// @param iGradientNodes the derivatives along x, y and z.
  HRESULT Render(unsigned int* iDims, std::vector<float>& ioValues, std::vector<float>& ioNormals, double iVoxelSize,
                 double const* iOrigin, SFDagNode const& iNode,
                 std::vector<std::shared_ptr<SFDagNode>> const& iGradientNodes, ZULTolerance const& iTolerance,
                 ZULGMSFDiscretizationAccuracyLevel iLevel) const;

  /// E_NOTIMPL; use ComputeScalar.
  HRESULT EvaluateAt(SFDagNode const& iNode, double* iPoint, double& oValue) const;
  /// E_NOTIMPL; use SFCompiledField::Evaluate for many points.
  HRESULT Evaluate(SFDagNode const& iNode, double* iPoints, int iCount, double* oValues, unsigned long iStride) const;

  /// Computes the value of a node at the position of `ioCtx` into the node's slot for it. A slot that is done
  /// already stands, wherever the context has moved since: Reset the node between points. S_OK on success;
  /// E_INVALIDARG for a context with a negative index.
  ///
  /// A node that is reached both inside and outside a transform keeps the value of the visit that came first.
  HRESULT ComputeScalar(SFEvaluationContext& ioCtx, SFDagNode const& iNode) const;

  /// Evaluates one operand of a node and gives its value. E_INVALIDARG for an operand that is neither left nor
  /// right; any failure of the operand is E_FAIL.
  HRESULT ComputeAndSetScalar(SFEvaluationContext& ioCtx, SFDagNode const& iNode, SFOperand iOperand,
                              double& oValue) const;

  /// Evaluates a list of nodes from its end to its start, so that a list in which every node stands before its
  /// operands is evaluated one level at a time. E_FAIL for an empty list or one that holds a null.
  HRESULT ComputeScalar(SFEvaluationContext& ioCtx, std::vector<std::shared_ptr<SFDagNode>> iNodesToProcess) const;

  /// Computes the partial derivative of a graph along X, Y or Z at the position of the contexts by forward
  /// differentiation, node by node: values into the slots of `ioValueCtx`, derivatives into those of
  /// `ioDerivativeCtx`. The two must have different indices and the same position. A derivative that is done
  /// already stands, whatever the variable: Reset both contexts between points and between variables.
  ///
  /// The rules are those of the textbooks but for two: MINUS adds the derivatives of its operands, and ATAN
  /// divides by sqrt(a^2 + 1). SIGN counts as constant. At ties MIN and ABS take the lower side (that of the left
  /// operand, and -1), MAX the right operand. A POLY resource gives the component of its gradient. Transforms,
  /// blends, offsets and other resources have the derivative 0, after a line.
  ///
  /// S_OK on success; E_FAIL, after lines, for a null node and for an operand that is missing or whose value
  /// cannot be computed; E_INVALIDARG for a context with a negative index.
  HRESULT ComputeFirstOrderDerivative(std::shared_ptr<SFDagNode> iNode, SFNodeType iVariable,
                                      SFEvaluationContext& ioValueCtx, SFEvaluationContext& ioDerivativeCtx) const;

  /// As ComputeFirstOrderDerivative, and gives the derivative. Any failure is E_FAIL.
  HRESULT ComputeAndSetFirstOrderDerivative(std::shared_ptr<SFDagNode> iNode, SFEvaluationContext& ioValueCtx,
                                            SFEvaluationContext& ioDerivativeCtx, SFNodeType iVariable,
                                            double& oDerivative) const;

  /// The largest and the smallest principal curvature of the zero set of a field, in the inverse of the length unit,
  /// over the points of a grid (as in Render) whose values are within 0.8 `iVoxelSize` of zero. The curvature of a
  /// sphere of radius R that is negative inside is -1 / R. -DBL_MAX and DBL_MAX when no point counts; a point with
  /// undefined curvatures does not.
  ///
  /// The field must be ready. It is rewritten in place, as its gradient is built and simplified with the tolerance
  /// (see SFDagDifferentialOperator::BuildGradientTree), and no other thread may use it meanwhile. The Hessian comes
  /// from ComputeFirstOrderDerivative, so gradients that hold a MINUS or an ATAN follow the rules there.
  ///
  /// On failure the outputs are not written: E_FAIL, after lines, when there is no gradient; the code of the first
  /// evaluation that fails, after lines; E_INVALIDARG without dimensions.
  ///
  /// @param[out] oMaxCurvature, oMinCurvature in the inverse of the length unit.
  /// @param iDims, iOrigin, iVoxelSize the grid, as in the first Render.
  /// @param iNode the field; rewritten.
  /// @param iTolerance what simplification counts as 0 and 1.
  HRESULT ComputeMaxAndMinCurvature(double& oMaxCurvature, double& oMinCurvature, unsigned int* iDims,
                                    double const* iOrigin, double iVoxelSize, std::shared_ptr<SFDagNode> iNode,
                                    ZULTolerance const& iTolerance) const;

  /// Asks every resource of a graph (kinds POLY, UNRESOLVEDREF and RESOLVEDREF) to compute its values for a box,
  /// once each, right operands before left. The wires and resources of guided and discrete transforms are not
  /// operands and are not asked. A null node is an empty graph.
  ///
  /// E_NOTIMPL always, which tells nothing of the update: what the resources return is not looked at.
  HRESULT UpdateResourceToDiscretizationAccuracyLevel(std::shared_ptr<SFDagNode> iNode, ZULMathBox const& iBox,
                                                      ZULTolerance const& iTolerance,
                                                      ZULGMSFDiscretizationAccuracyLevel iLevel) const;
};

} // namespace SF
