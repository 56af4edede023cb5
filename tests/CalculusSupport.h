#pragma once

#include "Support.h"

#include "SFConstant.h"
#include "SFDagDifferentialOperator.h"
#include "SFDagEvaluator.h"
#include "SFOp.h"
#include "SFOperatorTable.h"

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <pthread.h>
#include <random>

namespace SFTest {

using NodePtr = std::shared_ptr<SF::SFDagNode>;
using Operator = SF::SFDagDifferentialOperator;
using SF::SFNodeType;

inline NodePtr C(double iValue) { return std::make_shared<SF::SFConstant>(iValue); }
inline NodePtr Op(SFNodeType iType, NodePtr iLhs = nullptr, NodePtr iRhs = nullptr)
{
  return std::make_shared<SF::SFOp>(iType, std::move(iLhs), std::move(iRhs));
}

/// The value of a field at a point; NaN when it cannot be evaluated.
inline double ValueAt(SF::SFDagNode const& iNode, ZULMathPoint const& iPoint)
{
  SF::SFEvaluationContext context(0);
  context.SetAtPosition(iPoint);
  iNode.ReserveEvaluationContexts(context);
  iNode.Reset(context);
  HRESULT const hr = SF::SFDagEvaluator(Level2()).ComputeScalar(context, iNode);
  return hr == S_OK ? iNode.GetContextInfos(0).value : std::numeric_limits<double>::quiet_NaN();
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

/// Texts of random expressions over given operators, with X, Y, Z and constants at the leaves.
class RandomTexts
{
public:
  RandomTexts(unsigned int iSeed, std::vector<SFNodeType> iOperators)
    : _engine(iSeed), _operators(std::move(iOperators))
  {
  }

  std::string Next(int iDepth)
  {
    if (iDepth == 0 || Below(8) == 0)
      return Leaf();
    auto const& row = SF::OperatorRow(_operators[Below(_operators.size())]);
    std::string text = std::string(1, row.token) + ' ' + Next(iDepth - 1);
    return row.arity == 2 ? text + ' ' + Next(iDepth - 1) : text;
  }

  /// In [-2, 2].
  double Number() { return std::uniform_real_distribution<double>(-2.0, 2.0)(_engine); }
  ZULMathPoint Point() { return {Number(), Number(), Number()}; }
  std::size_t Below(std::size_t iEnd) { return std::uniform_int_distribution<std::size_t>(0, iEnd - 1)(_engine); }

private:
  std::string Leaf()
  {
    std::size_t const pick = Below(5);
    return pick < 3 ? std::string(1, "XYZ"[pick]) : "f" + std::to_string(Number());
  }

  std::mt19937 _engine;
  std::vector<SFNodeType> _operators;
};

/// All operators but some.
inline std::vector<SFNodeType> OperatorsWithout(std::vector<SFNodeType> const& iLeftOut)
{
  std::vector<SFNodeType> operators;
  for (auto const& row : SF::SFOperatorTable)
    if (SF::IsOperator(row.type) && std::find(iLeftOut.begin(), iLeftOut.end(), row.type) == iLeftOut.end())
      operators.push_back(row.type);
  return operators;
}

/// Runs something in a thread whose stack is far too small for recursion over a deep graph.
inline void OnSmallStack(std::function<void()> iWhat)
{
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_t thread;
  auto const run = [](void* iFunction) -> void* {
    (*static_cast<std::function<void()>*>(iFunction))();
    return nullptr;
  };
  if (pthread_create(&thread, &attributes, run, &iWhat) != 0)
    throw std::runtime_error("no thread");
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
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
