#pragma once

#include "ZULMathBox.h"

#include <atomic>
#include <cstddef>
#include <limits>
#include <span>

namespace SF {

class SFDagNode;
class SFProfilerItf;

/// What the caller knows of the values f of a node: |f(p) - f(q)| <= bound |p - q| for any two points at which the node
/// is evaluated, in exact arithmetic. Below a transform these are the mapped points.
struct SFLipschitzBound
{
  SFDagNode const* node = nullptr; ///< of the graph that is compiled
  double bound = 0.0;              ///< 0 or more
};

/// Where stated Lipschitz bounds are tried: at pairs of points of a box, a thousandth of its diagonal apart and more.
struct SFLipschitzCheck
{
  ZULMathBox box;            ///< in the host's length unit
  std::size_t pairs = 10000; ///< how many are drawn; the same ones in every run
};

/// How the operations of a compiled field run. What the pointers name belongs to the caller and must outlive the
/// compiled field.
struct SFCompiledFieldOptions
{
  /// Threads that an operation may use, the calling one among them; 0 for one for each hardware thread.
  unsigned int threads = 0;

  /// Bytes of working memory of one operation, beyond its output. Scratch that a few threads need to hold one
  /// point or one short row of every live value is taken in any case. Up to about as many bytes are kept between operations
  /// for the next ones at points, by a field and all that are restricted from it together, and as many for its grids.
  std::size_t memoryBudget = std::size_t{64} << 20;

  /// Told how far Evaluate, EvaluateGradient and RenderSlices have got: 0, rising fractions, and 1 on success.
  /// Calls come from the thread that called the operation, so from several at once only when the caller runs
  /// several operations at once. An exception that it throws ends the operation and reaches the caller. May be
  /// null.
  SFProfilerItf* profiler = nullptr;

  /// Operations end with E_ABORT soon after it is set (well within 50 ms, unless one call of a host's resource
  /// takes longer). May be null.
  std::atomic<bool> const* cancel = nullptr;

  /// The magnitude, above 0, that RenderSlices limits values to, as it limits them to the diagonal of the grid: those
  /// beyond come back as +-band, with the right sign; those within are the same in every bit. Whole boxes of points far
  /// from the surface are then settled at once. For who looks for the surface alone: meshes, volumes, pictures. Points
  /// are not limited.
  double band = std::numeric_limits<double>::infinity();

  /// Lipschitz bounds of nodes, by which RenderSlices drops more parts that are far away. True ones change no bit; a
  /// false one may, and is believed. Bounds of nodes that the graph does not have are ignored. Read by Compile, which
  /// refuses negative ones and NaN, and not kept.
  std::span<SFLipschitzBound const> lipschitzBounds;

  /// Has Compile try the stated bounds: E_INVALIDARG, after a line with the two points, when a pair contradicts one of
  /// them by more than rounding explains. A bound that is false in few places may pass. May be null; not kept.
  SFLipschitzCheck const* lipschitzCheck = nullptr;
};

} // namespace SF
