#include "Resources.h"

#include "Call.h"
#include "SFCompiledField.h"
#include "SFDagFromExpression.h"
#include "SFDiagnostics.h"
#include "SFListing.h"
#include "SFSWContext.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

namespace SFPython {

Shared::Shared(py::object iObject)
  : _object(new py::object(std::move(iObject)), [](py::object* iOwned) {
      if (Py_IsInitialized() == 0) {
        iOwned->release(); // nothing is left that it could be given back to
      } else {
        py::gil_scoped_acquire const acquired;
        *iOwned = py::object();
      }
      delete iOwned;
    })
{
}

namespace {

std::mutex registryMutex;
std::map<std::string, std::weak_ptr<Resource>>& Registry()
{
  static std::map<std::string, std::weak_ptr<Resource>> registry;
  return registry;
}

} // namespace

Resource::Resource(Facts iFacts, py::object iState)
  : ResourceToSF(SF::SFNodeType::RESOLVEDREF), _facts(std::move(iFacts)), _state(std::move(iState))
{
  SetExpressionId(_facts.id);
}

Resource::~Resource()
{
  std::lock_guard<std::mutex> const lock(registryMutex);
  auto const at = Registry().find(_facts.id);
  if (at != Registry().end() && at->second.expired())
    Registry().erase(at);
}

std::shared_ptr<Resource> Resource::Find(std::string const& iId)
{
  std::lock_guard<std::mutex> const lock(registryMutex);
  auto const at = Registry().find(iId);
  return at == Registry().end() ? nullptr : at->second.lock();
}

SF::SFField Resource::FieldOf(std::shared_ptr<Resource> const& iResource)
{
  {
    std::lock_guard<std::mutex> const lock(registryMutex);
    Registry()[iResource->_facts.id] = iResource;
  }
  return SF::SFField::Resource(iResource, iResource->_facts.kind, iResource->_facts.bounds);
}

namespace {

/// Points that a function is called with at once: enough to hide the cost of a call, few enough to stay in the caches.
constexpr std::size_t MostPoints = 1U << 14;
constexpr std::size_t FirstPoints = 1U << 10;
/// How long one call of a function may take: nothing ends earlier.
constexpr std::chrono::milliseconds LongCall{20};

/// A function of Python that gives the values at rows of points, and one that gives the gradients, or None.
class FunctionResource : public Resource
{
public:
  FunctionResource(Facts iFacts, py::object iState, py::object iFunction, py::object iGradient)
    : Resource(std::move(iFacts), std::move(iState)), _function(std::move(iFunction)), _gradient(std::move(iGradient))
  {
  }

  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    double value = 0.0;
    GetScalars(1, {&iPoint.x, &iPoint.y, &iPoint.z}, &value, [] { return false; });
    return value;
  }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    GetGradients(1, {&iPoint.x, &iPoint.y, &iPoint.z}, {oGradient, oGradient + 1, oGradient + 2}, [] { return false; });
    return S_OK;
  }
  std::size_t GetBatchSize() const override { return MostPoints; }

  void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                  StopRequest const& iMustStop) const override
  {
    InParts(iCount, iMustStop, [&](std::size_t iFirst, std::size_t iPart) {
      Values const values = CallAt(iPart, Moved(iPoints, iFirst));
      std::copy_n(values.data(), iPart, oValues + iFirst);
    });
  }

  void GetGradients(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients,
                    StopRequest const& iMustStop) const override
  {
    InParts(iCount, iMustStop, [&](std::size_t iFirst, std::size_t iPart) {
      Points const points = Moved(iPoints, iFirst);
      std::array<double*, 3> const gradients{oGradients[0] + iFirst, oGradients[1] + iFirst, oGradients[2] + iFirst};
      if (_gradient.Get().is_none())
        Differences(iPart, points, gradients);
      else
        Asked(iPart, points, gradients);
    });
  }

