// The elementary functions, included once for each width of lanes inside a namespace of its own. SF_LANES is the number
// of doubles that a lane type holds, SF_LANES_FUNCTION what stands before each function: the attribute that selects the
// instruction set, and `inline`. Nothing here calls the standard library, and nothing branches on a value, so that it may
// stand inside a target region.
//
// Each function is within 1 unit in the last place of the exact value; docs/DESIGN.md gives what was measured.

#include "operators/elementary/SFLanes.inl"

#include "operators/elementary/SFExponential.inl"
#include "operators/elementary/SFInverseTrigonometric.inl"
#include "operators/elementary/SFPower.inl"
#include "operators/elementary/SFTrigonometric.inl"
