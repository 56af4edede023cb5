#include "tape/SFPruningPass.h"

#include "tape/SFBoxSizes.h"
#include "tape/SFTapeIntervals.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

double Square(double iValue) { return iValue * iValue; }

/// The first pass: ranges, in the order of the list.
template <std::size_t W>
class Ranges
{
public:
  explicit Ranges(SFPruningPass<W>& ioPass)
    : _tape(ioPass.tape), _slopes(ioPass.slopes), _boxes(ioPass.boxes), _pass(ioPass)
  {
    for (std::size_t axis = 0; axis < 3 && !_tape.IsAtPoints(); ++axis)
      FindExtents(axis);
    if (!_slopes.entries.empty())
      FindRadii();
  }

  template <bool WithCentres>
  bool Compute();

private:
  /// The different extents of the boxes along an axis.
  struct Extents
  {
    std::size_t count = 1;
    std::array<SFTile, W> boxes; ///< one of those with that extent
    std::array<SFBlockRanges::Run, W> blocks;
    std::array<std::size_t, W> centres; ///< positions
    std::array<std::uint8_t, W> of{};   ///< by box: the number of its extent
  };

  void FindExtents(std::size_t iAxis);
  void FindRadii();
  double CentreValue(SFTapeStep const& iStep, std::size_t iAxis, std::size_t iCentre) const;
  template <bool WithCentres>
  void ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRange) const;
  void ReadCoordinate(SFTapeStep const& iStep, SFRanges<W>& oRange) const;
  void Confine(SFTapeStep const& iStep, SFRanges<W>& ioRange);

  SFTapeInvariants const& _tape;
  SFSlopeTable const& _slopes;
  SFPruningBoxes const& _boxes;
  SFPruningPass<W>& _pass;
  std::array<Extents, 3> _extents;
  std::array<double, W> _radii{}; ///< by box: no point is further from the centre
  SFSpread<W> _spread;
};

template <std::size_t W>
void Ranges<W>::FindExtents(std::size_t iAxis)
{
  Extents& extents = _extents[iAxis];
  extents.boxes[0] = _boxes.tiles[0];
  for (std::size_t lane = 1; lane < _boxes.size(); ++lane) {
    SFTile const& box = _boxes.tiles[lane];
    std::size_t at = 0;
    while (at < extents.count &&
           (extents.boxes[at].begin[iAxis] != box.begin[iAxis] || extents.boxes[at].count[iAxis] != box.count[iAxis]))
      ++at;
    if (at == extents.count)
      extents.boxes[extents.count++] = box;
    extents.of[lane] = static_cast<std::uint8_t>(at);
  }
  for (std::size_t i = 0; i < extents.count; ++i) {
    SFTile const& box = extents.boxes[i];
    extents.blocks[i] = _tape.GetBlockRanges().BlocksOf(iAxis, box);
    auto const& dims = _tape.GetGrid().dims;
    extents.centres[i] =
        SFBlockCentres::PositionOf(box.begin[iAxis], box.count[iAxis], dims[iAxis], ShortestSide(dims));
  }
}

template <std::size_t W>
void Ranges<W>::FindRadii()
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    Extents const& extents = _extents[axis];
    for (std::size_t lane = 0; lane < _boxes.size(); ++lane) {
      if (_tape.IsAtPoints()) {
        SFInterval const& range = _boxes.ranges[lane][axis];
        _radii[lane] += Square(std::max(MiddleOf(range) - range.lo, range.hi - MiddleOf(range)));
        continue;
      }
      std::size_t const centre = extents.centres[extents.of[lane]];
      double const at = _tape.Coordinate(axis, centre);
      SFInterval const range = _tape.CoordinateRange(axis, _boxes.tiles[lane]);
      _radii[lane] += Square(std::max(at - range.lo, range.hi - at));
    }
  }
  for (double& radius : _radii)
    radius = std::sqrt(radius) * (1.0 + 1e-14);
}

/// The value of a leaf at the centre of an extent along its axis.
template <std::size_t W>
double Ranges<W>::CentreValue(SFTapeStep const& iStep, std::size_t iAxis, std::size_t iCentre) const
{
  return iStep.code == InputCode ? _tape.GetViews()[iStep.id].data[iCentre] : _tape.Coordinate(iAxis, iCentre);
}

