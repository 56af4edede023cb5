#pragma once

#include "SFExport.h"
#include "SFExpressionPath.h"

#include <vector>

namespace SF {

/// A list of paths that may be destroyed through a pointer to it.
class SF_EXPORT SFExpressionPaths : public std::vector<SFExpressionPath>
{
public:
  using std::vector<SFExpressionPath>::vector;
  SFExpressionPaths() = default;
  SFExpressionPaths(SFExpressionPaths const&) = default;
  SFExpressionPaths(SFExpressionPaths&&) = default;
  SFExpressionPaths& operator=(SFExpressionPaths const&) = default;
  SFExpressionPaths& operator=(SFExpressionPaths&&) = default;
  virtual ~SFExpressionPaths();
};

} // namespace SF
