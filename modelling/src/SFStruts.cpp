#include "SFAffineImage.h"
#include "SFArgument.h"
#include "SFElementary.h"
#include "SFShapeParts.h"
#include "SFShapes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>

namespace SF {
namespace {

using Vector = std::array<double, 3>;

double Dot(Vector const& iA, ZULMathPoint const& iP) { return iA[0] * iP.x + iA[1] * iP.y + iA[2] * iP.z; }

ZULMathBox BoxAround(SFStrut const& iStrut) { return Boxes::Hull({iStrut.from, iStrut.from}, {iStrut.to, iStrut.to}); }

/// Numbers for things that three whole numbers tell apart, in the order in which they come.
class Numbering
{
public:
  using Key = std::array<std::int64_t, 3>;

  /// The number of a key, and whether it is new.
  std::pair<std::size_t, bool> Of(Key const& iKey)
  {
    auto const [at, isNew] = _numbers.try_emplace(iKey, _numbers.size());
    return {at->second, isNew};
  }
  void Reserve(std::size_t iCount) { _numbers.reserve(iCount); }

private:
  struct Hash
  {
    std::size_t operator()(Key const& iKey) const
    {
      std::uint64_t hash = 0;
      for (std::int64_t const part : iKey) {
        hash = (hash ^ static_cast<std::uint64_t>(part)) * 0x9e3779b97f4a7c15U;
        hash ^= hash >> 29;
      }
      return static_cast<std::size_t>(hash);
    }
  };
  std::unordered_map<Key, std::size_t, Hash> _numbers;
};

/// Three perpendicular unit vectors, the first along a strut. Their signs do not depend on the order of its ends.
struct Frame
{
  explicit Frame(SFStrut const& iStrut) : axes{Axis(iStrut), {}, {}}
  {
    Vector const& w = axes[0];
    // One of the others lies in a plane of coordinates, so that it has two terms at most.
    std::size_t k = 0;
    for (std::size_t i = 1; i < 3; ++i)
      k = std::abs(w[i]) < std::abs(w[k]) ? i : k;
    std::size_t const i = (k + 1) % 3;
    std::size_t const j = (k + 2) % 3;
    double const n = w[k] == 0.0 ? 1.0 : Elementary::Hypot(w[i], w[j]);
    axes[1][i] = w[j] / n;
    axes[1][j] = -w[i] / n;
    axes[2][i] = w[k] * w[i] / n;
    axes[2][j] = w[k] * w[j] / n;
    axes[2][k] = -n;
    Orient(axes[1]);
    Orient(axes[2]);
  }

  std::array<Vector, 3> axes;

private:
  static Vector Axis(SFStrut const& iStrut)
  {
    Vector w{iStrut.to.x - iStrut.from.x, iStrut.to.y - iStrut.from.y, iStrut.to.z - iStrut.from.z};
    double const largest = std::max({std::abs(w[0]), std::abs(w[1]), std::abs(w[2])});
    if (largest == 0.0)
      return {1.0, 0.0, 0.0}; // a ball
    // What is a rounding away from a plane of coordinates lies in it.
    for (double& component : w)
      component = std::abs(component) < std::ldexp(largest, -44) ? 0.0 : component / largest;
    double const length = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
    for (double& component : w)
      component /= length;
    Orient(w);
    return w;
  }

  static void Orient(Vector& ioVector)
  {
    auto const first = std::find_if(ioVector.begin(), ioVector.end(), [](double c) { return c != 0.0; });
    if (first != ioVector.end() && *first < 0.0)
      for (double& component : ioVector)
        component = -component;
  }
};

/// The distance from the nearest of many segments. In a frame along a segment its square is u^2 + v^2 + max(|w| - half, 0)^2;
/// parallel segments share the coordinates of their frame, those in a plane its term, and those on a line the first two.
class SegmentDistance
{
public:
  explicit SegmentDistance(std::span<SFStrut const> iStruts)
  {
    double size = std::numeric_limits<double>::min();
    for (SFStrut const& strut : iStruts)
      for (ZULMathPoint const& end : {strut.from, strut.to}) {
        Argument::FiniteVector("struts", end);
        size = std::max({size, std::abs(end.x), std::abs(end.y), std::abs(end.z)});
      }
    _quantum = std::ldexp(1.0, std::ilogb(size) - 43);
    _segments.reserve(iStruts.size());
    for (SFStrut const& strut : iStruts)
      Add(strut);
    Merge();
    MakeBars();
  }