private:
  using Values = py::array_t<double, py::array::c_style | py::array::forcecast>;

  static Points Moved(Points const& iPoints, std::size_t iBy)
  {
    return {iPoints[0] + iBy, iPoints[1] + iBy, iPoints[2] + iBy};
  }

  /// Does a part of the points after the other, as many at once as a call may take time for.
  template <class Part>
  void InParts(std::size_t iCount, StopRequest const& iMustStop, Part const& iPart) const
  {
    std::size_t part = _part;
    for (std::size_t first = 0; first < iCount && !iMustStop();) {
      std::size_t const now = std::min(part, iCount - first);
      auto const begin = std::chrono::steady_clock::now();
      {
        py::gil_scoped_acquire const acquired;
        iPart(first, now);
      }
      auto const time = std::chrono::steady_clock::now() - begin;
      first += now;
      if (time > LongCall)
        part = std::max<std::size_t>(1, now / 2);
      else if (2 * time < LongCall && now == part)
        part = std::min(MostPoints, 2 * part);
    }
    _part = part;
  }

  /// Points as an array of shape (n, 3) whose columns are contiguous.
  static py::array_t<double> NewPoints(std::size_t iCount)
  {
    auto const count = static_cast<py::ssize_t>(iCount);
    constexpr py::ssize_t size = sizeof(double);
    return py::array_t<double>(std::vector<py::ssize_t>{count, 3}, std::vector<py::ssize_t>{size, size * count});
  }

  static Values Checked(char const* iName, py::object const& iResult, std::vector<py::ssize_t> const& iShape)
  {
    auto values = Values::ensure(iResult);
    if (!values) {
      PyErr_Clear();
      throw py::type_error(std::string(iName) + ": gave no array of numbers");
    }
    if (!std::equal(iShape.begin(), iShape.end(), values.shape(), values.shape() + values.ndim()))
      throw py::value_error(std::string(iName) + ": gave an array of shape " +
                            py::str(values.attr("shape")).cast<std::string>() + " for " +
                            std::to_string(iShape.front()) + " points");
    return values;
  }

  Values CallAt(std::size_t iCount, Points const& iPoints) const
  {
    auto points = NewPoints(iCount);
    for (std::size_t axis = 0; axis < 3; ++axis)
      std::copy_n(iPoints[axis], iCount, points.mutable_data() + axis * iCount);
    return Checked("function", _function.Get()(points), {static_cast<py::ssize_t>(iCount)});
  }

  void Asked(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients) const
  {
    auto points = NewPoints(iCount);
    for (std::size_t axis = 0; axis < 3; ++axis)
      std::copy_n(iPoints[axis], iCount, points.mutable_data() + axis * iCount);
    Values const values = Checked("gradient", _gradient.Get()(points), {static_cast<py::ssize_t>(iCount), 3});
    for (std::size_t i = 0; i < iCount; ++i)
      for (std::size_t axis = 0; axis < 3; ++axis)
        oGradients[axis][i] = values.data()[3 * i + axis];
  }

  /// Central differences: a step near the cube root of the precision makes rounding and truncation alike.
  void Differences(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients) const
  {
    constexpr double relativeStep = 6.0e-6;
    auto const step = [](double iAt) { return relativeStep * std::max(1.0, std::abs(iAt)); };
    auto points = NewPoints(6 * iCount);
    double* const coordinates = points.mutable_data();
    for (std::size_t axis = 0; axis < 3; ++axis)
      for (std::size_t side = 0; side < 6; ++side) {
        double* const moved = coordinates + (6 * axis + side) * iCount;
        std::copy_n(iPoints[axis], iCount, moved);
        if (side / 2 == axis)
          for (std::size_t i = 0; i < iCount; ++i)
            moved[i] += side % 2 == 0 ? -step(moved[i]) : step(moved[i]);
      }
    Values const values = Checked("function", _function.Get()(points), {static_cast<py::ssize_t>(6 * iCount)});
    for (std::size_t axis = 0; axis < 3; ++axis)
      for (std::size_t i = 0; i < iCount; ++i) {
        double const at = iPoints[axis][i];
        double const length = (at + step(at)) - (at - step(at));
        double const* const below = values.data() + 2 * axis * iCount;
        oGradients[axis][i] = (below[iCount + i] - below[i]) / length;
      }
  }

  Shared _function;
  Shared _gradient;
  mutable std::atomic<std::size_t> _part{FirstPoints};
};

