#pragma once

#include "SFDagNode.h"
#include "ZULGMSFDiscretizationAccuracyLevel.h"
#include "ZULMathBox.h"
#include "ZULMathPoint.h"
#include "ZULTolerance.h"

#include <limits>

namespace SF {

/// Base of the leaves whose values come from geometry that the host owns. A host derives from one of the family
/// (usually BRXResourceToSF) and answers GetScalar and GetGradient from its geometry; the library only calls.
///
/// Threads: GetScalar and GetGradient are called from several threads at once during a rendering. Exceptions
/// that they throw reach the caller of the rendering.
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
