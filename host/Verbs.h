#pragma once

#include "Arguments.h"
#include "CommonOptions.h"
#include "Tasks.h"

#include <functional>

namespace SFHost {

/// What a verb does once its options and the common ones have been read. Throws what SFHost and the library of tools throw.
using Action = std::function<void(CommonOptions const&)>;

// One function for each verb, in a file of its own: declares the verb's options and gives its action. Main.cpp
// holds the table of verbs.
Action AddCheck(Arguments& ioArguments);
Action AddText(Arguments& ioArguments);
Action AddEval(Arguments& ioArguments);
Action AddGrid(Arguments& ioArguments);
Action AddRender(Arguments& ioArguments);
Action AddSlice(Arguments& ioArguments);
Action AddMesh(Arguments& ioArguments);
Action AddMeasure(Arguments& ioArguments);
Action AddInfo(Arguments& ioArguments);
Action AddBench(Arguments& ioArguments);
Action AddDerive(Arguments& ioArguments);
Action AddGradient(Arguments& ioArguments);
Action AddSimplify(Arguments& ioArguments);
Action AddCurvature(Arguments& ioArguments);
Action AddGraph(Arguments& ioArguments);
Action AddOffset(Arguments& ioArguments);
Action AddView(Arguments& ioArguments);

// The same, for programs that do the work themselves.
Action AddGridBy(Arguments& ioArguments, VolumeMaker iMake, bool iCanResume);
Action AddMeshBy(Arguments& ioArguments, MeshMaker iMake);
Action AddMeasureBy(Arguments& ioArguments, SolidMeasurer iMeasure);

} // namespace SFHost
