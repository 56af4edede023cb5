#include "Tables.h"

#include "SFExpressionCheck.h"
#include "SFTextMessages.h"

using namespace SF;
using namespace SFTest;

namespace {

char const* NameOf(SFFindingKind iKind)
{
  static char const* const names[] = {
      "encoding", "skipped",  "number",          "out-of-range", "line-break", "blank",    "brackets",
      "name",     "numbered", "missing-operand", "after-end",    "merged",     "no-value",
  };
  return names[static_cast<std::size_t>(iKind)];
}

/// As the data file has them.
LineList LinesOf(std::vector<SFTextFinding> const& iFindings)
{
  LineList lines;
  for (SFTextFinding const& finding : iFindings) {
    std::ostringstream line;
    line << finding.position << '+' << finding.length << ' ' << NameOf(finding.kind);
    if (finding.related != SFTextFinding::Nowhere)
      line << " for " << finding.related;
    line << ": " << finding.sentence;
    lines.push_back(line.str());
  }
  return lines;
}

} // namespace

TEST(ExpressionCheck, FindsWhatIsReadOtherwiseThanItLooks)
{
  for (auto const& [cells, lines, place] : ReadTable("findings")) {
    Captured const captured;
    EXPECT_EQ(LinesOf(SFExpressionCheck::Check(cells[0])), lines) << place;
    EXPECT_EQ(captured.Text(), "") << place;
  }
}

TEST(ExpressionCheck, KnowsTheReadingAndTheLimit)
{
  std::string const merged = "U m[1;0;0;1;0;1;0;0;0;0;1;0] X m[1;0;0;2;0;1;0;0;0;0;1;0] X";
  EXPECT_EQ(SFExpressionCheck::Check(merged).size(), 1u);
  EXPECT_TRUE(SFExpressionCheck::Check(merged, SFNodeEquality::EExact).empty());
  EXPECT_EQ(SFExpressionCheck::Check(Repeated("u ", 300) + "X").size(), SFExpressionCheck::DefaultLimit);
  EXPECT_EQ(SFExpressionCheck::Check("1 2 3 X", SFNodeEquality::EStructural, 2).size(), 2u);
  EXPECT_EQ(SFExpressionCheck::Check("b1 X Y")[0].node, SFNodeType::BLEND);
}

// Each of these costs the square of its length, or a stack of its depth, if one thing is done once a token too often.
TEST(ExpressionCheck, TakesLongTextsAtOnce)
{
  std::size_t const n = Scaled(100000);
  for (std::string const& text :
       {Repeated("+ ", n), Repeated("q", n) + "X", Repeated("p ", n) + "[1]", Repeated("+ ", n) + "f- ",
        Repeated("g[", n) + "] X", Repeated("U f0 U f-0 ", n) + "X", std::string(n, 'w'), "X " + std::string(n, '$'),
        "f" + std::string(n, '\n') + "1", Repeated("+ f1\nf1 ", n) + "X", Repeated("m", n), Repeated("# 1 ", n)})
    EXPECT_LE(SFExpressionCheck::Check(text).size(), SFExpressionCheck::DefaultLimit) << text.substr(0, 9);
}

TEST(TextMessages, MarkPlacesAsCompilersDo)
{
  std::string const wide = Repeated("a", 300) + "\xe2\x88\x92" + Repeated("b", 300);
  std::string const a50(50, 'a');
  struct
  {
    std::string text;
    std::size_t position;
    std::size_t length;
    std::string lines;
  } const cases[] = {
      {"- 3 X", 2, 1, "m:1:3: warning: W\n- 3 X\n  ^\n"},
      {"", 0, 0, "m:1:1: warning: W\n\n^\n"},
      {"X\r\n\xc3\xa9\t\x01q\xff Y\r\n", 6, 4, "m:2:3: warning: W\n\xc3\xa9 ?q? Y\n  ^~~~\n"},
      {"X\xc3\xa9Y", 2, 2, "m:1:2: warning: W\nX\xc3\xa9Y\n ^~\n"}, // from the middle of a character
      {"X\nY", 9, 2, "m:2:2: warning: W\nY\n ^\n"},
      {"X\nY", 0, 3, "m:1:1: warning: W\nX\n^\n"},
      {"X\nY", 1, 1, "m:1:2: warning: W\nX\n ^\n"},
      {"\x1b[0m\xc2\x9b"
       "1mX",
       8, 1, "m:1:8: warning: W\n?[0m?1mX\n       ^\n"},
      {wide, 300, 3,
       "m:1:301: warning: W\n..." + a50 + "\xe2\x88\x92" + std::string(49, 'b') + "...\n" + std::string(53, ' ') +
           "^\n"},
      {wide, 303, 200,
       "m:1:302: warning: W\n..." + a50.substr(1) + "\xe2\x88\x92" + std::string(50, 'b') + "...\n" +
           std::string(53, ' ') + "^" + std::string(49, '~') + "\n"},
      {wide, 602, 1, "m:1:601: warning: W\n..." + std::string(100, 'b') + "\n" + std::string(102, ' ') + "^\n"},
      {wide, 3, 2, "m:1:4: warning: W\n" + a50 + a50 + "...\n   ^~\n"},
  };
  for (auto const& test : cases)
    EXPECT_EQ(SFTextMessages("m", test.text).Format(test.position, test.length, "warning", "W"), test.lines);

  // In any order of the places.
  std::string const text = "X Y\n+ X\nZ";
  SFTextMessages messages("m", text);
  for (std::size_t const position : {8U, 2U, 6U, 5U, 0U, 9U}) {
    auto const at = messages.PlaceOf(position);
    auto const alone = SFTextMessages("m", text).PlaceOf(position);
    EXPECT_EQ(std::pair(at.line, at.column), std::pair(alone.line, alone.column)) << position;
  }
  EXPECT_EQ(SFExpressionCheck::Format(SFExpressionCheck::Check("+ pa[1] pa[2]"), "m", "+ pa[1] pa[2]"),
            "m:1:9: warning: This parameter is taken for another one of its name, with another value.\n"
            "+ pa[1] pa[2]\n        ^~~~~\n"
            "m:1:3: note: This is the one that is kept.\n+ pa[1] pa[2]\n  ^\n");
}
