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
  SFExpressionNodeHandle(void* iFirst, void* iSecond, std::int32_t iNumber)
    : _first(iFirst), _second(iSecond), _number(iNumber)
  {
  }
  SFExpressionNodeHandle(SFExpressionNodeHandle const&) = default;
  SFExpressionNodeHandle& operator=(SFExpressionNodeHandle const&) = default;

  static SFExpressionNodeHandle GetEmpty() { return {}; }

  void* GetFirst() const { return _first; }
  void* GetSecond() const { return _second; }
  std::int32_t GetNumber() const { return _number; }

  bool operator==(SFExpressionNodeHandle const&) const = default;

private:
  void* _first = nullptr;
  void* _second = nullptr;
  std::int32_t _number = 0;
};

} // namespace SF
