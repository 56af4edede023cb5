#include "SFFrameBounds.h"

#include "SFBoxes.h"
#include "SFFieldWalk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace SF {
namespace {

using Direction = std::array<double, 3>;

/// The directions through which a part depends on the point.
struct Frame
{
  static constexpr std::size_t Most = 3;

  /// The place of a direction, added where it is new; Most when there is no room.
  std::size_t Place(Direction const& iDirection)
  {
    // The same direction comes through the same transform, and so to the bit, or nearly so.
    constexpr double tolerance = 4.0 * std::numeric_limits<double>::epsilon();
    for (std::size_t i = 0; i < count; ++i) {
      double distance = 0.0;
      for (std::size_t k = 0; k < 3; ++k)
        distance = std::fmax(distance, std::abs(directions[i][k] - iDirection[k]));
      if (distance <= tolerance)
        return i;
    }
    if (count == Most) {
      isMixed = true;
      return Most;
    }
    directions[count] = iDirection;
    return count++;
  }

  void Add(Frame const& iOther)
  {
    isMixed = isMixed || iOther.isMixed;
    for (std::size_t i = 0; i < iOther.count && !isMixed; ++i)
      Place(iOther.directions[i]);
  }

  bool IsWhole() const { return !isMixed && count == Most; }

  std::array<Direction, Most> directions{};
  std::size_t count = 0;
  bool isMixed = false; ///< there are more than three
};

/// An affine form as a multiple of a direction of unit length whose first component other than 0 is positive.
struct Multiple
{
  explicit Multiple(std::array<double, 4> const& iForm) : constant(iForm[3])
  {
    factor = std::sqrt(iForm[0] * iForm[0] + iForm[1] * iForm[1] + iForm[2] * iForm[2]);
    for (std::size_t k = 3; k-- > 0;)
      if (iForm[k] != 0.0)
        factor = std::copysign(factor, iForm[k]);
    for (std::size_t k = 0; k < 3; ++k)
      direction[k] = factor == 0.0 ? 0.0 : iForm[k] / factor;
  }

  Direction direction{};
  double factor;
  double constant;
};

/// The search through the parts of one field.
class Search
{
public:
  explicit Search(SFField const& iField) : _order(iField)
  {
    if (_order.Size() > MostNodes)
      return;
    std::vector<SFField> fields;
    for (SFFieldNode const* const node : _order.Nodes())
      fields.emplace_back(node->Share());
    _facts = FactsOf(fields);
    _frames.reserve(_facts.size());
    for (std::size_t i = 0; i < _facts.size(); ++i)
      _frames.push_back(FrameOf(i));
  }

  std::optional<ZULMathBox> Run()
  {
    if (_facts.empty() || !MarkParts())
      return std::nullopt;
    std::vector<std::optional<ZULMathBox>> boxes(_facts.size());
    for (std::size_t i = 0; i < boxes.size(); ++i)
      if (_isNeeded[i])
        boxes[i] = BoxOf(i, boxes);
    return boxes.back();
  }

private:
  static constexpr std::size_t MostNodes = 200'000;
  static constexpr std::size_t MostSearches = 100; ///< of some milliseconds each, for a part of a hundred nodes

  Frame FrameOf(std::size_t iNumber) const
  {
    SFFieldNode const& node = *_order.Nodes()[iNumber];
    Frame frame;
    if (_facts[iNumber].isAffine) {
      Multiple const multiple(_facts[iNumber].form);
      if (multiple.factor != 0.0)
        frame.Place(multiple.direction);
      return frame;
    }
    frame.isMixed = node.GetOperandCount() == 0 && !_facts[iNumber].constant;
    for (int k = 0; k < node.GetOperandCount(); ++k)
      frame.Add(_frames[_order.OperandOf(node, k)]);
    return frame;
  }

  static bool IsSetOperation(SFNodeType iType)
  {
    using enum SFNodeType;
    return iType == MIN || iType == MAX || iType == WITHOUT || iType == SYMDIFF;
  }

  bool IsPart(std::size_t iNumber) const { return _facts[iNumber].HasBounds() || _frames[iNumber].IsWhole(); }

