#include "SFMeshSlabs.h"

#include "SFMeshBlockMaker.h"
#include "SFMeshSlivers.h"
#include "SFMeshTriangles.h"
#include "SFPointBatch.h"
#include "SFTangentPlanes.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace SF {
namespace {

constexpr std::int64_t Side = SFMeshBlock::Side;
/// A slab has as many layers as this number of blocks allows.
constexpr std::int64_t BlocksPerSlab = 8192;
/// The boxes that threads draw, in blocks along an axis.
constexpr std::int64_t TaskBlocks = 4;
/// How near to the surface, in voxels, the centre of a triangle is on it.
constexpr double OnSurface = 1e-3;
/// Memory is looked at each time that so many bytes have been taken.
constexpr double CheckInterval = 64e6;

template <class Part>
std::vector<std::size_t> Offsets(std::vector<Part> const& iParts, std::size_t (*iSizeOf)(Part const&))
{
  std::vector<std::size_t> offsets{0};
  for (Part const& part : iParts)
    offsets.push_back(offsets.back() + iSizeOf(part));
  return offsets;
}

} // namespace

SFField CappedField(SFField const& iField, ZULMathBox const& iBox)
{
  auto const [x, y, z] = std::array{SFField::X(), SFField::Y(), SFField::Z()};
  return Intersection(iField, Intersection({iBox.low.x - x, x - iBox.high.x, iBox.low.y - y, y - iBox.high.y,
                                            iBox.low.z - z, z - iBox.high.z}));
}

SFMeshField CompileForMesh(SFField const& iField, ZULMathBox const& iBox, SFMeshingOptions const& iOptions)
{
  // Blocks are what threads share out; each works alone.
  SFWorkOptions alone = iOptions;
  alone.threads = 1;
  return {CompileFor(CappedField(iField, iBox), alone), iOptions.isCapped ? nullptr : CompileFor(iField, alone)};
}

SFLatticeIndex BlocksOf(SFMeshLattice const& iLattice)
{
  SFLatticeIndex blocks{};
  for (std::size_t axis = 0; axis < 3; ++axis)
    blocks[axis] = (std::int64_t{iLattice.cells[axis]} + Side - 1) / Side;
  return blocks;
}

std::int64_t SlabHeightOf(SFLatticeIndex const& iBlocks)
{
  return std::max<std::int64_t>(1, BlocksPerSlab / (iBlocks[0] * iBlocks[1]));
}

SFMeshSlabs::SFMeshSlabs(SFMeshField iField, ZULMathBox const& iBox, SFMeshLattice const& iLattice,
                         SFMeshingOptions const& iOptions, SFProgress const& iProgress)
  : _box(iBox), _lattice(iLattice), _options(iOptions), _progress(iProgress), _field(std::move(iField)),
    _blocks(BlocksOf(iLattice))
{
  for (unsigned int worker = 0; worker < ThreadsOf(iOptions); ++worker)
    _makers.push_back(std::make_unique<SFMeshBlockMaker>(iLattice, iOptions.hasSharpFeatures));
  _report.voxel = iLattice.voxel;
  _report.cells = iLattice.cells;
}

SFMeshSlabs::~SFMeshSlabs() = default;

void SFMeshSlabs::Run(std::function<void(SFMesh&&, std::uint32_t)> const& iTake)
{
  auto const blocksPerLayer = static_cast<std::size_t>(_blocks[0] * _blocks[1]);
  std::int64_t const thickness = SlabHeightOf(_blocks);
  auto const doneAt = [&](std::int64_t iLayer) {
    return static_cast<double>(iLayer) / static_cast<double>(_blocks[2]);
  };
  _layers.emplace_back(blocksPerLayer);
  for (_begin = 0; _begin < _blocks[2]; _begin = _end) {
    _end = std::min(_begin + thickness, _blocks[2]);
    for (std::int64_t layer = _begin; layer < _end; ++layer)
      _layers.emplace_back(blocksPerLayer);
    auto const firstVertex = static_cast<std::uint32_t>(_vertexCount);
    MakeBlocks(_progress.Part(doneAt(_begin), doneAt(_end)), 0, _blocks[1]);
    NumberVertices();
    iTake(Assemble(), firstVertex);
    _layers.erase(_layers.begin(), _layers.end() - 1);
    _bytes = 0.0;
    _nextCheck = 0.0;
  }
}

