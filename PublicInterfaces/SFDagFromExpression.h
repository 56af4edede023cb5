#pragma once

#include "SFDagNode.h"
#include "SFExport.h"
#include "SFResourceResolver.h"

#include <memory>
#include <string>

namespace SF {

/// Which sub-expressions of a text a reader takes for one another.
enum class SFNodeEquality
{
  /// As SFDagNode::operator== and SFDagNode::RawPtrHashFct say: of two parameters of one name, of two affine transforms
  /// or blends over the same operands, the second is taken for the first, whatever its numbers are.
  EStructural,
  /// Nodes that differ in any number, to the bit, or in any name or id stay different.
  EExact
};

/// Reads expression text into graphs.
class SF_EXPORT SFDagFromExpression
{
public:
  /// The graph of the first expression of a text; what follows it is ignored. Equal sub-expressions, in the structural
  /// sense, become one shared node. References are offered to the resolver, which may be null; a reference that nobody
  /// resolves becomes a placeholder that keeps its text.
  ///
  /// Null, after a line from the failing place outwards, when the text is empty or a token cannot be built.
  /// Exceptions of the resolver reach the caller. Any sequence of bytes is safe to read; time and memory are
  /// linear in its length.
  static std::shared_ptr<SFDagNode> BuildFromExpression(std::string const& iExpression, SFResourceResolver* iResolver);

  /// The same with a choice of what equal means. Under exact equality the text of a resource by number, as the resolver
  /// and the node get it, is all of it: "#", a blank and the number. The structural reading leaves the last digit out.
  static std::shared_ptr<SFDagNode> BuildFromExpression(std::string const& iExpression, SFResourceResolver* iResolver,
                                                        SFNodeEquality iEquality);
};

} // namespace SF
