#include "Jobs.h"

#include "BRXResourceToSF.h"
#include "SFDagCloner.h"
#include "SFDagDifferentialOperator.h"
#include "SFDagEvaluator.h"
#include "SFDagFromExpression.h"
#include "SFDagOffsetOperator.h"
#include "SFDagToExpression.h"

#include <array>
#include <bit>
#include <cmath>
#include <random>
#include <span>
#include <stdexcept>

namespace SFLoad {
namespace {

using Operator = SF::SFDagDifferentialOperator;
using SF::SFNodeType;

SF::SFSWContext const& Level2()
{
  static SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  return context;
}

/// FNV-1a (Fowler, Noll, Vo), over results in the order in which they come. All NaN count as one value.
class Checksum
{
public:
  Checksum& Add(std::uint64_t iWord)
  {
    for (int shift = 0; shift < 64; shift += 8)
      _sum = (_sum ^ (iWord >> shift & 0xff)) * 0x100000001b3ULL;
    return *this;
  }
  Checksum& Add(double iValue) { return Add(std::isnan(iValue) ? 1 : std::bit_cast<std::uint64_t>(iValue)); }
  Checksum& Add(HRESULT iCode) { return Add(static_cast<std::uint64_t>(static_cast<std::uint32_t>(iCode))); }
  Checksum& Add(std::string const& iText)
  {
    for (char const character : iText)
      Add(std::uint64_t{static_cast<unsigned char>(character)});
    return *this;
  }
  template <class Number>
  Checksum& Add(std::vector<Number> const& iNumbers)
  {
    for (Number const number : iNumbers)
      Add(static_cast<double>(number));
    return *this;
  }
  std::uint64_t Get() const { return _sum; }

private:
  std::uint64_t _sum = 0xcbf29ce484222325ULL;
};

/// For what is not meant to fail.
void Require(HRESULT iCode)
{
  if (Failed(iCode))
    throw std::logic_error("failed with hr: " + std::to_string(iCode));
}

// ---- models ---------------------------------------------------------------------------------------------------

class Wave : public SF::BRXResourceToSF
{
public:
  Wave() : SF::BRXResourceToSF(SFNodeType::RESOLVEDREF) {}
  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return S_OK;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override { return std::sin(iPoint.x) + iPoint.y * iPoint.z; }
};

class ThrowingWave : public Wave
{
public:
  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    if (iPoint.z > 1.0)
      throw std::runtime_error("no value there");
    return Wave::GetScalar(iPoint);
  }
};

class Resolver : public SF::SFResourceResolver
{
public:
  SF::ResourceToSF* Resolve(std::string const& iText) override
  {
    return iText == "#throws" ? new ThrowingWave : iText == "#wave" ? new Wave : nullptr;
  }
};

NodePtr Build(std::string const& iText)
{
  Resolver resolver;
  return SF::SFDagFromExpression::BuildFromExpression(iText, &resolver);
}

NodePtr Ready(std::string const& iText)
{
  NodePtr root = Build(iText);
  if (root == nullptr || Failed(root->GetReady(Level2())))
    throw std::runtime_error("not a field: " + iText);
  return root;
}

/// Balls in a row of random ones, one union after the other.
std::string Balls(int iCount)
{
  std::mt19937 random(7);
  auto const number = [&random](int iFrom, int iTo) {
    return std::to_string(iFrom + static_cast<int>(random() % static_cast<unsigned int>(iTo - iFrom))) + " ";
  };
  std::string text;
  for (int i = 1; i < iCount; ++i)
    text += "U ";
  for (int i = 0; i < iCount; ++i)
    text +=
        "- r + + q - X f" + number(-9, 9) + "q - Y f" + number(-9, 9) + "q - Z f" + number(-9, 9) + "f" + number(1, 4);
  return text + "$";
}

std::string Repeated(std::string const& iText, int iCount)
{
  std::string all;
  for (int i = 0; i < iCount; ++i)
    all += iText;
  return all;
}

} // namespace

