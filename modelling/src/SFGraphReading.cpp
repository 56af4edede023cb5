#include "SFGraphReading.h"

#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFArgument.h"
#include "SFBlendNode.h"
#include "SFConstant.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFOp.h"
#include "SFOperatorTable.h"
#include "SFVariable.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>
#include <typeinfo>

namespace SF {
namespace {

[[noreturn]] void Refuse(std::string const& iWhy) { Argument::Refuse("graph", iWhy); }

/// Exactly a class: what a host derives from it may mean something else.
template <class... Classes>
bool IsA(SFDagNode const& iNode)
{
  return ((typeid(iNode) == typeid(Classes)) || ...);
}

bool IsOfAKnownClass(SFDagNode const& iNode)
{
  switch (FamilyOf(iNode.GetTypeTag())) {
  case SFNodeFamily::Coordinate:
  case SFNodeFamily::Operator:
    return IsA<SFOp, SFDagNode>(iNode);
  case SFNodeFamily::Constant:
    return iNode.GetTypeTag() == SFNodeType::CONSTANT ? IsA<SFConstant>(iNode) : IsA<SFVariable>(iNode);
  case SFNodeFamily::Resource:
    return dynamic_cast<ResourceToSF const*>(&iNode) != nullptr;
  case SFNodeFamily::Transform:
    return iNode.GetTypeTag() == SFNodeType::AFFINETRANSFORM ? IsA<SFAffineTransform>(iNode)
                                                             : IsA<SFCylindricalTransform>(iNode);
  case SFNodeFamily::Blend:
    return IsA<SFBlendNode>(iNode);
  case SFNodeFamily::Offset:
    return IsA<SFDagOffset>(iNode);
  default:
    return true;
  }
}

void RequireMeaning(SFDagNode const& iNode)
{
  std::string const name(OperatorRow(iNode.GetTypeTag()).name);
  switch (iNode.GetTypeTag()) {
  case SFNodeType::END:
    Refuse("ends where an operand is expected");
  case SFNodeType::UNRESOLVEDREF:
    Refuse("the reference '" + iNode.GetExpressionId() + "' has no resource");
  case SFNodeType::DISCRETETRANFORM:
  case SFNodeType::GCGUIDEDTRANSFORM:
    Refuse("a transform of kind " + name + " maps no points");
  default:
    break;
  }
  if (FamilyOf(iNode.GetTypeTag()) == SFNodeFamily::None)
    Refuse("a node of kind " + name + " has no value");
  if (!IsOfAKnownClass(iNode))
    Refuse("a node of kind " + name + " has a class of its own");
  if (IsA<ExplicitToSF>(iNode))
    Refuse("the reference '" + iNode.GetExpressionId() + "' has no resource");
  auto const* const component = dynamic_cast<ResourceGradientToSF const*>(&iNode);
  if (component != nullptr && (component->GetResource() == nullptr || !IsCoordinate(component->GetVariableType())))
    Refuse("a component of a gradient has no resource or no coordinate");
}

SFMapping MappingOf(SFAffineTransform const& iTransform)
{
  ZULMathTransformation const* inverse = nullptr;
  if (Failed(iTransform.FindInverse(inverse)))
    Refuse("an affine transform has no inverse");
  // The inverse of the identity is not computed.
  return {.origin = {}, .rows = RowsOf(*inverse)};
}

bool IsUnit(ZULMathVector const& iVector) { return std::abs(iVector.Length() - 1.0) < 1e-6; }

SFMapping MappingOf(SFCylindricalTransform const& iTransform)
{
  auto const parameters = iTransform.GetParameters();
  auto const& [u, w, axis] = iTransform.GetFrame();
  bool const isFinite =
      std::all_of(parameters.begin(), parameters.end(), [](double iNumber) { return std::isfinite(iNumber); });
  if (!isFinite || !IsUnit(u) || !IsUnit(w) || !IsUnit(axis) || iTransform.GetScale() == 0.0)
    Refuse("a cylindrical transform has no axis or an angular scale of 0");
  SFAffineRows const rows{{{u.x, u.y, u.z, 0.0}, {w.x, w.y, w.z, 0.0}, {axis.x, axis.y, axis.z, 0.0}}};
  return {.origin = iTransform.GetOrigin(), .rows = rows, .angular = iTransform.GetScale()};
}

SFMapping MappingOf(SFDagNode const& iTransform)
{
  if (iTransform.GetTypeTag() == SFNodeType::AFFINETRANSFORM)
    return MappingOf(static_cast<SFAffineTransform const&>(iTransform));
  return MappingOf(static_cast<SFCylindricalTransform const&>(iTransform));
}

} // namespace

bool SFMapping::IsIdentity() const { return angular == 0.0 && rows == RowsOf({}); }

SFField3 SFMapping::operator()(SFField3 const& iCoordinates) const
{
  SFField3 const image =
      AffineImage(rows, {iCoordinates[0] - origin.x, iCoordinates[1] - origin.y, iCoordinates[2] - origin.z});
  if (angular == 0.0)
    return image;
  return {Length({image[0], image[1]}), std::floor(angular + 1.0) * Angle(image[1], image[0]) / angular, image[2]};
}

std::size_t SFMapping::Size() const
{
  constexpr std::size_t originAndAngle = 40;
  std::size_t size = angular == 0.0 ? 1 : originAndAngle;
  for (SFAffineRow const& row : rows)
    size += AffineFormSize(row);
  return size;
}

struct SFGraphReading::Visit
{
  std::shared_ptr<SFDagNode> const* node;
  std::array<std::uint32_t, 2> operands{None, None};
  std::size_t next = 0; ///< the operand to enter
};

SFGraphReading::SFGraphReading(std::shared_ptr<SFDagNode> const& iRoot)
{
  std::vector<Visit> visits;
  std::uint32_t last = None; // the node that has been found or left
  auto const enter = [&](std::shared_ptr<SFDagNode> const& iNode) {
    if (iNode == nullptr)
      Refuse("an operand is missing");
    auto const found = _numbers.find(iNode.get());
    if (found != _numbers.end())
      last = found->second;
    else {
      RequireMeaning(*iNode);
      visits.push_back({&iNode});
    }
  };
  enter(iRoot);
  while (!visits.empty()) {
    Visit& visit = visits.back();
    if (last != None)
      visit.operands[visit.next++] = std::exchange(last, None);
    SFDagNode const& node = **visit.node;
    if (visit.next < static_cast<std::size_t>(OperatorRow(node.GetTypeTag()).arity)) {
      enter(visit.next == 0 ? node.GetLhs() : node.GetRhs());
      continue;
    }
    last = Leave(visit);
    visits.pop_back();
  }
}

std::uint32_t SFGraphReading::Leave(Visit const& iVisit)
{
  if (_nodes.size() == SFField::MaxNodes)
    throw std::length_error("graph: more than " + std::to_string(SFField::MaxNodes) + " nodes");
  SFDagNode const& node = **iVisit.node;
  auto const number = static_cast<std::uint32_t>(_nodes.size());
  _nodes.push_back({iVisit.node, iVisit.operands});
  if (FamilyOf(node.GetTypeTag()) == SFNodeFamily::Transform) {
    SFMapping const mapping = MappingOf(node);
    if (!mapping.IsIdentity())
      _nodes.back().mapping = NumberOf(mapping);
  }
  _numbers.emplace(&node, number);
  return number;
}

std::uint32_t SFGraphReading::NumberOf(SFMapping const& iMapping)
{
  std::array<double, 16> numbers{iMapping.origin.x, iMapping.origin.y, iMapping.origin.z, iMapping.angular};
  for (std::size_t i = 0; i < 12; ++i)
    numbers[4 + i] = iMapping.rows[i / 4][i % 4];
  std::string key(reinterpret_cast<char const*>(numbers.data()), sizeof numbers);
  auto const [at, isNew] = _mappingNumbers.try_emplace(std::move(key), static_cast<std::uint32_t>(_mappings.size()));
  if (isNew)
    _mappings.push_back(iMapping);
  return at->second;
}

} // namespace SF
