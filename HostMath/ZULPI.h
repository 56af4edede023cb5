/// @file
/// The number of a circle.
#pragma once

/// The ratio of a circle's circumference to its diameter, rounded to the nearest double.
constexpr double ZULPI = 3.14159265358979323846;