  SFField Result() { return WithFacts(Joined(_bars.begin(), _bars.end()), FactsIn(Hull(_bars.begin(), _bars.end()))); }

  ZULMathBox Bounds() const { return Hull(_bars.begin(), _bars.end()); }

private:
  static constexpr std::ptrdiff_t BlockSize = 16; ///< segments that share a root

  struct Direction
  {
    std::array<std::size_t, 3> forms; ///< the coordinates of the frame
    std::array<Vector, 3> axes;
  };
  struct Line
  {
    std::size_t direction = 0;
    SFField square; ///< of the distance
  };
  struct Segment
  {
    std::size_t line;
    double low; ///< along the line
    double high;
    ZULMathBox box;
  };
  struct Bar
  {
    SFField square; ///< of the distance
    ZULMathBox box;
    std::array<double, 6> ends; ///< of the box
  };
  using BarAt = std::vector<Bar>::iterator;

  std::int64_t Rounded(double iLength) const { return std::llround(iLength / _quantum); }

  void Add(SFStrut const& iStrut)
  {
    std::size_t const direction = DirectionOf(iStrut);
    Direction const& d = _directions[direction];
    std::size_t const u = PlaneOf(d.forms[1], Dot(d.axes[1], iStrut.from));
    std::size_t const v = PlaneOf(d.forms[2], Dot(d.axes[2], iStrut.from));
    auto const [line, isNew] = _lineNumbers.Of(
        {static_cast<std::int64_t>(direction), static_cast<std::int64_t>(u), static_cast<std::int64_t>(v)});
    if (isNew)
      _lines.push_back({direction, square(_planes[u]) + square(_planes[v])});
    double const a = Dot(d.axes[0], iStrut.from);
    double const b = Dot(d.axes[0], iStrut.to);
    _segments.push_back({line, std::min(a, b), std::max(a, b), BoxAround(iStrut)});
  }

  std::size_t DirectionOf(SFStrut const& iStrut)
  {
    Frame const frame(iStrut);
    auto const [number, isNew] = _directionNumbers.Of(KeyOf(frame.axes[0]));
    if (isNew)
      _directions.push_back({{FormOf(frame.axes[0]), FormOf(frame.axes[1]), FormOf(frame.axes[2])}, frame.axes});
    return number;
  }

  static Numbering::Key KeyOf(Vector const& iUnit)
  {
    constexpr double steps = 0x1p43;
    return {std::llround(iUnit[0] * steps), std::llround(iUnit[1] * steps), std::llround(iUnit[2] * steps)};
  }

  std::size_t FormOf(Vector const& iUnit)
  {
    auto const [number, isNew] = _formNumbers.Of(KeyOf(iUnit));
    if (isNew)
      _forms.push_back(AffineForm({iUnit[0], iUnit[1], iUnit[2], 0.0}, Coordinates()));
    return number;
  }

  /// A coordinate less a constant.
  std::size_t PlaneOf(std::size_t iForm, double iAt)
  {
    auto const [number, isNew] = _planeNumbers.Of({static_cast<std::int64_t>(iForm), Rounded(iAt), 0});
    if (isNew)
      _planes.push_back(_forms[iForm] - iAt);
    return number;
  }

  /// Joins segments of a line that touch.
  void Merge()
  {
    std::sort(_segments.begin(), _segments.end(),
              [](Segment const& a, Segment const& b) { return a.line != b.line ? a.line < b.line : a.low < b.low; });
    std::vector<Segment> merged;
    for (Segment const& segment : _segments) {
      bool const isOnLine = !merged.empty() && merged.back().line == segment.line;
      if (isOnLine && segment.low <= merged.back().high + _quantum) {
        Segment& last = merged.back();
        last.high = std::max(last.high, segment.high);
        last.box = Boxes::Hull(last.box, segment.box);
      } else {
        merged.push_back(segment);
      }
    }
    _segments = std::move(merged);
  }

  void MakeBars()
  {
    _bars.reserve(_segments.size());
    for (Segment const& segment : _segments) {
      Line const& line = _lines[segment.line];
      ZULMathBox const& box = segment.box;
      _bars.push_back({line.square + SquareBeyond(_directions[line.direction].forms[0], segment),
                       box,
                       {box.low.x, box.low.y, box.low.z, box.high.x, box.high.y, box.high.z}});
    }
  }

