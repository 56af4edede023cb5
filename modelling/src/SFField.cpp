#include "SFField.h"

#include "ResourceToSF.h"
#include "SFArgument.h"
#include "SFDiagnostics.h"
#include "SFFactsRecipe.h"
#include "SFFieldWalk.h"
#include "SFLowering.h"
#include "SFSWContext.h"
#include "SFSubstitution.h"

#include <cmath>
#include <map>
#include <stdexcept>

namespace SF {
namespace {

std::shared_ptr<SFCompiledField> Compiled(SFField const& iField, SFCompiledFieldOptions const& iOptions)
{
  SFSWContext const context(SFSemanticLevel::ESemanticLevel2);
  SFLoweredField const lowered = LoweredWithBounds(iField);
  SFCompiledFieldOptions options = iOptions;
  options.lipschitzBounds = lowered.bounds;
  std::shared_ptr<SFCompiledField> compiled;
  SFSilence const silence;
  if (Failed(SFCompiledField::Compile(context, lowered.root, options, compiled)))
    throw std::runtime_error("the field cannot be compiled with these options");
  return compiled;
}

/// Another value for one parameter.
class ParameterChange : public SFSubstitution
{
public:
  ParameterChange(std::string_view iName, double iValue) : _name(iName), _value(iValue) {}

private:
  SFFieldNodePtr Leaf(SFFieldNode const& iLeaf) const override
  {
    if (iLeaf.GetType() != SFNodeType::PARAMETER || iLeaf.GetDetail()->name != _name)
      return {};
    SFFieldDetail const& detail = *iLeaf.GetDetail();
    return SFField::Parameter(detail.name, _value, detail.low, detail.high).GetNode();
  }

  std::optional<StatedFacts> MapFacts(StatedFacts const& iOld) const override
  {
    if (iOld.recipe == nullptr)
      return std::nullopt;
    auto recipe = std::make_shared<SFFactsRecipe>(*iOld.recipe);
    for (SFDimension& dimension : recipe->dimensions)
      dimension.field = (*this)(dimension.field);
    SFFieldFacts const facts = recipe->Facts();
    return StatedFacts{facts, std::move(recipe)};
  }

  std::string_view _name;
  double _value;
};

} // namespace

SFField::SFField(double iValue) : _node(MakeConstant(iValue)) {}

SFField SFField::X() { return SFField(MakeCoordinate(SFNodeType::X)); }
SFField SFField::Y() { return SFField(MakeCoordinate(SFNodeType::Y)); }
SFField SFField::Z() { return SFField(MakeCoordinate(SFNodeType::Z)); }

SFField SFField::Parameter(std::string iName, double iValue)
{
  return Parameter(std::move(iName), iValue, -Infinity, Infinity);
}

SFField SFField::Parameter(std::string iName, double iValue, double iLow, double iHigh)
{
  if (iName.empty())
    Argument::Refuse("name", "empty");
  Argument::Finite(iName, iValue);
  if (!(iLow <= iHigh))
    Argument::Refuse(iName, "has an empty range");
  auto detail = std::make_unique<SFFieldDetail>();
  detail->name = std::move(iName);
  detail->low = iLow;
  detail->high = iHigh;
  return SFField(SFFieldNodePtr(new SFFieldNode(SFNodeType::PARAMETER, iValue, {}, std::move(detail))));
}

SFField SFField::Resource(std::shared_ptr<ResourceToSF> iResource, SFResourceKind iKind,
                          std::optional<ZULMathBox> const& iBounds)
{
  if (iResource == nullptr)
    Argument::Refuse("resource", "null");
  if (iResource->GetTypeTag() == SFNodeType::END) // a host's own class need not say what it is
    iResource->SetTypeTag(SFNodeType::RESOLVEDREF);
  auto detail = std::make_unique<SFFieldDetail>();
  detail->resource = std::move(iResource);
  detail->hasFacts = true;
  bool const isDistance = iKind == SFResourceKind::Distance;
  detail->facts.isDistance = isDistance;
  detail->facts.lipschitz = isDistance ? 1.0 : Infinity;
  if (iBounds) {
    detail->facts.bounds = *iBounds;
    // Of a general resource only the sign is known: a growth that no later step may divide by without harm.
    detail->facts.growth = isDistance ? 1.0 : std::numeric_limits<double>::min();
  }
  return SFField(
      MakeResource(SFNodeType::RESOLVEDREF, 0.0, {X().GetNode(), Y().GetNode(), Z().GetNode()}, std::move(detail)));
}

std::shared_ptr<SFDagNode> SFField::Node() const { return Lowered({this, 1}).front(); }

std::shared_ptr<SFCompiledField> SFField::Compile(SFCompiledFieldOptions const& iOptions) const
{
  return Compiled(*this, iOptions);
}

double SFField::operator()(double iX, double iY, double iZ) const
{
  SFCompiledOnce& compiled = _node->GetCompiled();
  std::call_once(compiled.once, [&] {
    SFCompiledFieldOptions options;
    options.threads = 1;
    compiled.field = Compiled(*this, options);
  });
  double value = 0.0;
  compiled.field->Evaluate(1, &iX, &iY, &iZ, &value);
  return value;
}

std::size_t SFField::NodeCount() const { return SFFieldOrder(*this).Size(); }

bool SFField::operator==(SFField const& iOther) const
{
  if (_node.Get() == iOther._node.Get())
    return true;
  if (_node->GetHash() != iOther._node->GetHash())
    return false;
  std::array<SFField, 2> const both{*this, iOther};
  SFFieldOrder const order(both);
  auto const firsts = EqualParts(order);
  return firsts[order.NumberOf(both[0])] == firsts[order.NumberOf(both[1])];
}

std::size_t SFField::Hash() const { return static_cast<std::size_t>(_node->GetHash()); }

std::vector<SFParameterInfo> Parameters(SFField const& iField)
{
  std::map<std::string_view, SFParameterInfo> byName;
  SFFieldOrder const order(iField);
  for (SFFieldNode const* const node : order.Nodes())
    if (node->GetType() == SFNodeType::PARAMETER) {
      SFFieldDetail const& detail = *node->GetDetail();
      byName.try_emplace(detail.name, SFParameterInfo{detail.name, node->GetValue(), detail.low, detail.high});
    }
  std::vector<SFParameterInfo> parameters;
  for (auto& entry : byName)
    parameters.push_back(std::move(entry.second));
  return parameters;
}

SFField With(SFField const& iField, std::string_view iName, double iValue)
{
  Argument::Finite(iName, iValue);
  for (SFParameterInfo const& parameter : Parameters(iField))
    if (parameter.name == iName)
      return ParameterChange(iName, iValue)(iField);
  Argument::Refuse("name", "the field has no parameter '" + std::string(iName) + "'");
}

} // namespace SF
