#pragma once

#include "SFDagNode.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace SFFuzz {

using NodePtr = std::shared_ptr<SF::SFDagNode>;

/// Prints what is wrong and aborts.
[[noreturn]] void Violated(std::string const& iWhat);
inline void Require(bool iHolds, char const* iProperty)
{
  if (!iHolds)
    Violated(iProperty);
}
/// A text as it may be printed: bytes that are no visible characters as \xNN.
std::string Printable(std::string const& iText);

/// Sends the library's lines, of which there may be one for each level of a deep graph, into a counter. From the first
/// call on; gives how many have been written.
std::size_t LineCount();

SF::SFSWContext const& Level1();
SF::SFSWContext const& Level2();

/// What decides which properties a graph must have, and what may be done with it in the time that there is.
struct Facts
{
  std::size_t nodes = 0;
  double tokens = 0.0;            ///< of its text: one a node and path
  std::size_t offsets = 0;        ///< OFFSET nodes
  std::size_t transforms = 0;     ///< those with derivatives
  std::size_t branching = 0;      ///< how often the derivatives of the graph double: at choices, twice at transforms
  bool hasLevel2 = false;         ///< nodes of the second semantic level
  bool hasForgetful = false;      ///< nodes of whose parameters equality knows nothing: transforms, blends
  bool hasBlankInName = false;    ///< an id or a name with a blank, which is outside of the format
  bool hasMissingOperand = false; ///< END
};
Facts FactsOf(SF::SFDagNode const& iRoot);

} // namespace SFFuzz
