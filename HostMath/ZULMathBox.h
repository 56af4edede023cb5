/// @file
/// A box along the axes.
#pragma once

#include "ZULMathPoint.h"

/// An axis-aligned box, from its lowest to its highest corner.
struct ZULMathBox
{
  ZULMathPoint low;  ///< the smallest coordinates
  ZULMathPoint high; ///< the largest coordinates
};
