#include "OutputFormat.h"

#include "Failure.h"
#include "Report.h"

#include <algorithm>
#include <cctype>

namespace SFHost {

void AddOutputFile(Arguments& ioArguments, std::string const& iValues, std::string& oPath)
{
  ioArguments.Text({.names = "-o,--output",
                    .values = iValues,
                    .help = "File to write; it appears when it is whole. - is the standard output",
                    .required = true},
                   oPath);
}

std::string_view ExtensionFor(std::string const& iPath, std::span<std::string_view const> iExtensions)
{
  std::string const name = iPath.substr(iPath.rfind('/') + 1);
  auto const dot = name.rfind('.');
  if (dot == std::string::npos)
    return iExtensions.front();
  std::string extension = name.substr(dot);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char iCharacter) { return static_cast<char>(std::tolower(iCharacter)); });
  auto const found = std::find(iExtensions.begin(), iExtensions.end(), extension);
  if (found != iExtensions.end())
    return *found;

  std::string known;
  for (std::string_view const one : iExtensions)
    known.append(known.empty() ? "" : " or ").append(one);
  throw UsageError("--output: " + Quoted(iPath) + " does not end in " + known);
}

void RequireUsable(CommonOptions const& iCommon, std::string const& iOutput)
{
  RequireRoomForReport(iCommon, iOutput);
  RequireOtherFile(iCommon.model, iOutput);
}

} // namespace SFHost
