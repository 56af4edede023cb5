#pragma once

#include "ResourceToSF.h"
#include "SFTransform.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace SF {

/// A transform guided by wires, of type GCGUIDEDTRANSFORM. The wires are grouped into cross sections. The node carries
/// them for the host: it is read, written and drawn, and the evaluator rejects it.
class SF_EXPORT SFGCGuidedTransform : public SFTransform
{
public:
  /// A resource, shared with the host.
  using Wire = std::shared_ptr<ResourceToSF>;

  /// No cross sections.
  SFGCGuidedTransform();
  /// Shares operands and wires.
  SFGCGuidedTransform(SFGCGuidedTransform const&) = default;
  ~SFGCGuidedTransform() override;

  /// Those without wires count too.
  std::size_t GetCrossSectionCount() const { return _crossSections.size(); }
  /// 0 for a cross section that does not exist.
  std::size_t GetWireCount(std::size_t iCrossSectionIndex) const
  {
    return iCrossSectionIndex < _crossSections.size() ? _crossSections[iCrossSectionIndex].size() : 0;
  }

  /// Adds a cross section without wires at the end.
  void AddCrossSection() { _crossSections.emplace_back(); }

  /// Adds a wire at the end of a cross section; nothing, after a line, when there is no such cross section.
  void AddWireToCrossSection(std::size_t iCrossSectionIndex, Wire iWire)
  {
    if (!(iCrossSectionIndex < _crossSections.size())) {
      Diagnostics::NotSatisfied("AddWireToCrossSection", "iCrossSectionIndex < _crossSections.size()",
                                SFSourceLocation::In(Header));
      return;
    }
    _crossSections[iCrossSectionIndex].push_back(std::move(iWire));
  }

  /// A wire; null, after a line, when there is none at these indices.
  Wire GetWire(std::size_t iCrossSectionIndex, std::size_t iWireIndex) const
  {
    if (!(iCrossSectionIndex < _crossSections.size())) {
      Diagnostics::NotSatisfied("GetWire", "iCrossSectionIndex < _crossSections.size()", SFSourceLocation::In(Header));
      return nullptr;
    }
    if (!(iWireIndex < _crossSections[iCrossSectionIndex].size())) {
      Diagnostics::NotSatisfied("GetWire", "iWireIndex < _crossSections[iCrossSectionIndex].size()",
                                SFSourceLocation::In(Header));
      return nullptr;
    }
    return _crossSections[iCrossSectionIndex][iWireIndex];
  }

private:
  static constexpr char const* Header = "PrivateInterfaces/SFGCGuidedTransform.h";

  std::vector<std::vector<Wire>> _crossSections;
};

} // namespace SF
