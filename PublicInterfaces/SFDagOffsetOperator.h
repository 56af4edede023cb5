#pragma once

#include "SFContextedObject.h"
#include "SFDagNode.h"
#include "SFExport.h"
#include "ZULTolerance.h"

#include <cstddef>
#include <memory>

namespace SF {

/// Builds fields whose zero level set lies at a distance from that of a given field: symbolically, without
/// evaluating anything.
///
/// The first-order step is f - d |grad f|, exact where f is a signed distance near its zero set. Orders 2 and 3
/// take one, two and three smaller steps and extrapolate (L. F. Richardson, "The approximate arithmetical solution
/// by finite differences of physical problems", 1911). A positive distance moves the zero set towards positive
/// values, which is outwards for fields that are negative inside. See docs/offsets.md for what to expect.
///
/// Results are as if they had been written as text and read back, which merges their equal parts and rounds their
/// numbers to 6 significant digits; no text is made, as that has a place for every path. Where text cannot say what the
/// graph holds (a host's resource, a number that is not finite, an OFFSET node that is two-sided or has a tolerance of
/// its own, a cylinder with a reference direction of its own, a parameter's name or a reference with characters that
/// end it early), or where reading would merge nodes that differ, the operation fails.
///
/// With transforms the result can be the offset of another field, and nothing says so: equal parts that the graph holds
/// apart, inside of a transform and outside of it, become one node, whose value is that of the visit that comes first.
/// See docs/offsets.md.
///
/// Time and memory are in proportion to the nodes of the field and of the results of the steps, however many paths
/// lead through them. A step that would start from more than `MaxNodes` nodes fails.
///
/// The field given is rewritten in place by the simplification of its derivatives
/// (SFDagDifferentialOperator::BuildGradientTree), and results may hold its nodes: a host that wants it untouched
/// hands over a copy. OFFSET nodes in the field must be ready, and not older than their distance and their tolerance
/// (SFDagOffset::IsOutdated): the operation fails. The tolerance tells simplification what counts as
/// 0 and 1.
///
/// Failures: null, after a line from the failing place outwards. A null field is one.
///
/// Threads: the operator has no state; calls on graphs that share no nodes may run at once.
class SF_EXPORT SFDagOffsetOperator : public SFContextedObject
{
public:
  /// The context, which stays the caller's, decides which kinds the texts of results may hold.
  explicit SFDagOffsetOperator(SFSWContext const& iContext) : SFContextedObject(iContext) {}
  SFDagOffsetOperator(SFDagOffsetOperator const&) = default;
  ~SFDagOffsetOperator() override;

  /// |grad f|. Writes a trace line on success.
  std::shared_ptr<SFDagNode> GradientNorm(std::shared_ptr<SFDagNode> iNode, ZULTolerance const& iTolerance) const;

  /// f - d |grad f|, not passed through text and over `iNode` itself. Where the norm has failed the result has an
  /// empty operand in its place.
  std::shared_ptr<SFDagNode> FirstOrderApproximationOffset(std::shared_ptr<SFDagNode> iNode, double iDistance,
                                                           ZULTolerance const& iTolerance) const;

  /// Order 1, 2 or 3; null, after a line, for any other.
  std::shared_ptr<SFDagNode> NthOrderApproximationOffset(std::shared_ptr<SFDagNode> iNode, double iDistance, int iOrder,
                                                         ZULTolerance const& iTolerance) const;

  /// The offset by a distance.
  std::shared_ptr<SFDagNode> BuildOneSidedOffsetTree(std::shared_ptr<SFDagNode> iNode, double iDistance,
                                                     ZULTolerance const& iTolerance, int iOrder) const;

  /// A shell of thickness `iDistance` about the zero level set: the product of the offsets by half the distance to
  /// either side, which is negative between them.
  std::shared_ptr<SFDagNode> BuildTwoSidedOffsetTree(std::shared_ptr<SFDagNode> iNode, double iDistance,
                                                     ZULTolerance const& iTolerance, int iOrder) const;

  /// The largest field that a step starts from.
  static constexpr std::size_t MaxNodes = std::size_t{1} << 21;

private:
  std::shared_ptr<SFDagNode> PassThroughText(std::shared_ptr<SFDagNode> iTree, void (*iReport)(HRESULT)) const;
};

} // namespace SF
