/// @file
/// How finely the host's geometry is discretised.
#pragma once

#include <cstdint>

/// How finely a resource is asked to discretise the host's geometry. What a level means is the resource's own
/// affair; the library only hands it on.
enum class ZULGMSFDiscretizationAccuracyLevel : std::int32_t
{
  ELow = 1,
  EMedium = 2,
  EHigh = 3
};
