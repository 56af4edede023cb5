#include "Report.h"

#include "Failure.h"
#include "Messages.h"
#include "SFOutputFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <utility>

namespace SFHost {
namespace {

void PrintText(std::string const& iText)
{
  SF::SFOutputFile output("-");
  output.Write(iText);
  output.Commit();
}

} // namespace

void Report::Add(std::string const& iKey, std::string const& iLabel, Json iValue, std::string iText)
{
  _json[iKey] = std::move(iValue);
  _rows.push_back({iLabel, std::move(iText)});
}

void Report::AddNumber(std::string const& iKey, std::string const& iLabel, double iValue, std::string const& iUnit)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", iValue);
  Add(iKey, iLabel, JsonNumber(iValue), iUnit.empty() ? text : text + (" " + iUnit));
}

void Report::AddCount(std::string const& iKey, std::string const& iLabel, std::uint64_t iValue)
{
  Add(iKey, iLabel, iValue, std::to_string(iValue));
}

std::string Report::Lines() const
{
  std::size_t width = 0;
  for (Row const& row : _rows)
    width = std::max(width, row.label.size());
  std::string lines;
  for (Row const& row : _rows)
    lines += (width == 0 ? "" : row.label + std::string(width - row.label.size() + 2, ' ')) + row.text + "\n";
  return lines;
}

void Report::Print(CommonOptions const& iCommon) const
{
  if (iCommon.asJson)
    PrintJson(_json);
  else
    PrintText(Lines());
}

void Report::PrintBeside(CommonOptions const& iCommon) const
{
  if (iCommon.asJson)
    return PrintJson(_json);
  std::istringstream lines(Lines());
  for (std::string line; std::getline(lines, line);)
    Note(line);
}

Json JsonNumber(double iValue) { return std::isfinite(iValue) ? Json(iValue) : Json(); }

void RequireRoomForReport(CommonOptions const& iCommon, std::string const& iOutput)
{
  if (iCommon.asJson && iOutput == "-")
    throw UsageError("--json: the standard output is where the result goes");
}

void PrintJson(Json const& iObject)
{
  // Names of files may be any bytes.
  PrintText(iObject.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

} // namespace SFHost
