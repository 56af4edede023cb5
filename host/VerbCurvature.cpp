#include "Failure.h"
#include "Grid.h"
#include "SFDagEvaluator.h"
#include "Text.h"
#include "Verbs.h"

#include <cfloat>
#include <cstdio>

namespace SFHost {
namespace {

struct CurvatureOptions
{
  ModelOptions model;
  GridOptions grid;
};

std::string Line(char const* iName, double iValue)
{
  char text[64];
  std::snprintf(text, sizeof text, "%s %.17g", iName, iValue);
  return text;
}

void Curvature(CurvatureOptions const& iOptions)
{
  Model const model = iOptions.model.strict ? LoadReadyModel(iOptions.model) : LoadPlainModel(iOptions.model);
  auto dims = iOptions.grid.dims;
  double maximum = 0.0;
  double minimum = 0.0;
  Require(SF::SFDagEvaluator(model.context)
              .ComputeMaxAndMinCurvature(maximum, minimum, dims.data(), iOptions.grid.origin.data(),
                                         iOptions.grid.voxel, model.root, ZULGetDefaultTolerance()),
          model.name, "its curvature cannot be computed");
  if (maximum == -DBL_MAX && minimum == DBL_MAX)
    throw Failure(model.name, "no point of the grid near the surface has a curvature");
  PrintLines({Line("maximum", maximum), Line("minimum", minimum)});
}

} // namespace

Action AddCurvature(Arguments& ioArguments)
{
  auto const options = std::make_shared<CurvatureOptions>();
  options->model.AddTo(ioArguments);
  options->grid.AddTo(ioArguments);
  ioArguments.Examples("  sfdag curvature part.sf --dims 64 64 64 --voxel 0.1 --origin -3.2 -3.2 -3.2\n"
                       "  sfdag curvature -x '- r + + q X q Y q Z f1' --dims 9 9 9 --voxel 0.25 --origin -1 -1 -1\n\n"
                       "Principal curvatures at the points whose values are within 0.8 voxels of 0. That of a ball of\n"
                       "radius R is -1 / R.");
  return [options] { Curvature(*options); };
}

} // namespace SFHost
