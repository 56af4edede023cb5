#include "ResourceToSF.h"
#include "SFFieldWalk.h"
#include "SFFormulaFunctions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace SF {
namespace {

using enum SFNodeType;

/// How an operator is written: infix, or as the call of a function.
struct Notation
{
  SFNodeType type;
  char infix = 0;
  char const* function = "";
};

constexpr Notation Notations[] = {{PLUS, '+'},
                                  {MINUS, '-'},
                                  {MULT, '*'},
                                  {DIV, '/'},
                                  {POW, '^'},
                                  {SQUARE, 0, "square"},
                                  {MIN, 0, "min"},
                                  {MAX, 0, "max"},
                                  {NOT, 0, "complement"},
                                  {COS, 0, "cos"},
                                  {SIN, 0, "sin"},
                                  {ROOT, 0, "sqrt"},
                                  {ABS, 0, "abs"},
                                  {EXP, 0, "exp"},
                                  {LN, 0, "log"},
                                  {SYMDIFF, 0, "symmetric_difference"},
                                  {WITHOUT, 0, "difference"},
                                  {ACOS, 0, "acos"},
                                  {ASIN, 0, "asin"},
                                  {TAN, 0, "tan"},
                                  {ATAN, 0, "atan"},
                                  {SIGN, 0, "sign"}};

/// A template, so that the compiler's message names the operator.
template <SFNodeType Kind>
consteval bool HasNotation()
{
  constexpr auto isOfKind = [](Notation const& iNotation) { return iNotation.type == Kind; };
  static_assert(!IsOperator(Kind) || std::any_of(std::begin(Notations), std::end(Notations), isOfKind),
                "an operator without a notation in formulae");
  return true;
}
static_assert([]<std::size_t... Kind>(std::index_sequence<Kind...>) {
  return (HasNotation<SFNodeType{Kind}>() && ...);
}(std::make_index_sequence<SFNodeTypeCount>{}));

Notation const& NotationOf(SFNodeType iType)
{
  for (Notation const& notation : Notations)
    if (notation.type == iType)
      return notation;
  throw std::domain_error("a formula cannot hold a node of this kind");
}

/// The shortest digits that read back to the same double. A negative number is bracketed.
std::string NumberText(double iValue)
{
  if (std::isnan(iValue))
    return "nan";
  std::string text;
  if (std::isinf(iValue))
    text = "inf";
  else
    AppendSFNumberInFull(std::abs(iValue), text);
  return std::signbit(iValue) ? std::string("(-").append(text).append(")") : text;
}

class Writer
{
public:
  explicit Writer(SFField const& iField)
    : _order(iField), _firsts(EqualParts(_order)), _uses(_order.Size()), _texts(_order.Size())
  {
    CountUses();
    WriteParameters();
    for (std::uint32_t i = 0; i < _order.Size(); ++i)
      if (_firsts[i] == i)
        Write(i);
    _text += _texts[_firsts.back()];
    _text += '\n';
  }

  std::string TakeText() { return std::move(_text); }

private:
  static constexpr std::size_t LongestPart = 100; ///< characters of a part that stands within another one

  void CountUses()
  {
    for (std::uint32_t i = 0; i < _order.Size(); ++i)
      for (int k = 0; _firsts[i] == i && k < _order.Nodes()[i]->GetOperandCount(); ++k)
        ++_uses[Operand(i, k)];
  }

  std::uint32_t Operand(std::uint32_t iNumber, int iOperand) const
  {
    return _firsts[_order.OperandOf(*_order.Nodes()[iNumber], iOperand)];
  }

