#include "ResourceToSF.h"
#include "SFFieldNode.h"
#include "SFFieldWalk.h"
#include "SFOperatorTable.h"
#include "SFTypes.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>

namespace SF {
namespace {

bool IsWord(std::string_view iText)
{
  return std::none_of(iText.begin(), iText.end(), [](unsigned char iByte) { return iByte <= ' ' || iByte == 0x7f; });
}

void AppendNumber(double iValue, std::string& ioText)
{
  if (!std::isfinite(iValue))
    throw std::domain_error("an expression cannot hold a number that is infinite or NaN");
  AppendSFNumberInFull(iValue, ioText);
}

void AppendParameter(SFFieldNode const& iNode, std::string& ioText)
{
  std::string const& name = iNode.GetDetail()->name;
  if (!IsWord(name) || name.find_first_of("[]") != std::string::npos)
    throw std::domain_error("parameter '" + name + "': an expression cannot hold a name with blanks or brackets");
  ioText += 'p';
  ioText += name;
  ioText += '[';
  AppendNumber(iNode.GetValue(), ioText);
  ioText += ']';
}

/// "#" and a word, or "# " and a number.
bool IsId(std::string_view iText)
{
  if (iText.size() < 2 || iText.front() != '#')
    return false;
  if (iText[1] == ' ')
    return iText.size() > 2 && iText.find_first_not_of("0123456789", 2) == std::string_view::npos;
  return IsWord(iText);
}

void AppendResource(SFFieldNode const& iNode, std::string& ioText)
{
  std::string const& id = iNode.GetDetail()->resource->GetExpressionId();
  if (iNode.GetType() != SFNodeType::RESOLVEDREF)
    throw std::domain_error("an expression cannot hold a component of the gradient of '" + id + "'");
  for (int axis = 0; axis < 3; ++axis)
    if (static_cast<int>(iNode.GetOperand(axis)->GetType()) != static_cast<int>(SFNodeType::X) + axis)
      throw std::domain_error("an expression cannot hold the resource '" + id + "' at another place");
  if (!IsId(id))
    throw std::domain_error("an expression cannot hold a resource with the id '" + id + "'");
  ioText += id;
}

/// Appends what stands for a node in front of its operands, and a blank.
void AppendToken(SFFieldNode const& iNode, std::string& ioText)
{
  switch (iNode.GetType()) {
  case SFNodeType::CONSTANT:
    ioText += 'f';
    AppendNumber(iNode.GetValue(), ioText);
    break;
  case SFNodeType::PARAMETER:
    AppendParameter(iNode, ioText);
    break;
  case SFNodeType::RESOLVEDREF:
  case SFNodeType::POLYGRADIENT:
    AppendResource(iNode, ioText);
    break;
  default:
    ioText += OperatorRow(iNode.GetType()).token;
  }
  ioText += ' ';
}

/// The operands that text gives; those of a resource are the point.
int WrittenOperands(SFFieldNode const& iNode) { return OperatorRow(iNode.GetType()).arity; }

/// The length of the text, found without writing it, so that a text beyond any memory fails at once.
std::size_t TextLength(SFField const& iField)
{
  SFFieldOrder const order(iField);
  std::vector<std::size_t> lengths(order.Size());
  std::string token;
  for (std::size_t i = 0; i < order.Size(); ++i) {
    SFFieldNode const& node = *order.Nodes()[i];
    token.clear();
    AppendToken(node, token);
    lengths[i] = token.size();
    for (int k = 0; k < WrittenOperands(node); ++k)
      lengths[i] += lengths[order.OperandOf(node, k)];
    lengths[i] = std::min(lengths[i], SFField::MaxTextLength + 1);
  }
  return lengths.back();
}

} // namespace

std::string SFField::ToExpression() const
{
  std::size_t const length = TextLength(*this) + 1;
  if (length > MaxTextLength)
    throw std::length_error("an expression of more than " + std::to_string(MaxTextLength) + " characters");
  std::string text;
  text.reserve(length);
  std::vector<SFFieldNode const*> waiting{_node.Get()};
  while (!waiting.empty()) {
    SFFieldNode const& node = *waiting.back();
    waiting.pop_back();
    AppendToken(node, text);
    for (int k = WrittenOperands(node); k-- > 0;)
      waiting.push_back(node.GetOperand(k).Get());
  }
  text += '$';
  return text;
}

} // namespace SF
