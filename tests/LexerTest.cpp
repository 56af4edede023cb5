#include "Support.h"

#include "SFOperatorTable.h"
#include "text/SFLexer.h"

#include <limits>
#include <stdexcept>

using namespace SF;
using namespace SFTest;

namespace {

/// The first `iCount` tokens of a text as "KIND start-end", with "=number" where there is one.
std::string TokensOf(std::string const& iText, int iCount)
{
  SFLexer lexer(iText);
  std::ostringstream tokens;
  for (int i = 0; i < iCount; ++i) {
    double value = 0.0;
    std::size_t start = 0;
    std::size_t end = 0;
    SFNodeType const type = lexer.Next(value, start, end);
    tokens << (i > 0 ? " " : "") << OperatorRow(type).name;
    if (type == SFNodeType::CONSTANT || type == SFNodeType::BLEND || type == SFNodeType::OFFSET ||
        type == SFNodeType::POLY)
      tokens << '=' << value;
    auto const position = [](std::size_t iAt) { return iAt == std::string::npos ? "npos" : std::to_string(iAt); };
    tokens << '@' << position(start) << '-' << position(end);
  }
  return tokens.str();
}

} // namespace

TEST(Lexer, ReadsExactlyTheTokensOfTheTable)
{
  std::string const bare = "XYZ+-*/^UIDq!csrael\\CStT?";
  for (int c = 0; c < 256; ++c) {
    std::string const text(1, static_cast<char>(c));
    double value = 0.0;
    std::size_t start = 9;
    std::size_t end = 9;
    SFNodeType const type = SFLexer(text).Next(value, start, end);
    bool const isToken = c != 0 && (bare + "fbo#pmndg").find(static_cast<char>(c)) != std::string::npos;
    if (!isToken)
      EXPECT_EQ(type, SFNodeType::END) << c;
    else if (c == '#')
      EXPECT_EQ(type, SFNodeType::UNRESOLVEDREF);
    else
      EXPECT_EQ(OperatorRow(type).token, text[0]) << c;
    EXPECT_EQ(start, isToken || c == '$' ? 0U : 1U) << c;
  }
}