std::size_t SFMeshSlabs::PlaceOf(std::int64_t iX, std::int64_t iY) const
{
  return static_cast<std::size_t>(iY * _blocks[0] + iX);
}

SFMeshBlock const* SFMeshSlabs::BlockAt(SFLatticeIndex const& iPlace) const
{
  if (iPlace[0] < 0 || iPlace[1] < 0)
    return nullptr;
  return _layers[static_cast<std::size_t>(iPlace[2] - _begin + 1)][PlaceOf(iPlace[0], iPlace[1])].get();
}

void SFMeshSlabs::Begin(std::int64_t iBegin, std::int64_t iEnd)
{
  _begin = iBegin;
  _end = iEnd;
  _layers.clear();
  for (std::int64_t layer = iBegin - 1; layer < iEnd; ++layer)
    _layers.emplace_back(static_cast<std::size_t>(_blocks[0] * _blocks[1]));
  _bytes = 0.0;
  _nextCheck = 0.0;
}

void SFMeshSlabs::Place(std::unique_ptr<SFMeshBlock> ioBlock)
{
  auto& layer = _layers[static_cast<std::size_t>(ioBlock->low[2] / Side - _begin + 1)];
  layer[PlaceOf(ioBlock->low[0] / Side, ioBlock->low[1] / Side)] = std::move(ioBlock);
}

SFMesh SFMeshSlabs::AssembleFrom(std::uint64_t iFirstVertex, std::uint32_t& oFirstVertex,
                                 std::vector<SFVector3>& oBelow)
{
  _vertexCount = iFirstVertex;
  for (auto const& block : _layers.front())
    if (block != nullptr) {
      block->firstVertex = static_cast<std::uint32_t>(_vertexCount);
      _vertexCount += block->vertices.size();
      for (SFMeshVertex const& vertex : block->vertices)
        oBelow.push_back(vertex.position);
    }
  oFirstVertex = static_cast<std::uint32_t>(_vertexCount);
  NumberVertices();
  return Assemble();
}

void SFMeshSlabs::MakeBlocks(std::int64_t iFirstRow, std::int64_t iLastRow)
{
  MakeBlocks(_progress, iFirstRow, iLastRow);
}

void SFMeshSlabs::MakeBlocks(SFProgress const& iProgress, std::int64_t iFirstRow, std::int64_t iLastRow)
{
  _firstRow = iFirstRow;
  _lastRow = std::min(iLastRow, _blocks[1]);
  std::shared_ptr<SFCompiledField> slab;
  Require(_field.capped->Restrict(_lattice.BoxBetween({0, _firstRow * Side, _begin * Side},
                                                      {_blocks[0] * Side, _lastRow * Side, _end * Side},
                                                      SFMeshBlockMaker::Margin),
                                  slab));
  // Boxes begin at multiples of their size in y and z, so that those that the rows or layers cut are those of the whole.
  auto const boxesBefore = [](std::int64_t iBlock) { return (iBlock + TaskBlocks - 1) / TaskBlocks; };
  std::int64_t const firstRow = _firstRow / TaskBlocks;
  std::int64_t const firstStorey = _begin / TaskBlocks;
  std::int64_t const columns = boxesBefore(_blocks[0]);
  std::int64_t const rows = boxesBefore(_lastRow) - firstRow;
  std::int64_t const storeys = boxesBefore(_end) - firstStorey;
  auto const tasks = static_cast<std::size_t>(columns * rows * storeys);
  ForEach(tasks, _options, [&](std::size_t iTask, unsigned int iWorker) {
    auto const task = static_cast<std::int64_t>(iTask);
    constexpr std::int64_t side = TaskBlocks * Side;
    Descend(*slab,
            {task % columns * side, (firstRow + task / columns % rows) * side,
             (firstStorey + task / columns / rows) * side},
            side, *_makers[iWorker]);
    if (iWorker == 0)
      iProgress.Report(static_cast<double>(iTask + 1) / static_cast<double>(tasks));
  });
}

