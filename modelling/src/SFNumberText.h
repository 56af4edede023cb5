#pragma once

#include <string>

namespace SF {

/// Appends the shortest decimal that ReadSFNumber reads back to the same finite double; an exponent where that is shorter.
void AppendShortest(double iValue, std::string& ioText);

} // namespace SF
