#include "tape/SFTapeFusion.h"

#include <algorithm>
#include <array>

namespace SF {

void SFTapeFusion::FindGroups(SFTapeList const& iList, SFTapeShapes const& iShapes)
{
  CountUses(iList, false);
  auto const& steps = iList.steps;
  for (std::uint32_t at = 0; at < steps.size(); ++at)
    if (!_tape.IsHoisted(steps[at].id) && IsFusable(steps[at].code))
      FuseOperands(iList, at, iShapes);
  FindLastUses(iList, false);
}

void SFTapeFusion::SeparateSteps(SFTapeList const& iList)
{
  CountUses(iList, true);
  FindLastUses(iList, true);
}

void SFTapeFusion::CountUses(SFTapeList const& iList, bool iHoisted)
{
  auto const& steps = iList.steps;
  for (std::uint32_t at = 0; at < steps.size(); ++at)
    _values[steps[at].id] = {at, 0, 0};
  for (SFTapeStep const& step : steps)
    if (_tape.IsHoisted(step.id) == iHoisted)
      ForOperands(step, [&](SFValueId iId) { ++_values[iId].uses; });
  for (SFValueId const result : iList.results)
    ++_values[result].uses;
  _fusedInto.assign(steps.size(), None);
  _needsSecond.assign(steps.size(), 0);
}

/// Fuses with a step those of its operands that it alone reads.
void SFTapeFusion::FuseOperands(SFTapeList const& iList, std::uint32_t iAt, SFTapeShapes const& iShapes)
{
  auto const& steps = iList.steps;
  std::size_t const volume = iShapes[steps[iAt].axes].volume;
  std::array<std::uint32_t, 2> fused{None, None};
  std::size_t count = 0;
  ForOperands(steps[iAt], [&](SFValueId iId) {
    Value const& value = _values[iId];
    if (value.at >= iAt || steps[value.at].id != iId || value.uses != 1 || _tape.IsHoisted(iId))
      return;
    if (steps[iAt].code == SelectCode && iId == steps[iAt].operands[0])
      return; // a condition is read from memory
    // Of fewer axes, perhaps, but not of fewer points: then none is computed more often than before.
    SFTapeStep const& operand = steps[value.at];
    if (IsFusable(operand.code) && iShapes[operand.axes].volume == volume)
      fused[count++] = value.at;
  });
  // There is one second register, so of two operands one at most may itself need it.
  if (count == 2 && _needsSecond[fused[0]] != 0 && _needsSecond[fused[1]] != 0)
    fused[0] = fused[--count];
  bool needsSecond = count == 2;
  for (std::size_t i = 0; i < count; ++i) {
    _fusedInto[fused[i]] = iAt;
    needsSecond = needsSecond || _needsSecond[fused[i]] != 0;
  }
  _needsSecond[iAt] = needsSecond ? 1 : 0;
}

/// A fused step reads its operands when its group runs, at the group's end.
void SFTapeFusion::FindLastUses(SFTapeList const& iList, bool iHoisted)
{
  auto const& steps = iList.steps;
  _groupEnds.resize(steps.size());
  for (auto at = static_cast<std::uint32_t>(steps.size()); at-- > 0;) {
    std::uint32_t const into = _fusedInto[at];
    std::uint32_t const end = _groupEnds[at] = into == None ? at : _groupEnds[into];
    if (_tape.IsHoisted(steps[at].id) == iHoisted)
      ForOperands(steps[at], [&](SFValueId iId) { _values[iId].lastUse = std::max(_values[iId].lastUse, end); });
  }
  for (SFValueId const result : iList.results)
    _values[result].lastUse = None;
}

std::vector<std::uint32_t> const& SFTapeFusion::GroupAt(SFTapeList const& iList, std::uint32_t iEnd)
{
  _group.clear();
  _openPositions.assign(1, iEnd);
  while (!_openPositions.empty()) { // backwards
    std::uint32_t const at = _openPositions.back();
    _openPositions.pop_back();
    _group.push_back(at);
    std::size_t const known = _openPositions.size();
    ForOperands(iList.steps[at], [&](SFValueId iId) {
      std::uint32_t const before = _values[iId].at; // an earlier list's, where this one only reads it
      if (before < at && iList.steps[before].id == iId && _fusedInto[before] == at)
        _openPositions.push_back(before);
    });
    if (_openPositions.size() == known + 2) {
      auto& first = _openPositions[known];
      auto& second = _openPositions[known + 1];
      if (_needsSecond[second] != 0 || (_needsSecond[first] == 0 && second < first))
        std::swap(first, second);
    }
  }
  std::reverse(_group.begin(), _group.end());
  return _group;
}

} // namespace SF