std::vector<Model> MakeModels(unsigned int iThreads)
{
  std::vector<Model> models{
      {"ball", "- r + + q X q Y q Z f1 $", true, true, {}, {}},
      {"gyroid", "I - a + + * s X c Y * s Y c Z * s Z c X f0.3 - + + q X q Y q Z f16 $", true, true, {}, {}},
      {"moved",
       "U m[0.8;-0.6;0;1;0.6;0.8;0;2;0;0;1;3;0;0;0;1] - a X f1 m[2;0;0;0;0;1;0;-1;0;0;1;0] - a + Y Z f1 $",
       true,
       true,
       {},
       {}},
      {"cylinder", "n[0.1;0.2;0.3;0;1;1;3] + * X Y Z $", false, true, {}, {}},
      {"offset", "o0.25 - r + + q X q Y q Z f1 $", true, true, {}, {}},
      {"everything", "+ D U X Y \\ Z ? X / ^ a X f1.5 + e l a Y t T C / s Z f2 $", true, true, {}, {}},
      {"resource", "I - #wave f0.25 ! #wave $", false, false, {}, {}},
      {"balls", Balls(150), false, true, {}, {}},
      {"deep", Repeated("! ", 5200) + "- X Y $", false, true, {}, {}},
  };
  for (Model& model : models) {
    model.shared = Ready(model.text);
    // From here on no thread makes a node's row of slots grow.
    for (unsigned int i = 0; i < iThreads; ++i)
      model.shared->GetNewEvaluationContext();
    if (Failed(SF::SFCompiledField::Compile(Level2(), Ready(model.text), {}, model.sharedField)))
      throw std::runtime_error("not to be compiled: " + model.name);
  }
  return models;
}

// ---- jobs -----------------------------------------------------------------------------------------------------

