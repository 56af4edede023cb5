#include "OutputFormat.h"

#include "Failure.h"

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

std::string_view FormatOf(std::string const& iPath, std::span<std::string_view const> iFormats)
{
  std::string const name = iPath.substr(iPath.rfind('/') + 1);
  auto const dot = name.rfind('.');
  if (dot == std::string::npos)
    return iFormats.front();
  std::string extension = name.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char iCharacter) { return static_cast<char>(std::tolower(iCharacter)); });
  auto const found = std::find(iFormats.begin(), iFormats.end(), extension);
  if (found != iFormats.end())
    return *found;

  std::string known;
  for (std::string_view const format : iFormats)
    known.append(known.empty() ? "." : " or .").append(format);
  throw UsageError("--output: " + Quoted(iPath) + " does not end in " + known);
}

} // namespace SFHost
