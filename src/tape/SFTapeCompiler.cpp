#include "tape/SFTapeCompiler.h"

#include "ResourceToSF.h"
#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace SF {
namespace {

constexpr SFValueId Unknown = UINT32_MAX;

constexpr double Infinity = std::numeric_limits<double>::infinity();

/// No vector grows by more under the first three columns of three rows: the norm of a matrix is at most its Frobenius norm,
/// and at most the geometric mean of its largest sums of magnitudes by rows and by columns.
double StretchOf(double const (&iRows)[16])
{
  double squares = 0.0;
  double row = 0.0;
  double column = 0.0;
  for (std::size_t i = 0; i < 3; ++i) {
    double inRow = 0.0;
    double inColumn = 0.0;
    for (std::size_t j = 0; j < 3; ++j) {
      squares += iRows[4 * i + j] * iRows[4 * i + j];
      inRow += std::abs(iRows[4 * i + j]);
      inColumn += std::abs(iRows[4 * j + i]);
    }
    row = std::max(row, inRow);
    column = std::max(column, inColumn);
  }
  constexpr double margin = 1.0 + 1e-14; // for the rounding of this
  return margin * std::sqrt(std::min(squares, row * column));
}

bool IsNegativeZero(double iValue) { return iValue == 0.0 && std::signbit(iValue); }

} // namespace

SFTapeCompiler::SFTapeCompiler(bool iFinite, std::span<SFLipschitzBound const> iBounds) : _finite(iFinite)
{
  for (SFLipschitzBound const& bound : iBounds)
    if (auto const [number, isNew] = _boundNodes.Insert(bound.node); isNew)
      _bounds.push_back(bound.bound);
    else
      _bounds[number] = std::min(_bounds[number], bound.bound);
}

// ---- positions ------------------------------------------------------------------------------------------------

/// c0 x + c1 y + c2 z + c3, in this order. Adding a zero changes nothing but -0 to +0, and the addition of a
/// last coefficient other than -0 undoes even that; so with finite coordinates a product with 0 may go.
SFValueId SFTapeCompiler::MappedCoordinate(double const* iRow, Position const& iFrom)
{
  bool const mayDrop = iFrom.finite && !IsNegativeZero(iRow[3]);
  SFValueId sum = Unknown;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (mayDrop && iRow[axis] == 0.0)
      continue;
    // A product with 1 is its other factor.
    SFValueId const term = iRow[axis] == 1.0 && iFrom.finite
                               ? iFrom.values[axis]
                               : Emit(SFNodeType::MULT, Constant(iRow[axis]), iFrom.values[axis]);
    sum = sum == Unknown ? term : Emit(SFNodeType::PLUS, sum, term);
  }
  if (sum == Unknown)
    return Constant(0.0 + iRow[3]);
  return Emit(SFNodeType::PLUS, sum, Constant(iRow[3]));
}

bool SFTapeCompiler::EnterTransform(SFDagNode const& iNode)
{
  Position const from = _positions.back();
  Position to;
  if (auto const* const affine = NodeAs<SFAffineTransform>(iNode)) {
    ZULMathTransformation const* inverse = nullptr;
    if (Failed(affine->FindInverse(inverse)))
      return false;
    double c[16];
    inverse->GetCoef(c, 16);
    for (std::size_t row = 0; row < 3; ++row)
      to.values[row] = MappedCoordinate(c + 4 * row, from);
    to.stretch = from.stretch * StretchOf(c);
    // Only the grid's own coordinates are known to be bounded; nested mappings could leave any bound.
    to.finite = false;
  } else if (auto const* const cylinder = NodeAs<SFCylindricalTransform>(iNode)) {
    to.stretch = std::numeric_limits<double>::infinity();
    auto const& frame = cylinder->GetFrame();
    auto const& origin = cylinder->GetOrigin();
    std::array<SFValueId, 3> const d{Emit(SFNodeType::MINUS, from.values[0], Constant(origin.x)),
                                     Emit(SFNodeType::MINUS, from.values[1], Constant(origin.y)),
                                     Emit(SFNodeType::MINUS, from.values[2], Constant(origin.z))};
    auto const dot = [&](ZULMathVector const& iDirection) {
      SFValueId const x = Emit(SFNodeType::MULT, Constant(iDirection.x), d[0]);
      SFValueId const y = Emit(SFNodeType::MULT, Constant(iDirection.y), d[1]);
      SFValueId const z = Emit(SFNodeType::MULT, Constant(iDirection.z), d[2]);
      return Emit(SFNodeType::PLUS, Emit(SFNodeType::PLUS, x, y), z);
    };
    SFValueId const u = dot(frame.u);
    SFValueId const w = dot(frame.w);
    SFTapeInstruction angle;
    angle.code = AngleCode;
    angle.axes = At(u).axes | At(w).axes;
    angle.operands = {u, w, 0};
    double const scale = cylinder->GetScale();
    SFValueId const turned = Emit(SFNodeType::MULT, Constant(std::floor(scale + 1.0)), Number(angle));
    to.values = {
        Emit(SFNodeType::ROOT, Emit(SFNodeType::PLUS, Emit(SFNodeType::SQUARE, u), Emit(SFNodeType::SQUARE, w))),
        Emit(SFNodeType::DIV, turned, Constant(scale)), dot(frame.axis)};
  } else
    return false;
  _positions.push_back(to);
  return true;
}

// ---- nodes ----------------------------------------------------------------------------------------------------

