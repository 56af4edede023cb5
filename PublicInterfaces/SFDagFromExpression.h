#pragma once

#include "SFDagNode.h"
#include "SFExport.h"
#include "SFResourceResolver.h"

#include <memory>
#include <string>

namespace SF {

/// Reads expression text into graphs.
class SF_EXPORT SFDagFromExpression
{
public:
  /// The graph of the first expression of a text; what follows it is ignored. Equal sub-expressions become one
  /// shared node. References are offered to the resolver, which may be null; a reference that nobody resolves
  /// becomes a placeholder that keeps its text.
  ///
  /// Null, after a line from the failing place outwards, when the text is empty or a token cannot be built.
  /// Exceptions of the resolver reach the caller. Any sequence of bytes is safe to read; time and memory are
  /// linear in its length.
  static std::shared_ptr<SFDagNode> BuildFromExpression(std::string const& iExpression, SFResourceResolver* iResolver);
};

} // namespace SF
