#pragma once

#include "CommonOptions.h"
#include "Grid.h"
#include "Model.h"
#include "SFMeshFiles.h"
#include "SFMeshMeasure.h"
#include "SFMeshing.h"
#include "SFVolumeFiles.h"

#include <optional>
#include <string>

namespace SFHost {

// What verbs that sample a whole model ask for, once their options and the model have been read. Who does it, and with how
// many processes, is the program's choice. Options have no profiler yet.

/// A volume file. It is made and committed; where it is resumable, so that another run can go on with it.
struct VolumeTask
{
  CommonOptions const& common;
  FieldModel const& model;
  SF::SFGridFrame frame;
  std::string path;
  SF::SFVolumeFormat format;
  SF::SFVolumeOptions options;
  bool isResumable = false;
};
using VolumeMaker = SF::SFVolumeReport (*)(VolumeTask const&);

/// A file with a mesh.
struct MeshTask
{
  CommonOptions const& common;
  FieldModel const& model;
  SampledBox sampled;
  std::string path;
  SF::SFMeshFormat format;
  SF::SFMeshingOptions meshing;
  SF::SFMeshFileOptions file;
  std::optional<double> tolerance; ///< between mesh and surface
};
using MeshMaker = SF::SFMeshingReport (*)(MeshTask const&);

/// The measures of a solid.
struct MeasureTask
{
  CommonOptions const& common;
  FieldModel const& model;
  SampledBox sampled;
  SF::SFMeasureOptions options;
};
using SolidMeasurer = SF::SFSolidMeasures (*)(MeasureTask const&);

} // namespace SFHost
