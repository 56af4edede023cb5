#pragma once

#include "ResourceToSF.h"
#include "SFTransform.h"

#include <memory>

namespace SF {

/// A transform defined by two resources, of type DISCRETETRANFORM. The node carries them for the host: it is read,
/// written (once it has both) and drawn, and the evaluator rejects it.
class SF_EXPORT SFDiscreteTransformNode : public SFTransform
{
public:
  /// Shared with the host.
  using Resource = std::shared_ptr<ResourceToSF>;

  /// Neither resource.
  SFDiscreteTransformNode();
  /// Shares operands and resources.
  SFDiscreteTransformNode(SFDiscreteTransformNode const&) = default;
  ~SFDiscreteTransformNode() override;

  Resource const& GetFirstResource() const { return _first; }   ///< null while it is not set
  Resource const& GetSecondResource() const { return _second; } ///< null while it is not set
  /// Whether both are set.
  bool IsComplete() const { return _first != nullptr && _second != nullptr; }

  /// Sets the first resource that is missing. E_FAIL, after a line and with both as they were, when none is.
  HRESULT SetResource(Resource iResource);

private:
  Resource _first;
  Resource _second;
};

} // namespace SF
