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
  explicit ResourceToSF(SFNodeType iType);
  /// Shares operands, copies the id; the caches start empty.
  ResourceToSF(ResourceToSF const& iOther);
  ~ResourceToSF() override;

  using SFDagNode::operator=;
  ResourceToSF& operator=(ResourceToSF const&) = delete;

  /// Identifier and tag of the class.
  virtual _GUID GetSFResourceType() const;
  virtual char const* GetSFResourceTypeTag() const;
  /// The host object behind the node, or null. Not owned by the caller.
  virtual void* GetRawResource();
  /// Prepares the resource for evaluation inside a box. S_OK here.
  virtual HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                                 ZULGMSFDiscretizationAccuracyLevel iLevel);
  /// The field at a point; MissingValue here.
  virtual double GetScalar(ZULMathPoint const& iPoint) const;
  /// The gradient of the field at a point. Here three times MissingValue, and S_OK.
  virtual HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const;

  /// Coordinates of many points: point i is (iPoints[0][i], iPoints[1][i], iPoints[2][i]).
  using Points = std::array<double const*, 3>;
  /// Tells that the values of a call are not wanted any more; to be asked as often as a cancelled operation is to end.
  using StopRequest = std::function<bool()>;

  /// How many points a compiled field should gather for one call of GetScalars; a hint, 1 here.
  virtual std::size_t GetBatchSize() const;
  /// The field at `iCount` points, as GetScalar gives it. Here GetScalar is called for each, until `iMustStop` is true:
  /// the rest of the values may then be left as they are.
  virtual void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                          StopRequest const& iMustStop) const;
  /// The gradient at `iCount` points, its component along an axis in oGradients[axis][i]; MissingValue where GetGradient
  /// fails. Here GetGradient is called for each, as in GetScalars.
  virtual void GetGradients(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients,
                            StopRequest const& iMustStop) const;

  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS();

  std::string const& GetExpressionId() const override;
  /// The text that stands for the node in expressions, kept as given. E_INVALIDARG, after a line and with the
  /// id unchanged, when it holds no "#".
  HRESULT SetExpressionId(std::string iId);

private:
  std::string _expressionId;
};

} // namespace SF
