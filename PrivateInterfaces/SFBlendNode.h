#pragma once

#include "SFCompose.h"

#include <array>

namespace SF {

/// A blend of two fields, of type BLEND and the second semantic level. It is read, written and drawn; the evaluator
/// rejects it.
class SF_EXPORT SFBlendNode : public SFCompose
{
public:
  static constexpr SFNodeType Kind = SFNodeType::BLEND; ///< of every node of the class

  /// Takes rank, type and operands (shared) of an already built binary node, such as SFOp(SFNodeType::BLEND, a, b).
  SFBlendNode(SFDagNode const& iBinaryNode, double iBlendParameter);
  ~SFBlendNode() override;

  /// The number, as given. SFField::FromNode takes it for the radius of a smooth union.
  double GetBlendParameter() const { return _blendParameter; }
  /// The same as an array.
  std::array<double, 1> GetParameters() const { return {_blendParameter}; }

private:
  double _blendParameter;
};

} // namespace SF
