#!/usr/bin/env python3
"""Writes a model of X and Y, or of Z too, as a C++ loop: one statement for each different operation, nothing left out.

The loop is the rival of a renderer that leaves out what a tile does not need. The compiler may do with it what it
likes, such as moving what depends on Y alone out of the loop along X.
"""

import argparse
import pathlib

UNARY = {
    "q": "{0} * {0}",
    "r": "std::sqrt({0})",
    "a": "std::abs({0})",
    "s": "std::sin({0})",
    "c": "std::cos({0})",
    "e": "std::exp({0})",
    "l": "std::log({0})",
}
BINARY = {
    "+": "{0} + {1}",
    "-": "{0} - {1}",
    "*": "{0} * {1}",
    "/": "{0} / {1}",
    "U": "{1} < {0} ? {1} : {0}",
    "I": "{1} > {0} ? {1} : {0}",
    "\\": "-{1} > {0} ? -{1} : {0}",
}

HEAD = """// Written by make_straight_line.py from {source}.
#include "HandLoops.h"

#include <cmath>

namespace SFBench::HandLoops {{

void {name}(Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues)
{{
  double const width = (iGrid.dims[0] - 1.0) * iGrid.h;
  double const height = (iGrid.dims[1] - 1.0) * iGrid.h;
  double const depth = (iGrid.dims[2] - 1.0) * iGrid.h;
  double const diagonal = std::sqrt(width * width + height * height + depth * depth);
  unsigned long const rows = {rows};
  for (unsigned long row = iBegin * rows; row < iEnd * rows; ++row) {{
    [[maybe_unused]] double const z = iGrid.origin[2] + static_cast<double>(row / iGrid.dims[1]) * iGrid.h;
    double const y = iGrid.origin[1] + static_cast<double>(row % iGrid.dims[1]) * iGrid.h;
    for (unsigned i = 0; i < iGrid.dims[0]; ++i) {{
      double const x = iGrid.origin[0] + i * iGrid.h;
"""

TAIL = """      double const magnitude = std::abs({result}) < diagonal ? std::abs({result}) : diagonal;
      oValues[row * iGrid.dims[0] + i] = static_cast<float>(({result} > 0.0 ? 1.0 : -1.0) * magnitude);
    }}
  }}
}}

}} // namespace SFBench::HandLoops
"""


def statements(text):
    """The name of the result, and a statement for each different operation."""
    values, lines, stack = {}, [], []
    for token in reversed(text.split()):
        if token in ("X", "Y", "Z"):
            stack.append(token.lower())
            continue
        if token[0] == "f":
            stack.append(repr(float(token[1:])))
            continue
        pattern = UNARY.get(token) or BINARY[token]
        operands = [stack.pop() for _ in range(1 if token in UNARY else 2)]
        expression = pattern.format(*operands)
        if expression not in values:
            values[expression] = f"v{len(values)}"
            lines.append(f"      double const {values[expression]} = {expression};\n")
        stack.append(values[expression])
    (result,) = stack
    return result, lines


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("model", type=pathlib.Path)
    parser.add_argument("name", help="of the function")
    parser.add_argument("output", type=pathlib.Path)
    arguments = parser.parse_args()
    text = arguments.model.read_text(encoding="ascii").replace("$", " ")
    result, lines = statements(text)
    rows = "iGrid.dims[1]" if "Z" in text.split() else "1"  # in a slice; a flat grid is cut into rows
    head = HEAD.format(source=arguments.model.name, name=arguments.name, rows=rows)
    source = head + "".join(lines) + TAIL.format(result=result)
    arguments.output.write_text(source, encoding="ascii")


if __name__ == "__main__":
    main()
