#pragma once

#include "Model.h"

#include <string>
#include <vector>

namespace SFHost {

/// The canonical text of a graph that was made from a model. Throws a Failure that names the model when the graph
/// cannot be written at the model's level, holds something that has no text, or has a text beyond memory: a graph
/// stands for as many texts of a shared part as there are paths to it.
std::string CanonicalText(Model const& iModel, SF::SFDagNode const& iRoot);

/// Writes lines to the standard output.
void PrintLines(std::vector<std::string> const& iLines);

} // namespace SFHost
