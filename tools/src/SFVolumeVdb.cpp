#include "SFVolumeWriter.h"

#include "SFWork.h"

// The headers of OpenVDB take long to compile: this is the one file that has them.
#include <openvdb/io/Archive.h>
#include <openvdb/io/GridDescriptor.h>
#include <openvdb/openvdb.h>
#include <openvdb/tools/Count.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
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

/// Where the bytes of a leaf are: a row of leaves, and a part of its bytes.
struct LeafPlace
{
  std::uint32_t row;
  std::uint32_t begin;
  std::uint32_t size;
};

/// OpenVDB's own file class wants to open the file itself, and all values in memory when it begins.
class Archive : public openvdb::io::Archive
{
public:
  /// How the values of a grid are compressed.
  std::uint32_t CompressionOf(openvdb::FloatGrid const& iGrid) const
  {
    std::ostringstream stream;
    setGridCompression(stream, iGrid);
    return openvdb::io::getDataCompression(stream);
  }

  /// Prepares a stream for the values of a grid.
  void Prepare(std::ostream& ioStream, openvdb::FloatGrid const& iGrid) const
  {
    openvdb::io::setDataCompression(ioStream, CompressionOf(iGrid));
    openvdb::io::setGridBackgroundValuePtr(ioStream, &iGrid.background());
  }

  /// Writes a file of one grid; `iWriteLeaf` gives the stream the bytes of each leaf, which are written last of all.
  template <class WriteLeaf>
  void WriteTo(std::ostream& ioStream, openvdb::FloatGrid const& iGrid, bool iIsSeekable,
               WriteLeaf const& iWriteLeaf) const
  {
    auto const position = [&] { return iIsSeekable ? std::int64_t{ioStream.tellp()} : 0; };
    writeHeader(ioStream, iIsSeekable);
    openvdb::MetaMap().writeMeta(ioStream);
    std::int32_t const grids = 1;
    ioStream.write(reinterpret_cast<char const*>(&grids), sizeof grids);
    std::string const name = iGrid.getName();
    openvdb::io::GridDescriptor place(name.empty() ? openvdb::io::GridDescriptor::addSuffix(name, 0) : name,
                                      iGrid.type());
    place.writeHeader(ioStream);
    std::int64_t const placesAt = position();
    place.writeStreamPos(ioStream);
    place.setGridPos(position());
    setGridCompression(ioStream, iGrid);
    iGrid.writeMeta(ioStream);
    iGrid.writeTransform(ioStream);
    iGrid.writeTopology(ioStream);
    place.setBlockPos(position());
    for (auto leaf = iGrid.tree().cbeginLeaf(); leaf; ++leaf)
      iWriteLeaf(*leaf);
    place.setEndPos(position());
    if (iIsSeekable) {
      ioStream.seekp(placesAt);
      place.writeStreamPos(ioStream);
      place.seekToEnd(ioStream);
    }
  }
};

/// OpenVDB wants volumes of voxels that are not next to 0, in whatever unit.
openvdb::math::Transform::Ptr TransformFor(double iVoxel)
{
  try {
    return openvdb::math::Transform::createLinearTransform(iVoxel);
  } catch (openvdb::ArithmeticError const&) {
    throw std::invalid_argument("voxel: too small a number for a .vdb; in a smaller unit it is larger");
  }
}

/// A slab of slices at once: its blocks of 8 x 8 x 8 points become leaves where the band crosses them. The tree holds the
/// masks of its leaves alone; their values are kept as the bytes that the file will have, a third of their size.
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
    auto const transform = TransformFor(iFrame.voxel);
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
    RequireMemory(_options, _options.maxMemory > 0.0 ? _bytes : _bytes - _checkedBytes, "the narrow band");
    _checkedBytes = _bytes;
  }

  std::uint64_t Finish() override
  {
    std::uint64_t const active = _grid->activeVoxelCount();
    if (active == 0)
      throw SFModelError("there is no surface in the box");
    _grid->addStatsMetadata();
    _grid->insertMeta(openvdb::GridBase::META_FILE_COMPRESSION,
                      openvdb::StringMetadata(openvdb::io::compressionToString(_archive.CompressionOf(*_grid))));
    _grid->insertMeta(openvdb::GridBase::META_FILE_MEM_BYTES, openvdb::Int64Metadata(static_cast<std::int64_t>(
                                                                  openvdb::tools::memUsageIfLoaded(_grid->tree()))));
    FileBuffer buffer(_file);
    std::ostream stream(&buffer);
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit); // those of the buffer go through
    try {
      _archive.WriteTo(stream, *_grid, !_file.GetTemporaryPath().empty(), [&](Leaf const& iLeaf) {
        ThrowIfCancelled(_options);
        LeafPlace const& place = _places[iLeaf.transientData()];
        stream.write(_rows[place.row].data() + place.begin, place.size);
      });
    } catch (openvdb::Exception const& error) {
      throw SFFileError(_file.GetName(), error.what());
    }
    return active;
  }

