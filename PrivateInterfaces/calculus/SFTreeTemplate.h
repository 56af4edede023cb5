#pragma once

#include "SFOperatorTable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace SF {

/// A small tree over the operands of a node, written as mathematics writes it and read at compile time:
///  - `u`, `v`: the left and the right operand; `du`, `dv`: their derivatives; `d[T]`: the derivative of a tree
///  - `2`, `-0.5`: a constant
///  - `NAME(T)`, `NAME(T, T)`: an operator by its name in the operator table
/// Derivatives on a tape have three forms more:
///  - `w`: the value of the node itself
///  - `SELECT(T, T, T)`: the second tree where the first is above 0, else the third
///  - `STILL(T)`: a tree with the factor du, but 0 where du is 0, whatever the other factors are
/// A text of any other form, or an operator with a wrong number of operands, does not compile.
class SFTreeTemplate
{
public:
  enum class StepKind
  {
    Operator,
    Lhs,
    Rhs,
    LhsDerivative,
    RhsDerivative,
    Derivative, ///< of the tree that follows
    Constant,
    Value,
    Select,
    Still
  };
  struct Step
  {
    StepKind kind = StepKind::Constant;
    SFNodeType type = SFNodeType::NONE;
    double value = 0.0;
  };

  /// No tree.
  constexpr SFTreeTemplate() = default;
  consteval SFTreeTemplate(char const* iText) : _text(iText)
  {
    ReadTree();
    if (!_text.empty())
      throw "text after the end of the tree";
  }

  /// The tree in prefix order: every operator before its operands, left before right.
  constexpr std::span<Step const> Steps() const { return {_steps.data(), _count}; }

  constexpr bool Has(StepKind iKind) const
  {
    return std::any_of(Steps().begin(), Steps().end(), [iKind](Step const& iStep) { return iStep.kind == iKind; });
  }

private:
  consteval void Append(Step const& iStep) { _steps[_count++] = iStep; }

  consteval void Skip(char iExpected)
  {
    if (_text.empty() || _text.front() != iExpected)
      throw "an unexpected character";
    _text.remove_prefix(1);
  }

  consteval void ReadTree()
  {
    std::string_view const word = _text.substr(0, _text.find_first_of("()[], "));
    _text.remove_prefix(word.size());
    if (word == "u")
      Append({StepKind::Lhs});
    else if (word == "v")
      Append({StepKind::Rhs});
    else if (word == "du")
      Append({StepKind::LhsDerivative});
    else if (word == "dv")
      Append({StepKind::RhsDerivative});
    else if (word == "w")
      Append({StepKind::Value});
    else if (word == "SELECT") {
      Append({StepKind::Select});
      ReadOperands(3);
    } else if (word == "STILL") {
      Append({StepKind::Still});
      ReadOperands(1);
    } else if (word == "d") {
      Append({StepKind::Derivative});
      Skip('[');
      ReadTree();
      Skip(']');
    } else if (!_text.empty() && _text.front() == '(')
      ReadOperator(word);
    else
      Append({StepKind::Constant, SFNodeType::CONSTANT, ReadNumber(word)});
  }

  consteval void ReadOperator(std::string_view iName)
  {
    SFNodeType type = SFNodeType::NONE;
    for (SFOperatorRow const& row : SFOperatorTable)
      if (row.name == iName && IsOperator(row.type))
        type = row.type;
    if (type == SFNodeType::NONE)
      throw "a name that is no operator's";
    Append({StepKind::Operator, type});
    ReadOperands(OperatorRow(type).arity);
  }

  consteval void ReadOperands(int iCount)
  {
    Skip('(');
    ReadTree();
    for (int i = 1; i < iCount; ++i) {
      Skip(',');
      Skip(' ');
      ReadTree();
    }
    Skip(')');
  }

  static consteval double ReadNumber(std::string_view iWord)
  {
    bool const negative = iWord.starts_with('-');
    bool fraction = false;
    double digits = 0.0;
    double scale = 1.0;
    for (char const c : iWord.substr(negative ? 1 : 0))
      if (c == '.' && !fraction)
        fraction = true;
      else if (c >= '0' && c <= '9') {
        digits = digits * 10.0 + (c - '0');
        scale *= fraction ? 10.0 : 1.0;
      } else
        throw "neither an operand nor a number";
    if (iWord.empty())
      throw "a missing operand";
    return (negative ? -digits : digits) / scale;
  }

  static constexpr std::size_t MaxSteps = 24;

  std::string_view _text;
  std::array<Step, MaxSteps> _steps{};
  std::size_t _count = 0;
};

} // namespace SF
