#pragma once

#include "SFToolsExport.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace SF {

/// @file
/// What the operations of the tools throw, beside std::invalid_argument with the name of the argument that is wrong,
/// and std::bad_alloc. Outputs are then as if the operation had not been called.

/// The cancel flag was set.
class SF_TOOLS_EXPORT SFCancelled : public std::runtime_error
{
public:
  /// With the text "cancelled".
  SFCancelled();
  ~SFCancelled() override;
};

/// The field cannot be worked on: it is unbounded, has no surface in the box, no value anywhere, or cannot be compiled.
class SF_TOOLS_EXPORT SFModelError : public std::domain_error
{
public:
  using std::domain_error::domain_error;
  ~SFModelError() override;
};

/// The operation would take more memory than it may. Found out before the work begins where that is possible.
class SF_TOOLS_EXPORT SFMemoryLimit : public std::runtime_error
{
public:
  /// "<what> needs 3.1 GiB of memory, 2 GiB is free", or "... is allowed".
  SFMemoryLimit(std::string const& iWhat, double iNeeded, double iLimit, bool iIsAllowance);
  ~SFMemoryLimit() override;
};

/// A file cannot be written: "<file>: <reason>", in the system's words where it has some.
class SF_TOOLS_EXPORT SFFileError : public std::runtime_error
{
public:
  /// A reason in words.
  SFFileError(std::string const& iFile, std::string const& iReason);
  /// A reason by the system's number, errno.
  SFFileError(std::string const& iFile, int iErrorNumber);
  ~SFFileError() override;
};

} // namespace SF