private:
  /// What the blocks of a row have become: leaves without values, and the bytes of each of these.
  struct Row
  {
    std::vector<std::unique_ptr<Leaf>> leaves;
    std::vector<std::uint32_t> sizes;
    std::string bytes;
    std::vector<openvdb::Coord> inside;
  };

  void AddLayer(std::uint32_t iK, std::span<float const> iValues, std::uint32_t iSlices)
  {
    std::vector<Row> rows((_frame.dims[1] + Side - 1) / Side);
    ForEach(rows.size(), _options, [&](std::size_t iRow, unsigned int) {
      auto const j = static_cast<std::uint32_t>(iRow) * Side;
      std::ostringstream stream;
      _archive.Prepare(stream, *_grid);
      for (std::uint32_t i = 0; i < _frame.dims[0]; i += Side)
        AddBlock({{i, j, iK}, {std::min(Side, _frame.dims[0] - i), std::min(Side, _frame.dims[1] - j), iSlices}},
                 iValues, rows[iRow], stream);
      rows[iRow].bytes = stream.str();
    });
    for (Row& row : rows)
      TakeRow(row);
  }

  void TakeRow(Row& ioRow)
  {
    openvdb::FloatGrid::Accessor accessor = _grid->getAccessor();
    std::uint32_t begin = 0;
    for (std::size_t i = 0; i < ioRow.leaves.size(); ++i) {
      ioRow.leaves[i]->setTransientData(static_cast<openvdb::Index32>(_places.size()));
      _places.push_back({static_cast<std::uint32_t>(_rows.size()), begin, ioRow.sizes[i]});
      begin += ioRow.sizes[i];
      accessor.addLeaf(ioRow.leaves[i].release());
    }
    for (openvdb::Coord const& at : ioRow.inside)
      accessor.addTile(1, at, -_background, false);
    _bytes += static_cast<double>(ioRow.leaves.size() * (sizeof(Leaf) + sizeof(LeafPlace)) + ioRow.bytes.size());
    _rows.push_back(std::move(ioRow.bytes));
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

  void AddBlock(Block const& iBlock, std::span<float const> iValues, Row& ioRow, std::ostream& ioStream) const
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
      AddLeaf(MakeLeaf(iBlock, iValues), ioRow, ioStream);
  }

  static void AddLeaf(Leaf const& iLeaf, Row& ioRow, std::ostream& ioStream)
  {
    auto const before = ioStream.tellp();
    iLeaf.writeBuffers(ioStream);
    ioRow.sizes.push_back(static_cast<std::uint32_t>(ioStream.tellp() - before));
    ioRow.leaves.push_back(std::make_unique<Leaf>(openvdb::PartialCreate(), iLeaf.origin()));
    ioRow.leaves.back()->setValueMask(iLeaf.getValueMask());
  }

  Leaf MakeLeaf(Block const& iBlock, std::span<float const> iValues) const
  {
    Leaf leaf(iBlock.Begin(), _background, false);
    float* const values = leaf.buffer().data();
    for (std::uint32_t k = 0; k < iBlock.count[2]; ++k)
      for (std::uint32_t j = 0; j < iBlock.count[1]; ++j) {
        float const* const line = LineOf(iBlock, j, k, iValues);
        for (std::uint32_t i = 0; i < iBlock.count[0]; ++i) {
          std::uint32_t const place = (i * Side + j) * Side + k; // z fastest
          bool const isActive = std::abs(line[i]) < _limit;
          values[place] = isActive ? static_cast<float>(line[i] * _scale) : std::copysign(_background, line[i]);
          if (isActive)
            leaf.setValueOn(place);
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
  Archive _archive;
  openvdb::FloatGrid::Ptr _grid;
  std::vector<std::string> _rows; ///< bytes of leaves
  std::vector<LeafPlace> _places; ///< of leaves in these, by their transient data
  double _bytes = 0.0;            ///< of all leaves
  double _checkedBytes = 0.0;     ///< of these, those that there was room for
};

} // namespace

std::unique_ptr<SFVolumeWriter> MakeVdbWriter(SFGridFrame const& iFrame, SFVolumeBand const& iBand,
                                              SFOutputFile& ioFile, SFVolumeOptions const& iOptions)
{
  return std::make_unique<VdbWriter>(iFrame, iBand, ioFile, iOptions);
}

} // namespace SF
