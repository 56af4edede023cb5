#include "ResourceGradientToSF.h"
#include "SFArgument.h"
#include "SFBlendNode.h"
#include "SFDagFromExpression.h"
#include "SFDagOffset.h"
#include "SFFieldCalculus.h"
#include "SFFieldNode.h"
#include "SFFramePlan.h"
#include "SFOperatorTable.h"
#include "SFSubstitution.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace SF {
namespace {

int NumberOf(SFNodeType iCoordinate) { return static_cast<int>(iCoordinate) - static_cast<int>(SFNodeType::X); }

double ConstantOf(SFDagNode const& iNode)
{
  double value = 0.0;
  iNode.GetConstant(value);
  return value;
}

/// Makes the fields of a plan, part by part.
class Meaning
{
public:
  Meaning(SFGraphReading const& iReading, SFFramePlan const& iPlan)
    : _reading(iReading), _plan(iPlan), _size(iPlan.Size())
  {
    _frames.reserve(_plan.Frames().size());
    _frames.push_back(Coordinates());
    for (std::size_t i = 1; i < _plan.Frames().size(); ++i) {
      SFFramePlan::Frame const& frame = _plan.Frames()[i];
      _frames.push_back(_reading.Mappings()[frame.mapping](_frames[frame.parent]));
    }
  }

  SFField Root()
  {
    _fields.reserve(_plan.Parts().size());
    for (SFFramePlan::Part const& part : _plan.Parts())
      _fields.push_back(Made(part));
    return _fields[_plan.Root()];
  }

private:
  SFField Made(SFFramePlan::Part const& iPart)
  {
    std::shared_ptr<SFDagNode> const& node = *_reading.Nodes()[iPart.node].graph;
    SFNodeType const type = node->GetTypeTag();
    auto const operand = [&](std::size_t iNumber) -> SFField const& { return _fields[iPart.operands[iNumber]]; };
    switch (FamilyOf(type)) {
    case SFNodeFamily::Coordinate:
      return _frames[iPart.frame][static_cast<std::size_t>(NumberOf(type))];
    case SFNodeFamily::Constant:
      return type == SFNodeType::CONSTANT ? SFField(ConstantOf(*node))
                                          : SFField::Parameter(node->GetExpressionId(), ConstantOf(*node));
    case SFNodeFamily::Resource:
      return Placed(std::static_pointer_cast<ResourceToSF>(node), _frames[iPart.frame]);
    case SFNodeFamily::Blend:
      return SmoothUnion(operand(0), operand(1), static_cast<SFBlendNode const&>(*node).GetBlendParameter());
    case SFNodeFamily::Offset:
      if (iPart.frame != SFFramePlan::Space)
        return Charged(SFRemapping(_frames[iPart.frame])(operand(0)));
      return Charged(Moved(operand(0), static_cast<SFDagOffset const&>(*node)));
    default:
      return SFField(
          MakeNode(type, operand(0).GetNode(), IsBinaryOperator(type) ? operand(1).GetNode() : SFFieldNodePtr()));
    }
  }

  static SFField Placed(std::shared_ptr<ResourceToSF> const& iResource, SFField3 const& iCoordinates)
  {
    auto const component = std::dynamic_pointer_cast<ResourceGradientToSF>(iResource);
    SFFieldNode::Operands position;
    for (std::size_t i = 0; i < position.size(); ++i)
      position[i] = iCoordinates[i].GetNode();
    auto detail = std::make_unique<SFFieldDetail>();
    detail->resource = component != nullptr ? component->GetResource() : iResource;
    return SFField(component != nullptr
                       ? MakeResource(SFNodeType::POLYGRADIENT, NumberOf(component->GetVariableType()),
                                      std::move(position), std::move(detail))
                       : MakeResource(SFNodeType::RESOLVEDREF, 0.0, std::move(position), std::move(detail)));
  }

  static SFField Moved(SFField const& iField, SFDagOffset const& iOffset)
  {
    double const distance = ConstantOf(iOffset);
    switch (iOffset.GetSides()) {
    case SFDagOffset::EOneSided:
      return Offset(iField, distance);
    case SFDagOffset::ETwoSided:
      return max(Offset(iField, std::abs(distance) / 2.0), -Offset(iField, -std::abs(distance) / 2.0));
    default:
      Argument::Refuse("graph", "an offset has neither one side nor two");
    }
  }

  /// Counts what a step has made beside the parts of the plan.
  SFField Charged(SFField iField)
  {
    _size += iField.NodeCount();
    if (_size > SFField::MaxNodes)
      throw std::length_error("graph: offsets of more than " + std::to_string(SFField::MaxNodes) + " nodes");
    return iField;
  }

  SFGraphReading const& _reading;
  SFFramePlan const& _plan;
  std::vector<SFField3> _frames;
  std::vector<SFField> _fields;
  std::size_t _size;
};

} // namespace

SFField SFField::FromNode(std::shared_ptr<SFDagNode> const& iRoot)
{
  SFGraphReading const reading(iRoot);
  SFFramePlan const plan(reading);
  return Meaning(reading, plan).Root();
}

SFField SFField::FromExpression(std::string_view iText, SFResourceResolver* iResolver)
{
  std::string text(iText);
  // A number ends at a blank and nothing else.
  std::replace_if(
      text.begin(), text.end(), [](char iCharacter) { return iCharacter >= '\t' && iCharacter <= '\r'; }, ' ');
  if (text.find_first_not_of(' ') == std::string::npos)
    Argument::Refuse("text", "empty");
  SFSilence const silence;
  auto const root = SFDagFromExpression::BuildFromExpression(text, iResolver, SFNodeEquality::EExact);
  if (root == nullptr)
    Argument::Refuse("text", "not a readable expression");
  return FromNode(root);
}

} // namespace SF