template <std::size_t W>
template <bool WithCentres>
void Ranges<W>::ReadLeaf(SFTapeStep const& iStep, SFRanges<W>& oRange) const
{
  if (iStep.axes == 0) {
    oRange.SetAll(SFInterval(_tape.GetScalar(iStep.id)));
    return oRange.SetCentres(_tape.GetScalar(iStep.id));
  }
  if (_tape.IsAtPoints())
    return ReadCoordinate(iStep, oRange);
  Extents const& extents = _extents[FirstAxis(iStep.axes)];
  std::array<SFInterval, W> ranges;
  [[maybe_unused]] std::array<double, W> centres{};
  for (std::size_t i = 0; i < W && i < extents.count; ++i) {
    ranges[i] = iStep.code == InputCode ? _tape.GetBlockRanges().RangeOf(iStep.id, extents.blocks[i])
                                        : _tape.CoordinateRange(AxisOf(iStep.code), extents.boxes[i]);
    if constexpr (WithCentres)
      centres[i] = CentreValue(iStep, FirstAxis(iStep.axes), extents.centres[i]);
  }
  for (std::size_t lane = 0; lane < W; ++lane) {
    oRange.Set(lane, ranges[extents.of[lane]]);
    if constexpr (WithCentres)
      oRange.centre[lane] = centres[extents.of[lane]];
  }
}

/// Confines the range of a value to what its slope allows.
template <std::size_t W>
void Ranges<W>::Confine(SFTapeStep const& iStep, SFRanges<W>& ioRange)
{
  SFSlopeEntry const& entry = _slopes.entries[iStep.id];
  bool const isOfRoot = iStep.slope == SFSlopeUse::OfRoot;
  _spread.margin = entry.margin;
  _spread.rootOfMargin = entry.rootOfMargin;
  for (std::size_t lane = 0; lane < W; ++lane)
    _spread.reach[lane] = entry.bound * _radii[lane];
  if constexpr (W == SFRangeLanes)
    _tape.GetKernels().confine[isOfRoot ? 1 : 0](ioRange, _spread);
  else if (isOfRoot)
    SF::Confine<true>(ioRange, _spread);
  else
    SF::Confine<false>(ioRange, _spread);
}

/// At points the coordinates alone are inputs.
template <std::size_t W>
void Ranges<W>::ReadCoordinate(SFTapeStep const& iStep, SFRanges<W>& oRange) const
{
  std::size_t const axis = AxisOf(_tape.GetTape().instructions[iStep.id].code);
  for (std::size_t lane = 0; lane < W; ++lane) {
    SFInterval const& range = _boxes.ranges[lane < _boxes.size() ? lane : 0][axis];
    oRange.Set(lane, range);
    oRange.centre[lane] = MiddleOf(range);
  }
}

template <std::size_t W>
template <bool WithCentres>
bool Ranges<W>::Compute()
{
  constexpr std::size_t stopInterval = 4096;
  for (std::size_t at = 0; at < _pass.list.steps.size(); ++at) {
    if (at % stopInterval == stopInterval - 1 && _pass.scratch.stop != nullptr && _pass.scratch.stop->MustStop())
      return false;
    SFTapeStep const& step = _pass.list.steps[at];
    SFStepState<W>& state = _pass.states[at];
    bool const isLeaf = ArityOf(step.code) == 0;
    ComputeRange<WithCentres>(
        step.code, (isLeaf ? state : _pass.At(step.operands[0])).range,
        (isLeaf ? state : _pass.At(step.operands[1])).range, _tape.GetKernels(),
        [&](SFRanges<W>& oRange) { ReadLeaf<WithCentres>(step, oRange); }, state.range);
    if (WithCentres && step.slope != SFSlopeUse::None)
      Confine(step, state.range);
    state.needed = state.full = state.limited = state.replaced = state.negates = state.altered = state.changed = 0;
  }
  return true;
}

} // namespace

template <std::size_t W>
bool SFPruningPass<W>::ComputeRanges()
{
  Ranges<W> ranges(*this);
  return slopes.entries.empty() ? ranges.template Compute<false>() : ranges.template Compute<true>();
}

template bool SFPruningPass<1>::ComputeRanges();
template bool SFPruningPass<SFRangeLanes>::ComputeRanges();

} // namespace SF
