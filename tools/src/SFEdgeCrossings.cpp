#include "SFEdgeCrossings.h"

#include <algorithm>
#include <cmath>

namespace SF {
namespace {

/// Distances from the surface, in voxels, at which a point stands for the crossing: its tangent plane is that of the
/// surface up to the square of it. The wider one is for fields that are nearly linear along the edge.
constexpr double Near = 1e-3;
constexpr double NearWhenLinear = 0.02;
/// How much the slope may differ from that between the ends.
constexpr double LinearSlope = 0.25;
/// The length of an edge, in voxels, within which a jump is found.
constexpr double Shortest = 1e-6;
constexpr int NewtonRounds = 12;

double FirstGuess(double iLow, double iHigh)
{
  double const at = iLow / (iLow - iHigh);
  return at >= 0.0 && at <= 1.0 ? at : 0.5; // NaN and infinities too
}

} // namespace

std::size_t SFEdgeCrossings::Add(SFVector3 const& iLow, std::size_t iAxis, double iLowValue, double iHighValue)
{
  _crossings.push_back({iLow, iAxis, {iLowValue, iHighValue}, 0.0, {}});
  return _crossings.size() - 1;
}

SFVector3 SFEdgeCrossings::PointAt(Crossing const& iCrossing, double iAt) const
{
  SFVector3 point = iCrossing.low;
  point[iCrossing.axis] += iAt * _voxel;
  return point;
}

void SFEdgeCrossings::Run(SFCompiledField const& iField)
{
  _open.clear();
  for (std::size_t i = 0; i < _crossings.size(); ++i)
    _open.push_back({i, 0.0, 1.0, FirstGuess(_crossings[i].values[0], _crossings[i].values[1])});
  for (int round = 0; !_open.empty(); ++round) {
    _batch.Clear();
    for (Search const& search : _open)
      _batch.Add(PointAt(_crossings[search.crossing], search.next));
    _batch.EvaluateGradient(iField);
    std::size_t open = 0;
    for (std::size_t i = 0; i < _open.size(); ++i)
      if (!Update(_open[i], _batch.Value(i), _batch.Gradient(i), round))
        _open[open++] = _open[i];
    _open.resize(open);
  }
}

/// Takes the values at the place looked at; true when the crossing is found, else `next` is the next place to look at.
bool SFEdgeCrossings::Update(Search& ioSearch, double iValue, SFVector3 const& iGradient, int iRound)
{
  Crossing& crossing = _crossings[ioSearch.crossing];
  double const at = ioSearch.next;
  double const slope = iGradient[crossing.axis] * _voxel;
  double const newton = at - iValue / slope;
  auto const plane = TangentPlaneOf(PointAt(crossing, at), iValue, iGradient);
  if (plane.IsKnown()) {
    double const distance = std::abs(Dot(plane.normal, PointAt(crossing, at)) - plane.offset) / _voxel;
    double const chord = crossing.values[1] - crossing.values[0];
    bool const isLinear = iRound == 0 && std::abs(slope - chord) <= LinearSlope * std::abs(chord);
    if (distance <= (isLinear ? NearWhenLinear : Near)) {
      crossing.plane = plane;
      crossing.at = newton >= ioSearch.low && newton <= ioSearch.high ? newton : at;
      return true;
    }
  }
  bool const isInsideHere = std::signbit(iValue) && !std::isnan(iValue);
  bool const isInsideBelow = std::signbit(crossing.values[0]) && !std::isnan(crossing.values[0]);
  (isInsideHere == isInsideBelow ? ioSearch.low : ioSearch.high) = at;
  double const middle = (ioSearch.low + ioSearch.high) / 2.0;
  crossing.at = middle;
  bool const isWithin = newton > ioSearch.low && newton < ioSearch.high;
  ioSearch.next = isWithin && iRound < NewtonRounds && iRound % 3 != 2 ? newton : middle;
  return ioSearch.high - ioSearch.low <= Shortest;
}

} // namespace SF