  SFField const& SquareBeyond(std::size_t iForm, Segment const& iSegment)
  {
    double const half = (iSegment.high - iSegment.low) / 2.0;
    std::size_t const plane = PlaneOf(iForm, iSegment.low + half);
    auto const [number, isNew] = _endNumbers.Of({static_cast<std::int64_t>(plane), Rounded(half), 0});
    if (isNew)
      _squaresBeyond.push_back(square(max(abs(_planes[plane]) - half, _zero)));
    return _squaresBeyond[number];
  }

  static SFFieldFacts FactsIn(ZULMathBox const& iBox)
  {
    SFFieldFacts facts = ShapeParts::UnboundedDistanceFacts();
    facts.growth = 1.0;
    facts.bounds = Boxes::Grown(iBox, 0.0);
    return facts;
  }

  static ZULMathBox Hull(std::vector<Bar>::const_iterator iFirst, std::vector<Bar>::const_iterator iLast)
  {
    ZULMathBox box = iFirst->box;
    for (auto bar = iFirst; bar != iLast; ++bar)
      box = Boxes::Hull(box, bar->box);
    return box;
  }

  /// Neighbours first, so that a part of space needs few branches of the tree.
  SFField Joined(BarAt iFirst, BarAt iLast)
  {
    if (iLast - iFirst <= BlockSize)
      return Block(iFirst, iLast);
    std::size_t const by = WidestSpread(iFirst, iLast);
    BarAt const middle = iFirst + (iLast - iFirst + 1) / 2;
    std::nth_element(iFirst, middle, iLast, [by](Bar const& a, Bar const& b) { return a.ends[by] < b.ends[by]; });
    SFField const left = Joined(iFirst, middle);
    return min(left, Joined(middle, iLast));
  }

  static SFField Block(BarAt iFirst, BarAt iLast)
  {
    std::vector<SFField> squares;
    for (BarAt bar = iFirst; bar != iLast; ++bar)
      squares.push_back(bar->square);
    return WithFacts(sqrt(Union(squares)), FactsIn(Hull(iFirst, iLast)));
  }

  /// The end of the boxes that differs the most between them.
  static std::size_t WidestSpread(BarAt iFirst, BarAt iLast)
  {
    std::size_t widest = 0;
    double most = -1.0;
    for (std::size_t end = 0; end < 6; ++end) {
      auto const [low, high] =
          std::minmax_element(iFirst, iLast, [end](Bar const& a, Bar const& b) { return a.ends[end] < b.ends[end]; });
      double const spread = high->ends[end] - low->ends[end];
      if (spread > most) {
        most = spread;
        widest = end;
      }
    }
    return widest;
  }

  double _quantum = 0.0; ///< lengths that differ by less may count as one
  SFField _zero = 0.0;
  Numbering _directionNumbers;
  Numbering _formNumbers;
  Numbering _planeNumbers;
  Numbering _lineNumbers;
  Numbering _endNumbers;
  std::vector<Direction> _directions;
  std::vector<SFField> _forms;
  std::vector<SFField> _planes;
  std::vector<Line> _lines;
  std::vector<Segment> _segments;
  std::vector<SFField> _squaresBeyond;
  std::vector<Bar> _bars;
};

} // namespace

SFField Struts(std::span<SFStrut const> iStruts, SFField const& iRadius)
{
  if (iStruts.empty())
    Argument::Refuse("struts", "an empty list");
  SegmentDistance distance(iStruts);
  auto const facts = [box = distance.Bounds()](std::span<double const> d) {
    SFFieldFacts struts = ShapeParts::UnboundedDistanceFacts();
    struts.growth = 1.0;
    struts.bounds = Boxes::Grown(box, d[0]);
    return struts;
  };
  return WithRecipe(distance.Result() - iRadius, {{{"radius", iRadius}}, facts, {}});
}

SFField Chain(std::span<ZULMathPoint const> iPoints, SFField const& iRadius)
{
  if (iPoints.size() < 2)
    Argument::Refuse("points", "fewer than two");
  std::vector<SFStrut> struts;
  for (std::size_t i = 1; i < iPoints.size(); ++i)
    struts.push_back({iPoints[i - 1], iPoints[i]});
  return Struts(struts, iRadius);
}

} // namespace SF