  void WriteParameters()
  {
    for (std::uint32_t i = 0; i < _order.Size(); ++i) {
      SFFieldNode const& node = *_order.Nodes()[i];
      if (node.GetType() != PARAMETER || _firsts[i] != i)
        continue;
      SFFieldDetail const& detail = *node.GetDetail();
      if (!IsFreeName(detail.name))
        throw std::domain_error("the parameter '" + detail.name + "' has no name that formulae know");
      _text += "param " + detail.name + " = " + Bare(node.GetValue());
      if (detail.low != -Infinity || detail.high != Infinity)
        _text += " (" + NumberText(detail.low) + " .. " + NumberText(detail.high) + ")";
      _text += '\n';
    }
  }

  static std::string Bare(double iValue)
  {
    std::string const text = NumberText(iValue);
    return text.front() == '(' ? text.substr(1, text.size() - 2) : text;
  }

  static bool IsFreeName(std::string const& iName)
  {
    try {
      Read("param " + iName);
    } catch (SFFormulaError const&) {
      return false;
    }
    return iName.front() != '_';
  }
  static void Read(std::string const& iStart) { SFFormula::Read(iStart + " = 0\n0"); }

  static bool IsLeaf(SFFieldNode const& iNode) { return iNode.GetOperandCount() == 0; }

  void Write(std::uint32_t iNumber)
  {
    SFFieldNode const& node = *_order.Nodes()[iNumber];
    std::string text = TextOf(iNumber, node);
    bool const isLast = iNumber == _firsts.back();
    if (!isLast && !IsLeaf(node) && (_uses[iNumber] > 1 || text.size() > LongestPart)) {
      std::string const name = std::string("_").append(std::to_string(++_definitions));
      _text.append(name).append(" = ").append(text).append("\n");
      text = name;
    }
    _texts[iNumber] = std::move(text);
  }

  /// The text of an operand; the last use of a part that stands in one place takes it along.
  std::string TakeOperand(std::uint32_t iNumber, int iOperand)
  {
    auto const operand = Operand(iNumber, iOperand);
    return _uses[operand] > 1 || IsLeaf(*_order.Nodes()[operand]) ? _texts[operand] : std::move(_texts[operand]);
  }

  std::string TextOf(std::uint32_t iNumber, SFFieldNode const& iNode)
  {
    switch (iNode.GetType()) {
    case X:
      return "x";
    case Y:
      return "y";
    case Z:
      return "z";
    case CONSTANT:
      return NumberText(iNode.GetValue());
    case PARAMETER:
      return iNode.GetDetail()->name;
    case RESOLVEDREF:
      return ResourceText(iNumber, iNode);
    default:
      return OperatorText(iNumber, iNode);
    }
  }

  std::string ResourceText(std::uint32_t iNumber, SFFieldNode const& iNode)
  {
    std::string const& id = iNode.GetDetail()->resource->GetExpressionId();
    if (id.empty() || id.find_first_of("\"\n") != std::string::npos)
      throw std::domain_error("a resource without an id that a formula can hold");
    std::string text = "remap(resource(\"" + id + "\")";
    for (int i = 0; i < SFFieldNode::MaxOperands; ++i)
      text += ", " + TakeOperand(iNumber, i);
    return text + ")";
  }

  std::string OperatorText(std::uint32_t iNumber, SFFieldNode const& iNode)
  {
    Notation const& notation = NotationOf(iNode.GetType());
    bool const isBinary = IsBinaryOperator(iNode.GetType());
    std::string const a = TakeOperand(iNumber, 0);
    std::string const b = isBinary ? TakeOperand(iNumber, 1) : "";
    std::string text = notation.infix != 0 ? "" : notation.function;
    text.append("(").append(a);
    if (notation.infix != 0)
      text.append(" ").append(1, notation.infix).append(" ").append(b);
    else if (isBinary)
      text.append(", ").append(b);
    return text.append(")");
  }

  SFFieldOrder _order;
  std::vector<std::uint32_t> _firsts;
  std::vector<std::uint32_t> _uses;
  std::vector<std::string> _texts;
  std::string _text;
  std::size_t _definitions = 0;
};

} // namespace

std::string SFField::ToFormula() const { return Writer(*this).TakeText(); }

} // namespace SF
