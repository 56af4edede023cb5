#include "tape/SFProgramParts.h"

#include "tape/SFPruningPass.h"
#include "tape/SFTapeIntervals.h"

#include <algorithm>
#include <span>
#include <utility>

namespace SF {
namespace {

/// Prunes the steps that always run for all parts together.
class Pruning
{
public:
  Pruning(SFPointProgram const& iProgram, SFTape const& iTape)
    : _program(iProgram), _invariants(SFTapeInvariants::AtPoints(iTape, {})),
      _chooserOf(iProgram.conditions.size(), NoChooser)
  {
    FindChoosers();
    MakeList();
  }

  void Run(std::span<SFPointBox const> iBoxes, std::span<SFProgramPart> oParts)
  {
    static SFSlopeTable const none;
    SFTape const& tape = _invariants.GetTape();
    SFPrunerScratch scratch;
    scratch.positions.resize(tape.instructions.size());
    std::vector<SFStepState<SFRangeLanes>> states;
    SFPruningPass<SFRangeLanes> pass(_invariants, tape.slopes != nullptr ? *tape.slopes : none, SFInterval::Infinity,
                                     _list, iBoxes, scratch, states);
    pass.ComputeRanges();
    pass.PushDemands();
    for (std::size_t lane = 0; lane < oParts.size(); ++lane)
      Write(pass, lane, oParts[lane]);
  }

private:
  using Action = SFProgramPart::Action;
  static constexpr SFValueId NoChooser = UINT32_MAX;

  /// Conditions that are computed in any case have none.
  void FindChoosers()
  {
    SFTape const& tape = _invariants.GetTape();
    std::vector<SFValueId> chooserBy(tape.instructions.size(), NoChooser);
    for (SFTapeChoice const& choice : tape.choices)
      chooserBy[choice.condition] = choice.chooser;
    std::vector<char> isStep(tape.instructions.size(), 0);
    for (SFPointProgram::Step const& step : _program.steps)
      isStep[step.id] = 1;
    for (std::size_t i = 0; i < _chooserOf.size(); ++i) {
      SFPointProgram::Condition const& condition = _program.conditions[i];
      SFValueId const chooser = chooserBy[condition.step.id];
      if (!condition.isComputed && chooser != NoChooser && isStep[chooser] != 0)
        _chooserOf[i] = chooser;
    }
  }

  void MakeList()
  {
    SFTape const& tape = _invariants.GetTape();
    std::vector<char> isWanted(tape.instructions.size(), 0);
    for (SFPointProgram::Step const& step : _program.steps) {
      isWanted[step.id] = 1;
      ForOperands(tape.instructions[step.id], [&](SFValueId iOperand) { isWanted[iOperand] = 1; });
    }
    for (SFValueId const id : {_invariants.GetOne(), _invariants.GetMinusOne(), _invariants.GetMinusInfinity()})
      Add(id, InputCode);
    for (SFValueId id = 0; id < _invariants.GetOne(); ++id)
      if (isWanted[id] != 0)
        Add(id, _invariants.IsHoisted(id) ? InputCode : tape.instructions[id].code);
    auto const need = [&](SFValueId iId) {
      if (isWanted[iId] != 0)
        _list.results.push_back(iId);
    };
    for (SFValueId const result : tape.results)
      need(result);
    for (SFValueId const value : tape.readAside)
      need(value);
    for (std::size_t i = 0; i < _chooserOf.size(); ++i)
      if (_chooserOf[i] == NoChooser) {
        SFPointProgram::Condition const& condition = _program.conditions[i];
        need(condition.step.id);
        if (!condition.isComputed)
          ForOperands(tape.instructions[condition.step.id], need);
      }
  }

  void Add(SFValueId iId, SFTapeCode iCode)
  {
    SFTapeStep step = StepOf(_invariants.GetTape().instructions[iId], iId);
    step.code = iCode;
    if (auto const& slopes = _invariants.GetTape().slopes;
        slopes != nullptr && iId < slopes->entries.size() && iCode != InputCode)
      step.slope = slopes->entries[iId].use;
    _list.steps.push_back(step);
  }

  Action ActionOf(SFValueId iId, SFStepState<SFRangeLanes> const& iState, std::size_t iLane) const
  {
    if ((iState.negates >> iLane & 1U) != 0)
      return Action::NegatedSecond;
    if ((iState.replaced >> iLane & 1U) == 0)
      return Action::Run;
    SFValueId const by = iState.replacements[iLane];
    if (by >= _invariants.GetOne())
      return by == _invariants.GetOne() ? Action::One : Action::MinusOne;
    return by == _invariants.GetTape().instructions[iId].operands[0] ? Action::First : Action::Second;
  }

  void Write(SFPruningPass<SFRangeLanes> const& iPass, std::size_t iLane, SFProgramPart& oPart) const
  {
    for (std::uint32_t number = 0; number < _program.steps.size(); ++number) {
      SFValueId const id = _program.steps[number].id;
      if (auto const& state = iPass.At(id); (state.needed >> iLane & 1U) != 0)
        oPart.steps.push_back({number, ActionOf(id, state, iLane)});
    }
    oPart.taken.assign(_chooserOf.size(), SFProgramPart::Unknown);
    for (std::size_t i = 0; i < _chooserOf.size(); ++i) {
      SFValueId const chooser = _chooserOf[i];
      if (chooser == NoChooser || (iPass.At(chooser).needed >> iLane & 1U) == 0)
        continue;
      // The first operand of the selection is the derivative of the second one of the minimum.
      if (Action const action = ActionOf(chooser, iPass.At(chooser), iLane); action != Action::Run)
        oPart.taken[i] = action == Action::First ? SFProgramPart::Second : SFProgramPart::First;
    }
  }

  SFPointProgram const& _program;
  SFTapeInvariants _invariants;
  std::vector<SFValueId> _chooserOf; ///< by condition
  SFPrunableList _list;
};

} // namespace

SFProgramParts::SFProgramParts(SFPointProgram const& iProgram, SFTape const& iTape, SFPointBox const& iBox) : _box(iBox)
{
  for (std::size_t axis = 0; axis < 3; ++axis)
    _middle[axis] = MiddleOf(iBox[axis]);
  std::array<SFPointBox, Count> boxes;
  for (std::size_t part = 0; part < Count; ++part)
    for (std::size_t axis = 0; axis < 3; ++axis)
      boxes[part][axis] = (part >> axis & 1U) != 0 ? SFInterval{_middle[axis], iBox[axis].hi, false}
                                                   : SFInterval{iBox[axis].lo, _middle[axis], false};
  Pruning(iProgram, iTape).Run(boxes, _parts);
}

std::size_t SFProgramParts::GetBytes() const
{
  std::size_t bytes = sizeof(*this);
  for (SFProgramPart const& part : _parts)
    bytes += part.steps.capacity() * sizeof(SFProgramPart::Step) + part.taken.capacity();
  return bytes;
}

} // namespace SF