/// A graph that is read and computed by the letter of the library's graph classes.
class GraphResource : public Resource
{
public:
  GraphResource(Facts iFacts, std::string const& iText, py::object iState)
    : Resource(std::move(iFacts), std::move(iState))
  {
    SF::SFSilence const silence;
    auto const root = SF::SFDagFromExpression::BuildFromExpression(iText, nullptr);
    if (root == nullptr || root->GetTypeTag() == SF::SFNodeType::END)
      throw py::value_error("text: not a readable expression");
    SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
    SF::SFCompiledFieldOptions options;
    options.threads = 1; // it is a part of a field, which has threads
    if (Failed(SF::SFCompiledField::Compile(context, root, options, _compiled)))
      throw py::value_error("text: an expression that has no value");
  }

  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    double value = 0.0;
    _compiled->Evaluate(1, &iPoint.x, &iPoint.y, &iPoint.z, &value);
    return value;
  }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    return _compiled->EvaluateGradient(1, &iPoint.x, &iPoint.y, &iPoint.z, nullptr, oGradient);
  }
  std::size_t GetBatchSize() const override { return FirstPoints; }
  void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues, StopRequest const&) const override
  {
    _compiled->Evaluate(iCount, iPoints[0], iPoints[1], iPoints[2], oValues);
  }
  void GetGradients(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients,
                    StopRequest const&) const override
  {
    std::vector<double> rows(3 * iCount);
    _compiled->EvaluateGradient(iCount, iPoints[0], iPoints[1], iPoints[2], nullptr, rows.data());
    for (std::size_t i = 0; i < rows.size(); ++i)
      oGradients[i % 3][i / 3] = rows[i];
  }

private:
  std::shared_ptr<SF::SFCompiledField> _compiled;
};

Facts FactsOf(std::string iId, bool iIsDistance, py::object const& iBounds)
{
  Facts facts{std::move(iId), iIsDistance ? SF::SFResourceKind::Distance : SF::SFResourceKind::General, {}};
  if (!iBounds.is_none()) {
    auto const [low, high] = iBounds.cast<std::array<Vector, 2>>();
    facts.bounds = ZULMathBox{{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
  }
  return facts;
}

} // namespace

void AddResources(py::module_& ioModule)
{
  ioModule.def("resource", [](std::string const& iId, py::object const& iFunction, py::object const& iGradient,
                              py::object const& iBounds, bool iIsDistance, py::object const& iState) {
    return Field(Resource::FieldOf(
        std::make_shared<FunctionResource>(FactsOf(iId, iIsDistance, iBounds), iState, iFunction, iGradient)));
  });
  ioModule.def("strict_expression", [](std::string const& iId, std::string const& iText, py::object const& iState) {
    return Field(Resource::FieldOf(std::make_shared<GraphResource>(FactsOf(iId, false, py::none()), iText, iState)));
  });
  ioModule.def("find_resource", [](std::string const& iId) -> py::object {
    auto const resource = Resource::Find(iId);
    return resource == nullptr ? py::object(py::none()) : py::cast(Field(Resource::FieldOf(resource)));
  });
  ioModule.def("resource_state", [](std::string const& iId) -> py::object {
    auto const resource = Resource::Find(iId);
    return resource == nullptr ? py::object(py::none()) : resource->GetState();
  });
  ioModule.def("read_listing", [](std::string const& iText, std::map<std::string, Field const*> const& iResources) {
    SF::SFListingResources resources;
    for (auto const& [id, field] : iResources)
      resources.emplace(id, field->Get());
    return Field(Result([=] { return SF::ReadListing(iText, resources); }, iText.size() <= FewParts));
  });
}

} // namespace SFPython
