#pragma once

#include "SFAffineTransform.h"
#include "SFDagNode.h"

#include <array>
#include <cstddef>
#include <string>

namespace SF {

/// The numbers that text gives for a node, in its order: none for a node without any, and for one that only claims to
/// be of its kind.
class SFNodeNumbers
{
public:
  explicit SFNodeNumbers(SFDagNode const& iNode);

  double const* begin() const { return _values.data(); }
  double const* end() const { return _values.data() + _count; }

private:
  template <std::size_t Count>
  void Take(std::array<double, Count> const& iNumbers);

  std::array<double, SFAffineTransform::CoefficientCount> _values{};
  std::size_t _count = 0;
};

/// All that text gives for a node beside its kind and its operands, as bytes: the bits of its numbers, its name, its id
/// and those of the resources that it holds. Two nodes of a kind have the same bytes exactly when all of that is the
/// same; the sign of a zero counts.
std::string PayloadOf(SFDagNode const& iNode);

} // namespace SF
