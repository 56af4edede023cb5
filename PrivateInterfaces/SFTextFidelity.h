#pragma once

#include "SFDagNode.h"

#include <cstddef>

namespace SF {

/// What becomes of a graph that is written as expression text and read back without a resolver. Numbers are
/// rounded to the digits of text; that does not count as a difference.

/// False when text cannot say what a node of the graph holds: a resource of the host or its gradient, a number
/// that is not finite, an OFFSET node that is two-sided or has a tolerance of its own, a cylinder with a reference
/// direction of its own. Also false when the text would have more than `iMaxTokens` tokens.
bool TextCanSay(SFDagNode const& iRoot, std::size_t iMaxTokens);

/// Whether a graph read back is the graph that was written: the same kinds with the same payloads on every path.
/// It is not where reading has merged nodes that differ, as it does with parameters of one name and with affine
/// transforms and blends over one operand, or where an id or a name holds a character that ends it early. The sign of
/// a zero does not count.
bool TextSays(SFDagNode const& iRead, SFDagNode const& iWritten);

} // namespace SF
