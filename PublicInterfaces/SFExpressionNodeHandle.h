#pragma once

#include "SFExport.h"

#include <cstdint>

namespace SF {

/// A value that a host keeps to name a node of an expression. The library does not look into it: what the two
/// pointers refer to, and what the number counts, is the business of whoever made the handle.
class SF_EXPORT SFExpressionNodeHandle
{
public:
  /// The empty handle: two null pointers and 0.
  SFExpressionNodeHandle() = default;
  /// Two pointers, which are not owned and may be null, and a number.
  SFExpressionNodeHandle(void* iFirst, void* iSecond, std::int32_t iNumber)
    : _first(iFirst), _second(iSecond), _number(iNumber)
  {
  }
  SFExpressionNodeHandle(SFExpressionNodeHandle const&) = default;
  SFExpressionNodeHandle& operator=(SFExpressionNodeHandle const&) = default;

  /// Equal to a handle that was made without arguments.
  static SFExpressionNodeHandle GetEmpty() { return {}; }

  void* GetFirst() const { return _first; }          ///< as given
  void* GetSecond() const { return _second; }        ///< as given
  std::int32_t GetNumber() const { return _number; } ///< as given

  bool operator==(SFExpressionNodeHandle const&) const = default;

private:
  void* _first = nullptr;
  void* _second = nullptr;
  std::int32_t _number = 0;
};

} // namespace SF
