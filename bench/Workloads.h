#pragma once

#include "HandLoops.h"

#include "SFDagNode.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace SFBench {

/// One model on one grid, computed in three ways: by Render, by a loop written for it, and point by point by the
/// evaluator's ComputeScalar, which defines the values.
class Workload
{
public:
  /// Computes some slices of a grid.
  using Loop = std::function<void(Grid const&, unsigned, unsigned, float*)>;

  /// What a workload is made of, before its model is read.
  struct Description
  {
    std::string name;
    std::string file;                                ///< relative to the folder of the models
    double origin[3];                                ///< the lowest corner of the domain
    double extent;                                   ///< of the domain along each axis
    bool flat;                                       ///< one slice only
    unsigned side;                                   ///< points along an axis when nothing else is asked for
    Loop (*makeLoop)(std::string const& iModelText); ///< null when there is no loop
    bool callsLibrary = false;                       ///< the loop, for functions; its last bits are its own
  };

  /// All workloads, in the order of the report.
  static std::vector<Description> const& All();

  /// Reads the model. `iSide` points along each axis, 0 for the number that the description gives. Throws
  /// std::runtime_error when the model cannot be read.
  Workload(Description const& iDescription, unsigned iSide);

  std::string const& Name() const { return _name; }
  Grid const& GetGrid() const { return _grid; }
  std::size_t NodeCount() const;
  bool HasLoop() const { return _loop != nullptr; }

  /// Makes the memory of the values present before a measurement.
  void Touch();
  /// Each throws std::runtime_error when the library reports a failure.
  void Render();
  /// The values and the unit normals, from derivatives that are made before.
  void PrepareNormals();
  void RenderNormals();
  /// On as many tasks as Render uses.
  void RunLoop();
  /// The values at about `iCount` points spread over the grid, by one thread; returns how many.
  std::size_t RunRecursion(std::size_t iCount);

  /// How many values of the loop, or of the recursion, differ in a bit from those of Render; of a loop that calls the C
  /// library, how many are not the same but for its errors. Only values that have been computed are compared.
  std::size_t LoopDifferences() const;
  std::size_t RecursionDifferences() const;

private:
  std::string _name;
  Grid _grid;
  std::shared_ptr<SF::SFDagNode> _root;
  Loop _loop;
  bool _loopCallsLibrary;
  std::vector<float> _rendered;
  std::vector<float> _looped;
  std::vector<std::shared_ptr<SF::SFDagNode>> _gradient;
  std::vector<float> _normals;
  struct PointValue
  {
    std::size_t index;
    float value;
  };
  std::vector<PointValue> _recursed;
  bool _isRendered = false;
  bool _isLooped = false;
};

/// The text of a file. Throws std::runtime_error naming it.
std::string ReadText(std::string const& iFile);

/// Builds a graph without the library's lines on the standard output stream. Throws std::runtime_error.
std::shared_ptr<SF::SFDagNode> BuildQuietly(std::string const& iText);
/// Expression text of a length: unions of spheres that all differ, each on the right of the one before.
std::string SolidsText(std::size_t iLength);

std::size_t CountNodes(SF::SFDagNode const& iRoot);

} // namespace SFBench
