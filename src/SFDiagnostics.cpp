#include "SFDiagnostics.h"

#include <iostream>
#include <mutex>
#include <string>

namespace SF::Diagnostics {
namespace {

void Write(std::string iLine)
{
  // Also guards a buffer that the host has put under std::cout, which need not be safe for threads itself.
  static std::mutex mutex;
  iLine += '\n';
  std::lock_guard<std::mutex> const lock(mutex);
  std::cout.write(iLine.data(), static_cast<std::streamsize>(iLine.size()));
  std::cout.flush();
}

/// The last two components of a path, so that lines do not depend on where the library was built.
std::string_view ShortPath(std::string_view iPath)
{
  auto const name = iPath.find_last_of("/\\");
  if (name == std::string_view::npos || name == 0)
    return iPath;
  auto const folder = iPath.find_last_of("/\\", name - 1);
  return folder == std::string_view::npos ? iPath : iPath.substr(folder + 1);
}

std::string AtPlace(std::string_view iHead, std::string_view iMethod, SFSourceLocation iWhere)
{
  std::string line(iHead);
  line.append(iMethod).append(" at ").append(ShortPath(iWhere.file));
  line.append(":").append(std::to_string(iWhere.line)).append(" ");
  return line;
}

} // namespace

void Sentence(std::string_view iText) { Write(std::string(iText)); }

void FailedSentence(std::string_view iText, HRESULT iCode)
{
  Write(std::string(iText).append(" failed with hr: ").append(std::to_string(iCode)));
}

void FailedCall(std::string_view iMethod, HRESULT iCode, SFSourceLocation iWhere)
{
  Write(AtPlace("Error in ", iMethod, iWhere).append(" failed with hr: ").append(std::to_string(iCode)));
}

void NotSatisfied(std::string_view iMethod, std::string_view iCondition, SFSourceLocation iWhere)
{
  Write(AtPlace("Error in ", iMethod, iWhere).append(iCondition).append(" not satisfied."));
}

void NullPointer(std::string_view iMethod, std::string_view iPointer, SFSourceLocation iWhere)
{
  Write(AtPlace("Error in ", iMethod, iWhere).append(iPointer).append(" is nullptr"));
}

void Problem(std::string_view iMethod, std::string_view iText, SFSourceLocation iWhere)
{
  Write(AtPlace("Error in ", iMethod, iWhere).append(iText));
}

void Info(std::string_view iMethod, std::string_view iText, SFSourceLocation iWhere)
{
  Write(AtPlace("Info from ", iMethod, iWhere).append(iText));
}

} // namespace SF::Diagnostics
