#include "Call.h"
#include "SFFieldCalculus.h"

#include <pybind11/stl.h>

#include <initializer_list>

namespace SFPython {

std::shared_ptr<SF::SFCompiledField> Field::Compile(unsigned int iThreads) const
{
  std::lock_guard<std::mutex> const lock(_mutex);
  if (_compiled == nullptr || _threads != iThreads) {
    SF::SFCompiledFieldOptions options;
    options.threads = iThreads;
    options.profiler = GetProfiler();
    _compiled = _field.Compile(options);
    _threads = iThreads;
  }
  return _compiled;
}

std::vector<SF::SFField> FieldsOf(std::vector<Field const*> const& iFields)
{
  std::vector<SF::SFField> fields;
  fields.reserve(iFields.size());
  for (Field const* const field : iFields)
    fields.push_back(field->Get());
  return fields;
}

namespace {

using Unary = SF::SFField (*)(SF::SFField const&);
using Binary = SF::SFField (*)(SF::SFField const&, SF::SFField const&);
using Fold = SF::SFField (*)(std::span<SF::SFField const>);
using Smooth = SF::SFField (*)(SF::SFField const&, SF::SFField const&, double);

void AddOperators(py::module_& ioModule)
{
  struct NamedUnary
  {
    char const* name;
    Unary function;
  };
  for (NamedUnary const row : std::initializer_list<NamedUnary>{{"neg", SF::operator-},
                                                                {"square", SF::square},
                                                                {"sqrt", SF::sqrt},
                                                                {"abs", SF::abs},
                                                                {"sin", SF::sin},
                                                                {"cos", SF::cos},
                                                                {"tan", SF::tan},
                                                                {"asin", SF::asin},
                                                                {"acos", SF::acos},
                                                                {"atan", SF::atan},
                                                                {"exp", SF::exp},
                                                                {"log", SF::log},
                                                                {"sign", SF::sign},
                                                                {"complement", SF::Complement}})
    ioModule.def(row.name, [function = row.function](Field const& iA) { return Field(function(iA.Get())); });

  struct NamedBinary
  {
    char const* name;
    Binary function;
  };
  for (NamedBinary const row : std::initializer_list<NamedBinary>{{"add", SF::operator+},
                                                                  {"sub", SF::operator-},
                                                                  {"mul", SF::operator*},
                                                                  {"div", SF::operator/},
                                                                  {"pow", SF::pow},
                                                                  {"minimum", SF::min},
                                                                  {"maximum", SF::max},
                                                                  {"angle", SF::Angle},
                                                                  {"union", SF::Union},
                                                                  {"intersection", SF::Intersection},
                                                                  {"difference", SF::Difference},
                                                                  {"symmetric_difference", SF::SymmetricDifference}}
)
    ioModule.def(row.name, [function = row.function](Field const& iA, Field const& iB) {
      return Field(function(iA.Get(), iB.Get()));
    });
}

void AddSetOperations(py::module_& ioModule)
{
  struct NamedFold
  {
    char const* name;
    Fold function;
  };
  for (NamedFold const row : std::initializer_list<NamedFold>{
           {"union_of", SF::Union}, {"intersection_of", SF::Intersection}, {"length", SF::Length}})
    ioModule.def(row.name, [function = row.function](std::vector<Field const*> const& iFields) {
      return Field(
          Result([function, fields = FieldsOf(iFields)] { return function(fields); }, iFields.size() <= FewParts));
    });
  struct NamedSmooth
  {
    char const* name;
    Smooth function;
  };
  for (NamedSmooth const row : std::initializer_list<NamedSmooth>{{"smooth_union", SF::SmoothUnion},
                                                                  {"smooth_intersection", SF::SmoothIntersection},
                                                                  {"smooth_difference", SF::SmoothDifference}})
    ioModule.def(row.name, [function = row.function](Field const& iA, Field const& iB, double iRadius) {
      return Field(function(iA.Get(), iB.Get(), iRadius));
    });
  ioModule.def("smooth_union_of", [](std::vector<Field const*> const& iFields, double iRadius) {
    return Field(Result([fields = FieldsOf(iFields), iRadius] { return SF::SmoothUnion(fields, iRadius); },
                        iFields.size() <= FewParts));
  });
}

void AddParameters(py::module_& ioModule)
{
  ioModule.def("parameter", [](std::string iName, double iValue, double iLow, double iHigh) {
    return Field(SF::SFField::Parameter(std::move(iName), iValue, iLow, iHigh));
  });
  ioModule.def("parameters", [](Field const& iField) {
    py::list all;
    for (SF::SFParameterInfo const& parameter : SF::Parameters(iField.Get()))
      all.append(py::make_tuple(parameter.name, parameter.value, parameter.low, parameter.high));
    return all;
  });
  ioModule.def("with_parameter", [](Field const& iField, std::string iName, double iValue) {
    return Field(Result([field = iField.Get(), name = std::move(iName), iValue] { return With(field, name, iValue); },
                        IsSmall(iField)));
  });
}

void AddFacts(py::module_& ioModule)
{
  ioModule.def("bounds", [](Field const& iField) -> py::object {
    auto const box = Result([field = iField.Get()] { return field.Bounds(); }, false);
    if (!box)
      return py::none();
    return py::make_tuple(py::make_tuple(box->low.x, box->low.y, box->low.z),
                          py::make_tuple(box->high.x, box->high.y, box->high.z));
  });
  ioModule.def("lipschitz_bound", [](Field const& iField) { return iField.Get().LipschitzBound(); });
  ioModule.def("node_count", [](Field const& iField) { return iField.GetNodeCount(); });
  ioModule.def("derivatives", [](Field const& iField) {
    auto const [x, y, z] = Result([field = iField.Get()] { return SF::Gradient(field); }, IsSmall(iField));
    return py::make_tuple(Field(x), Field(y), Field(z));
  });
  ioModule.def("offset", [](Field const& iField, Field const& iDistance) {
    return Field(Result([field = iField.Get(), distance = iDistance.Get()] { return SF::Offset(field, distance); },
                        IsSmall(iField)));
  });
  ioModule.def("shell", [](Field const& iField, double iThickness) {
    return Field(Result([field = iField.Get(), iThickness] { return SF::Shell(field, iThickness); }, IsSmall(iField)));
  });
}

} // namespace

void AddFields(py::module_& ioModule)
{
  py::class_<Field>(ioModule, "Node", "A field as C++ holds it.")
      .def(py::init([](double iValue) { return Field(SF::SFField(iValue)); }))
      .def("__eq__", [](Field const& iA, Field const& iB) { return iA.Get() == iB.Get(); })
      .def("__hash__", [](Field const& iField) { return iField.Get().Hash(); });
  ioModule.def("x", [] { return Field(SF::SFField::X()); });
  ioModule.def("y", [] { return Field(SF::SFField::Y()); });
  ioModule.def("z", [] { return Field(SF::SFField::Z()); });
  AddOperators(ioModule);
  AddSetOperations(ioModule);
  AddParameters(ioModule);
  AddFacts(ioModule);
}

} // namespace SFPython
