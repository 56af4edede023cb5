#include "SFBricks.h"

#include "SFFieldCalculus.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace SF {
namespace {

constexpr std::size_t HalvingsAtOnce = 3; ///< between two restrictions: eight parts

/// Pieces pay while there is much to leave out of the field in each of them.
/// Where the Lipschitz bound comes from the gradient it is the better the smaller the piece.
std::size_t DivisionsFor(std::size_t iNodes, bool iHasLipschitz)
{
  std::size_t const divisions = iNodes < 100 ? 2 : iNodes < 1000 ? 3 : iNodes < 10'000 ? 4 : 5;
  return iHasLipschitz ? divisions : std::min<std::size_t>(divisions + 1, 5);
}

/// Where there is no Lipschitz bound yet, as a jump or a pole is near, pieces are divided so often again, unless they are
/// many: rays are slow in them.
constexpr std::size_t MoreDivisions = 2;
constexpr std::size_t MostWithoutBound = 4096;

ZULMathBox Half(ZULMathBox const& iBox, std::size_t iAxis, bool iIsHigh)
{
  SFVector3 low = VectorOf(iBox.low);
  SFVector3 high = VectorOf(iBox.high);
  (iIsHigh ? low : high)[iAxis] = 0.5 * (low[iAxis] + high[iAxis]);
  return {PointOf(low), PointOf(high)};
}

} // namespace

SFBricks::SFBricks(SFField const& iField, ZULMathBox const& iBox, SFWorkOptions const& iOptions,
                   SFProgress const& iProgress)
  : _box(iBox), _lipschitz(iField.LipschitzBound())
{
  SFVector3 const size = SizeOf(iBox);
  if (!(size[0] >= 0.0 && size[1] >= 0.0 && size[2] >= 0.0 && Norm(size) > 0.0 && std::isfinite(Norm(size))))
    throw std::invalid_argument("bounds: the low corner must be below the high one, both finite");
  SFWorkOptions single = iOptions;
  single.threads = 1;
  std::vector<Cell> cells{{iBox, CompileFor(iField, single), SlopesOf(iField, single), 0}};
  std::size_t const divisions = DivisionsFor(iField.NodeCount(), std::isfinite(_lipschitz));
  ZULMathBox sample = iBox; // all cells of a level have its shape
  for (std::size_t level = 0; level < (divisions + MoreDivisions) * HalvingsAtOnce; ++level) {
    SFVector3 const sides = SizeOf(sample);
    _axes.push_back(sides[0] >= sides[1] && sides[0] >= sides[2] ? 0U : sides[1] >= sides[2] ? 1U : 2U);
    sample = Half(sample, _axes.back(), false);
  }
  for (std::size_t division = 0; division < divisions; ++division) {
    cells = DivideAll(cells, division, iOptions);
    iProgress.Report(static_cast<double>(division + 1) / static_cast<double>(divisions));
  }
  cells = FinishAll(cells, iOptions);
  for (std::size_t division = divisions; division < divisions + MoreDivisions && !cells.empty(); ++division)
    cells = FinishAll(DivideAll(cells, division, iOptions), iOptions, division + 1 == divisions + MoreDivisions);
  if (_pieces.empty())
    throw SFModelError("there is no surface in the box: the field is positive everywhere in it");
}

std::vector<SFBricks::Cell> SFBricks::DivideAll(std::vector<Cell> const& iCells, std::size_t iDivision,
                                                SFWorkOptions const& iOptions)
{
  std::vector<Parts> parts(iCells.size());
  ForEach(iCells.size(), iOptions, [&](std::size_t iIndex, unsigned int) {
    parts[iIndex] = Divide(iCells[iIndex], iDivision * HalvingsAtOnce);
  });
  std::vector<Cell> cells;
  for (Parts& part : parts) {
    std::move(part.cells.begin(), part.cells.end(), std::back_inserter(cells));
    std::move(part.solid.begin(), part.solid.end(), std::back_inserter(_pieces));
  }
  return cells;
}

/// Makes pieces of the cells. Returns those that are worth dividing again instead, none the last time.
std::vector<SFBricks::Cell> SFBricks::FinishAll(std::vector<Cell> const& iCells, SFWorkOptions const& iOptions,
                                                bool iIsLast)
{
  std::vector<SFBrick> pieces(iCells.size());
  ForEach(iCells.size(), iOptions, [&](std::size_t iIndex, unsigned int) { pieces[iIndex] = Finish(iCells[iIndex]); });
  auto const isOpen = [&](std::size_t iIndex) {
    return std::isinf(pieces[iIndex].lipschitz) && iCells[iIndex].slopes[0] != nullptr;
  };
  std::size_t open = 0;
  for (std::size_t i = 0; i < pieces.size(); ++i)
    open += isOpen(i) ? 1 : 0;
  bool const goesOn = !iIsLast && open <= MostWithoutBound;
  std::vector<Cell> cells;
  for (std::size_t i = 0; i < pieces.size(); ++i)
    if (goesOn && isOpen(i))
      cells.push_back(iCells[i]);
    else
      _pieces.push_back(std::move(pieces[i]));
  return cells;
}

ZULMathBox SFBricks::Widened(ZULMathBox const& iBox) const
{
  // Points on the faces of a piece are computed with errors of a few ulp of the coordinates.
  double const most = std::max(Norm(VectorOf(_box.low)), Norm(VectorOf(_box.high)));
  double const slack = 1e-12 * (most + Norm(SizeOf(_box)));
  return {{iBox.low.x - slack, iBox.low.y - slack, iBox.low.z - slack},
          {iBox.high.x + slack, iBox.high.y + slack, iBox.high.z + slack}};
}

