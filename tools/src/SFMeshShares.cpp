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
  if (iCount != 0) // an empty vector has no data
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

namespace {

/// Rows of blocks in a strip, and layers of a task: small tasks balance.
constexpr std::uint32_t Rows = 2;

std::uint32_t Quotient(std::uint32_t iCount, std::uint32_t iPart) { return (iCount + iPart - 1) / iPart; }

SFMeshingOptions With(SFMeshingOptions iOptions, SFWorkOptions const& iWork)
{
  static_cast<SFWorkOptions&>(iOptions) = iWork;
  return iOptions;
}

/// What is compiled outlives the call that it is compiled for, and its cancel flag.
SFMeshingOptions Lasting(SFMeshingOptions iOptions)
{
  iOptions.cancel = nullptr;
  iOptions.profiler = nullptr;
  return iOptions;
}

} // namespace

SFMeshPlan::SFMeshPlan(ZULMathBox const& iBox, double iVoxel)
{
  SFLatticeIndex const blocks = BlocksOf(SFMeshLattice(iBox, iVoxel));
  _layers = static_cast<std::uint32_t>(blocks[2]);
  _strips = Quotient(static_cast<std::uint32_t>(blocks[1]), Rows);
  _slabHeight = static_cast<std::uint32_t>(SlabHeightOf(blocks));
}

std::uint32_t SFMeshPlan::CountTasks() const { return Quotient(_layers, Rows) * _strips; }
std::uint32_t SFMeshPlan::CountStrips() const { return _layers * _strips; }
std::uint32_t SFMeshPlan::CountSlabs() const { return Quotient(_layers, _slabHeight); }

std::vector<std::uint32_t> SFMeshPlan::StripsOfTask(std::uint32_t iTask) const
{
  std::uint32_t const begin = iTask / _strips * Rows;
  std::vector<std::uint32_t> strips;
  for (std::uint32_t layer = begin; layer < std::min(begin + Rows, _layers); ++layer)
    strips.push_back(layer * _strips + iTask % _strips);
  return strips;
}

SFMeshPlan::Range SFMeshPlan::StripsOf(std::uint32_t iSlab) const
{
  std::uint32_t const begin = iSlab * _slabHeight;
  return {(std::max(begin, 1U) - 1) * _strips, begin * _strips, std::min(begin + _slabHeight, _layers) * _strips};
}

struct SFMeshShares::Content
{
  Content(SFField const& iField, ZULMathBox const& iBox, double iVoxel, SFMeshingOptions const& iOptions)
    : field(iField), box(iBox), options(Lasting(iOptions)), lattice(iBox, iVoxel), plan(iBox, iVoxel),
      compiled(CompileForMesh(iField, iBox, options))
  {
  }

  SFField field;
  ZULMathBox box;
  SFMeshingOptions options;
  SFMeshLattice lattice;
  SFMeshPlan plan;
  SFMeshField compiled;
};

SFMeshShares::SFMeshShares(SFField const& iField, ZULMathBox const& iBox, double iVoxel,
                           SFMeshingOptions const& iOptions)
{
  if (iOptions.adaptivity != 0.0)
    throw std::invalid_argument("adaptivity: a mesh in parts cannot be simplified");
  _content = std::make_unique<Content>(iField, iBox, iVoxel, iOptions);
  RequireFeasible(*_content->compiled.capped, _content->lattice, false, iOptions);
}

SFMeshShares::~SFMeshShares() = default;

SFMeshPlan const& SFMeshShares::GetPlan() const { return _content->plan; }

SFMeshingReport SFMeshShares::GetReport() const
{
  SFMeshingReport report;
  report.voxel = _content->lattice.voxel;
  report.cells = _content->lattice.cells;
  return report;
}

std::vector<SFMeshShares::Strip> SFMeshShares::Make(std::uint32_t iTask, SFWorkOptions const& iOptions) const
{
  auto const options = With(_content->options, iOptions);
  SFMeshPlan const& plan = _content->plan;
  SFMeshSlabs slabs(_content->compiled, _content->box, _content->lattice, options, SFProgress(options, "mesh"));
  auto const numbers = plan.StripsOfTask(iTask);
  std::uint32_t const row = iTask % plan._strips * Rows;
  slabs.Begin(numbers.front() / plan._strips, numbers.back() / plan._strips + 1);
  slabs.MakeBlocks(row, row + Rows);
  std::vector<Strip> made;
  for (std::uint32_t const number : numbers) {
    Strip& one = made.emplace_back();
    one.number = number;
    for (auto const& block : slabs.GetLayer(number / plan._strips))
      if (block != nullptr) {
        one.vertices += static_cast<std::uint32_t>(block->vertices.size());
        AppendBlock(*block, one.bytes);
      }
  }
  return made;
}

SFMeshShares::Slab SFMeshShares::Assemble(std::uint32_t iSlab, std::span<std::string_view const> iStrips,
                                          std::uint64_t iFirstVertex, SFWorkOptions const& iOptions) const
{
  auto const options = With(_content->options, iOptions);
  SFMeshPlan const& plan = _content->plan;
  SFMeshSlabs slabs(_content->compiled, _content->box, _content->lattice, options, SFProgress(options, "mesh"));
  auto const range = plan.StripsOf(iSlab);
  slabs.Begin(range.own / plan._strips, range.last / plan._strips);
  for (std::string_view bytes : iStrips)
    while (!bytes.empty())
      slabs.Place(TakeBlock(bytes));
  Slab slab;
  slab.mesh = slabs.AssembleFrom(iFirstVertex, slab.firstVertex, slab.below);
  slab.report = slabs.GetReport();
  return slab;
}

void SFMeshShares::RequireSurface(std::uint64_t iTriangles) const
{
  if (iTriangles == 0)
    ThrowNoSurface(_content->field, _content->box, _content->options);
}

} // namespace SF
