#pragma once

#include <cstddef>
#include <cstdint>

/// Checks the properties of one target on some bytes; a violated one is printed and ends the program. Each target
/// defines it in a file of its own. libFuzzer calls it (Fuzzer.cpp), and so does the program that replays kept inputs
/// without libFuzzer (Replay.cpp). Returns 0.
int TestOneInput(std::uint8_t const* iData, std::size_t iSize);
