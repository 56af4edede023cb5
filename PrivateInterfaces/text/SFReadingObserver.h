#pragma once

#include "SFDagNode.h"
#include "text/SFToken.h"

#include <memory>
#include <string>

namespace SF {

/// Told what the reader of texts does, in the order in which it does it.
class SFReadingObserver
{
public:
  virtual ~SFReadingObserver() = default;

  /// A token is read, as an operand of the token whose node waits for it; null for the first one. At the end of the
  /// text, and at a number that cannot be read, this is one token for each operand that is missing.
  virtual void OnToken(SFToken const& iToken, SFToken const* iParent, SFOperand iOperand) = 0;
  /// A node with something to it beside its kind and its operands has been made for a token.
  virtual void OnNode(SFDagNode const& iNode, SFToken const& iToken) = 0;
  /// A node is dropped for one that equals it; both are nodes that OnNode has been told of.
  virtual void OnMerged(SFDagNode const& iDropped, SFDagNode const& iKept) = 0;
};

/// What SFDagFromExpression::BuildFromExpression gives without a resolver, but for its lines. Defined beside it.
std::shared_ptr<SFDagNode> ReadObserved(std::string const& iExpression, SFReadingObserver& ioObserver);

} // namespace SF
