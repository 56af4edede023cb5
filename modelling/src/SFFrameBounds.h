#pragma once

#include "SFField.h"

#include <optional>

namespace SF {

/// A box outside of which interval arithmetic over half-spaces shows a field to be positive; absent when there is none.
/// The half-spaces are those of the axes: a solid that is turned has none, or a large one.
std::optional<ZULMathBox> SearchBounds(SFField const& iField);

/// The same for solids that are turned, sheared or united of such. A part that depends on the point through three
/// independent directions alone is searched in these as coordinates; set operations combine the boxes of their parts.
/// Absent, too, for fields of very many nodes or parts.
std::optional<ZULMathBox> SearchBoundsInFrames(SFField const& iField);

} // namespace SF