namespace {

constexpr std::size_t PointCount = 300;
using Points = std::array<std::vector<double>, 3>;

Points const& SomePoints()
{
  static Points const points = [] {
    std::mt19937 random(11);
    Points made;
    for (auto& axis : made)
      for (std::size_t i = 0; i < PointCount; ++i)
        axis.push_back(static_cast<double>(random() % 1000) / 100.0 - 5.0);
    return made;
  }();
  return points;
}

std::uint64_t AtPoints(SF::SFDagNode const& iRoot, unsigned int iSlot, std::size_t iCount = PointCount)
{
  auto const& [x, y, z] = SomePoints();
  SF::SFDagEvaluator const evaluator(Level2());
  SF::SFEvaluationContext context(static_cast<int>(iSlot));
  Checksum sum;
  for (std::size_t i = 0; i < iCount; ++i) {
    iRoot.Reset(context);
    context.SetAtPosition({x[i], y[i], z[i]});
    Require(evaluator.ComputeScalar(context, iRoot));
    sum.Add(iRoot.GetContextInfos(context.GetIndex()).value);
  }
  return sum.Get();
}

std::string TextOf(SF::SFDagNode const& iRoot)
{
  std::string text;
  Require(SF::SFDagToExpression(Level2()).Export(iRoot, text, true, false));
  return text;
}

constexpr unsigned int Side = 18;
constexpr double VoxelSize = 0.5;
constexpr std::array<double, 3> Origin{-4.1, -4.2, -4.3};

std::uint64_t Render(NodePtr iRoot)
{
  unsigned int dims[] = {Side, Side, Side};
  std::vector<float> values(std::size_t{Side} * Side * Side);
  Require(SF::SFDagEvaluator(Level2()).Render(dims, values, VoxelSize, Origin.data(), iRoot, ZULGetDefaultTolerance(),
                                              ZULGMSFDiscretizationAccuracyLevel::EMedium));
  return Checksum().Add(values).Get();
}

std::uint64_t UseField(SF::SFCompiledField const& iField)
{
  auto const& [x, y, z] = SomePoints();
  std::vector<double> values(PointCount);
  std::vector<double> gradients(3 * PointCount);
  Require(iField.Evaluate(PointCount, x.data(), y.data(), z.data(), values.data()));
  Require(iField.EvaluateGradient(PointCount, x.data(), y.data(), z.data(), nullptr, gradients.data()));
  double low = 0.0;
  double high = 0.0;
  HRESULT const mayBeNaN = iField.EvaluateInterval({{-1, -1, -1}, {1, 2, 1}}, low, high);
  Require(mayBeNaN);
  unsigned int const dims[] = {Side, Side, Side};
  std::vector<float> slices(std::size_t{Side} * Side * 5);
  Require(iField.RenderSlices(dims, 3, 8, slices, VoxelSize, Origin.data()));
  return Checksum().Add(values).Add(gradients).Add(mayBeNaN).Add(low).Add(high).Add(slices).Get();
}

std::uint64_t RunText(Model const& iModel, unsigned int)
{
  NodePtr const root = Build(iModel.text);
  std::string const text = TextOf(*root);
  return Checksum().Add(text).Add(TextOf(*Build(text))).Get();
}

std::uint64_t RunRender(Model const& iModel, unsigned int) { return Render(Build(iModel.text)); }

std::uint64_t RunCompile(Model const& iModel, unsigned int)
{
  SF::SFCompiledFieldOptions options;
  options.threads = 2;
  std::shared_ptr<SF::SFCompiledField> field;
  Require(SF::SFCompiledField::Compile(Level2(), Build(iModel.text), options, field));
  return UseField(*field);
}

std::uint64_t RunDifferentiate(Model const& iModel, unsigned int)
{
  Checksum sum;
  for (SFNodeType const axis : {SFNodeType::X, SFNodeType::Y, SFNodeType::Z}) {
    NodePtr const root = Ready(iModel.text);
    NodePtr const component = Operator::BuildGradientTree(root, axis, ZULGetDefaultTolerance());
    sum.Add(TextOf(*component)).Add(AtPoints(*component, 0, 20)).Add(TextOf(*root));
  }
  return sum.Get();
}

std::uint64_t RunOffset(Model const& iModel, unsigned int)
{
  auto const offset =
      SF::SFDagOffsetOperator(Level2()).BuildTwoSidedOffsetTree(Ready(iModel.text), 0.5, ZULGetDefaultTolerance(), 1);
  return Checksum().Add(TextOf(*offset)).Get();
}

std::uint64_t RunOnSharedField(Model const& iModel, unsigned int) { return UseField(*iModel.sharedField); }

std::uint64_t RunOnSharedGraph(Model const& iModel, unsigned int iThread) { return AtPoints(*iModel.shared, iThread); }

std::uint64_t RunOnCloneOfShared(Model const& iModel, unsigned int)
{
  NodePtr const clone = SF::SFDagCloner::Clone(iModel.shared);
  return Checksum().Add(TextOf(*clone)).Add(Render(clone)).Get();
}

/// The derivative holds nodes of the shared graph, of which each thread uses a slot of its own.
std::uint64_t RunOnDerivativeOfShared(Model const& iModel, unsigned int iThread)
{
  NodePtr const derivative = Operator::DifferentiateFunctionTree(iModel.shared, SFNodeType::Y);
  return AtPoints(*derivative, iThread, 50);
}

/// What fails, fails in the same way at any time.
std::uint64_t RunFailures(Model const& iModel, unsigned int)
{
  Checksum sum;
  sum.Add(std::uint64_t{Build("+ " + iModel.text.substr(0, iModel.text.size() / 2) + " m[1;2] X $") == nullptr});
  std::shared_ptr<SF::SFCompiledField> field;
  sum.Add(SF::SFCompiledField::Compile(Level2(), Build("+ b1 X Y " + iModel.text), {}, field));
  try {
    sum.Add(Render(Build("U #throws " + iModel.text)));
  } catch (std::runtime_error const& error) {
    sum.Add(std::string(error.what()));
  }
  return sum.Get();
}

} // namespace

std::vector<Job> const Jobs{
    {"text", false, false, RunText},
    {"render", false, false, RunRender},
    {"compile", false, false, RunCompile},
    {"differentiate", true, false, RunDifferentiate},
    {"offset", true, false, RunOffset},
    {"shared field", false, false, RunOnSharedField},
    {"shared graph", false, false, RunOnSharedGraph},
    {"clone of shared graph", false, true, RunOnCloneOfShared},
    {"derivative of shared graph", true, false, RunOnDerivativeOfShared},
    {"failures", false, false, RunFailures},
};

} // namespace SFLoad
