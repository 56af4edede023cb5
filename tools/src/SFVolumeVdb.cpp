#include "SFVolumeWriter.h"

#include "SFWork.h"

// The headers of OpenVDB take long to compile: this is the one file that has them.
#include <openvdb/io/Archive.h>
#include <openvdb/openvdb.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <streambuf>
#include <vector>

namespace SF {
namespace {

using Leaf = openvdb::FloatTree::LeafNodeType;
constexpr std::uint32_t Side = Leaf::DIM;
static_assert(Side == SFVdbSlices);

/// An output file as a stream. Bytes that have been written can be replaced, and nothing else is sought.
class FileBuffer : public std::streambuf
{
public:
  explicit FileBuffer(SFOutputFile& ioFile) : _file(ioFile) {}

protected:
  std::streamsize xsputn(char const* iBytes, std::streamsize iCount) override
  {
    std::string_view bytes(iBytes, static_cast<std::size_t>(iCount));
    if (_at < _end) {
      std::string_view const within = bytes.substr(0, static_cast<std::size_t>(_end - _at));
      _file.Overwrite(static_cast<std::uint64_t>(_at), within);
      _at += static_cast<std::streamoff>(within.size());
      bytes.remove_prefix(within.size());
    }
    _file.Write(bytes);
    _at += static_cast<std::streamoff>(bytes.size());
    _end = std::max(_end, _at);
    return iCount;
  }

  int_type overflow(int_type iCharacter) override
  {
    char const byte = traits_type::to_char_type(iCharacter);
    xsputn(&byte, 1);
    return traits_type::not_eof(iCharacter);
  }

  pos_type seekoff(off_type iOffset, std::ios_base::seekdir iFrom, std::ios_base::openmode) override
  {
    off_type const from = iFrom == std::ios_base::beg ? 0 : iFrom == std::ios_base::cur ? _at : _end;
    if (from + iOffset < 0 || from + iOffset > _end)
      return pos_type(off_type(-1));
    _at = from + iOffset;
    return pos_type(_at);
  }

  pos_type seekpos(pos_type iPosition, std::ios_base::openmode iMode) override
  {
    return seekoff(off_type(iPosition), std::ios_base::beg, iMode);
  }

private:
  SFOutputFile& _file;
  std::streamoff _at = 0;
  std::streamoff _end = 0;
};

/// OpenVDB's own file class wants to open the file itself.
class Archive : public openvdb::io::Archive
{
public:
  void WriteTo(std::ostream& ioStream, openvdb::GridBase::ConstPtr const& iGrid, bool iIsSeekable) const
  {
    write(ioStream, openvdb::GridCPtrVec{iGrid}, iIsSeekable);
  }
};

/// A slab of slices at once: its blocks of 8 x 8 x 8 points become leaves where the band crosses them.
class VdbWriter : public SFVolumeWriter
{
public:
  VdbWriter(SFGridFrame const& iFrame, SFVolumeBand const& iBand, SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
    : _frame(iFrame), _limit(static_cast<float>(iBand.limit)), _scale(1.0 / iBand.steepness),
      _background(static_cast<float>(iBand.limit * _scale)), _file(ioFile), _options(iOptions)
  {
    openvdb::initialize();
    _grid = openvdb::FloatGrid::create(_background);
    _grid->setName(iOptions.name);
    _grid->setGridClass(openvdb::GRID_LEVEL_SET);
    auto const transform = openvdb::math::Transform::createLinearTransform(iFrame.voxel);
    transform->postTranslate({iFrame.origin[0], iFrame.origin[1], iFrame.origin[2]});
    _grid->setTransform(transform);
    _grid->insertMeta("unit", openvdb::StringMetadata(std::string(SymbolOf(iOptions.unit))));
    _grid->insertMeta("steepness", openvdb::DoubleMetadata(iBand.steepness));
  }

  void Add(std::uint32_t iFirst, std::span<float const> iValues) override
  {
    auto const slice = std::size_t{_frame.dims[0]} * _frame.dims[1];
    auto const slices = static_cast<std::uint32_t>(iValues.size() / slice);
    for (std::uint32_t k = 0; k < slices; k += Side) {
      std::uint32_t const count = std::min(Side, slices - k);
      AddLayer(iFirst + k, iValues.subspan(k * slice, count * slice), count);
    }
    // Leaves are all that grows. Without a limit of its own, the next slab must find room for as many again.
    double const bytes = static_cast<double>(_leafCount) * LeafBytes;
    RequireMemory(_options, _options.maxMemory > 0.0 ? bytes : bytes - _checkedBytes, "the narrow band");
    _checkedBytes = bytes;
  }

  std::uint64_t Finish() override
  {
    std::uint64_t const active = _grid->activeVoxelCount();
    if (active == 0)
      throw SFModelError("there is no surface in the box");
    FileBuffer buffer(_file);
    std::ostream stream(&buffer);
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit); // those of the buffer go through
    try {
      Archive().WriteTo(stream, _grid, !_file.GetTemporaryPath().empty());
    } catch (openvdb::Exception const& error) {
      throw SFFileError(_file.GetName(), error.what());
    }
    return active;
  }

private:
  static constexpr double LeafBytes = sizeof(Leaf) + sizeof(float) * Leaf::SIZE;

