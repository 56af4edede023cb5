#include "SFPointBatch.h"
#include "SFSampling.h"
#include "SFWork.h"

#include <algorithm>
#include <cmath>

namespace SF {

std::uint64_t CountNans(SFCompiledField const& iField, SFGridFrame const& iFrame, std::uint32_t iFirst,
                        std::span<float const> iValues)
{
  if (iValues.empty())
    return 0;
  std::uint64_t const first = std::uint64_t{iFirst} * iFrame.dims[0] * iFrame.dims[1];
  auto const low = iFrame.PointAt(first);
  auto const high = iFrame.PointAt(first + iValues.size() - 1);
  double least = 0.0;
  double most = 0.0;
  if (iField.EvaluateInterval({{low[0], low[1], low[2]}, {high[0], high[1], high[2]}}, least, most) == S_OK)
    return 0;
  // They are stored as the diagonal of the grid, as all is that is as far away as that.
  float const farthest = *std::max_element(iValues.begin(), iValues.end());
  constexpr std::size_t atOnce = 1 << 16;
  std::uint64_t nans = 0;
  SFPointBatch suspects;
  for (std::size_t index = 0; index < iValues.size(); ++index) {
    if (iValues[index] == farthest)
      suspects.Add(iFrame.PointAt(first + index));
    if (suspects.Size() < atOnce && index + 1 < iValues.size())
      continue;
    suspects.Evaluate(iField);
    for (std::size_t i = 0; i < suspects.Size(); ++i)
      nans += std::isnan(suspects.Value(i)) ? 1 : 0;
    suspects.Clear();
  }
  return nans;
}

} // namespace SF
