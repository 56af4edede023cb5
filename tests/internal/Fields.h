#pragma once

#include "HostResource.h"
#include "RandomFields.h"
#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"
#include "SFVariable.h"
#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeSweep.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace SFTest {

using namespace SF;
using Node = NodePtr;
using Nodes = std::vector<Node>;
using Values = std::vector<double>;
using enum SF::SFNodeType;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Tiny = std::numeric_limits<double>::denorm_min();
constexpr double Smallest = std::numeric_limits<double>::min();
constexpr double Largest = std::numeric_limits<double>::max();

/// The values on which arithmetic goes wrong first, and a few on which it should not.
inline Values const Nasty{
    NaN, -NaN, Inf, -Inf,  0.0,       -0.0, Tiny, -Tiny, Smallest, Largest,   1e300,    1e-300, -1e154,
    1.0, -1.0, 0.5, -0.75, 1.0 / 3.0, 2.0,  -3.0, 4.0,   0.1,      1e5 + 0.5, -Largest, 1e22,   3.141592653589793};

/// The place of the first difference in bits; the size when there is none. All NaN count as one value: of two NaN
/// operands a processor keeps the first, and compilers are free to swap the operands of a sum or product.
template <class T>
std::size_t FirstDifference(std::vector<T> const& iA, std::vector<T> const& iB)
{
  if (iA.size() != iB.size())
    return 0;
  std::size_t at = 0;
  while (at < iA.size() && Same(iA[at], iB[at]))
    ++at;
  return at;
}

inline Node Affine(std::array<double, 12> const& iRows, Node iOperand)
{
  auto node = std::make_shared<SFAffineTransform>(ZULMathTransformation(iRows.data(), 12));
  node->SetLhs(std::move(iOperand));
  return node;
}
inline Node Cylindrical(std::array<double, 7> const& iParameters, Node iOperand)
{
  auto node = std::make_shared<SFCylindricalTransform>(iParameters);
  node->SetLhs(std::move(iOperand));
  return node;
}
/// The distance from a sphere.
inline Node Sphere(double iX, double iY, double iZ, double iRadius)
{
  auto const square = [](SFNodeType iAxis, double iAt) { return Op(SQUARE, Op(MINUS, Op(iAxis), Constant(iAt))); };
  return Op(MINUS, Op(ROOT, Op(PLUS, Op(PLUS, square(X, iX), square(Y, iY)), square(Z, iZ))), Constant(iRadius));
}
/// `iOp` over all of some nodes, in order: one after the other, or halves first.
inline Node Chain(SFNodeType iOp, Nodes const& iNodes, bool iBalanced)
{
  std::function<Node(std::size_t, std::size_t)> const half = [&](std::size_t iFrom, std::size_t iTo) {
    std::size_t const middle = iBalanced ? (iFrom + iTo) / 2 : iTo - 1;
    return iTo - iFrom == 1 ? iNodes[iFrom] : Op(iOp, half(iFrom, middle), half(middle, iTo));
  };
  return half(0, iNodes.size());
}

/// Sets SF_KERNELS while it lives. Not while other threads run.
class KernelsInUse
{
public:
  explicit KernelsInUse(std::string_view iName)
  {
    if (char const* const before = std::getenv("SF_KERNELS"))
      _before = before;
    setenv("SF_KERNELS", std::string(iName).c_str(), 1);
  }
  KernelsInUse(KernelsInUse const&) = delete;
  KernelsInUse& operator=(KernelsInUse const&) = delete;
  ~KernelsInUse()
  {
    if (_before.empty())
      unsetenv("SF_KERNELS");
    else
      setenv("SF_KERNELS", _before.c_str(), 1);
  }

private:
  std::string _before;
};

/// The values of some fields on a grid, field after field, by the definition.
Values ByRecursion(Nodes const& iRoots, SFGrid const& iGrid);

/// A tape ready to run over a grid.
struct Compiled
{
  Compiled(Nodes const& iRoots, SFGrid const& iGrid, std::size_t iBudget = SFTapeInvariants::DefaultBudget);
  /// The values of all results, field after field: in tiles of one row, nothing left out.
  Values OnTape() const;
  /// The same by the sweep that prunes. Counts the steps that each voxel took.
  Values OnPrunedTape(double* oStepsPerVoxel = nullptr) const;

  std::unique_ptr<SFTapeInvariants> tape;
};

/// A random graph in which every operator and leaf may occur, some nodes being shared by many others and reached
/// inside and outside of transforms; its MIN and MAX chains hold whatever comes, NaN included.
class RandomGraph
{
public:
  RandomGraph(unsigned int iSeed, std::size_t iSize);
  Node const& Root() const { return _nodes.back(); }
  /// Some node of the graph.
  Node const& Any() { return _nodes[Below(_nodes.size())]; }
  /// A grid with about `iVoxels` points at most, often with odd sizes and coordinates that hit ties.
  SFGrid Grid(std::size_t iVoxels);

private:
  std::size_t Below(std::size_t iEnd) { return _random.Below(iEnd); }
  double Simple();
  Node Leaf();
  Node Transform(Node iOperand);

  RandomFields _random;
  Nodes _nodes;
};

} // namespace SFTest
