#pragma once

#include "RandomFields.h"
#include "Support.h"

#include "BRXResourceToSF.h"
#include "SFCompiledField.h"
#include "SFDagEvaluator.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>

namespace SFTest {

using RootPtr = std::shared_ptr<SF::SFDagNode>;
using FieldPtr = std::shared_ptr<SF::SFCompiledField>;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// A host's field sin(x) + y z with its gradient; `onCall` is called with the number of each call.
class CountedField : public SF::BRXResourceToSF
{
public:
  CountedField() : SF::BRXResourceToSF(SF::SFNodeType::RESOLVEDREF) {}
  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return S_OK;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    onCall(++values);
    return std::sin(iPoint.x) + iPoint.y * iPoint.z;
  }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    onCall(++gradients);
    oGradient[0] = std::cos(iPoint.x);
    oGradient[1] = iPoint.z;
    oGradient[2] = missing ? MissingValue : iPoint.y;
    return code;
  }

  std::function<void(int)> onCall = [](int) {};
  mutable std::atomic<int> values{0};
  mutable std::atomic<int> gradients{0};
  bool missing = false;
  HRESULT code = S_OK;
};

class CountedFieldResolver : public SF::SFResourceResolver
{
public:
  SF::ResourceToSF* Resolve(std::string const&) override { return made = new CountedField; }
  CountedField* made = nullptr;
};

/// Fields with transforms and shared parts, whose constants make ties and NaN; without the operators that are not
/// defined everywhere if they are to be smooth.
class Expressions : public RandomFields
{
public:
  explicit Expressions(unsigned int iSeed, bool iSmooth = false)
    : RandomFields(iSeed, Vocabulary{OperatorsWithout(iSmooth ? Partial : std::vector<SFNodeType>{}),
                                     {"X", "Y", "Z", "X", "f0", "f0.5", "f-1", "f2"},
                                     {"m[0.2;0;-1;0;0;2;0.5;1;0;0;3;0;0;0;0;1]", "n[-3;-4;0.5;1;2;0;4]"},
                                     true})
  {
  }
  std::string Next(int iDepth) { return RandomFields::Next(iDepth).append(" $"); }

private:
  inline static std::vector const Partial{SFNodeType::ROOT, SFNodeType::LN,  SFNodeType::TAN,
                                          SFNodeType::ASIN, SFNodeType::DIV, SFNodeType::POW};
};

inline std::vector<std::string> const CompiledTexts{
    "f3 $",
    "X $",
    "+ X * Y f2 $",
    "U - r + + q X q Y q Z f1 - a X f0.5 $",
    "I + + * s X c Y * s Y c Z * s Z c X - a X f3 $",
    "\\ U X ! Y D Z f0 $",
    "U X l Y $",
    "m[0.8;-0.6;0;1;0.6;0.8;0;2;0;0;1;3;0;0;0;1] U X q Y $",
    "n[0.1;0.2;0.3;0;1;1;3] + X * Y Z $",
    "* X f0 $",
};

inline FieldPtr Compiled(RootPtr const& iRoot, SF::SFCompiledFieldOptions const& iOptions = {})
{
  FieldPtr field;
  EXPECT_EQ(SF::SFCompiledField::Compile(Level2(), iRoot, iOptions, field), S_OK);
  return field;
}

inline SF::SFCompiledFieldOptions WithThreads(unsigned int iThreads)
{
  SF::SFCompiledFieldOptions options;
  options.threads = iThreads;
  return options;
}

inline double ByRecursion(SF::SFDagNode const& iRoot, SF::SFEvaluationContext& ioContext, ZULMathPoint const& iPoint)
{
  ioContext.SetAtPosition(iPoint);
  iRoot.Reset(ioContext);
  EXPECT_EQ(SF::SFDagEvaluator(Level2()).ComputeScalar(ioContext, iRoot), S_OK);
  return iRoot.GetContextInfos(ioContext.GetIndex()).value;
}

template <class Bits, class Number>
bool SameBits(Number iA, Number iB)
{
  return std::bit_cast<Bits>(iA) == std::bit_cast<Bits>(iB) || (iA != iA && iB != iB);
}

struct Points
{
  void Add(double iX, double iY, double iZ)
  {
    x.push_back(iX);
    y.push_back(iY);
    z.push_back(iZ);
  }
  std::size_t Count() const { return x.size(); }
  HRESULT Evaluate(SF::SFCompiledField const& iField, std::atomic<bool> const* iCancel = nullptr)
  {
    values.assign(Count(), 77.0);
    return iField.Evaluate(Count(), x.data(), y.data(), z.data(), values.data(), iCancel);
  }
  HRESULT Differentiate(SF::SFCompiledField const& iField, std::atomic<bool> const* iCancel = nullptr)
  {
    values.assign(Count(), 77.0);
    gradients.assign(3 * Count(), 77.0);
    return iField.EvaluateGradient(Count(), x.data(), y.data(), z.data(), values.data(), gradients.data(), iCancel);
  }

  std::vector<double> x, y, z, values, gradients;
};

inline Points RandomPoints(std::size_t iCount, double iExtent = 3.0)
{
  Expressions random(7);
  Points points;
  for (std::size_t i = 0; i < iCount; ++i)
    points.Add(random.Uniform(-iExtent, iExtent), random.Uniform(-iExtent, iExtent), random.Uniform(-iExtent, iExtent));
  return points;
}

} // namespace SFTest
