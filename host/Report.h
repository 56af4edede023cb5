#pragma once

#include "CommonOptions.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace SFHost {

using Json = nlohmann::ordered_json;

/// What a verb tells of its work: lines for people, or one JSON object with --json.
class Report
{
public:
  /// A fact: a member of the object, and the line "<label>  <text>".
  void Add(std::string const& iKey, std::string const& iLabel, Json iValue, std::string iText);
  /// A number, in 6 digits for people; null in JSON where it is not finite.
  void AddNumber(std::string const& iKey, std::string const& iLabel, double iValue, std::string const& iUnit = "");
  void AddCount(std::string const& iKey, std::string const& iLabel, std::uint64_t iValue);

  /// To the standard output.
  void Print(CommonOptions const& iCommon) const;
  /// Of a result that went to a file: the object to the standard output with --json, else the lines as notes.
  void PrintBeside(CommonOptions const& iCommon) const;

private:
  struct Row
  {
    std::string label;
    std::string text;
  };

  std::string Lines() const;

  Json _json = Json::object();
  std::vector<Row> _rows;
};

/// A number as JSON has it.
Json JsonNumber(double iValue);
/// Throws a UsageError when a result and the report of --json would both go to the standard output.
void RequireRoomForReport(CommonOptions const& iCommon, std::string const& iOutput);
void PrintJson(Json const& iObject);

} // namespace SFHost
