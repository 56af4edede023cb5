#include "SFTextFidelity.h"

#include "SFAffineTransform.h"
#include "SFBlendNode.h"
#include "SFCylindricalTransform.h"
#include "SFDagOffset.h"
#include "SFDagTraversal.h"
#include "SFNodeIndex.h"
#include "SFOperatorTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace SF {
namespace {

/// The numbers that text gives for a node.
std::vector<double> NumbersOf(SFDagNode const& iNode)
{
  auto const list = [](auto const& iNumbers) { return std::vector<double>(iNumbers.begin(), iNumbers.end()); };
  switch (iNode.GetTypeTag()) {
  case SFNodeType::CONSTANT:
  case SFNodeType::PARAMETER:
  case SFNodeType::OFFSET: {
    double value = 0.0;
    iNode.GetConstant(value);
    return {value};
  }
  case SFNodeType::AFFINETRANSFORM:
    if (auto const* const affine = NodeAs<SFAffineTransform>(iNode))
      return list(affine->GetParameters());
    return {};
  case SFNodeType::CYLINDRICALTRANSFORM:
    if (auto const* const cylinder = NodeAs<SFCylindricalTransform>(iNode))
      return list(cylinder->GetParameters());
    return {};
  case SFNodeType::BLEND:
    if (auto const* const blend = NodeAs<SFBlendNode>(iNode))
      return {blend->GetBlendParameter()};
    return {};
  default:
    return {};
  }
}

bool HasOwnReferenceDirection(SFCylindricalTransform const& iCylinder)
{
  auto const same = [](ZULMathVector const& iA, ZULMathVector const& iB) {
    return iA.x == iB.x && iA.y == iB.y && iA.z == iB.z;
  };
  SFCylindricalTransform const fromText(iCylinder.GetParameters());
  auto const& frame = iCylinder.GetFrame();
  auto const& textFrame = fromText.GetFrame();
  return !same(frame.u, textFrame.u) || !same(frame.w, textFrame.w);
}

bool HasOwnSettings(SFDagOffset const& iOffset)
{
  ZULTolerance const* const tolerance = iOffset.GetTolerance();
  return iOffset.GetSides() != SFDagOffset::EOneSided ||
         (tolerance != nullptr && tolerance->GetResolution() != ZULGetDefaultTolerance().GetResolution());
}

bool TextCanSayNode(SFDagNode const& iNode)
{
  switch (FamilyOf(iNode.GetTypeTag())) {
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Resource:
    return false;
  case SFNodeFamily::Coordinate:
  case SFNodeFamily::Reference:
  case SFNodeFamily::Operator:
    return true;
  case SFNodeFamily::Transform:
    if (auto const* const cylinder = NodeAs<SFCylindricalTransform>(iNode); cylinder != nullptr)
      if (HasOwnReferenceDirection(*cylinder))
        return false;
    break;
  case SFNodeFamily::Offset:
    if (auto const* const offset = NodeAs<SFDagOffset>(iNode); offset != nullptr && HasOwnSettings(*offset))
      return false;
    break;
  case SFNodeFamily::Constant:
  case SFNodeFamily::Blend:
    break;
  }
  auto const numbers = NumbersOf(iNode);
  return std::all_of(numbers.begin(), numbers.end(), [](double iNumber) { return std::isfinite(iNumber); });
}

double AsText(double iNumber)
{
  std::string text;
  ToSFString(iNumber, text);
  double number = 0.0;
  ReadSFNumber(text, number);
  return number;
}

bool SaysNode(SFDagNode const& iRead, SFDagNode const& iWritten)
{
  SFNodeType const type = iWritten.GetTypeTag();
  bool const hasId = type == SFNodeType::PARAMETER || FamilyOf(type) == SFNodeFamily::Reference;
  if (iRead.GetTypeTag() != type || (hasId && iRead.GetExpressionId() != iWritten.GetExpressionId()))
    return false;
  auto const read = NumbersOf(iRead);
  auto const written = NumbersOf(iWritten);
  return std::equal(read.begin(), read.end(), written.begin(), written.end(),
                    [](double iA, double iB) { return iA == AsText(iB); });
}

} // namespace

bool TextCanSay(SFDagNode const& iRoot, std::size_t iMaxTokens)
{
  SFNodeIndex index;
  std::vector<std::size_t> tokens;
  for (SFDagNode const* const node : PostOrder(iRoot, SFReach::Operands)) {
    if (!TextCanSayNode(*node))
      return false;
    std::size_t count = 1;
    for (SFDagNode const* const operand : {node->GetLhs().get(), node->GetRhs().get()})
      if (operand != nullptr)
        count += tokens[index.Find(operand)];
    if (count > iMaxTokens)
      return false;
    index.Insert(node);
    tokens.push_back(count);
  }
  return true;
}

bool TextSays(SFDagNode const& iRead, SFDagNode const& iWritten)
{
  SFNodeIndex index;
  std::vector<SFDagNode const*> readFor; // by index of the written node
  std::vector<std::pair<SFDagNode const*, SFDagNode const*>> open{{&iRead, &iWritten}};
  while (!open.empty()) {
    auto const [read, written] = open.back();
    open.pop_back();
    if (read == nullptr || written == nullptr) {
      if (read != written)
        return false;
      continue;
    }
    auto const [number, isNew] = index.Insert(written);
    if (isNew)
      readFor.push_back(read);
    else if (std::exchange(readFor[number], read) == read)
      continue;
    if (!SaysNode(*read, *written))
      return false;
    open.emplace_back(read->GetRhs().get(), written->GetRhs().get());
    open.emplace_back(read->GetLhs().get(), written->GetLhs().get());
  }
  return true;
}

} // namespace SF