  /// What blocks have become.
  struct Row
  {
    std::vector<std::unique_ptr<Leaf>> leaves;
    std::vector<openvdb::Coord> inside;
  };

  void AddLayer(std::uint32_t iK, std::span<float const> iValues, std::uint32_t iSlices)
  {
    std::vector<Row> rows((_frame.dims[1] + Side - 1) / Side);
    ForEach(rows.size(), _options, [&](std::size_t iRow, unsigned int) {
      auto const j = static_cast<std::uint32_t>(iRow) * Side;
      for (std::uint32_t i = 0; i < _frame.dims[0]; i += Side)
        AddBlock({{i, j, iK}, {std::min(Side, _frame.dims[0] - i), std::min(Side, _frame.dims[1] - j), iSlices}},
                 iValues, rows[iRow]);
    });
    openvdb::FloatGrid::Accessor accessor = _grid->getAccessor();
    for (Row& row : rows) {
      _leafCount += row.leaves.size();
      for (auto& leaf : row.leaves)
        accessor.addLeaf(leaf.release());
      for (openvdb::Coord const& at : row.inside)
        accessor.addTile(1, at, -_background, false);
    }
  }

  /// A block: where it begins in the grid, and how many points of it the grid has.
  struct Block
  {
    std::array<std::uint32_t, 3> at;
    std::array<std::uint32_t, 3> count;

    openvdb::Coord Begin() const { return {static_cast<int>(at[0]), static_cast<int>(at[1]), static_cast<int>(at[2])}; }
    bool IsWhole() const { return count == std::array{Side, Side, Side}; }
  };

  /// The points of a block along x, in a slab.
  float const* LineOf(Block const& iBlock, std::uint32_t iJ, std::uint32_t iK, std::span<float const> iValues) const
  {
    return iValues.data() + (std::size_t{iK} * _frame.dims[1] + iBlock.at[1] + iJ) * _frame.dims[0] + iBlock.at[0];
  }

  void AddBlock(Block const& iBlock, std::span<float const> iValues, Row& ioRow) const
  {
    float nearest = _limit;
    float lowest = _limit;
    for (std::uint32_t k = 0; k < iBlock.count[2]; ++k)
      for (std::uint32_t j = 0; j < iBlock.count[1]; ++j) {
        float const* const line = LineOf(iBlock, j, k, iValues);
        for (std::uint32_t i = 0; i < iBlock.count[0]; ++i) {
          nearest = std::min(nearest, std::abs(line[i]));
          lowest = std::min(lowest, line[i]);
        }
      }
    if (nearest >= _limit && lowest > 0.0F) // all outside, as the background
      return;
    if (nearest >= _limit && iBlock.IsWhole())
      ioRow.inside.push_back(iBlock.Begin());
    else
      ioRow.leaves.push_back(MakeLeaf(iBlock, iValues));
  }

  std::unique_ptr<Leaf> MakeLeaf(Block const& iBlock, std::span<float const> iValues) const
  {
    auto leaf = std::make_unique<Leaf>(iBlock.Begin(), _background, false);
    float* const values = leaf->buffer().data();
    for (std::uint32_t k = 0; k < iBlock.count[2]; ++k)
      for (std::uint32_t j = 0; j < iBlock.count[1]; ++j) {
        float const* const line = LineOf(iBlock, j, k, iValues);
        for (std::uint32_t i = 0; i < iBlock.count[0]; ++i) {
          std::uint32_t const place = (i * Side + j) * Side + k; // z fastest
          bool const isActive = std::abs(line[i]) < _limit;
          values[place] = isActive ? static_cast<float>(line[i] * _scale) : std::copysign(_background, line[i]);
          if (isActive)
            leaf->setValueOn(place);
        }
      }
    return leaf;
  }

  SFGridFrame _frame;
  float _limit;      ///< of the values that come
  double _scale;     ///< from these to lengths
  float _background; ///< the limit as a length
  SFOutputFile& _file;
  SFVolumeOptions const& _options;
  openvdb::FloatGrid::Ptr _grid;
  std::uint64_t _leafCount = 0;
  double _checkedBytes = 0.0;
};

} // namespace

std::unique_ptr<SFVolumeWriter> MakeVdbWriter(SFGridFrame const& iFrame, SFVolumeBand const& iBand,
                                              SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
{
  return std::make_unique<VdbWriter>(iFrame, iBand, ioFile, iOptions);
}

} // namespace SF
