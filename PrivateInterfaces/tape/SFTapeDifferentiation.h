#pragma once

#include "tape/SFTapeBuilder.h"

#include <array>
#include <vector>

namespace SF {

/// Writes the tape of fields and their partial derivatives by forward accumulation: each instruction of a
/// field is followed by the derivatives of its value, by the chain rule from those of its operands. The rules of the
/// operators are `tapeDerivative` in SFCalculusRules.
///
/// Derivatives that are zero everywhere are known as such and take no instructions. Where a value is chosen the
/// derivative is that of the operand which the rule of the value chooses, on ties too: MIN and MAX take the left
/// one, WITHOUT the left one, SYMDIFF the minimum. ABS has the derivative 1 above 0 and -1 elsewhere, SIGN has 0.
/// Roots, arcs and powers of an operand that stands still do so too, even where their own slope is infinite.
/// (Griewank and Walther, Evaluating Derivatives, 2nd edition, 2008, sections 3.1 and 14.)
class SFTapeDifferentiation
{
public:
  /// The results are, for each result of `iFields`, its value and its derivatives along x, y and z. `iFields` may hold
  /// derivatives itself; those of a resource's gradient are NaN.
  SFTape Run(SFTape const& iFields);

private:
  using Gradient = std::array<SFValueId, 3>;

  /// Two operands, the value, and derivatives along one axis.
  struct Terms
  {
    SFValueId a;
    SFValueId b;
    SFValueId value;
    SFValueId da;
    SFValueId db;
  };

  SFValueId Copy(SFTapeInstruction const& iInstruction);
  Gradient Differentiate(SFTapeInstruction const& iInstruction, SFValueId iValue);
  SFValueId OfOperator(SFNodeType iOperator, Terms const& iTerms);
  SFValueId OfAngle(Terms const& iTerms);
  class Growth;
  Gradient OfResource(SFTapeInstruction const& iInstruction);
  SFValueId OfSelection(SFTapeInstruction const& iInstruction, std::size_t iAxis);
  SFValueId OfResourceGradient(SFTapeInstruction const& iInstruction, std::size_t iAxis);

  SFValueId Emit(SFNodeType iOperator, SFValueId iA, SFValueId iB);
  SFValueId Emit(SFNodeType iOperator, SFValueId iA) { return Emit(iOperator, iA, iA); }
  void NoteChoice(SFValueId iCondition);
  void AddNotes(SFTape const& iFields);
  bool IsConstant(SFValueId iId, double iValue) const;

  // Arithmetic of derivatives, which may be Zero.
  SFValueId Sum(SFValueId iA, SFValueId iB);
  SFValueId Difference(SFValueId iA, SFValueId iB);
  SFValueId Negative(SFValueId iA);
  SFValueId Product(SFValueId iFactor, SFValueId iDerivative);
  SFValueId Quotient(SFValueId iDerivative, SFValueId iDivisor);
  SFValueId ZeroIfStill(SFValueId iDerivative, SFValueId iChained);
  SFValueId Written(SFValueId iDerivative);
  /// `iThen` where the value `iCondition` is above 0, else `iElse`.
  SFValueId Select(SFValueId iCondition, SFValueId iThen, SFValueId iElse);

  SFTapeBuilder _builder;
  std::vector<SFValueId> _copies; ///< by value of the field: its number on the new tape
  std::vector<Gradient> _gradients;
  std::vector<char> _isEmitted;     ///< by value of the new tape: whether a rule has asked for it
  std::vector<SFValueId> _choosers; ///< by condition: see SFTapeChoice
  SFValueId _chooser = UINT32_MAX;  ///< the one that is being differentiated
};

} // namespace SF
