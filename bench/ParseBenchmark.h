#pragma once

namespace SFBench {

/// Registers the benchmarks of reading expression text: kinds of text by their lengths in characters.
void RegisterParseBenchmarks();

} // namespace SFBench
