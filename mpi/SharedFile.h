#pragma once

#include "Ranks.h"
#include "SFOutputFile.h"

#include <cstdint>
#include <mpi.h>
#include <optional>
#include <string>
#include <string_view>

namespace SFMpi {

/// A result that all processes write, through MPI-IO. It is built under a temporary name, as by SFOutputFile, which the first
/// process makes and renames, and which every process removes when a signal ends it.
class SharedFile
{
public:
  /// Collective, and so are the destructor and Commit. A file of `iSize` bytes: room for it is made at once where the file
  /// system can, so that a full disk is told before the work. Throws a UsageError for what is no regular file, an
  /// SFFileError, everywhere.
  SharedFile(Ranks const& iRanks, std::string const& iPath, std::uint64_t iSize);
  SharedFile(SharedFile const&) = delete;
  SharedFile& operator=(SharedFile const&) = delete;
  ~SharedFile();

  /// By one process alone, in large pieces that are next to each other in the file, so that collective buffering would gain
  /// nothing. SFFileError.
  void WriteAt(std::uint64_t iPosition, std::string_view iBytes);
  /// When all has been written.
  void Commit();

private:
  void Require(int iCode) const;

  Ranks const& _ranks;
  std::string _name;
  std::optional<SF::SFSharedTemporary> _temporary;
  std::optional<SF::SFOutputFile> _output; ///< of the first process
  MPI_File _file = MPI_FILE_NULL;
};

} // namespace SFMpi
