#include "SFVolumeWriter.h"

#include "SFWork.h"

// The headers of OpenVDB take long to compile: this is the one file that has them.
#include <openvdb/io/Archive.h>
#include <openvdb/io/GridDescriptor.h>
#include <openvdb/openvdb.h>
#include <openvdb/tools/Count.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <type_traits>
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

/// Where the bytes of a leaf are in the store.
struct LeafPlace
{
  std::uint64_t begin;
  std::uint32_t size;
};

/// A leaf without its values, as the store has it.
struct LeafHead
{
  std::array<std::int32_t, 3> origin;
  std::uint32_t size; ///< of its bytes
  std::array<std::uint64_t, Leaf::NUM_VALUES / 64> mask;
};
using LeafMask = Leaf::NodeMaskType;
static_assert(std::is_trivially_copyable_v<LeafHead> && sizeof(LeafHead::mask) == LeafMask::WORD_COUNT * 8);

template <class Value>
void Append(std::string& ioBytes, std::vector<Value> const& iValues)
{
  auto const count = static_cast<std::uint32_t>(iValues.size());
  ioBytes.append(reinterpret_cast<char const*>(&count), sizeof count);
  ioBytes.append(reinterpret_cast<char const*>(iValues.data()), count * sizeof(Value));
}

/// False where there are too few bytes.
template <class Value>
bool Take(std::string_view& ioBytes, std::vector<Value>& oValues)
{
  std::uint32_t count = 0;
  if (ioBytes.size() < sizeof count)
    return false;
  std::memcpy(&count, ioBytes.data(), sizeof count);
  ioBytes.remove_prefix(sizeof count);
  if (ioBytes.size() / sizeof(Value) < count)
    return false;
  oValues.resize(count);
  std::memcpy(oValues.data(), ioBytes.data(), count * sizeof(Value));
  ioBytes.remove_prefix(count * sizeof(Value));
  return true;
}

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

  /// Writes a file of one grid; `iWriteLeaves` gives the stream the bytes of the leaves, which are written last of all.
  template <class WriteLeaves>
  void WriteTo(std::ostream& ioStream, openvdb::FloatGrid const& iGrid, bool iIsSeekable,
               WriteLeaves const& iWriteLeaves) const
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
    iWriteLeaves();
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

/// A layer of blocks of 8 x 8 x 8 points at once: they become leaves where the band crosses them. The tree holds the masks of
/// its leaves alone; the bytes that the file will have of their values wait in a store, as the file begins with the masks of
/// all of them.
class VdbWriter : public SFVolumeWriter
{
public:
  VdbWriter(SFGridFrame const& iFrame, SFVolumeBand const& iBand, SFOutputFile& ioFile, SFVolumeOptions const& iOptions,
            SFSlabStore& ioStore)
    : _store(ioStore), _frame(iFrame), _limit(static_cast<float>(iBand.limit)), _scale(1.0 / iBand.steepness),
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
    _store.Replay([this](std::string const& iLayer, std::uint64_t iAt) {
      ThrowIfCancelled(_options);
      if (!TakeLayer(iLayer, iAt))
        throw SFFileError(_file.GetName(), "the journal of its slabs is damaged; remove it to begin anew");
    });
  }

  void Add(std::uint32_t iFirst, std::span<float const> iValues) override
  {
    auto const slice = std::size_t{_frame.dims[0]} * _frame.dims[1];
    auto const slices = static_cast<std::uint32_t>(iValues.size() / slice);
    for (std::uint32_t k = 0; k < slices; k += Side) {
      std::uint32_t const count = std::min(Side, slices - k);
      AddLayer(iFirst + k, iValues.subspan(k * slice, count * slice), count);
    }
    // Leaves without values are all that grows. Without a limit of its own, the next slab must find room for as many again.
    double const bytes = static_cast<double>(_places.size()) * (sizeof(Leaf) + sizeof(LeafPlace));
    RequireMemory(_options, _options.maxMemory > 0.0 ? bytes : bytes - _checkedBytes, "the narrow band");
    _checkedBytes = bytes;
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
      _archive.WriteTo(stream, *_grid, !_file.GetTemporaryPath().empty(), [&] { WriteLeaves(stream); });
    } catch (openvdb::Exception const& error) {
      throw SFFileError(_file.GetName(), error.what());
    }
    return active;
  }

