#include "SFMeshShares.h"

#include "SFMeshEstimate.h"
#include "SFMeshSlabs.h"
#include "SFToolsErrors.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace SF {
namespace {

/// The part of a block that is as it lies in memory.
struct BlockHead
{
  SFLatticeIndex low;
  std::array<SFMeshCell, SFMeshBlock::Volume> cells;
  double vertexDistance;
  double sharpVertexDistance;
  std::uint32_t sharpVertices;
  std::uint32_t unplacedVertices;
  std::uint32_t vertices;
  std::uint32_t crossings;
};
static_assert(std::is_trivially_copyable_v<BlockHead> && std::is_trivially_copyable_v<SFMeshVertex>);

template <class Value>
void Append(std::string& ioBytes, Value const* iValues, std::size_t iCount)
{
  ioBytes.append(reinterpret_cast<char const*>(iValues), iCount * sizeof(Value));
}

template <class Value>
void Take(std::string_view& ioBytes, Value* oValues, std::size_t iCount)
{
  std::memcpy(oValues, ioBytes.data(), iCount * sizeof(Value));
  ioBytes.remove_prefix(iCount * sizeof(Value));
}

void AppendBlock(SFMeshBlock const& iBlock, std::string& ioBytes)
{
  BlockHead const head{iBlock.low,
                       iBlock.cells,
                       iBlock.vertexDistance,
                       iBlock.sharpVertexDistance,
                       iBlock.sharpVertices,
                       iBlock.unplacedVertices,
                       static_cast<std::uint32_t>(iBlock.vertices.size()),
                       static_cast<std::uint32_t>(iBlock.crossings.size())};
  Append(ioBytes, &head, 1);
  Append(ioBytes, iBlock.vertices.data(), iBlock.vertices.size());
  Append(ioBytes, iBlock.crossings.data(), iBlock.crossings.size());
}

std::unique_ptr<SFMeshBlock> TakeBlock(std::string_view& ioBytes)
{
  BlockHead head;
  Take(ioBytes, &head, 1);
  auto block = std::make_unique<SFMeshBlock>();
  block->low = head.low;
  block->cells = head.cells;
  block->vertexDistance = head.vertexDistance;
  block->sharpVertexDistance = head.sharpVertexDistance;
  block->sharpVertices = head.sharpVertices;
  block->unplacedVertices = head.unplacedVertices;
  block->vertices.resize(head.vertices);
  Take(ioBytes, block->vertices.data(), head.vertices);
  block->crossings.resize(head.crossings);
  Take(ioBytes, block->crossings.data(), head.crossings);
  return block;
}

} // namespace

struct SFMeshShares::Content
{
  /// Rows of blocks in a strip, and layers of a task.
  static constexpr std::int64_t Rows = SFMeshSlabs::TaskBlocks;

  Content(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions)
    : field(iField), box(iBox), options(iOptions), lattice(iBox, iVoxel),
      slabs(iField, iBox, lattice, options, SFProgress(options, "mesh")),
      strips((slabs.GetBlocks()[1] + Rows - 1) / Rows), layers(slabs.GetBlocks()[2])
  {
  }

  SFField field;
  ZULMathBox box;
  SFMeshingOptions options;
  SFMeshLattice lattice;
  SFMeshSlabs slabs;
  std::int64_t strips; ///< in a layer
  std::int64_t layers;
};

SFMeshShares::SFMeshShares(SFField const& iField, ZULMathBox const& iBox, double iVoxel,
                           SFMeshingOptions const& iOptions)
{
  if (iOptions.adaptivity != 0.0)
    throw std::invalid_argument("adaptivity: a mesh in parts cannot be simplified");
  _content = std::make_unique<Content>(iField, iBox, iVoxel, iOptions);
  RequireFeasible(_content->slabs.GetField(), _content->lattice, false, _content->options);
}

SFMeshShares::~SFMeshShares() = default;

std::uint32_t SFMeshShares::CountTasks() const
{
  std::int64_t const storeys = (_content->layers + Content::Rows - 1) / Content::Rows;
  return static_cast<std::uint32_t>(storeys * _content->strips);
}

std::uint32_t SFMeshShares::CountStrips() const
{
  return static_cast<std::uint32_t>(_content->layers * _content->strips);
}

std::uint32_t SFMeshShares::CountSlabs() const
{
  std::int64_t const height = _content->slabs.GetSlabHeight();
  return static_cast<std::uint32_t>((_content->layers + height - 1) / height);
}

std::vector<SFMeshShares::Strip> SFMeshShares::Make(std::uint32_t iTask)
{
  SFMeshSlabs& slabs = _content->slabs;
  std::int64_t const begin = iTask / _content->strips * Content::Rows;
  std::int64_t const end = std::min(begin + Content::Rows, _content->layers);
  std::int64_t const strip = iTask % _content->strips;
  slabs.Begin(begin, end);
  slabs.MakeBlocks(strip * Content::Rows, (strip + 1) * Content::Rows);
  std::vector<Strip> made;
  for (std::int64_t layer = begin; layer < end; ++layer) {
    Strip& one = made.emplace_back();
    one.number = static_cast<std::uint32_t>(layer * _content->strips + strip);
    for (auto const& block : slabs.GetLayer(layer))
      if (block != nullptr) {
        one.vertices += static_cast<std::uint32_t>(block->vertices.size());
        AppendBlock(*block, one.bytes);
      }
  }
  return made;
}

SFMeshShares::Range SFMeshShares::StripsOf(std::uint32_t iSlab) const
{
  std::int64_t const height = _content->slabs.GetSlabHeight();
  std::int64_t const begin = iSlab * height;
  auto const number = [this](std::int64_t iLayer) { return static_cast<std::uint32_t>(iLayer * _content->strips); };
  return {number(std::max<std::int64_t>(begin - 1, 0)), number(begin),
          number(std::min(begin + height, _content->layers))};
}

SFMeshShares::Slab SFMeshShares::Assemble(std::uint32_t iSlab, std::span<std::string const* const> iStrips,
                                          std::uint64_t iFirstVertex)
{
  SFMeshSlabs& slabs = _content->slabs;
  std::int64_t const begin = iSlab * slabs.GetSlabHeight();
  slabs.Begin(begin, std::min(begin + slabs.GetSlabHeight(), _content->layers));
  for (std::string const* const strip : iStrips)
    for (std::string_view bytes = *strip; !bytes.empty();)
      slabs.Place(TakeBlock(bytes));
  Slab slab;
  slab.mesh = slabs.AssembleFrom(iFirstVertex, slab.firstVertex, slab.below);
  return slab;
}

SFMeshingReport const& SFMeshShares::GetReport() const { return _content->slabs.GetReport(); }

void SFMeshShares::RequireSurface(std::uint64_t iTriangles) const
{
  if (iTriangles == 0)
    ThrowNoSurface(_content->field, _content->box, _content->options);
}

} // namespace SF
