#include "SFDiagnostics.h"

#include <iostream>
#include <mutex>
#include <string>

namespace SF {
namespace {

thread_local int silences = 0;

} // namespace

SFSilence::SFSilence() { ++silences; }
SFSilence::~SFSilence() { --silences; }

namespace Diagnostics {
namespace {

void Write(std::string iLine)
{
  if (silences > 0)
    return;
  // Also guards a buffer that the host has put under std::cout, which need not be safe for threads itself.
  static std::mutex mutex;
  iLine += '\n';
  std::lock_guard<std::mutex> const lock(mutex);
  std::cout.write(iLine.data(), static_cast<std::streamsize>(iLine.size()));
  std::cout.flush();
}

/// The top folder that a source belongs to and its name, as in "src/SFDagEvaluator.cpp": neither where the library was
/// built nor the sub-folder by subject is part of a line.
std::string ShortPath(std::string_view iPath)
{
  auto const nameAt = iPath.rfind('/');
  if (nameAt == std::string_view::npos)
    return std::string(iPath);
  auto const begin = nameAt == 0 ? 0 : iPath.rfind('/', nameAt - 1) + 1;
  auto folder = iPath.substr(begin, nameAt - begin);
  std::size_t innermost = 0;
  for (std::string_view const root : {"src/", "PrivateInterfaces/", "ProtectedInterfaces/", "PublicInterfaces/"}) {
    auto const at = iPath.rfind(root);
    if (at != std::string_view::npos && at >= innermost && (at == 0 || iPath[at - 1] == '/')) {
      innermost = at;
      folder = root.substr(0, root.size() - 1);
    }
  }
  return std::string(folder).append(iPath.substr(nameAt));
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

} // namespace Diagnostics
} // namespace SF
