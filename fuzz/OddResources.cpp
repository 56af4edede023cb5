#include "OddResources.h"

#include "Rendering.h"

#include "BRXResourceToSF.h"
#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "SFOp.h"
#include "TetMeshToSF.h"

#include <cmath>
#include <functional>
#include <limits>
#include <unordered_set>
#include <vector>

namespace SFFuzz {
namespace {

using SF::SFDagNode;
using SF::SFNodeType;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

double Smooth(ZULMathPoint const& iPoint) { return std::sin(iPoint.x) + iPoint.y * iPoint.z; }

double Kinked(ZULMathPoint const& iPoint)
{
  double const phase = std::fmod(std::abs(iPoint.x + 2.0 * iPoint.y - iPoint.z), 3.0);
  return phase == 1.0 ? -0.0 : phase == 2.0 ? 0.0 : iPoint.x;
}

bool IsBad(ZULMathPoint const& iPoint) { return iPoint.x > 0.0; }

/// A field of the host.
class OddField : public SF::BRXResourceToSF
{
public:
  using Field = std::function<double(ZULMathPoint const&)>;

  explicit OddField(Field iField = Smooth) : SF::BRXResourceToSF(SFNodeType::RESOLVEDREF), _field(std::move(iField)) {}

  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return E_FAIL;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override { return _field(iPoint); }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    oGradient[0] = std::cos(iPoint.x);
    oGradient[1] = NaN;
    return S_OK; // the third component stays as it was
  }

private:
  Field _field;
};

class FailingGradient : public OddField
{
public:
  explicit FailingGradient(bool iThrows) : _throws(iThrows) {}
  HRESULT GetGradient(double (&)[3], ZULMathPoint const&) const override
  {
    if (_throws)
      throw HostError();
    return E_NOTIMPL;
  }

private:
  bool _throws;
};

class NeverReady : public OddField
{
public:
  HRESULT GetReady(SF::SFSWContext const&) const override { return E_INVALIDARG; }
};

/// Does by itself what the walks of the library do for others.
class OwnSlots : public OddField
{
public:
  HRESULT GetReady(SF::SFSWContext const&) const override { return S_FALSE; }
  void ResetEvaluationCache() const override { SFDagNode::ResetEvaluationCache(); }
  void Reset(SF::SFEvaluationContext const& iContext) const override
  {
    if (static_cast<std::size_t>(iContext.GetIndex()) < GetContextCount())
      GetContextInfos(iContext.GetIndex()).state = ECacheReset;
  }
  SF::SFEvaluationContext GetNewEvaluationContext() const override { return SFDagNode::GetNewEvaluationContext(); }
  bool operator==(SFDagNode const& iOther) const override { return this == &iOther; }
};

double ThrowAtSome(ZULMathPoint const& iPoint)
{
  if (IsBad(iPoint))
    throw HostError();
  return Smooth(iPoint);
}

NodePtr DeepChain()
{
  constexpr int depth = 3000;
  NodePtr chain = std::make_shared<SF::SFOp>(SFNodeType::X);
  for (int i = 0; i < depth; ++i)
    chain = std::make_shared<SF::SFOp>(SFNodeType::NOT, std::move(chain));
  return chain;
}

SFNodeType KindOf(char iCharacter)
{
  constexpr int outside = -3; // so that some characters stand for no kind at all
  return static_cast<SFNodeType>(static_cast<unsigned char>(iCharacter) - '0' + outside);
}

} // namespace

SF::ResourceToSF* OddResolver::Hold(NodePtr iOperand) const
{
  auto* const field = new OddField;
  field->SetRhs(iOperand);
  field->SetLhs(std::move(iOperand));
  return field;
}

SF::ResourceToSF* OddResolver::Resolve(std::string const& iText)
{
  auto const at = iText.find('#');
  switch (at < iText.size() - 1 ? iText[at + 1] : '\0') {
  case 'n':
    return nullptr;
  case 't':
    throw HostError();
  case 'k':
    return new OddField(Kinked);
  case 'N':
    return new OddField([](ZULMathPoint const&) { return NaN; });
  case 'i':
    return new OddField([](ZULMathPoint const& iPoint) { return IsBad(iPoint) ? Inf : -Inf; });
  case 's':
    return new OddField(ThrowAtSome);
  case 'f':
  case 'q':
    return new FailingGradient(iText[at + 1] == 'q');
  case 'm':
    return new SF::TetMeshToSF;
  case 'e':
    return new SF::ExplicitToSF;
  case 'g':
    return new SF::ResourceGradientToSF(nullptr, SFNodeType::X);
  case 'G':
    return new SF::ResourceGradientToSF(std::make_shared<OddField>(), SFNodeType::PLUS);
  case 'h':
    return Hold(_shared);
  case 'o':
    return Hold(std::make_shared<SF::SFOp>(SFNodeType::PLUS));
  case 'd':
    if (_chain == nullptr)
      _chain = DeepChain();
    return Hold(_chain);
  case 'r':
    return new NeverReady;
  case 'c':
    return new OwnSlots;
  default:
    return new OddField;
  }
}

void Relabel(SFDagNode& ioRoot)
{
  std::vector<SFDagNode*> open{&ioRoot};
  std::unordered_set<SFDagNode const*> met;
  while (!open.empty()) {
    SFDagNode* const node = open.back();
    open.pop_back();
    if (node == nullptr || !met.insert(node).second)
      continue;
    open.push_back(node->GetLhs().get());
    open.push_back(node->GetRhs().get());
    std::string const& id = node->GetExpressionId();
    auto const at = id.find("#O");
    if (dynamic_cast<SF::ResourceToSF*>(node) != nullptr && at != std::string::npos && at + 2 < id.size())
      node->SetTypeTag(KindOf(id[at + 2]));
  }
}

} // namespace SFFuzz
