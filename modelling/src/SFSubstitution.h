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

protected:
  struct StatedFacts
  {
    SFFieldFacts facts;
    std::shared_ptr<SFFactsRecipe const> recipe;
  };

private:
  /// The replacement of a leaf; null to leave it as it is.
  virtual SFFieldNodePtr Leaf(SFFieldNode const& iLeaf) const = 0;
  /// The facts of a rewritten node, from what has been stated of the original; absent when nothing is known.
  virtual std::optional<StatedFacts> MapFacts(StatedFacts const& iOld) const;

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
