#pragma once

#include "tape/SFSlopeTable.h"
#include "tape/SFTape.h"

#include <vector>

namespace SF {

/// Writes a tape instruction by instruction: equal operations on equal values become one value, and operations on
/// constants are carried out at once, with the scalar operations of the evaluator.
class SFTapeBuilder
{
public:
  /// Room for so many instructions, which saves time.
  void Reserve(std::size_t iCount);

  SFValueId Constant(double iValue);
  /// The value of an operator; a unary one reads `iA` alone.
  SFValueId Emit(SFNodeType iOperator, SFValueId iA, SFValueId iB);
  SFValueId Emit(SFNodeType iOperator, SFValueId iA) { return Emit(iOperator, iA, iA); }
  /// The value of an instruction: that of an equal one met before, or a new one.
  SFValueId Number(SFTapeInstruction const& iInstruction);

  SFTapeInstruction const& At(SFValueId iId) const { return _tape.instructions[iId]; }
  void AddResult(SFValueId iId) { _tape.results.push_back(iId); }
  void AddBound(SFStatedBound const& iBound) { _tape.bounds.push_back(iBound); }
  void AddChoice(SFTapeChoice const& iChoice) { _tape.choices.push_back(iChoice); }
  void AddReadAside(SFValueId iId) { _tape.readAside.push_back(iId); }
  /// The tape has slopes: those that are added.
  void TakeSlopes() { _hasSlopes = true; }
  void AddSlope(SFValueId iId, SFSlopeEntry const& iSlope);

  /// The tape, without instructions that no result needs. The builder is spent.
  SFTape Finish();

private:
  void Rehash(std::size_t iPlaces);

  SFTape _tape;
  bool _hasSlopes = false;
  SFSlopeTable _slopes;
  std::vector<SFValueId> _numbering; ///< open-addressing table of the instructions by what they compute
};

} // namespace SF
