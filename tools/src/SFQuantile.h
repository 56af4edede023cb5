#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace SF {

/// The value that a share of the others lies below, from 0 to 1; 0 when there are none. Puts them into another order.
inline double Quantile(std::vector<double>& ioValues, double iShare)
{
  if (ioValues.empty())
    return 0.0;
  auto const place = static_cast<std::ptrdiff_t>(static_cast<double>(ioValues.size() - 1) * iShare);
  std::nth_element(ioValues.begin(), ioValues.begin() + place, ioValues.end());
  return ioValues[static_cast<std::size_t>(place)];
}

} // namespace SF
