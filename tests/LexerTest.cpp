#include "Support.h"

#include "SFOperatorTable.h"
#include "text/SFLexer.h"

#include <stdexcept>

using namespace SF;
using namespace SFTest;

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