/// Of a box without any block that is to be made.
bool SFMeshSlabs::IsOutside(SFLatticeIndex const& iLow, std::int64_t iSide) const
{
  return iLow[0] >= _blocks[0] * Side || iLow[1] >= _lastRow * Side || iLow[1] + iSide <= _firstRow * Side ||
         iLow[2] >= _end * Side || iLow[2] + iSide <= _begin * Side;
}

/// Octree descent: boxes that cannot hold surface are left out, the field of the others is restricted to them.
void SFMeshSlabs::Descend(SFCompiledField const& iField, SFLatticeIndex const& iLow, std::int64_t iSide,
                          SFMeshBlockMaker& ioMaker)
{
  ThrowIfCancelled(_options);
  if (IsOutside(iLow, iSide))
    return;
  SFLatticeIndex const high{iLow[0] + iSide, iLow[1] + iSide, iLow[2] + iSide};
  double low = 0.0;
  double top = 0.0;
  HRESULT const hr = iField.EvaluateInterval(_lattice.BoxBetween(iLow, high), low, top);
  Require(hr);
  if (low > 0.0 || (top < 0.0 && hr == S_OK))
    return;
  std::shared_ptr<SFCompiledField> here;
  Require(iField.Restrict(_lattice.BoxBetween(iLow, high, SFMeshBlockMaker::Margin), here));
  if (iSide > Side) {
    std::int64_t const half = iSide / 2;
    for (std::int64_t child = 0; child < 8; ++child)
      Descend(*here, {iLow[0] + (child & 1) * half, iLow[1] + (child >> 1 & 1) * half, iLow[2] + (child >> 2) * half},
              half, ioMaker);
    return;
  }
  auto block = ioMaker.Make(*here, iLow);
  if (block == nullptr)
    return;
  RequireRoom(*block);
  auto& layer = _layers[static_cast<std::size_t>(iLow[2] / Side - _begin + 1)];
  layer[PlaceOf(iLow[0] / Side, iLow[1] / Side)] = std::move(block);
}

void SFMeshSlabs::RequireRoom(SFMeshBlock const& iBlock)
{
  // A vertex comes with two triangles, and both are there twice while a slab is put together.
  auto const vertices = static_cast<double>(iBlock.vertices.capacity());
  double const bytes = static_cast<double>(sizeof(SFMeshBlock)) +
                       vertices * static_cast<double>(sizeof(SFMeshVertex) + 2 * sizeof(SFVector3) + 4 * 12 + 24);
  double const total = _bytes.fetch_add(bytes) + bytes;
  double next = _nextCheck.load();
  if (total < next || !_nextCheck.compare_exchange_strong(next, total + CheckInterval))
    return;
  RequireMemory(_options, _options.maxMemory > 0.0 ? total : CheckInterval, "the mesh");
}

void SFMeshSlabs::NumberVertices()
{
  for (std::size_t layer = 1; layer < _layers.size(); ++layer)
    for (auto const& block : _layers[layer])
      if (block != nullptr) {
        block->firstVertex = static_cast<std::uint32_t>(_vertexCount);
        _vertexCount += block->vertices.size();
        _report.vertices += block->vertices.size();
        _report.vertexDistance = std::max(_report.vertexDistance, block->vertexDistance);
        _report.sharpVertexDistance = std::max(_report.sharpVertexDistance, block->sharpVertexDistance);
        _report.sharpVertices += block->sharpVertices;
        _report.unplacedVertices += block->unplacedVertices;
      }
  if (_vertexCount > std::numeric_limits<std::uint32_t>::max())
    throw std::invalid_argument("voxel: the mesh would have more than 4294967295 vertices");
}

