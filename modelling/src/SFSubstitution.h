#pragma once

#include "SFFieldNode.h"

#include <utility>

namespace SF {

/// A rewriting of a field from its leaves upwards. Each node is made anew only where something below it has changed.
class SFSubstitution
{
public:
  virtual ~SFSubstitution() = default;

  SFField operator()(SFField const& iField) const;

private:
  /// The replacement of a leaf; null to leave it as it is.
  virtual SFFieldNodePtr Leaf(SFFieldNode const& iLeaf) const = 0;
  /// The facts of a rewritten node, from those of the original; false when nothing is known.
  virtual bool MapFacts(SFFieldFacts const& iOld, SFFieldFacts& oNew) const;

  SFFieldNodePtr Rewritten(SFFieldNode const& iNode, SFFieldNode::Operands iOperands) const;
};

/// Three coordinates replaced by fields.
class SFRemapping : public SFSubstitution
{
public:
  explicit SFRemapping(SFField3 iCoordinates) : _coordinates(std::move(iCoordinates)) {}

private:
  SFFieldNodePtr Leaf(SFFieldNode const& iLeaf) const override;

  SFField3 _coordinates;
};

} // namespace SF
