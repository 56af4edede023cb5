#pragma once

#include "SFAffineImage.h"
#include "SFDagNode.h"
#include "ZULMathPoint.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace SF {

/// The inverse mapping of a transform node: from the coordinates that the node stands in to those that its operand is
/// drawn in.
struct SFMapping
{
  ZULMathPoint origin;
  SFAffineRows rows{};  ///< over the coordinates minus the origin
  double angular = 0.0; ///< the n of a cylindrical transform, whose rows give u, w and h; 0 for an affine one

  bool IsIdentity() const;
  SFField3 operator()(SFField3 const& iCoordinates) const;
  /// How many nodes the mapping makes, at most.
  std::size_t Size() const;
};

/// The nodes of a graph, operands first and left before right, each once. No recursion on the machine stack. Whatever
/// has no plain meaning is refused, as SFField::FromNode says.
class SFGraphReading
{
public:
  static constexpr std::uint32_t None = UINT32_MAX;

  struct Node
  {
    std::shared_ptr<SFDagNode> const* graph; ///< where the graph holds the node
    std::array<std::uint32_t, 2> operands{None, None};
    std::uint32_t mapping = None; ///< of a transform that is not the identity
  };

  /// The graph must outlive the object and stay as it is.
  explicit SFGraphReading(std::shared_ptr<SFDagNode> const& iRoot);

  std::vector<Node> const& Nodes() const { return _nodes; }
  /// The mappings of the transforms, equal ones once.
  std::vector<SFMapping> const& Mappings() const { return _mappings; }

private:
  struct Visit;
  std::uint32_t Leave(Visit const& iVisit);
  std::uint32_t NumberOf(SFMapping const& iMapping);

  std::vector<Node> _nodes;
  std::vector<SFMapping> _mappings;
  std::unordered_map<std::string, std::uint32_t> _mappingNumbers; ///< by the bits of their numbers
  std::unordered_map<SFDagNode const*, std::uint32_t> _numbers;
};

} // namespace SF
