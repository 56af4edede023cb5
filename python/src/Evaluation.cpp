#include "Call.h"
#include "Points.h"
#include "SFCompiledField.h"

#include <pybind11/stl.h>

#include <stdexcept>

namespace SFPython {
namespace {

/// Operations on so many nodes at so many points, in all, end within some 10 ms.
constexpr double QuickWork = 2e6;

using Output = py::array_t<double>;
using Coordinates = std::array<py::array, 3>;

void Require(HRESULT iCode)
{
  if (Failed(iCode)) // cancelled: the exception of the signal is on its way; nothing else fails with these arguments
    throw std::runtime_error("the evaluation has been cancelled");
}

/// Runs an evaluation of points in the way of calls. It is given the compiled field, a cancel flag, and the points as what
/// the compiled field takes: their count and three arrays, or their count and a source.
template <class Evaluation>
void Evaluate(Field const& iField, Coordinates const& iCoordinates, unsigned int iThreads, py::object const& iProgress,
              Evaluation const& iEvaluation)
{
  ArrayPoints const points(iCoordinates);
  double const nodes = static_cast<double>(iField.GetNodeCount());
  bool const isQuick = static_cast<double>(points.GetCount()) * nodes <= QuickWork;
  auto const run = [&](Call& ioCall) {
    auto const compiled = iField.Compile(iThreads);
    auto const [x, y, z] = points.GetArrays();
    if (x != nullptr)
      Require(iEvaluation(*compiled, ioCall.GetCancel(), points.GetCount(), x, y, z));
    else
      Require(iEvaluation(*compiled, ioCall.GetCancel(), points.GetCount(), points));
  };
  Run(run, iProgress, isQuick && nodes <= static_cast<double>(FewParts));
}

void AddPointwise(py::module_& ioModule)
{
  ioModule.def("evaluate", [](Field const& iField, Coordinates const& iAt, Output& oValues, unsigned int iThreads,
                              py::object const& iProgress) {
    double* const values = oValues.mutable_data();
    Evaluate(iField, iAt, iThreads, iProgress,
             [&](SF::SFCompiledField const& iCompiled, std::atomic<bool> const* iCancel, auto const&... iPoints) {
               return iCompiled.Evaluate(iPoints..., values, iCancel);
             });
  });
  ioModule.def("gradient", [](Field const& iField, Coordinates const& iAt, Output& oValues, Output& oGradients,
                              unsigned int iThreads, py::object const& iProgress) {
    double* const values = oValues.size() == 0 ? nullptr : oValues.mutable_data();
    double* const gradients = oGradients.mutable_data();
    Evaluate(iField, iAt, iThreads, iProgress,
             [&](SF::SFCompiledField const& iCompiled, std::atomic<bool> const* iCancel, auto const&... iPoints) {
               return iCompiled.EvaluateGradient(iPoints..., values, gradients, iCancel);
             });
  });
  ioModule.def("hessian", [](Field const& iField, Coordinates const& iAt, Output& oHessians, unsigned int iThreads,
                             py::object const& iProgress) {
    double* const hessians = oHessians.mutable_data();
    Evaluate(iField, iAt, iThreads, iProgress,
             [&](SF::SFCompiledField const& iCompiled, std::atomic<bool> const* iCancel, auto const&... iPoints) {
               return iCompiled.EvaluateHessian(iPoints..., nullptr, nullptr, hessians, iCancel);
             });
  });
  ioModule.def("curvature", [](Field const& iField, Coordinates const& iAt, Output& oCurvatures, unsigned int iThreads,
                               py::object const& iProgress) {
    double* const curvatures = oCurvatures.mutable_data();
    Evaluate(iField, iAt, iThreads, iProgress,
             [&](SF::SFCompiledField const& iCompiled, std::atomic<bool> const* iCancel, auto const&... iPoints) {
               return iCompiled.EvaluateCurvature(iPoints..., curvatures, iCancel);
             });
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
  ioModule.def("grid", [](Field const& iField, py::array_t<float>& oValues, double iVoxel, Vector const& iOrigin,
                          unsigned int iThreads, py::object const& iProgress) {
    std::array<unsigned int, 3> dims{};
    for (std::size_t axis = 0; axis < 3; ++axis)
      dims[axis] = static_cast<unsigned int>(oValues.shape(static_cast<py::ssize_t>(2 - axis)));
    std::span<float> const values(oValues.mutable_data(), static_cast<std::size_t>(oValues.size()));
    auto const render = [&](Call& ioCall) {
      Require(iField.Compile(iThreads)->RenderSlices(dims.data(), 0, dims[2], values, iVoxel, iOrigin.data(),
                                                     ioCall.GetCancel()));
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
