#pragma once

#include "SFDagNode.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace SF {

/// The nodes that a build has met, each structure once.
///
/// Two nodes merge when SFDagNode's hash and equality call them the same. Operands are canonical by the time
/// their parent is asked for, so they are compared by address; and because the exclusive-or of neighbouring
/// addresses takes few values, the table spreads nodes by a hash of its own. Each node costs constant time.
class SFExistingNodes
{
public:
  /// Replaces `ioNode` by the equal node met before, or takes it as the one to keep.
  HRESULT DeDuplicate(std::shared_ptr<SFDagNode>& ioNode);

private:
  struct Entry
  {
    std::size_t hash = 0;
    std::shared_ptr<SFDagNode> node;
  };

  void Grow();
  std::size_t Locate(SFDagNode const& iNode, std::size_t iHash) const;

  std::vector<Entry> _entries;
  std::size_t _count = 0;
};

} // namespace SF
