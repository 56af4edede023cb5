#pragma once

#include "Support.h"

#include <fstream>
#include <functional>

namespace SFTest {

/// A row of a table in tests/data: cells between bars; the indented lines below a row are those that the library
/// writes to std::cout, or gives. A cell in double quotes keeps its blanks, and \xNN stands for a byte in it. Comments begin with
/// "//", at the beginning of a line or after two blanks.
struct TableRow
{
  std::vector<std::string> cells;
  LineList lines;
  std::string place;
};

inline std::string Cell(std::string const& iText)
{
  auto const begin = std::min(iText.find_first_not_of(' '), iText.size());
  std::string const text = iText.substr(begin, iText.find_last_not_of(' ') + 1 - begin);
  if (text.size() < 2 || text.front() != '"' || text.back() != '"')
    return text;
  std::string bytes;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    bool const isByte = text[i] == '\\' && text[i + 1] == 'x';
    bytes += isByte ? static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16)) : text[i];
    i += isByte ? 3 : 0;
  }
  return bytes;
}

inline std::vector<TableRow> ReadTable(std::string const& iName)
{
  std::ifstream file(std::string(SF_TEST_DATA "/").append(iName).append(".txt"));
  std::vector<TableRow> rows;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.empty() || line.starts_with("//"))
      continue;
    if (line.starts_with("  ")) {
      rows.back().lines.push_back(line.substr(2));
      continue;
    }
    std::istringstream cells(line.substr(0, line.find("  // ")));
    rows.push_back({{}, {}, iName + ".txt:" + std::to_string(number)});
    for (std::string cell; std::getline(cells, cell, '|');)
      rows.back().cells.push_back(Cell(cell));
  }
  EXPECT_FALSE(rows.empty()) << iName;
  return rows;
}

/// A number with as many digits as tell it from all others; with `iDigits` of them if that is given.
inline std::string Shown(double iValue, int iDigits = 0)
{
  std::ostringstream text;
  for (int digits = iDigits != 0 ? iDigits : 6; text.str().empty(); ++digits) {
    text.precision(digits);
    text << iValue;
    if (digits < 17 && iDigits == 0 && std::strtod(text.str().c_str(), nullptr) != iValue && !std::isnan(iValue))
      text.str("");
  }
  return text.str() == "-nan" ? "nan" : text.str();
}

/// Numbers between blanks.
inline std::vector<double> Numbers(std::string const& iText)
{
  std::istringstream words(iText);
  std::vector<double> numbers;
  for (std::string word; words >> word;)
    numbers.push_back(std::strtod(word.c_str(), nullptr));
  return numbers;
}

inline ZULMathPoint PointOf(std::string const& iText)
{
  auto const at = Numbers(iText);
  return at.size() == 3 ? ZULMathPoint(at[0], at[1], at[2]) : throw std::runtime_error("no point: " + iText);
}

/// Calls `iOperation` with the first `iArguments` cells of each row; it gives the rest of them, and the lines.
inline void CheckTable(std::string const& iName, std::size_t iArguments,
                       std::function<LineList(std::vector<std::string> const&)> const& iOperation)
{
  for (auto const& [cells, lines, place] : ReadTable(iName)) {
    SCOPED_TRACE(place + ": " + cells[0]);
    ASSERT_GE(cells.size(), iArguments);
    LineList got;
    EXPECT_EQ(LinesOf([&, &row = cells] { got = iOperation(row); }), lines);
    EXPECT_EQ(got, LineList(cells.begin() + static_cast<std::ptrdiff_t>(iArguments), cells.end()));
  }
}

} // namespace SFTest
