#include "ResourceToSF.h"
#include "SFFieldWalk.h"
#include "SFListing.h"
#include "SFListingKinds.h"

#include <array>
#include <bit>
#include <cmath>
#include <map>

namespace SF {
namespace {

constexpr std::string_view HexDigits = "0123456789abcdef";

SFListingKind const& KindOf(SFFieldNode const& iNode)
{
  bool const isComponent = iNode.GetType() == SFNodeType::POLYGRADIENT;
  for (SFListingKind const& kind : SFListingKinds)
    if (kind.type == iNode.GetType() && (!isComponent || kind.component == static_cast<int>(iNode.GetValue())))
      return kind;
  throw std::domain_error("a listing has no kind for a node");
}

/// Writes the lines of a listing one after the other.
class Writer
{
public:
  explicit Writer(SFFieldOrder const& iOrder) : _order(iOrder), _firsts(EqualParts(iOrder)), _lines(iOrder.Size()) {}

  std::string Write()
  {
    for (std::uint32_t i = 0; i < _order.Size(); ++i) {
      _lines[i] = _firsts[i] == i ? _count++ : _lines[_firsts[i]];
      if (_firsts[i] == i)
        WriteLine(*_order.Nodes()[i], _lines[i]);
    }
    return std::move(_text);
  }

private:
  void WriteLine(SFFieldNode const& iNode, std::uint32_t iLine)
  {
    AppendName(iLine);
    _text += ' ';
    _text += KindOf(iNode).name;
    switch (iNode.GetType()) {
    case SFNodeType::CONSTANT:
      AppendNumber(iNode.GetValue());
      break;
    case SFNodeType::PARAMETER:
      AppendParameter(iNode);
      break;
    case SFNodeType::RESOLVEDREF:
    case SFNodeType::POLYGRADIENT:
      AppendId(iNode.GetDetail()->resource.get());
      break;
    default:
      break;
    }
    for (int k = 0; k < iNode.GetOperandCount(); ++k) {
      _text += ' ';
      AppendName(_lines[_order.OperandOf(iNode, k)]);
    }
    _text += '\n';
  }

  void AppendName(std::uint32_t iLine)
  {
    _text += '_';
    _text += std::to_string(iLine);
  }

  void AppendNumber(double iValue)
  {
    _text += ' ';
    if (std::isfinite(iValue))
      AppendSFNumberInFull(iValue, _text);
    else if (std::isinf(iValue))
      _text += iValue > 0.0 ? "inf" : "-inf";
    else {
      _text += "nan:";
      auto const bits = std::bit_cast<std::uint64_t>(iValue);
      for (int shift = 60; shift >= 0; shift -= 4)
        _text += HexDigits[(bits >> shift) & 15];
    }
  }

  void AppendParameter(SFFieldNode const& iNode)
  {
    SFFieldDetail const& detail = *iNode.GetDetail();
    AppendQuoted(detail.name);
    AppendNumber(iNode.GetValue());
    if (detail.low == -Infinity && detail.high == Infinity)
      return;
    AppendNumber(detail.low);
    AppendNumber(detail.high);
  }

  void AppendId(ResourceToSF const* iResource)
  {
    std::string const& id = iResource->GetExpressionId();
    if (id.find('#') == std::string::npos)
      throw std::domain_error("a listing cannot hold a resource without an id");
    if (_resources.try_emplace(id, iResource).first->second != iResource)
      throw std::domain_error("a listing cannot hold two resources with the id '" + id + "'");
    AppendQuoted(id);
  }

  void AppendQuoted(std::string_view iText)
  {
    _text += " \"";
    for (char const character : iText) {
      auto const byte = static_cast<unsigned char>(character);
      if (byte < ' ' || byte == 0x7f) {
        _text += "\\x";
        _text += HexDigits[byte >> 4];
        _text += HexDigits[byte & 15];
        continue;
      }
      if (character == '"' || character == '\\')
        _text += '\\';
      _text += character;
    }
    _text += '"';
  }

  SFFieldOrder const& _order;
  std::vector<std::uint32_t> _firsts;
  std::vector<std::uint32_t> _lines; ///< of each node
  std::uint32_t _count = 0;
  std::string _text;
  std::map<std::string, ResourceToSF const*> _resources;
};

} // namespace

std::string WriteListing(SFField const& iField)
{
  SFFieldOrder const order(iField);
  return Writer(order).Write();
}

} // namespace SF