  /// Marks the parts that have boxes of their own, and the set operations above them. False when these are too many.
  bool MarkParts()
  {
    _isNeeded.assign(_facts.size(), false);
    std::size_t searches = 0;
    std::vector<std::size_t> open{_facts.size() - 1};
    while (!open.empty()) {
      std::size_t const number = open.back();
      open.pop_back();
      if (_isNeeded[number])
        continue;
      _isNeeded[number] = true;
      SFFieldNode const& node = *_order.Nodes()[number];
      if (IsPart(number))
        searches += _facts[number].HasBounds() ? 0 : 1;
      else if (IsSetOperation(node.GetType()))
        for (int k = 0; k < 2; ++k)
          open.push_back(_order.OperandOf(node, k));
    }
    return searches <= MostSearches;
  }

  std::optional<ZULMathBox> BoxOf(std::size_t iNumber, std::vector<std::optional<ZULMathBox>> const& iBoxes) const
  {
    SFFieldNode const& node = *_order.Nodes()[iNumber];
    if (_facts[iNumber].HasBounds())
      return _facts[iNumber].bounds;
    if (IsPart(iNumber))
      return SearchInFrame(iNumber);
    if (!IsSetOperation(node.GetType()))
      return std::nullopt;
    auto const& a = iBoxes[_order.OperandOf(node, 0)];
    auto const& b = iBoxes[_order.OperandOf(node, 1)];
    if (node.GetType() == SFNodeType::WITHOUT)
      return a;
    if (node.GetType() == SFNodeType::MAX)
      return a && b ? Boxes::Common(*a, *b) : (a ? a : b);
    return a && b ? std::optional(Boxes::Hull(*a, *b)) : std::nullopt;
  }

  /// Searches a part in the coordinates of its directions, and moves the box that is found into space.
  std::optional<ZULMathBox> SearchInFrame(std::size_t iNumber) const
  {
    Frame frame = _frames[iNumber];
    std::array<double, 12> rows{};
    for (std::size_t i = 0; i < 3; ++i)
      std::copy(frame.directions[i].begin(), frame.directions[i].end(), rows.begin() + static_cast<long>(4 * i));
    ZULMathTransformation toSpace;
    if (Failed(ZULMathTransformation(rows.data(), 12).ComputeInverse(toSpace)))
      return std::nullopt;
    auto const box = SearchBounds(InFrame(iNumber, frame));
    if (!box)
      return std::nullopt;
    constexpr double margin = 1e-12; // of directions that are the same but for rounding
    double extent = 0.0;
    for (auto const& ends : Boxes::EndsOf(*box))
      extent = std::fmax(extent, std::fmax(std::abs(ends[0]), std::abs(ends[1])));
    return Boxes::Moved(Boxes::Grown(*box, margin * extent), toSpace);
  }

  /// A part with its affine forms drawn in the directions of its frame.
  SFField InFrame(std::size_t iNumber, Frame& ioFrame) const
  {
    std::array<SFField, 3> const coordinates{SFField::X(), SFField::Y(), SFField::Z()};
    SFFieldOrder const part(SFField(_order.Nodes()[iNumber]->Share()));
    std::vector<SFFieldNodePtr> made;
    for (SFFieldNode const* const node : part.Nodes()) {
      SFFieldFacts const& facts = _facts[_order.NumberOf(node)];
      SFFieldNode::Operands operands;
      for (int k = 0; k < node->GetOperandCount(); ++k)
        operands[static_cast<std::size_t>(k)] = made[part.OperandOf(*node, k)];
      Multiple const multiple(facts.form);
      // Inside a larger form there can be other directions, which the part does not show.
      std::size_t const at = facts.isAffine && multiple.factor != 0.0 ? ioFrame.Place(multiple.direction) : Frame::Most;
      if (at < Frame::Most)
        made.push_back((coordinates[at] * multiple.factor + multiple.constant).GetNode());
      else
        made.push_back(node->GetOperandCount() == 0 ? node->Share() : MakeLike(*node, std::move(operands)));
    }
    return SFField(made.back());
  }

  SFFieldOrder _order;
  std::vector<SFFieldFacts> _facts;
  std::vector<Frame> _frames;
  std::vector<bool> _isNeeded;
};

} // namespace

std::optional<ZULMathBox> SearchBoundsInFrames(SFField const& iField) { return Search(iField).Run(); }

} // namespace SF
