#pragma once

#include "Signals.h"

#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace SFHost {

/// Where a result goes. A file is built under a temporary name in its own folder and takes its name only when
/// Commit succeeds, so that nobody ever finds half a file; what was there before stays until then. Without a
/// Commit, or when a signal stops the process, the temporary file is removed. Devices, pipes and the standard
/// output, "-", are written as they are.
///
/// Every operation throws a Failure that names the output. One at a time.
class Output
{
public:
  explicit Output(std::string iPath);
  Output(Output const&) = delete;
  Output& operator=(Output const&) = delete;
  ~Output();

  void Write(std::string_view iBytes);
  /// Makes the result whole. Nothing may be written afterwards.
  void Commit();
  std::string const& GetName() const { return _name; }

private:
  void OpenFile();
  void OpenTemporary(std::string const& iPath);
  void Open(int iDescriptor);
  void RemoveTemporary();

  std::string _name;      ///< for messages
  std::string _target;    ///< the file to be replaced; empty when there is no temporary file
  std::string _temporary; ///< empty once it has been renamed
  std::string _interruptedLine;
  FileAtRisk _atRisk{};
  std::FILE* _file = nullptr;
};

/// Little-endian IEEE 754 numbers, whatever the machine.
void WriteFloats(Output& ioOutput, std::span<float const> iValues);

} // namespace SFHost
