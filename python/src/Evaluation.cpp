#include "Call.h"
#include "Points.h"
#include "SFCompiledField.h"

#include <pybind11/stl.h>

#include <stdexcept>

namespace SFPython {
namespace {

/// Operations on so many nodes at so many points, in all, end within some 10 ms.
constexpr double QuickWork = 1e7;

using Compiled = SF::SFCompiledField;
using Outputs = std::vector<py::array_t<double>>;
using Coordinates = std::array<py::array, 3>;

void Require(HRESULT iCode)
{
  if (Failed(iCode)) // cancelled: the exception of the signal is on its way; nothing else fails with these arguments
    throw std::runtime_error("the evaluation has been cancelled");
}

/// Adds an operation on points, which is given the compiled field, the arrays of its results, a cancel flag, and the points
/// as what the compiled field takes: their count and three arrays, or their count and a source.
template <class Operation>
void AddOperation(py::module_& ioModule, char const* iName, Operation const& iOperation)
{
  ioModule.def(iName, [iOperation](Field const& iField, Coordinates const& iAt, Outputs& ioOutputs,
                                   unsigned int iThreads, py::object const& iProgress) {
    std::array<double*, 2> results{};
    for (std::size_t i = 0; i < ioOutputs.size(); ++i)
      results.at(i) = ioOutputs[i].mutable_data();
    ArrayPoints const points(iAt);
    double const nodes = static_cast<double>(iField.GetNodeCount());
    bool const isQuick = static_cast<double>(points.GetCount()) * nodes <= QuickWork;
    auto const run = [&](Call& ioCall) {
      auto const compiled = iField.Compile(iThreads);
      auto const [x, y, z] = points.GetArrays();
      if (x != nullptr)
        Require(iOperation(*compiled, results, ioCall.GetCancel(), points.GetCount(), x, y, z));
      else
        Require(iOperation(*compiled, results, ioCall.GetCancel(), points.GetCount(), points));
    };
    Run(run, iProgress, isQuick && nodes <= static_cast<double>(FewParts));
  });
}

void AddPointwise(py::module_& ioModule)
{
  AddOperation(ioModule, "evaluate", [](Compiled const& iField, auto const& iTo, auto iCancel, auto const&... iPoints) {
    return iField.Evaluate(iPoints..., iTo[0], iCancel);
  });
  AddOperation(ioModule, "gradient", [](Compiled const& iField, auto const& iTo, auto iCancel, auto const&... iPoints) {
    return iField.EvaluateGradient(iPoints..., iTo[1], iTo[0], iCancel);
  });
  AddOperation(ioModule, "hessian", [](Compiled const& iField, auto const& iTo, auto iCancel, auto const&... iPoints) {
    return iField.EvaluateHessian(iPoints..., nullptr, nullptr, iTo[0], iCancel);
  });
  AddOperation(ioModule, "curvature",
               [](Compiled const& iField, auto const& iTo, auto iCancel, auto const&... iPoints) {
                 return iField.EvaluateCurvature(iPoints..., iTo[0], iCancel);
               });
}

void AddBoxes(py::module_& ioModule)
{
  ioModule.def("interval", [](Field const& iField, Vector const& iLow, Vector const& iHigh) {
    double low = 0.0;
    double high = 0.0;
    HRESULT code = S_OK;
    ZULMathBox const box{{iLow[0], iLow[1], iLow[2]}, {iHigh[0], iHigh[1], iHigh[2]}};
    Run([&](Call&) { Require(code = iField.Compile(0)->EvaluateInterval(box, low, high)); }, py::none(),
        IsSmall(iField));
    return py::make_tuple(low, high, code == S_FALSE);
  });
  ioModule.def("grid",
               [](Field const& iField, py::array_t<float>& oValues, double iVoxel, Vector const& iOrigin,
                  unsigned int iFirst, unsigned int iSlices, unsigned int iThreads, py::object const& iProgress) {
                 std::array<unsigned int, 3> dims{};
                 for (std::size_t axis = 0; axis < 3; ++axis)
                   dims[axis] = static_cast<unsigned int>(oValues.shape(static_cast<py::ssize_t>(2 - axis)));
                 std::array<unsigned int, 3> const whole{dims[0], dims[1], iSlices};
                 std::span<float> const values(oValues.mutable_data(), static_cast<std::size_t>(oValues.size()));
                 auto const render = [&](Call& ioCall) {
                   Require(iField.Compile(iThreads)->RenderSlices(whole.data(), iFirst, iFirst + dims[2], values,
                                                                  iVoxel, iOrigin.data(), ioCall.GetCancel()));
                 };
                 double const work = static_cast<double>(values.size()) * static_cast<double>(iField.GetNodeCount());
                 Run(render, iProgress, work <= QuickWork);
               });
}

} // namespace

void AddEvaluation(py::module_& ioModule)
{
  AddPointwise(ioModule);
  AddBoxes(ioModule);
}

} // namespace SFPython
