#pragma once

#include "ResourceToSF.h"

namespace SF {

/// One component of the gradient of another resource.
class SF_EXPORT ResourceGradientToSF : public ResourceToSF
{
public:
  /// `iVariable` is X, Y or Z.
  ResourceGradientToSF(std::shared_ptr<ResourceToSF> iResource, SFNodeType iVariable);
  /// Shares the resource.
  ResourceGradientToSF(ResourceGradientToSF const& iOther);
  ~ResourceGradientToSF() override;

  _GUID GetSFResourceType() const override;
  char const* GetSFResourceTypeTag() const override; ///< "#RGrad"
  /// The component; MissingValue when the resource fails, and after a line when the variable is none of X, Y, Z.
  double GetScalar(ZULMathPoint const& iPoint) const override;
  /// Those of the resource.
  std::size_t GetBatchSize() const override;
  void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                  StopRequest const& iMustStop) const override;
  /// X, Y or Z, as given.
  virtual SFNodeType GetVariableType() const;
  /// The resource whose gradient it is; shared with it.
  std::shared_ptr<ResourceToSF> const& GetResource() const { return _resource; }

  /// GetSFResourceType and GetSFResourceTypeTag of this class, without an object.
  static _GUID GetSFResourceTypeS();
  static char const* GetSFResourceTypeTagS(); ///< "#RGrad"

private:
  SFNodeType _variable;
  std::shared_ptr<ResourceToSF> _resource;
};

} // namespace SF
