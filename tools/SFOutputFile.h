#pragma once

#include "SFToolsExport.h"

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace SF {

/// Where a result goes. A file is built under a temporary name in its own folder and takes its name only when Commit
/// succeeds, so that nobody ever finds half a file; what was there before stays until then. Without a Commit the
/// temporary file is removed. Devices, pipes and the standard output, "-", are written as they are.
///
/// Every operation throws an SFFileError that names the file. Objects may live in several threads, each used by one.
class SF_TOOLS_EXPORT SFOutputFile
{
public:
  /// Opens the file, before the work that its content takes, so that what cannot be written is told at once.
  explicit SFOutputFile(std::string iPath);
  /// As above, under a temporary name that TemporaryFor gave: for those who must know it before the file is there.
  SFOutputFile(std::string iPath, std::string iTemporary);
  /// A name in the folder of a file that no other object of this process uses.
  static std::string TemporaryFor(std::string const& iPath);
  /// How a file that a run builds after another one is opened: all behind this many bytes is made anew.
  struct Kept
  {
    std::uint64_t from = 0; ///< bytes that stay
  };
  /// The temporary name is that of the file with ".partial", and what has been built stays there when there is no Commit.
  /// Regular files only.
  SFOutputFile(std::string iPath, Kept iKept);
  SFOutputFile(SFOutputFile const&) = delete;
  SFOutputFile& operator=(SFOutputFile const&) = delete;
  ~SFOutputFile();

  /// Bytes as they are, behind those before.
  void Write(std::string_view iBytes);
  /// Numbers in little-endian order, whatever the machine.
  void Write(std::span<float const> iValues);         ///< 4 bytes each
  void Write(std::span<double const> iValues);        ///< 8 bytes each
  void Write(std::span<std::uint32_t const> iValues); ///< 4 bytes each
  /// Replaces bytes that have been written, as a count in a header that is known in the end only. Fails for pipes.
  void Overwrite(std::uint64_t iPosition, std::string_view iBytes);
  /// Throws unless the disk has room for `iBytes` more; what is no regular file has room for all.
  void RequireRoom(double iBytes) const;
  /// What has been written is on the disk.
  void Flush();
  /// Makes the result whole. Nothing may be written afterwards.
  void Commit();

  /// For messages: the path, or "standard output".
  std::string const& GetName() const { return _name; }
  /// The file that is being written, for libraries that want a name and not bytes; they replace its content. Empty
  /// when it is no regular file.
  std::string const& GetTemporaryPath() const { return _temporary; }

  /// What RemoveUnfinished found: no temporary file; files that it removed; files that another process had removed before.
  enum class Unfinished
  {
    None,    ///< there was no file
    Removed, ///< files were removed
    Gone     ///< others had removed them
  };
  /// Removes the temporary files of all objects of this process. Safe in a signal handler, before the process ends.
  static Unfinished RemoveUnfinished() noexcept;

private:
  void OpenFile(std::string const& iTemporary);
  void OpenTemporary(std::string const& iPath, std::string const& iTemporary);
  void Open(int iDescriptor);
  void RemoveTemporary();
  template <class Number>
  void WriteNumbers(std::span<Number const> iValues);

  std::string _name;      ///< for messages
  std::string _target;    ///< the file to be replaced; empty when there is no temporary file
  std::string _temporary; ///< empty once it has been renamed
  bool _isKept = false;
  std::FILE* _file = nullptr;
};

/// The temporary file of another process, which this one helps to build: RemoveUnfinished removes it, too, while the object
/// lives.
class SF_TOOLS_EXPORT SFSharedTemporary
{
public:
  /// The path of the temporary file, which need not be there yet.
  explicit SFSharedTemporary(std::string iPath);
  SFSharedTemporary(SFSharedTemporary const&) = delete;
  SFSharedTemporary& operator=(SFSharedTemporary const&) = delete;
  ~SFSharedTemporary();

private:
  std::string _path;
};

} // namespace SF
