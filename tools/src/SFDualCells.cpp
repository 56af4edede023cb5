#include "SFDualCells.h"

#include <algorithm>

namespace SF {
namespace {

constexpr unsigned int EdgeAt(unsigned int iAxis, unsigned int iU, unsigned int iV) { return 4 * iAxis + iU + 2 * iV; }

/// The corners of a face, around it, and the edges between each and the next.
struct Face
{
  std::array<unsigned int, 4> corners{};
  std::array<unsigned int, 4> edges{};
};

constexpr Face FaceOf(unsigned int iFace)
{
  unsigned int const axis = iFace / 2;
  unsigned int const side = iFace % 2;
  unsigned int const u = (axis + 1) % 3;
  unsigned int const v = (axis + 2) % 3;
  unsigned int const base = side << axis;
  // Along u the further axes are v and the face's own, in this order; along v its own and u.
  return {{base, base | 1U << u, base | 1U << u | 1U << v, base | 1U << v},
          {EdgeAt(u, 0, side), EdgeAt(v, side, 1), EdgeAt(u, 1, side), EdgeAt(v, side, 0)}};
}

constexpr bool IsInside(unsigned int iSigns, unsigned int iCorner) { return (iSigns >> iCorner & 1U) != 0; }

constexpr bool IsCrossed(unsigned int iSigns, unsigned int iEdge)
{
  unsigned int const low = LowCornerOf(iEdge);
  return IsInside(iSigns, low) != IsInside(iSigns, low | 1U << iEdge / 4);
}

constexpr bool IsAmbiguous(unsigned int iSigns, Face const& iFace)
{
  for (unsigned int const edge : iFace.edges)
    if (!IsCrossed(iSigns, edge))
      return false;
  return true;
}

/// Edges with the part that they belong to, by the smallest edge of it.
class Parts
{
public:
  constexpr Parts()
  {
    for (unsigned int edge = 0; edge < 12; ++edge)
      _partOf[edge] = edge;
  }
  constexpr void Join(unsigned int iA, unsigned int iB)
  {
    unsigned int const low = std::min(_partOf[iA], _partOf[iB]);
    unsigned int const high = std::max(_partOf[iA], _partOf[iB]);
    for (unsigned int& part : _partOf)
      part = part == high ? low : part;
  }
  constexpr unsigned int operator[](unsigned int iEdge) const { return _partOf[iEdge]; }

private:
  std::array<unsigned int, 12> _partOf{};
};

constexpr void JoinChords(unsigned int iSigns, Face const& iFace, bool iIsTurned, Parts& ioParts)
{
  if (IsAmbiguous(iSigns, iFace)) {
    // The edges on both sides of corner k are k - 1 and k.
    for (unsigned int k = 0; k < 4; ++k)
      if (IsInside(iSigns, iFace.corners[k]) != iIsTurned)
        ioParts.Join(iFace.edges[(k + 3) % 4], iFace.edges[k]);
    return;
  }
  unsigned int first = SFDualCell::None;
  for (unsigned int const edge : iFace.edges)
    if (IsCrossed(iSigns, edge)) {
      if (first != SFDualCell::None)
        ioParts.Join(first, edge);
      first = edge;
    }
}

constexpr SFDualCell MakeCell(unsigned int iSigns, unsigned int iTurnedFace)
{
  Parts parts;
  for (unsigned int face = 0; face < 6; ++face)
    JoinChords(iSigns, FaceOf(face), face == iTurnedFace, parts);

  SFDualCell cell;
  for (unsigned int edge = 0; edge < 12; ++edge)
    cell.partOf[edge] = !IsCrossed(iSigns, edge) ? SFDualCell::None
                        : parts[edge] == edge    ? cell.count++
                                                 : cell.partOf[parts[edge]];
  for (unsigned int face = 0; face < 6; ++face) {
    Face const edges = FaceOf(face);
    if (IsAmbiguous(iSigns, edges) && cell.partOf[edges.edges[0]] == cell.partOf[edges.edges[2]])
      cell.pinchedFace = static_cast<std::uint8_t>(face);
  }
  return cell;
}

constexpr std::array<SFDualCell, 512> MakeTable()
{
  std::array<SFDualCell, 512> table{};
  for (unsigned int signs = 0; signs < 256; ++signs) {
    table[signs] = MakeCell(signs, SFDualCell::None);
    table[signs + 256] = MakeCell(signs, table[signs].pinchedFace);
  }
  return table;
}

constexpr std::array<SFDualCell, 512> Table = MakeTable();

/// A pinched cell has one ambiguous face only, so that turning one face never touches another, and is in two parts then.
constexpr bool ArePinchesApart()
{
  for (unsigned int signs = 0; signs < 256; ++signs) {
    if (Table[signs].pinchedFace == SFDualCell::None)
      continue;
    int ambiguous = 0;
    for (unsigned int face = 0; face < 6; ++face)
      ambiguous += IsAmbiguous(signs, FaceOf(face)) ? 1 : 0;
    if (ambiguous != 1 || Table[signs + 256].pinchedFace != SFDualCell::None)
      return false;
  }
  return true;
}
static_assert(ArePinchesApart());

} // namespace

SFDualCell const& DualCellOf(std::uint8_t iInside, bool iIsTurned) { return Table[iInside + (iIsTurned ? 256U : 0U)]; }

} // namespace SF
