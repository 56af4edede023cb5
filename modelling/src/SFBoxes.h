#pragma once

#include "ZULMathBox.h"
#include "ZULMathTransformation.h"

#include <array>

namespace SF::Boxes {

/// The coordinates of a box by axis: its lower and upper ends.
using Ends = std::array<std::array<double, 2>, 3>;
Ends EndsOf(ZULMathBox const& iBox);
ZULMathBox BoxOf(Ends const& iEnds);

/// The smallest box around two boxes.
ZULMathBox Hull(ZULMathBox const& iA, ZULMathBox const& iB);
/// The common part of two boxes; a point of the one that is nearest to the other where they do not meet.
ZULMathBox Common(ZULMathBox const& iA, ZULMathBox const& iB);
/// A box grown by a distance on all sides, rounded outwards.
ZULMathBox Grown(ZULMathBox const& iBox, double iBy);
/// A box around the image of a box, rounded outwards.
ZULMathBox Moved(ZULMathBox const& iBox, ZULMathTransformation const& iTransformation);

} // namespace SF::Boxes
