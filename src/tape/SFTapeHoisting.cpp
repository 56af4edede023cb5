#include "tape/SFTapeHoisting.h"

#include "tape/SFTapeShape.h"

#include <algorithm>

namespace SF {
namespace {

using Dims = std::array<unsigned int, 3>;

int AxisCount(SFAxes iAxes) { return (iAxes & 1) + (iAxes >> 1 & 1) + (iAxes >> 2 & 1); }

/// Per axis pair, the highest cost of one 2-D value, computed from the values of single axes, in additions.
std::array<std::size_t, 8> HighestPlaneCosts(SFTape const& iTape)
{
  auto const& instructions = iTape.instructions;
  constexpr std::size_t most = 1000;
  std::vector<std::size_t> costs(instructions.size(), 0);
  std::array<std::size_t, 8> highest{};
  for (std::size_t id = 0; id < instructions.size(); ++id) {
    auto const& instruction = instructions[id];
    if (AxisCount(instruction.axes) != 2)
      continue;
    costs[id] = CostOf(instruction.code);
    ForOperands(instruction, [&](SFValueId iOperand) {
      if (instructions[iOperand].axes == instruction.axes)
        costs[id] = std::min(most, costs[id] + costs[iOperand]);
    });
    highest[instruction.axes] = std::max(highest[instruction.axes], costs[id]);
  }
  return highest;
}

/// By value: whether a result is it, or a value of other axes reads it.
std::vector<char> ReadAcrossAxes(SFTape const& iTape)
{
  auto const& instructions = iTape.instructions;
  std::vector<char> isRead(instructions.size(), 0);
  for (auto const& instruction : instructions)
    ForOperands(instruction, [&](SFValueId iOperand) {
      if (instructions[iOperand].axes != instruction.axes)
        isRead[iOperand] = 1;
    });
  for (SFValueId const result : iTape.results)
    isRead[result] = 1;
  return isRead;
}

/// By set of axes: whether its values are hoisted.
std::array<bool, 8> ChooseAxes(SFTape const& iTape, std::vector<char> const& iIsRead, Dims const& iDims,
                               std::size_t iBudget)
{
  // A plane that does not fit into a near cache takes longer to read than a few operations on the values of its axes.
  constexpr std::size_t leastPlaneCost = 8;
  constexpr std::size_t nearBytes = std::size_t{512} << 10;
  auto const highestCosts = HighestPlaneCosts(iTape);
  std::array<std::size_t, 8> bytes{};
  for (std::size_t id = 0; id < iTape.instructions.size(); ++id)
    if (iIsRead[id] != 0)
      bytes[iTape.instructions[id].axes] += VolumeOf(iTape.instructions[id].axes, iDims) * sizeof(double);

  std::array<bool, 8> isHoisted{};
  isHoisted[0] = true;
  std::size_t spent = 0;
  for (int axisCount = 1; axisCount <= 2; ++axisCount)
    for (SFAxes axes = 1; axes < AllAxes; ++axes) {
      // Each value is read this often. Where the grid is flat along the missing axes nothing is saved.
      std::size_t const reads = VolumeOf(static_cast<SFAxes>(AllAxes & ~axes), iDims);
      if (AxisCount(axes) != axisCount || reads < 4 || spent + bytes[axes] > iBudget)
        continue;
      // The values of a plane are computed from those of its axes.
      bool const pays = highestCosts[axes] >= leastPlaneCost || bytes[axes] <= nearBytes;
      if (axisCount == 2 && (!pays || !(isHoisted[axes & 1] && isHoisted[axes & 2] && isHoisted[axes & 4])))
        continue;
      isHoisted[axes] = true;
      spent += bytes[axes];
    }
  return isHoisted;
}

} // namespace

SFHoistingPlan PlanHoisting(SFTape const& iTape, Dims const& iDims, std::size_t iBudget)
{
  auto const& instructions = iTape.instructions;
  auto const isRead = ReadAcrossAxes(iTape);
  auto const isHoisted = ChooseAxes(iTape, isRead, iDims, iBudget);
  SFHoistingPlan plan;
  plan.hoisting.assign(instructions.size(), SFHoisting::No);
  plan.tileList.results = iTape.results;
  for (SFValueId id = 0; id < instructions.size(); ++id) {
    SFTapeStep const step = StepOf(instructions[id], id);
    if (isHoisted[step.axes])
      plan.hoisting[id] = step.axes == 0 || isRead[id] != 0 ? SFHoisting::Stored : SFHoisting::Transient;
    if (step.axes != 0)
      (isHoisted[step.axes] ? plan.axesLists[step.axes] : plan.tileList).steps.push_back(step);
  }
  return plan;
}

} // namespace SF
