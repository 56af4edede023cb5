#include "text/SFNodePayload.h"

#include "SFOperatorTable.h"
#include "graph/SFDagTraversal.h"
#include "graph/SFNodeClasses.h"

#include <algorithm>

namespace SF {

SFNodeNumbers::SFNodeNumbers(SFDagNode const& iNode)
{
  SFNodeFamily const family = FamilyOf(iNode.GetTypeTag());
  if (family == SFNodeFamily::Constant || family == SFNodeFamily::Offset) {
    _count = 1;
    iNode.GetConstant(_values[0]);
  } else
    VisitParameters(iNode, [this](auto const& iKnown) { Take(iKnown.GetParameters()); });
}

template <std::size_t Count>
void SFNodeNumbers::Take(std::array<double, Count> const& iNumbers)
{
  static_assert(Count <= SFAffineTransform::CoefficientCount);
  std::copy(iNumbers.begin(), iNumbers.end(), _values.begin());
  _count = Count;
}

namespace {

template <class Value>
void AppendBytes(Value const& iValue, std::string& ioBytes)
{
  ioBytes.append(reinterpret_cast<char const*>(&iValue), sizeof iValue);
}

/// With its length in front, so that two texts in a row cannot be taken for two others.
void AppendText(std::string const& iText, std::string& ioBytes)
{
  AppendBytes(iText.size(), ioBytes);
  ioBytes += iText;
}

void AppendId(std::shared_ptr<ResourceToSF> const& iResource, std::string& ioBytes)
{
  AppendText(iResource != nullptr ? iResource->GetExpressionId() : std::string(), ioBytes);
}

void AppendIds(SFGCGuidedTransform const& iTransform, std::string& ioBytes)
{
  for (std::size_t section = 0; section < iTransform.GetCrossSectionCount(); ++section) {
    std::size_t const count = iTransform.GetWireCount(section);
    AppendBytes(count, ioBytes);
    for (std::size_t wire = 0; wire < count; ++wire)
      AppendId(iTransform.GetWire(section, wire), ioBytes);
  }
}

} // namespace

std::string PayloadOf(SFDagNode const& iNode)
{
  SFNodeNumbers const numbers(iNode);
  std::string bytes(reinterpret_cast<char const*>(numbers.begin()), reinterpret_cast<char const*>(numbers.end()));
  if (auto const* const discrete = NodeAs<SFDiscreteTransformNode>(iNode)) {
    AppendId(discrete->GetFirstResource(), bytes);
    AppendId(discrete->GetSecondResource(), bytes);
  } else if (auto const* const guided = NodeAs<SFGCGuidedTransform>(iNode))
    AppendIds(*guided, bytes);
  bytes += iNode.GetExpressionId();
  return bytes;
}

} // namespace SF
