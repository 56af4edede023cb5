#include "Failure.h"

#include <cstring>

namespace SFHost {
namespace {

std::string CodeName(HRESULT iCode)
{
  switch (iCode) {
  case E_FAIL:
    return "E_FAIL";
  case E_INVALIDARG:
    return "E_INVALIDARG";
  case E_NOTIMPL:
    return "E_NOTIMPL";
  default:
    return std::to_string(iCode);
  }
}

} // namespace

Failure::Failure(std::string const& iSubject, std::string const& iWrong)
  : std::runtime_error((iSubject.empty() ? "''" : iSubject) + ": " + iWrong)
{
}

Failure SystemFailure(std::string const& iFile, int iErrorNumber) { return {iFile, std::strerror(iErrorNumber)}; }

void Require(HRESULT iCode, std::string const& iModelName, std::string const& iWrong)
{
  if (Failed(iCode))
    throw ModelFailure(iModelName, iWrong + " (" + CodeName(iCode) + ")");
}

std::string OneLine(std::string iText)
{
  for (char& character : iText)
    if (static_cast<unsigned char>(character) < ' ' || character == '\x7f')
      character = '?';
  return iText;
}

std::string Quoted(std::string const& iText)
{
  constexpr std::size_t longest = 40;
  std::string quoted = "'";
  quoted += iText.size() <= longest ? iText : iText.substr(0, longest) + "...";
  return OneLine(quoted + "'");
}

} // namespace SFHost
