#pragma once

#include "SFDagNode.h"
#include "SFExport.h"

#include <memory>

namespace SF {

/// Copies graphs, for hosts that keep a field while they simplify or differentiate it, which rewrites it in place.
class SF_EXPORT SFDagCloner
{
public:
  /// A graph of new nodes, shared among each other as those of the original are, with the same types, ranks and
  /// parameters to the last bit; the derived graphs of functor nodes are copied too. Cache slots are not. Null
  /// for null.
  ///
  /// Resources behind nodes (meshes, wires, the resource of a gradient leaf) are shared with the original, and so is
  /// the tolerance of an OFFSET node. A node of a class that is not the library's own cannot be copied: both graphs
  /// hold it, with all that is below it, and must not be evaluated by two threads at once.
  ///
  /// Does not recurse over the depth of the graph. Another thread may evaluate the original meanwhile, but not
  /// make it ready.
  static std::shared_ptr<SFDagNode> Clone(std::shared_ptr<SFDagNode> const& iRoot);

private:
  class Copier;
};

} // namespace SF