/// Removes the triangles on the box that close the solid. Those of a surface that lies there by itself stay.
void SFMeshSlabs::RemoveCap(SFMeshBlock const& iBlock, SFBlockTriangles& ioTriangles) const
{
  if (ioTriangles.onFaces.empty())
    return;
  std::shared_ptr<SFCompiledField> here;
  SFLatticeIndex const high{iBlock.low[0] + Side, iBlock.low[1] + Side, iBlock.low[2] + Side};
  Require(_field.uncapped->Restrict(_lattice.BoxBetween(iBlock.low, high, SFMeshBlockMaker::Margin), here));
  SFPointBatch batch;
  for (SFVector3 const& centre : ioTriangles.centresOnFaces)
    batch.Add(centre);
  batch.EvaluateGradient(*here);
  for (std::size_t i = 0; i < batch.Size(); ++i) {
    auto const plane = TangentPlaneOf(batch.Point(i), batch.Value(i), batch.Gradient(i));
    bool const isSurface =
        plane.IsKnown() && std::abs(Dot(plane.normal, batch.Point(i)) - plane.offset) <= OnSurface * _lattice.voxel;
    if (!isSurface)
      ioTriangles.triangles[ioTriangles.onFaces[i]] = {0, 0, 0};
  }
  std::erase(ioTriangles.triangles, std::array<std::uint32_t, 3>{0, 0, 0});
}

std::vector<SFMeshBlock const*> SFMeshSlabs::BlocksOfSlab() const
{
  std::vector<SFMeshBlock const*> blocks;
  for (std::size_t layer = 1; layer < _layers.size(); ++layer)
    for (auto const& block : _layers[layer])
      if (block != nullptr)
        blocks.push_back(block.get());
  return blocks;
}

SFMesh SFMeshSlabs::Assemble()
{
  std::vector<SFMeshBlock const*> const blocks = BlocksOfSlab();
  SFMesh part;
  if (blocks.empty())
    return part;

  std::vector<SFBlockTriangles> triangles(blocks.size());
  ForEach(blocks.size(), _options, [&](std::size_t iBlock, unsigned int) {
    SFMeshBlock const& block = *blocks[iBlock];
    ZULMathBox const* const openBox = _options.isCapped ? nullptr : &_box;
    triangles[iBlock] = TrianglesOf(_lattice, block, openBox, [&](std::array<int, 3> const& iStep) {
      return BlockAt({block.low[0] / Side + iStep[0], block.low[1] / Side + iStep[1], block.low[2] / Side + iStep[2]});
    });
    RemoveCap(block, triangles[iBlock]);
  });
  auto const offsets =
      Offsets<SFBlockTriangles>(triangles, [](SFBlockTriangles const& iPart) { return iPart.triangles.size(); });

  std::uint32_t const first = blocks.front()->firstVertex;
  part.vertices.resize(static_cast<std::size_t>(_vertexCount - first));
  part.normals.resize(part.vertices.size());
  part.triangles.resize(offsets.back());
  ForEach(blocks.size(), _options, [&](std::size_t iBlock, unsigned int) {
    std::size_t vertex = blocks[iBlock]->firstVertex - first;
    for (SFMeshVertex const& from : blocks[iBlock]->vertices) {
      part.vertices[vertex] = from.position;
      part.normals[vertex++] = from.normal;
    }
    std::copy(triangles[iBlock].triangles.begin(), triangles[iBlock].triangles.end(),
              part.triangles.begin() + static_cast<std::ptrdiff_t>(offsets[iBlock]));
  });
  for (SFBlockTriangles const& of : triangles)
    _report.surfaceDistance = std::max(_report.surfaceDistance, of.surfaceDistance);
  _report.triangles += part.triangles.size();
  // The vertices of the last layer get more triangles from the next slab.
  auto complete = static_cast<std::uint32_t>(_vertexCount);
  if (_end < _blocks[2])
    for (auto const& block : _layers.back())
      if (block != nullptr)
        complete = std::min(complete, block->firstVertex);
  MendSlivers(part, first, complete);
  return part;
}

} // namespace SF