private:
  /// What the blocks of a row have become: leaves, and the bytes of their values, one leaf after the other.
  struct Row
  {
    std::vector<LeafHead> leaves;
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
    std::string const layer = Packed(rows);
    if (!TakeLayer(layer, _store.Add(iK + iSlices, layer)))
      throw std::logic_error("a layer of a band that is not read as it was written");
  }

  static std::string Packed(std::vector<Row> const& iRows)
  {
    Row all;
    for (Row const& row : iRows) {
      all.leaves.insert(all.leaves.end(), row.leaves.begin(), row.leaves.end());
      all.inside.insert(all.inside.end(), row.inside.begin(), row.inside.end());
    }
    Append(all.bytes, all.leaves);
    Append(all.bytes, all.inside);
    for (Row const& row : iRows)
      all.bytes += row.bytes;
    return std::move(all.bytes);
  }

  /// Takes the leaves of a layer that begins at a place in the store into the tree; false for bytes that are none.
  bool TakeLayer(std::string_view iLayer, std::uint64_t iAt)
  {
    std::string_view bytes = iLayer;
    std::vector<LeafHead> leaves;
    std::vector<openvdb::Coord> inside;
    if (!Take(bytes, leaves) || !Take(bytes, inside))
      return false;
    std::uint64_t begin = iAt + (iLayer.size() - bytes.size());
    openvdb::FloatGrid::Accessor accessor = _grid->getAccessor();
    for (LeafHead const& head : leaves) {
      auto leaf = std::make_unique<Leaf>(openvdb::PartialCreate(), openvdb::Coord(head.origin.data()));
      LeafMask mask;
      for (openvdb::Index word = 0; word < head.mask.size(); ++word)
        mask.getWord<std::uint64_t>(word) = head.mask[word];
      leaf->setValueMask(mask);
      leaf->setTransientData(static_cast<openvdb::Index32>(_places.size()));
      _places.push_back({begin, head.size});
      begin += head.size;
      accessor.addLeaf(leaf.release());
    }
    for (openvdb::Coord const& at : inside)
      accessor.addTile(1, at, -_background, false);
    return begin == iAt + iLayer.size();
  }

  /// In the order of the tree: node by node, each of 16 x 16 x 16 leaves, which lie in the store row by row.
  void WriteLeaves(std::ostream& ioStream)
  {
    constexpr int side = openvdb::FloatTree::RootNodeType::ChildNodeType::ChildNodeType::DIM;
    std::vector<LeafPlace> places;
    openvdb::Coord node;
    for (auto leaf = _grid->tree().cbeginLeaf(); leaf; ++leaf) {
      openvdb::Coord const of = leaf->origin() & ~(side - 1);
      if (of != node)
        WriteNode(places, ioStream);
      node = of;
      places.push_back(_places[leaf->transientData()]);
    }
    WriteNode(places, ioStream);
  }

  /// Reads leaves that lie one after the other at once; writes and forgets them.
  void WriteNode(std::vector<LeafPlace>& ioPlaces, std::ostream& ioStream)
  {
    ThrowIfCancelled(_options);
    std::vector<std::size_t> order(ioPlaces.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t iA, std::size_t iB) { return ioPlaces[iA].begin < ioPlaces[iB].begin; });
    std::string bytes;
    for (std::size_t first = 0, last = 0; first < order.size(); first = last) {
      std::uint64_t const begin = ioPlaces[order[first]].begin;
      std::uint64_t end = begin;
      std::size_t const before = bytes.size();
      for (; last < order.size() && ioPlaces[order[last]].begin == end; ++last) {
        LeafPlace& place = ioPlaces[order[last]];
        end += place.size;
        place.begin = before + (place.begin - begin);
      }
      bytes.resize(before + (end - begin));
      _store.Read(begin, {bytes.data() + before, end - begin});
    }
    for (LeafPlace const& place : ioPlaces)
      ioStream.write(bytes.data() + place.begin, place.size);
    ioPlaces.clear();
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
    LeafHead& head = ioRow.leaves.emplace_back();
    std::copy_n(iLeaf.origin().data(), head.origin.size(), head.origin.begin());
    head.size = static_cast<std::uint32_t>(ioStream.tellp() - before);
    for (openvdb::Index word = 0; word < head.mask.size(); ++word)
      head.mask[word] = iLeaf.getValueMask().getWord<std::uint64_t>(word);
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

  SFSlabStore& _store;
  SFGridFrame _frame;
  float _limit;      ///< of the values that come
  double _scale;     ///< from these to lengths
  float _background; ///< the limit as a length
  SFOutputFile& _file;
  SFVolumeOptions const& _options;
  Archive _archive;
  openvdb::FloatGrid::Ptr _grid;
  std::vector<LeafPlace> _places; ///< of leaves in the store, by their transient data
  double _checkedBytes = 0.0;     ///< of leaves, those that there was room for
};

} // namespace

std::unique_ptr<SFVolumeWriter> MakeVdbWriter(SFGridFrame const& iFrame, SFVolumeBand const& iBand,
                                              SFOutputFile& ioFile, SFVolumeOptions const& iOptions,
                                              SFSlabStore& ioStore)
{
  return std::make_unique<VdbWriter>(iFrame, iBand, ioFile, iOptions, ioStore);
}

} // namespace SF