std::array<ZULMathBox, 8> SFBricks::Eighths(ZULMathBox const& iBox, std::size_t iLevel) const
{
  std::array<ZULMathBox, 8> parts{};
  for (unsigned int i = 0; i < 8; ++i) {
    parts[i] = iBox;
    for (std::size_t halving = 0; halving < HalvingsAtOnce; ++halving)
      parts[i] = Half(parts[i], _axes[iLevel + halving], ((i >> (HalvingsAtOnce - 1 - halving)) & 1U) != 0);
  }
  return parts;
}

SFBricks::Parts SFBricks::Divide(Cell const& iCell, std::size_t iLevel) const
{
  std::shared_ptr<SFCompiledField> field;
  Require(iCell.field->Restrict(Widened(iCell.box), field));
  Slopes slopes;
  for (std::size_t axis = 0; axis < 3 && iCell.slopes[axis] != nullptr; ++axis)
    Require(iCell.slopes[axis]->Restrict(Widened(iCell.box), slopes[axis]));
  auto const boxes = Eighths(iCell.box, iLevel);
  std::array<double, 8> x{};
  std::array<double, 8> y{};
  std::array<double, 8> z{};
  std::array<double, 8> middle{};
  for (std::size_t i = 0; i < 8; ++i) {
    SFVector3 const centre = CentreOf(boxes[i]);
    x[i] = centre[0];
    y[i] = centre[1];
    z[i] = centre[2];
  }
  Require(field->Evaluate(8, x.data(), y.data(), z.data(), middle.data()));

  Parts parts;
  for (std::size_t i = 0; i < 8; ++i) {
    // The value in the middle bounds all others, as does interval arithmetic; rounding is far below the slack.
    double const reach = 0.5 * _lipschitz * Norm(SizeOf(boxes[i])) * (1.0 + 1e-9);
    double low = 0.0;
    double high = 0.0;
    HRESULT const code = field->EvaluateInterval(Widened(boxes[i]), low, high);
    Require(code);
    std::uint64_t const path = iCell.path | std::uint64_t{i} << (64 - HalvingsAtOnce - iLevel);
    bool const mayBeNan = code == S_FALSE;
    if (low > 0.0 || middle[i] > reach)
      continue;
    if (!mayBeNan && (high < 0.0 || middle[i] < -reach))
      parts.solid.push_back({boxes[i], field, path, true, 0.0});
    else
      parts.cells.push_back({boxes[i], field, slopes, path});
  }
  return parts;
}

SFBrick SFBricks::Finish(Cell const& iCell) const
{
  SFBrick piece{iCell.box, nullptr, iCell.path, false, _lipschitz};
  Require(iCell.field->Restrict(Widened(iCell.box), piece.field));
  if (std::isinf(_lipschitz) && piece.field->IsContinuous())
    piece.lipschitz = LipschitzIn(iCell);
  return piece;
}

/// The longest that the gradient can be in a cell: where the field is continuous, that bounds all of its changes.
double SFBricks::LipschitzIn(Cell const& iCell) const
{
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (iCell.slopes[0] == nullptr)
    return infinity;
  SFVector3 most{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double low = 0.0;
    double high = 0.0;
    HRESULT const code = iCell.slopes[axis]->EvaluateInterval(Widened(iCell.box), low, high);
    Require(code);
    most[axis] = code == S_OK ? std::max(std::abs(low), std::abs(high)) : infinity;
  }
  double const bound = Norm(most) * (1.0 + 1e-9);
  return std::isfinite(bound) ? bound : infinity;
}

SFBricks::Slopes SFBricks::SlopesOf(SFField const& iField, SFWorkOptions const& iOptions) const
{
  constexpr std::size_t mostNodes = 20'000; // derivatives have several times as many
  Slopes slopes;
  if (std::isfinite(_lipschitz) || iField.NodeCount() > mostNodes)
    return slopes;
  try {
    SFField3 const gradient = Gradient(iField);
    for (std::size_t axis = 0; axis < 3; ++axis)
      slopes[axis] = CompileFor(gradient[axis], iOptions);
  } catch (std::logic_error const&) { // it has none, or one that is too large
    slopes = {};
  }
  return slopes;
}

std::uint64_t SFBricks::NearFirst(SFBrick const& iPiece, SFProjection const& iView) const
{
  ZULMathBox box = _box;
  std::uint64_t key = 0;
  for (std::size_t level = 0; level < _axes.size(); ++level) {
    std::size_t const axis = _axes[level];
    bool const isHigh = ((iPiece.path >> (63 - level)) & 1U) != 0;
    double const plane = CentreOf(box)[axis];
    bool const highIsNear = iView.IsPerspective() ? iView.Eye()[axis] > plane : iView.Forward()[axis] < 0.0;
    if (isHigh != highIsNear)
      key |= std::uint64_t{1} << (63 - level);
    box = Half(box, axis, isHigh);
  }
  return key;
}

std::vector<std::uint32_t> SFBricks::FrontToBack(SFProjection const& iView) const
{
  std::vector<std::uint64_t> keys;
  keys.reserve(_pieces.size());
  for (SFBrick const& piece : _pieces)
    keys.push_back(NearFirst(piece, iView));
  std::vector<std::uint32_t> order(_pieces.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), [&keys](std::uint32_t iA, std::uint32_t iB) { return keys[iA] < keys[iB]; });
  return order;
}

ZULMathBox SFBricks::Extent() const
{
  SFBoxAround extent;
  for (SFBrick const& piece : _pieces)
    extent.Add(piece.box);
  return extent.Get();
}

} // namespace SF
