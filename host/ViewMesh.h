#pragma once

#include "CommonOptions.h"
#include "Grid.h"
#include "Report.h"
#include "ViewText.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace SFHost {

/// What a page wants to see.
struct ViewMeshOptions
{
  std::uint32_t cells = 96; ///< on the longest side of the box
  bool isMeasured = false;  ///< with topology, volume and area
  bool hasCurvature = false;
};

/// Meshes models and packs the meshes for the page.
///
/// A packed mesh is little-endian: the length of a JSON text as a 32-bit number; the text, filled up with blanks to a multiple
/// of four bytes; then, as the text's "vertices" and "triangles" say, three 32-bit floats for each vertex, relative to the
/// text's "origin"; three for each normal; three 32-bit numbers of vertices for each triangle; and with curvature a float
/// for each vertex, the mean curvature. Vertices are repeated where faces meet in a crease, with a normal for each face.
class ViewMesher
{
public:
  ViewMesher(CommonOptions const& iCommon, BoxOptions const& iBox) : _common(iCommon), _box(iBox) {}

  /// Throws what the tools throw.
  std::string Pack(ViewField const& iModel, ViewMeshOptions const& iOptions, std::atomic<bool> const& iCancel) const;
  /// The measures that take longer, with their errors.
  Json Measure(ViewField const& iModel, std::uint32_t iCells, std::atomic<bool> const& iCancel) const;

private:
  SF::SFWorkOptions WorkOptions(std::atomic<bool> const& iCancel) const;

  CommonOptions const& _common;
  BoxOptions const& _box;
};

/// Bytes that are no UTF-8 are replaced.
std::string TextOf(Json const& iJson);

/// The parameters of a model as the page draws sliders for them.
Json ParametersAsJson(std::vector<SF::SFParameterInfo> const& iParameters);
Json ProblemsAsJson(std::vector<TextProblem> const& iProblems);

} // namespace SFHost