TEST(Lexer, KindsRangesAndPositions)
{
  // clang-format off
  struct { std::string text; int count; char const* tokens; } const cases[] = {
      {"", 2, "NONE@0-0 NONE@0-0"}, {"   ", 2, "END@3-3 END@3-3"}, {"X", 3, "X@0-1 END@1-1 END@1-1"},
      {"$X", 2, "END@0-0 END@0-0"}, {"  q X", 3, "SQUARE@2-3 X@4-5 END@5-5"},
      {"( +X,Y )", 4, "PLUS@2-3 X@3-4 Y@5-6 END@8-8"},
      {std::string("\0q\x80\xffX", 5), 3, "SQUARE@1-2 X@4-5 END@5-5"},
      // Numbers: the position lands on the last character before the blank.
      {"f2.5 X", 3, "CONSTANT=2.5@0-3 X@5-6 END@6-6"}, {"f2,5 X", 2, "CONSTANT=2.5@0-3 X@5-6"},
      {"f  -7e1 X", 2, "CONSTANT=-70@0-6 X@8-9"}, {"f1,2,5 X", 2, "CONSTANT=1.2@0-5 X@7-8"},
      {"f2c X", 3, "CONSTANT=2@0-2 COS@2-3 X@4-5"}, {"f\t 3 X", 3, "CONSTANT=3@0-1 X@5-6 END@6-6"},
      {"f1\t2,5 X", 2, "CONSTANT=1@0-5 X@7-8"},
      {"b0.1 o.5 f+2 ", 4, "BLEND=0.1@0-3 OFFSET=0.5@5-7 CONSTANT=2@9-11 END@13-13"},
      {"f0x10 X", 2, "CONSTANT=0@0-4 X@6-7"}, {"f2", 2, "CONSTANT=2@0-1 END@2-2"},
      {"f2,5", 2, "CONSTANT=2.5@0-3 END@4-4"},
      // A number that cannot be read: 0, and the letter is read for ever.
      {"fz X", 3, "CONSTANT=0@0-0 CONSTANT=0@0-0 CONSTANT=0@0-0"}, {"f", 2, "CONSTANT=0@0-0 CONSTANT=0@0-0"},
      {"f   ", 2, "CONSTANT=0@0-0 CONSTANT=0@0-0"}, {"f2e X", 2, "CONSTANT=0@0-0 CONSTANT=0@0-0"},
      {"f- X", 2, "CONSTANT=0@0-0 CONSTANT=0@0-0"}, {"fnan X", 2, "CONSTANT=0@0-0 CONSTANT=0@0-0"},
      {"f1e999 X", 2, "CONSTANT=0@0-0 CONSTANT=0@0-0"}, {"q b. X", 3, "SQUARE@0-1 BLEND=0@2-2 BLEND=0@2-2"},
      // Resources by number, and references.
      {"# 3", 2, "POLY=3@0-2 END@3-3"}, {"#   42 X", 2, "POLY=42@0-5 X@7-8"}, {"# X", 2, "POLY=0@0-1 X@2-3"},
      {"# 1e999 X", 3, "POLY=0@0-1 EXP@3-4 X@8-9"}, {"# ", 2, "POLY=0@0-1 END@2-2"},
      {"#ref X", 2, "UNRESOLVEDREF@0-4 X@5-6"}, {"q #ref", 3, "SQUARE@0-1 UNRESOLVEDREF@2-npos END@npos-npos"},
      {"#", 2, "UNRESOLVEDREF@0-npos END@npos-npos"},
      // Bracketed tokens: the blank after the token ends them.
      {"m[1;2] X", 3, "AFFINETRANSFORM@0-7 X@7-8 END@8-8"},
      {"n[1] d[1] g[1] X", 4, "CYLINDRICALTRANSFORM@0-5 DISCRETETRANFORM@5-10 GCGUIDEDTRANSFORM@10-15 X@15-16"},
      {"m", 2, "AFFINETRANSFORM@0-1 END@1-1"}, {"g[1]", 2, "GCGUIDEDTRANSFORM@0-4 END@4-4"},
      {"pa[1] X", 2, "PARAMETER@0-5 X@6-7"}, {"p r[1] X", 4, "PARAMETER@0-1 ROOT@2-3 X@7-8 END@8-8"},
      {"pa[1]", 2, "PARAMETER@0-5 END@5-5"},
  };
  // clang-format on
  for (auto const& test : cases)
    EXPECT_EQ(TokensOf(test.text, test.count), test.tokens) << '"' << test.text << '"';
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

TEST(Lexer, NumbersAreThoseOfAClassicStream)
{
  double const largest = std::numeric_limits<double>::max();
  // clang-format off
  struct { char const* text; bool read; double value; } const cases[] = {
      {"1", true, 1}, {" \t\n-2.5x", true, -2.5}, {"+.5", true, .5}, {"5.", true, 5}, {"1e3", true, 1000},
      {"1E-2;", true, .01}, {"1e3.5", true, 1000}, {"0x1p3", true, 0}, {"1.2.3", true, 1.2},
      {"4.9e-324", true, 5e-324}, {"1e-400", true, 0}, {"1.7976931348623157e308", true, largest}, {"007", true, 7},
      {"-0", true, -0.0}, {"", false, 0}, {"e5", false, 0}, {"1e", false, 0}, {"1e+", false, 0}, {".", false, 0},
      {"-", false, 0}, {"+-1", false, 0}, {"inf", false, 0}, {"nan", false, 0}, {"1.8e308", false, 0},
      {"-1e999999999", false, 0}, {"0.1000000000000000055511151231257827021181583404541015625", true, 0.1},
  };
  // clang-format on
  for (auto const& test : cases) {
    double value = 42.0;
    EXPECT_EQ(ReadSFNumber(test.text, value), test.read) << test.text;
    EXPECT_TRUE(Same(value, test.value)) << test.text << " gave " << value;
  }
}
