#pragma once

#include "Support.h"

#include "SFResourceResolver.h"

namespace SFFuzz {

/// Resolves every reference in the way that the character after its "#" asks for:
///   n  null                                 t  throws HostError
///   v  a smooth field                       k  a field with kinks, ties, signed zeros
///   N  NaN                                  i  an infinity of either sign
///   s  throws at some points                m  a mesh without a mesh
///   f  its gradient fails                   q  its gradient throws
///   e  an explicit field without values     g  a gradient of no resource
///   G  a gradient along no axis
///   h  a field that holds the shared graph  o  one that holds an operator without operands
///   d  one that holds a deep chain          r  one that is never ready
///   c  one that opens its slots itself      O  one that claims another kind, once it is relabelled
/// Any other character: a field like v.
class OddResolver : public SF::SFResourceResolver
{
public:
  SF::ResourceToSF* Resolve(std::string const& iText) override;

  /// The graph that resources hold as an operand from now on; may be null.
  void SetShared(NodePtr iShared) { _shared = std::move(iShared); }

private:
  SF::ResourceToSF* Hold(NodePtr iOperand) const;

  NodePtr _shared;
  NodePtr _chain; ///< made when first asked for
};

/// Gives the resources "#O" of a graph the kind that the next character of their id says, values outside of the
/// enumeration included.
void Relabel(SF::SFDagNode& ioRoot);

} // namespace SFFuzz
