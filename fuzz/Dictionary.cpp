/// Writes a dictionary for libFuzzer to the standard output: the tokens of the operator table, and the markers that
/// the lexer and the builder look for.
/// Format: LLVM documentation, "libFuzzer", section "Dictionaries".

#include "SFOperatorTable.h"

#include <cstdio>
#include <string_view>

namespace {

void Write(std::string_view iEntry)
{
  std::fputc('"', stdout);
  for (char const character : iEntry) {
    auto const byte = static_cast<unsigned char>(character);
    if (byte < ' ' || byte > '~' || byte == '"' || byte == '\\')
      std::printf("\\x%02x", byte);
    else
      std::fputc(byte, stdout);
  }
  std::fputs("\"\n", stdout);
}

constexpr std::string_view Markers[] = {
    " $", "$", "[", "]", "] ", ";", "#", "# ", "# 3 ", ",", ".", "e", "-", "\n", "[]", "[[", "]]", "][",
    // whole tokens, whose parts are too long to be found by chance
    "f0 ", "f1 ", "f-1 ", "f-0 ", "f0.5 ", "f2,5 ", "f1e300 ", "f1e-300 ", "f5e-324 ", "f1e999 ", "f1.7976931e308 ",
    "pa[1] ", "pb[2] ", "p[0] ", "b0.1 ", "o0.5 ", "o-1 ", "#r ", "#BRX:1 ", "#RGrad ", "#TM ", "#EXPL ",
    "m[1;0;0;1;0;1;0;0;0;0;1;0] ", "m[0;1;0;0;-1;0;0;2;0;0;1;0;0;0;0;1] ", "m[1;0;0;0;0;0;0;0;0;0;0;0] ",
    "n[0;0;0;0;0;1;3] ", "n[1;2;-1;0;1;0;0.5] ", "n[0;0;0;0;0;0;0] ", "d[#a;#b] ", "g[] ", "g[[#a;#b][#c]] "};

} // namespace

int main()
{
  for (auto const& row : SF::SFOperatorTable)
    if (row.token != 0) {
      char const token[] = {row.token, ' '};
      Write({token, 1});
      Write({token, 2});
    }
  for (std::string_view const marker : Markers)
    Write(marker);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
