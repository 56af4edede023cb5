#include "Support.h"

#include "SFOperatorTable.h"
#include "text/SFLexer.h"

#include <stdexcept>

using namespace SF;
using namespace SFTest;

TEST(Lexer, ReadsExactlyTheTokensOfTheTable)
{
  std::string tokens;
  for (SFOperatorRow const& row : SFOperatorTable)
    if (row.token != 0 && row.type != SFNodeType::END)
      tokens += row.token;
  for (int c = 0; c < 256; ++c) {
    std::string const text(1, static_cast<char>(c));
    double value = 0.0;
    std::size_t start = 9;
    std::size_t end = 9;
    SFNodeType const type = SFLexer(text).Next(value, start, end);
    bool const isToken = c != 0 && tokens.find(static_cast<char>(c)) != std::string::npos;
    if (!isToken)
      EXPECT_EQ(type, SFNodeType::END) << c;
    else if (c == '#')
      EXPECT_EQ(type, SFNodeType::UNRESOLVEDREF);
    else
      EXPECT_EQ(OperatorRow(type).token, text[0]) << c;
    EXPECT_EQ(start, isToken || c == '$' ? 0U : 1U) << c;
  }
}

TEST(Lexer, CutsTheTextForItsCaller)
{
  SFLexer lexer("m[1;2] X");
  std::size_t position = 0;
  EXPECT_EQ(lexer.Step(position), 1U);
  EXPECT_EQ(position, 1U);
  EXPECT_EQ(lexer.Find("]", 0), 5U);
  EXPECT_EQ(lexer.Find("; ", 0), std::string::npos);
  EXPECT_EQ(lexer.SubExpression(2, 5), "1;2");
  EXPECT_EQ(lexer.SubExpression(7, std::string::npos), "X");
  EXPECT_THROW(lexer.SubExpression(9, 10), std::out_of_range);
  // The memory of FindCharacter must not answer for places before or behind what it saw.
  SFLexer const brackets("a[b]c[d]");
  for (std::size_t const from : {3U, 0U, 1U, 2U, 5U, 6U, 4U, 7U, 0U})
    for (char const what : {'[', ']', ' '})
      EXPECT_EQ(brackets.FindCharacter(what, from), std::string("a[b]c[d]").find(what, from)) << what << from;
}
