#pragma once

#include "Tasks.h"

namespace SFMpi {

// What the verbs ask for, done by all processes together. Collective; results are the same everywhere, and those of sfdag.
// Throws as the tasks of sfdag do before the work, the same everywhere, and AgreedFailure.
SF::SFVolumeReport GridOverRanks(SFHost::VolumeTask const& iTask);
SF::SFMeshingReport MeshOverRanks(SFHost::MeshTask const& iTask);
SF::SFSolidMeasures MeasureOverRanks(SFHost::MeasureTask const& iTask);

} // namespace SFMpi
