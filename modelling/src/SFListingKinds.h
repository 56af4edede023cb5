#pragma once

#include "SFTypes.h"

#include <array>
#include <string_view>

namespace SF {

/// What a kind of line is called, the node that it makes, and how many operands follow. Those of a parameter or a constant
/// are numbers; a resource and a component of its gradient have the point as operands, or none at the point itself.
struct SFListingKind
{
  std::string_view name;
  SFNodeType type;
  int operands;
  int component = 0; ///< of a gradient
};

inline constexpr std::array SFListingKinds = std::to_array<SFListingKind>({
    {"const", SFNodeType::CONSTANT, 0},
    {"var-x", SFNodeType::X, 0},
    {"var-y", SFNodeType::Y, 0},
    {"var-z", SFNodeType::Z, 0},
    {"add", SFNodeType::PLUS, 2},
    {"sub", SFNodeType::MINUS, 2},
    {"mul", SFNodeType::MULT, 2},
    {"div", SFNodeType::DIV, 2},
    {"min", SFNodeType::MIN, 2},
    {"max", SFNodeType::MAX, 2},
    {"neg", SFNodeType::NOT, 1},
    {"abs", SFNodeType::ABS, 1},
    {"square", SFNodeType::SQUARE, 1},
    {"sqrt", SFNodeType::ROOT, 1},
    {"sin", SFNodeType::SIN, 1},
    {"cos", SFNodeType::COS, 1},
    {"tan", SFNodeType::TAN, 1},
    {"asin", SFNodeType::ASIN, 1},
    {"acos", SFNodeType::ACOS, 1},
    {"atan", SFNodeType::ATAN, 1},
    {"exp", SFNodeType::EXP, 1},
    {"ln", SFNodeType::LN, 1},
    // Beyond the kinds that public models are made of.
    {"pow", SFNodeType::POW, 2},
    {"sign", SFNodeType::SIGN, 1},
    {"without", SFNodeType::WITHOUT, 2},
    {"symdiff", SFNodeType::SYMDIFF, 2},
    {"param", SFNodeType::PARAMETER, 0},
    {"resource", SFNodeType::RESOLVEDREF, 3},
    {"gradient-x", SFNodeType::POLYGRADIENT, 3, 0},
    {"gradient-y", SFNodeType::POLYGRADIENT, 3, 1},
    {"gradient-z", SFNodeType::POLYGRADIENT, 3, 2},
});

} // namespace SF
