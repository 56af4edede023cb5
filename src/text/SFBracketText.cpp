#include "text/SFBracketText.h"

#include <algorithm>

namespace SF {

std::vector<std::string_view> SplitList(std::string_view iText, char iSeparator)
{
  std::vector<std::string_view> elements;
  for (std::size_t from = 0; from <= iText.size();) {
    std::size_t const separator = std::min(iText.find(iSeparator, from), iText.size());
    elements.push_back(iText.substr(from, separator - from));
    from = separator + 1;
  }
  return elements;
}

std::vector<double> ReadNumberList(std::string_view iText)
{
  std::vector<double> numbers;
  for (std::string_view const element : SplitList(iText, ';')) {
    double number = 0.0;
    ReadTokenNumber(element, number);
    numbers.push_back(number);
  }
  return numbers;
}

bool ReadIdGroups(std::string_view iText, std::vector<std::vector<std::string_view>>& oGroups)
{
  oGroups.clear();
  while (!iText.empty()) {
    std::size_t const close = iText.find(']');
    if (iText.front() != '[' || close == std::string_view::npos)
      return false;
    std::string_view const ids = iText.substr(1, close - 1);
    oGroups.push_back(ids.empty() ? std::vector<std::string_view>{} : SplitList(ids, ';'));
    iText.remove_prefix(close + 1);
  }
  return true;
}

std::optional<SFBracketFinder::Brackets> SFBracketFinder::Find(SFToken const& iToken)
{
  std::size_t const open = _lexer.FindCharacter('[', iToken.start);
  std::size_t const close = iToken.type == SFNodeType::GCGUIDEDTRANSFORM ? _lexer.FindListEnd(iToken.start)
                                                                         : _lexer.FindCharacter(']', iToken.start);
  if (open == std::string::npos || close == std::string::npos || close < open || close - iToken.start > _budget)
    return std::nullopt;
  _budget -= close - iToken.start;
  return Brackets{open, close};
}

} // namespace SF
