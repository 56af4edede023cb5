#pragma once

#include "SFDagNode.h"
#include "ZULGMSFDiscretizationAccuracyLevel.h"
#include "ZULMathBox.h"
#include "ZULMathPoint.h"
#include "ZULTolerance.h"

#include <array>
#include <cstddef>
#include <functional>
#include <limits>

namespace SF {

/// Base of the leaves whose values come from geometry that the host owns. A host derives from one of the family
/// (usually BRXResourceToSF) and answers GetScalar and GetGradient from its geometry; the library only calls.
/// One that answers many points faster together overrides GetBatchSize, GetScalars and GetGradients too.
///
/// Threads: these are called from several threads at once during a rendering. Exceptions that they throw reach the
/// caller of the rendering.
class SF_EXPORT ResourceToSF : public SFDagNode
{
public:
  /// What the family returns where it has no value.
  static constexpr double MissingValue = std::numeric_limits<double>::max();

  /// Node type END and an empty id.
  ResourceToSF();
  /// The reader sets the type of what a resolver gives: POLY or RESOLVEDREF.
  explicit ResourceToSF(SFNodeType iType);
  /// Shares operands, copies the id; the caches start empty.
  ResourceToSF(ResourceToSF const& iOther);
  ~ResourceToSF() override;

  using SFDagNode::operator=;
  ResourceToSF& operator=(ResourceToSF const&) = delete;

  /// Identifies the class; another one for each class of the family.
  virtual _GUID GetSFResourceType() const;
  /// The tag of the class, a literal: "#R" here.
  virtual char const* GetSFResourceTypeTag() const;
  /// The host object behind the node, or null. Not owned by the caller.
  virtual void* GetRawResource();
  /// Prepares the resource for evaluation inside a box. S_OK here. Called by
  /// SFDagEvaluator::UpdateResourceToDiscretizationAccuracyLevel alone, never by a rendering.
  ///
  /// @param iBox in the host's length unit.
  /// @param iTolerance handed on from the caller, as is
  /// @param iLevel how finely to discretise.
  virtual HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                                 ZULGMSFDiscretizationAccuracyLevel iLevel);
  /// The field at a point in the host's length unit, negative inside; MissingValue here.
  virtual double GetScalar(ZULMathPoint const& iPoint) const;
  /// The gradient of the field at a point. Here three times MissingValue, and S_OK.
  ///
  /// @param[out] oGradient the derivatives along x, y and z.
  /// @param iPoint in the host's length unit.
  virtual HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const;

  /// Coordinates of many points: point i is (iPoints[0][i], iPoints[1][i], iPoints[2][i]).
  using Points = std::array<double const*, 3>;
  /// Tells that the values of a call are not wanted any more; to be asked as often as a cancelled operation is to end.
  using StopRequest = std::function<bool()>;

  /// How many points a compiled field should gather for one call of GetScalars; a hint, 1 here.
  virtual std::size_t GetBatchSize() const;
  /// The field at many points, as GetScalar gives it. Here GetScalar is called for each, until `iMustStop` is true: the
  /// rest of the values may then be left as they are.
  ///
  /// @param iCount how many points.
  /// @param iPoints three arrays of `iCount` coordinates.
  /// @param[out] oValues `iCount` values, in the order of the points.
  /// @param iMustStop never empty.
  virtual void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                          StopRequest const& iMustStop) const;
  /// The gradient at many points; MissingValue where GetGradient fails. Here GetGradient is called for each, as in
  /// GetScalars.
  ///
  /// @param iCount how many points.
  /// @param iPoints three arrays of `iCount` coordinates.
  /// @param[out] oGradients three arrays of `iCount` derivatives: oGradients[axis][i] is that of point i.
  /// @param iMustStop as in GetScalars.
  virtual void GetGradients(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients,
                            StopRequest const& iMustStop) const;

  /// GetSFResourceType and GetSFResourceTypeTag of this class, without an object.
  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS(); ///< "#R"

  std::string const& GetExpressionId() const override;
  /// The text that stands for the node in expressions, kept as given. E_INVALIDARG, after a line and with the
  /// id unchanged, when it holds no "#".
  HRESULT SetExpressionId(std::string iId);

private:
  std::string _expressionId;
};

} // namespace SF
