#pragma once

#include "ResourceToSF.h"
#include "SFExport.h"

#include <string>

namespace SF {

/// Implemented by the host: turns the resource references of an expression text into nodes.
class SF_EXPORT SFResourceResolver
{
public:
  virtual ~SFResourceResolver();

  /// A new node for a reference text ("#..."), made with `new`, or null. The caller takes ownership.
  virtual ResourceToSF* Resolve(std::string const& iText) = 0;
};

} // namespace SF
