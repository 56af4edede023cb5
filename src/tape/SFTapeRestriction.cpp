#include "tape/SFTapeRestriction.h"

#include "tape/SFRanges.h"
#include "tape/SFTapeBuilder.h"
#include "tape/SFTapeIntervals.h"
#include "tape/SFTapeList.h"

#include <algorithm>
#include <vector>

namespace SF {
namespace {

/// One pass over a tape against its order, which hands demanded ranges down, and one along it, which writes what is left.
class Restriction
{
public:
  Restriction(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes)
    : _tape(iTape), _slopes(iSlopes), _ranges(RangesOverBox(iTape, iBox, iSlopes)), _states(iTape.instructions.size())
  {
    auto const& steps = iTape.instructions;
    if (std::none_of(steps.begin(), steps.end(), [](auto const& iStep) { return iStep.code == LimitCode; }))
      _builder.TakeSlopes();
  }

  SFTape Run()
  {
    _builder.Reserve(_states.size() / 4);
    for (SFValueId const result : _tape.results)
      Demand(result, Full);
    for (std::size_t id = _states.size(); id-- > 0;)
      if (_states[id].isNeeded)
        PushDemand(static_cast<SFValueId>(id));
    for (SFValueId id = 0; id < _states.size(); ++id)
      if (_states[id].isNeeded)
        WriteStep(id);
    for (SFValueId const result : _tape.results)
      _builder.AddResult(_states[result].written);
    return _builder.Finish();
  }

private:
  static constexpr double Infinity = SFInterval::Infinity;
  static constexpr SFDemand<1> Full{{-Infinity}, {Infinity}};

  enum class Outcome
  {
    Unchanged,
    First,   ///< the value is that of the first operand
    Second,  ///< or of the second one
    Negated, ///< WITHOUT(a, b) has become -b
    One,
    MinusOne
  };
  struct State
  {
    SFDemand<1> demand{{Infinity}, {-Infinity}};
    bool isNeeded = false;
    /// Whether its readers may find another value than before, as what it is does not matter.
    bool isChanged = false;
    Outcome outcome = Outcome::Unchanged;
    SFValueId written = 0; ///< on the new tape
  };

  void Demand(SFValueId iId, SFDemand<1> const& iDemand)
  {
    _states[iId].isNeeded = true;
    Widen(_states[iId].demand, iDemand, 1);
  }

  bool IsPositive(SFValueId iId) const { return _ranges[iId].lo[0] > 0.0 && _ranges[iId].nan[0] == 0; }

  template <SFPruning Pruning>
  void Choose(SFTapeInstruction const& iInstruction, State& ioState)
  {
    auto const [a, b, unused] = iInstruction.operands;
    SFNarrowed<1> narrowed;
    Narrow<Pruning>(_ranges[a], _ranges[b], ioState.demand, narrowed);
    if (narrowed.withoutA == 0)
      Demand(a, narrowed.a);
    if (narrowed.withoutB == 0)
      Demand(b, narrowed.b);
    if (narrowed.withoutB != 0)
      ioState.outcome = Outcome::First;
    else if (narrowed.withoutA != 0)
      ioState.outcome = Pruning == SFPruning::Difference ? Outcome::Negated : Outcome::Second;
  }

  void ChooseSign(SFValueId iOperand, State& ioState)
  {
    if (IsPositive(iOperand))
      ioState.outcome = Outcome::One;
    else if (_ranges[iOperand].hi[0] <= 0.0) // the sign of NaN is -1 as well
      ioState.outcome = Outcome::MinusOne;
    else
      Demand(iOperand, Full);
  }

  void PushDemand(SFValueId iId)
  {
    SFTapeInstruction const& instruction = _tape.instructions[iId];
    State& state = _states[iId];
    SFValueId const first = instruction.operands[0];
    switch (OperatorRow(SFNodeType{instruction.code}).pruning) {
    case SFPruning::Minimum:
      return Choose<SFPruning::Minimum>(instruction, state);
    case SFPruning::Maximum:
      return Choose<SFPruning::Maximum>(instruction, state);
    case SFPruning::Difference:
      return Choose<SFPruning::Difference>(instruction, state);
    case SFPruning::Sign:
      return ChooseSign(first, state);
    case SFPruning::Magnitude:
      state.outcome = IsPositive(first) ? Outcome::First : Outcome::Unchanged;
      return Demand(first, IsPositive(first) ? state.demand : Full);
    case SFPruning::Complement:
      return Demand(first, {{-state.demand.upper[0]}, {-state.demand.lower[0]}});
    case SFPruning::None:
      ForOperands(instruction, [&](SFValueId iOperand) { Demand(iOperand, Full); });
    }
  }

  void WriteStep(SFValueId iId)
  {
    SFTapeInstruction const& instruction = _tape.instructions[iId];
    State& state = _states[iId];
    state.isChanged = state.outcome != Outcome::Unchanged;
    ForOperands(instruction, [&](SFValueId iOperand) {
      state.isChanged = state.isChanged || (_states[iOperand].isNeeded && _states[iOperand].isChanged);
    });
    bool const isWhole = state.demand.lower[0] == -Infinity && state.demand.upper[0] == Infinity;
    state.isChanged = state.isChanged && !isWhole;
    state.written = Write(iId);
    if (state.outcome == Outcome::Unchanged && iId < _slopes.entries.size() &&
        !(state.isChanged && _slopes.entries[iId].isStated))
      _builder.AddSlope(state.written, _slopes.entries[iId]);
  }

  SFValueId Write(SFValueId iId)
  {
    SFTapeInstruction instruction = _tape.instructions[iId];
    auto const written = [&](SFValueId iOperand) { return _states[iOperand].written; };
    switch (_states[iId].outcome) {
    case Outcome::First:
      return written(instruction.operands[0]);
    case Outcome::Second:
      return written(instruction.operands[1]);
    case Outcome::One:
      return _builder.Constant(1.0);
    case Outcome::MinusOne:
      return _builder.Constant(-1.0);
    case Outcome::Negated: // max(-inf, -b), and not 0 - b: zeros keep their sign
      return _builder.Emit(SFNodeType::WITHOUT, _builder.Constant(-Infinity), written(instruction.operands[1]));
    case Outcome::Unchanged:
      break;
    }
    RenumberOperands(instruction, written);
    if (ArityOf(instruction.code) != 0) {
      instruction.axes = 0;
      ForOperands(instruction, [&](SFValueId iOperand) { instruction.axes |= _builder.At(iOperand).axes; });
    }
    return _builder.Number(instruction);
  }

  SFTape const& _tape;
  SFSlopeTable const& _slopes;
  std::vector<SFRanges<1>> _ranges;
  std::vector<State> _states;
  SFTapeBuilder _builder;
};

} // namespace

SFTape Restricted(SFTape const& iTape, SFPointBox const& iBox, SFSlopeTable const& iSlopes)
{
  return Restriction(iTape, iBox, iSlopes).Run();
}

} // namespace SF
