#pragma once

#include "RandomFields.h"
#include "Support.h"

#include "SFDagDifferentialOperator.h"
#include "graph/SFNodeIndex.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <utility>

namespace SFTest {

using Operator = SF::SFDagDifferentialOperator;
using SF::SFNodeType;

inline NodePtr C(double iValue) { return Constant(iValue); }

/// Every node of a graph, once.
inline std::vector<SF::SFDagNode const*> NodesOf(SF::SFDagNode const& iRoot)
{
  std::vector<SF::SFDagNode const*> nodes{&iRoot};
  SF::SFNodeIndex met;
  met.Insert(&iRoot);
  for (std::size_t i = 0; i < nodes.size(); ++i)
    for (SF::SFDagNode const* const operand : {nodes[i]->GetLhs().get(), nodes[i]->GetRhs().get()})
      if (operand != nullptr && met.Insert(operand).second)
        nodes.push_back(operand);
  return nodes;
}

/// Whether no node on the way to a value is NaN or infinite, which comparisons would hide, or outside of
/// where the derivative of its function is defined.
inline bool IsDefinedAt(SF::SFDagNode const& iNode, ZULMathPoint const& iPoint)
{
  if (!std::isfinite(ValueAt(iNode, iPoint)))
    return false;
  auto const nodes = NodesOf(iNode);
  return std::all_of(nodes.begin(), nodes.end(), [](auto const* iOne) {
    double const operand = iOne->GetLhs() != nullptr ? iOne->GetLhs()->GetContextInfos(0).value : 0.0;
    switch (iOne->GetTypeTag()) {
    case SFNodeType::ACOS:
    case SFNodeType::ASIN:
      return std::abs(operand) < 1.0;
    case SFNodeType::ROOT:
    case SFNodeType::POW:
      return operand > 0.0 && std::isfinite(iOne->GetContextInfos(0).value);
    default:
      return std::isfinite(iOne->GetContextInfos(0).value);
    }
  });
}

inline double& Coordinate(ZULMathPoint& ioPoint, SFNodeType iVariable)
{
  return iVariable == SFNodeType::X ? ioPoint.x : iVariable == SFNodeType::Y ? ioPoint.y : ioPoint.z;
}

/// A derivative by central differences at h and h / 2, extrapolated, with an estimate of its error: where the field
/// has a kink within h the two differ by much.
struct Difference
{
  double value;
  double error;
};
constexpr double DifferenceTolerance = 1e-6;
inline Difference CentralDifference(SF::SFDagNode const& iNode, ZULMathPoint iPoint, SFNodeType iVariable)
{
  constexpr double h = 1e-3;
  double const at = Coordinate(iPoint, iVariable);
  auto const slope = [&](double iH) {
    Coordinate(iPoint, iVariable) = at + iH;
    double const above = ValueAt(iNode, iPoint);
    Coordinate(iPoint, iVariable) = at - iH;
    return (above - ValueAt(iNode, iPoint)) / (2.0 * iH);
  };
  double const coarse = slope(h);
  double const fine = slope(h / 2.0);
  return {(4.0 * fine - coarse) / 3.0, std::abs(fine - coarse)};
}

/// Whether a field has a derivative at a point that central differences give to `DifferenceTolerance` (1 + |value|).
inline bool IsReliable(Difference const& iDifference, SF::SFDagNode const& iNode, ZULMathPoint const& iPoint)
{
  double const scale = 1.0 + std::abs(iDifference.value);
  return iDifference.error < 1e-4 * scale && scale < 1e4 && IsDefinedAt(iNode, iPoint);
}

/// A leaf of some class that gives its constant, 2, a few times only.
template <class Leaf>
struct Fading : Leaf
{
  template <class... Arguments>
  explicit Fading(int iTimes, Arguments&&... iArguments) : Leaf(std::forward<Arguments>(iArguments)...), times(iTimes)
  {
  }
  HRESULT GetConstant(double& oValue) const override
  {
    oValue = 2.0;
    return times-- > 0 ? S_OK : E_FAIL;
  }
  mutable int times;
};

/// A graph of arithmetic that shares most of its nodes.
inline NodePtr RandomGraph(unsigned int iSeed)
{
  using enum SFNodeType;
  std::vector<NodePtr> nodes{Op(X), Op(Y), C(0), C(1), C(2), C(1)};
  RandomFields(iSeed, {PLUS, MINUS, MULT, DIV, POW, PLUS, MINUS, MULT, DIV, POW, COS, NOT, SQUARE, SIGN})
      .Grow(nodes, 14);
  return nodes.back();
}

/// op(... op(op(X, leaf 1), leaf 2) ..., leaf n)
inline NodePtr LeftDeep(SFNodeType iType, std::size_t iLevels)
{
  NodePtr root = Op(SFNodeType::X);
  bool const binary = SF::IsBinaryOperator(iType);
  for (std::size_t i = 0; i < iLevels; ++i)
    root = Op(iType, root, binary ? Op(SFNodeType{2 + static_cast<int>(i % 3)}) : nullptr);
  return root;
}

} // namespace SFTest
