#include "SFNumberText.h"

#include "SFTypes.h"

#include <array>
#include <charconv>
#include <limits>
#include <locale>
#include <sstream>
#include <version>

namespace SF {

void AppendShortest(double iValue, std::string& ioText)
{
#if defined(__cpp_lib_to_chars)
  std::array<char, 32> buffer;
  ioText.append(buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), iValue).ptr);
#else
  std::string text;
  double read = 0.0;
  for (int digits = std::numeric_limits<double>::digits10; digits <= std::numeric_limits<double>::max_digits10;
       ++digits) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.precision(digits);
    stream << iValue;
    text = stream.str();
    if (ReadSFNumber(text, read) && read == iValue)
      break;
  }
  ioText += text;
#endif
}

} // namespace SF
