#include "Call.h"
#include "Field.h"

PYBIND11_MODULE(_core, oModule)
{
  using namespace SFPython;
  pybind11::options options;
  options.disable_function_signatures(); // _core.pyi has them
  oModule.doc() = "What the package sf calls of the C++ library; not for use by itself.";
  AddErrors(oModule);
  AddFields(oModule);
  AddShapes(oModule);
  AddTransforms(oModule);
  AddEvaluation(oModule);
  AddResources(oModule);
  AddTexts(oModule);
  AddTools(oModule);
  AddPictures(oModule);
  AddCalls(oModule);
}
