#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace SF {

/// What values are called, in the order in which they are listed for users.
template <class Value, std::size_t Count>
struct SFNameTable
{
  std::array<Value, Count> values;
  std::array<std::string_view, Count> names;

  /// The value of a name. std::invalid_argument that begins with `iWhat` and lists all names where there is none.
  Value Find(std::string_view iName, std::string const& iWhat) const
  {
    std::string known;
    for (std::size_t i = 0; i < Count; ++i) {
      if (names[i] == iName)
        return values[i];
      known.append(known.empty() ? "" : ", ").append(names[i]);
    }
    throw std::invalid_argument(iWhat + " one of " + known);
  }
  std::string_view NameOf(Value iValue) const
  {
    std::size_t i = 0;
    while (i + 1 < Count && values[i] != iValue)
      ++i;
    return names[i];
  }
};

/// How the name of a file ends, from its last dot on, in small letters; empty without a dot.
std::string ExtensionOf(std::string_view iPath);

} // namespace SF
