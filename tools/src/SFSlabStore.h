#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace SF {

class SFOutputFile;

/// Where parts of a volume wait outside of the memory until a file is made of them. Throws SFFileErrors.
class SFSlabStore
{
public:
  virtual ~SFSlabStore() = default;
  /// Bytes of the next slices, up to before `iEnd`. Tells where they begin.
  virtual std::uint64_t Add(std::uint32_t iEnd, std::string const& iBytes) = 0;
  /// Bytes that have been added.
  virtual void Read(std::uint64_t iAt, std::span<char> oBytes) const = 0;
  /// What is there from earlier runs, from the lowest slices on.
  virtual void Replay(std::function<void(std::string const& iBytes, std::uint64_t iAt)> const& iTake) = 0;
};

/// A file without a name, which goes with the process.
class SFScratchFile : public SFSlabStore
{
public:
  /// On the disk of a file, or in the system's folder for temporary files where that is no regular one.
  explicit SFScratchFile(SFOutputFile const& iBeside);
  SFScratchFile(SFScratchFile const&) = delete;
  SFScratchFile& operator=(SFScratchFile const&) = delete;
  ~SFScratchFile() override;

  std::uint64_t Add(std::uint32_t iEnd, std::string const& iBytes) override;
  void Read(std::uint64_t iAt, std::span<char> oBytes) const override;
  void Replay(std::function<void(std::string const& iBytes, std::uint64_t iAt)> const& iTake) override;

private:
  std::string _name; ///< for messages
  int _file = -1;
  std::uint64_t _size = 0;
};

// All of the bytes, behind those before or from a place on. SFFileErrors have the name.
void WriteFully(int iFile, std::string_view iBytes, std::string const& iName);
void ReadFully(int iFile, std::uint64_t iAt, std::span<char> oBytes, std::string const& iName);

} // namespace SF
