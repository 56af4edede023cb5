#pragma once

#include "SFGeometry.h"
#include "SFProjection.h"
#include "SFWork.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace SF {

/// A piece of the box in which the surface may be.
struct SFBrick
{
  ZULMathBox box;
  std::shared_ptr<SFCompiledField> field; ///< restricted to the box and a little more
  std::uint64_t path = 0;                 ///< which halves lead to it, the first one in the highest bit
  bool isSolid = false;                   ///< all of it, without a surface
  double lipschitz = 0.0;                 ///< Lipschitz bound of the field within the box; infinite when none is known
};

/// A field over a box, cut into pieces on which it is cheap. Pieces without solid are left out. Safe to share between
/// threads.
class SFBricks
{
public:
  /// SFModelError when no piece is left.
  SFBricks(SFField const& iField, ZULMathBox const& iBox, SFWorkOptions const& iOptions, SFProgress const& iProgress);

  std::vector<SFBrick> const& Pieces() const { return _pieces; }
  /// Numbers of the pieces so that on every ray of the view nearer ones come first.
  std::vector<std::uint32_t> FrontToBack(SFProjection const& iView) const;
  ZULMathBox const& Box() const { return _box; }
  /// The box around the pieces.
  ZULMathBox Extent() const;

private:
  /// The partial derivatives, where they are of use: of a field without a Lipschitz bound. Else null.
  using Slopes = std::array<std::shared_ptr<SFCompiledField>, 3>;
  struct Cell
  {
    ZULMathBox box;
    std::shared_ptr<SFCompiledField> field; ///< of this or a larger box
    Slopes slopes;                          ///< likewise
    std::uint64_t path;
  };
  /// The eight parts of a cell that are not empty; solid ones go to the pieces.
  struct Parts
  {
    std::vector<Cell> cells;
    std::vector<SFBrick> solid;
  };
  std::vector<Cell> DivideAll(std::vector<Cell> const& iCells, std::size_t iDivision, SFWorkOptions const& iOptions);
  std::vector<Cell> FinishAll(std::vector<Cell> const& iCells, SFWorkOptions const& iOptions, bool iIsLast = false);
  Parts Divide(Cell const& iCell, std::size_t iLevel) const;
  SFBrick Finish(Cell const& iCell) const;
  double LipschitzIn(Cell const& iCell) const;
  Slopes SlopesOf(SFField const& iField, SFWorkOptions const& iOptions) const;
  std::array<ZULMathBox, 8> Eighths(ZULMathBox const& iBox, std::size_t iLevel) const;
  std::uint64_t NearFirst(SFBrick const& iPiece, SFProjection const& iView) const;
  ZULMathBox Widened(ZULMathBox const& iBox) const;

  ZULMathBox _box;
  double _lipschitz;
  std::vector<std::size_t> _axes; ///< along which each halving cuts
  std::vector<SFBrick> _pieces;
};

} // namespace SF