HRESULT SFTapeCompiler::EndVisit(Frame const& iFrame, SFValueId iValue)
{
  _last = _nodeValues[iFrame.number] = iValue;
  if (std::uint32_t const bound = _boundNodes.Find(iFrame.node); bound != SFNodeIndex::Absent)
    if (double const lipschitz = _bounds[bound] * _positions.back().stretch; lipschitz < Infinity)
      AddBound({iValue, lipschitz});
  return S_OK;
}

HRESULT SFTapeCompiler::Step(Frame& ioFrame, SFDagNode const*& oNext)
{
  SFDagNode const& node = *ioFrame.node;
  switch (ioFrame.operandsEntered) {
  case 0:
    return Begin(ioFrame, oNext);
  case 1:
    if (!IsBinaryOperator(node.GetTypeTag()))
      return Leave(ioFrame);
    ioFrame.lhs = _last;
    return EnterOperand(ioFrame, oNext);
  default:
    return Leave(ioFrame);
  }
}

HRESULT SFTapeCompiler::Begin(Frame& ioFrame, SFDagNode const*& oNext)
{
  SFDagNode const& node = *ioFrame.node;
  auto const [number, isNew] = _nodes.Insert(&node);
  ioFrame.number = number;
  if (isNew)
    _nodeValues.push_back(Unknown);
  else if (_nodeValues[number] != Unknown) {
    _last = _nodeValues[number];
    return S_OK;
  }

  SFNodeType const type = node.GetTypeTag();
  auto const& position = _positions.back().values;
  switch (FamilyOf(type)) {
  case SFNodeFamily::Coordinate:
    return EndVisit(ioFrame, position[static_cast<std::size_t>(type) - static_cast<std::size_t>(SFNodeType::X)]);
  case SFNodeFamily::Constant: {
    double value = 0.0;
    HRESULT const hr = node.GetConstant(value);
    return Failed(hr) ? hr : EndVisit(ioFrame, Constant(value));
  }
  case SFNodeFamily::Resource: {
    auto const* const resource = NodeAs<ResourceToSF>(node);
    if (resource == nullptr)
      return E_FAIL;
    // Its axes are all three: a host's field may depend on more than the point that it is given.
    SFTapeInstruction instruction;
    instruction.code = ResourceCode;
    instruction.axes = AllAxes;
    instruction.operands = position;
    instruction.resource = resource;
    return EndVisit(ioFrame, Number(instruction));
  }
  case SFNodeFamily::Operator:
    return EnterOperand(ioFrame, oNext);
  case SFNodeFamily::Transform:
    return EnterTransform(node) ? EnterOperand(ioFrame, oNext) : E_FAIL;
  case SFNodeFamily::Offset:
    oNext = DerivedDagOf(node);
    ioFrame.operandsEntered = 1;
    return oNext != nullptr ? S_OK : E_FAIL;
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Reference:
  case SFNodeFamily::Blend:
    break;
  }
  return E_FAIL;
}

HRESULT SFTapeCompiler::EnterOperand(Frame& ioFrame, SFDagNode const*& oNext)
{
  bool const left = ioFrame.operandsEntered++ == 0;
  oNext = (left ? ioFrame.node->GetLhs() : ioFrame.node->GetRhs()).get();
  return oNext != nullptr ? S_OK : E_FAIL;
}

HRESULT SFTapeCompiler::Leave(Frame const& iFrame)
{
  SFDagNode const& node = *iFrame.node;
  SFNodeType const type = node.GetTypeTag();
  if (IsOperator(type))
    return EndVisit(iFrame, IsBinaryOperator(type) ? Emit(type, iFrame.lhs, _last) : Emit(type, _last));
  if (FamilyOf(type) == SFNodeFamily::Offset)
    return EndVisit(iFrame, _last);

  SFValueId const radius = _positions.back().values[0];
  _positions.pop_back();
  if (NodeAs<SFCylindricalTransform>(node) == nullptr)
    return EndVisit(iFrame, _last);
  SFTapeInstruction limit;
  limit.code = LimitCode;
  limit.operands = {_limit, 0, 0};
  SFValueId const correction = Emit(SFNodeType::DIV, Number(limit), Emit(SFNodeType::POW, radius, Constant(4.0)));
  return EndVisit(iFrame, Emit(SFNodeType::MINUS, _last, correction));
}

bool SFTapeCompiler::StartRoot(SFTapeLimit iLimit)
{
  // Each root is evaluated under a context of its own, so what a node's slot holds does not carry over; that the
  // values are the same ones is found out by the numbering.
  _nodes = SFNodeIndex();
  _nodeValues.clear();
  _limit = iLimit;
  Position grid;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    SFTapeInstruction coordinate;
    coordinate.code = static_cast<SFTapeCode>(CodeOf(SFNodeType::X) + axis);
    coordinate.axes = static_cast<SFAxes>(1U << axis);
    grid.values[axis] = Number(coordinate);
  }
  grid.finite = _finite;
  _positions.assign(1, grid);
  return true;
}

bool SFTapeCompiler::AddList(std::vector<SFDagNode const*> const& iNodes, SFTapeLimit iLimit)
{
  if (iNodes.empty())
    return false;
  StartRoot(iLimit);
  for (SFDagNode const* const node : iNodes)
    if (Failed(_walk.Run(*this, *node)))
      return false;
  AddResult(_last);
  return true;
}

bool SFTapeCompiler::AddRoot(SFDagNode const& iRoot, SFTapeLimit iLimit) { return AddList({&iRoot}, iLimit); }

} // namespace SF
