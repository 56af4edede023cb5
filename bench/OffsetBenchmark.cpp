/// Measures what offsets cost as fields grow: nodes of the result, processor time and the peak of the resident memory.
/// Each measurement runs in a process of its own, as a peak never goes down again.

#include "Stopwatch.h"
#include "Workloads.h"

#include "SFDagFromExpression.h"
#include "SFDagOffsetOperator.h"
#include "SFOp.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using NodePtr = std::shared_ptr<SF::SFDagNode>;

// ---- fields ---------------------------------------------------------------------------------------------------

std::string Number(std::size_t iIndex, double iScale)
{
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "f%.5g ", 0.1 + iScale * static_cast<double>(iIndex));
  return text.data();
}

std::string Sphere(std::size_t iIndex)
{
  return "- r + + q - X " + Number(iIndex, 1.0) + "q - Y " + Number(iIndex, 0.7) + "q Z " + Number(iIndex, 0.001);
}

std::string Wave(std::size_t iIndex)
{
  std::string const k = Number(iIndex, 0.37);
  return "+ + * s * X " + k + "c * Y " + k + "* s * Y " + k + "c * Z " + k + "* s * Z " + k + "c * X " + k;
}

std::string Slope(std::size_t iIndex) { return std::string(iIndex % 2 == 0 ? "+ X " : "- Y ") + Number(iIndex, 0.3); }

std::string Balanced(std::string const& iOperator, std::string (*iPart)(std::size_t), std::size_t iFirst,
                     std::size_t iCount)
{
  if (iCount == 1)
    return iPart(iFirst);
  return iOperator + Balanced(iOperator, iPart, iFirst, iCount / 2) +
         Balanced(iOperator, iPart, iFirst + iCount / 2, iCount - iCount / 2);
}

std::string Chain(std::string const& iOperator, std::string (*iPart)(std::size_t), std::size_t iCount)
{
  std::string text;
  for (std::size_t i = 1; i < iCount; ++i)
    text += iOperator;
  for (std::size_t i = 0; i < iCount; ++i)
    text += iPart(i);
  return text;
}

std::string Nested(std::size_t iNodes)
{
  constexpr std::array<char const*, 4> functions{"s ", "c ", "T ", "q "};
  std::string text;
  for (std::size_t i = 0; i + 1 < iNodes; ++i)
    text += functions[i % functions.size()];
  return text + "+ X * Y Z ";
}

NodePtr Read(std::string const& iText) { return SF::SFDagFromExpression::BuildFromExpression(iText, nullptr); }

NodePtr Doublings(std::size_t iCount)
{
  NodePtr node = Read("s X ");
  for (std::size_t i = 0; i < iCount; ++i)
    node = std::make_shared<SF::SFOp>(SF::SFNodeType::PLUS, node, node);
  return node;
}

/// A family of fields by their approximate number of nodes.
struct Shape
{
  char const* name;
  NodePtr (*make)(std::size_t iNodes);
};

constexpr Shape Shapes[] = {
    {"spheres, balanced union",
     [](std::size_t n) { return Read(Balanced("U ", Sphere, 0, std::max<std::size_t>(1, n / 11))); }},
    {"spheres, chain of U", [](std::size_t n) { return Read(Chain("U ", Sphere, std::max<std::size_t>(1, n / 11))); }},
    {"spheres, chain of I", [](std::size_t n) { return Read(Chain("I ", Sphere, std::max<std::size_t>(1, n / 11))); }},
    {"sum of gyroids", [](std::size_t n) { return Read(Chain("+ ", Wave, std::max<std::size_t>(1, n / 16))); }},
    {"product of slopes", [](std::size_t n) { return Read(Chain("* ", Slope, std::max<std::size_t>(1, n / 3))); }},
    {"quotient of gyroids", [](std::size_t n) { return Read(Chain("/ ", Wave, std::max<std::size_t>(1, n / 16))); }},
    {"nested functions", [](std::size_t n) { return Read(Nested(n)); }},
    {"doublings", [](std::size_t n) { return Doublings(n); }},
};

/// The sizes measured, by order.
constexpr std::array<std::array<std::size_t, 2>, 3> Sizes{{{10'000, 100'000}, {1'000, 10'000}, {200, 1'000}}};

// ---- measuring ------------------------------------------------------------------------------------------------

struct Figures
{
  std::size_t fieldNodes = 0;
  std::size_t nodes = 0; ///< 0 for a failure
  double seconds = 0.0;
};

Figures Measure(Shape const& iShape, std::size_t iNodes, int iOrder)
{
  NodePtr const field = iShape.make(iNodes);
  Figures figures;
  figures.fieldNodes = SFBench::CountNodes(*field);
  SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  std::cout.setstate(std::ios::failbit); // its lines are not of interest
  SFBench::Stopwatch const watch;
  NodePtr const offset =
      SF::SFDagOffsetOperator(context).BuildOneSidedOffsetTree(field, 0.1, ZULGetDefaultTolerance(), iOrder);
  figures.seconds = watch.Elapsed().cpu;
  figures.nodes = offset != nullptr ? SFBench::CountNodes(*offset) : 0;
  return figures;
}

void PrintRow(Shape const& iShape, std::size_t iNodes, int iOrder)
{
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0)
    throw std::runtime_error("no pipe");
  pid_t const child = fork();
  if (child < 0)
    throw std::runtime_error("no process");
  if (child == 0) {
    Figures const figures = Measure(iShape, iNodes, iOrder);
    bool const written = write(ends[1], &figures, sizeof figures) == static_cast<ssize_t>(sizeof figures);
    _exit(written ? 0 : 1);
  }
  close(ends[1]);
  Figures figures;
  bool const received = read(ends[0], &figures, sizeof figures) == static_cast<ssize_t>(sizeof figures);
  close(ends[0]);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (!received || figures.nodes == 0) {
    std::printf("| %s | %zu | %d | failed | | |\n", iShape.name, figures.fieldNodes, iOrder);
    return;
  }
  std::printf("| %s | %zu | %d | %zu | %.2g | %.0f |\n", iShape.name, figures.fieldNodes, iOrder, figures.nodes,
              figures.seconds, static_cast<double>(usage.ru_maxrss) / 1024.0);
  std::fflush(stdout);
}

} // namespace

int main(int iCount, char** iArguments)
{
  try {
    std::string_view const only = iCount > 1 ? iArguments[1] : "";
    std::puts("| field | its nodes | order | nodes | s | MB |\n| --- | ---: | ---: | ---: | ---: | ---: |");
    for (Shape const& shape : Shapes)
      if (only.empty() || only == shape.name)
        for (int order = 1; order <= 3; ++order)
          for (std::size_t const nodes : Sizes[static_cast<std::size_t>(order) - 1])
            PrintRow(shape, nodes, order);
    return 0;
  } catch (std::exception const& error) {
    std::cerr << "sf_offset_bench: " << error.what() << '\n';
    return 1;
  }
}
