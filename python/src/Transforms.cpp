#include "Call.h"
#include "SFTransforms.h"

#include <pybind11/stl.h>

namespace SFPython {
namespace {

ZULMathVector VectorOf(Vector const& iValues) { return {iValues[0], iValues[1], iValues[2]}; }
ZULMathPoint PointOf(Vector const& iValues) { return {iValues[0], iValues[1], iValues[2]}; }

/// A transform of a field in the way of long operations; the arguments are copied.
template <class Transform>
Field Transformed(Field const& iField, Transform iTransform)
{
  return Field(Result([field = iField.Get(), iTransform] { return iTransform(field); }, IsSmall(iField)));
}

void AddMotions(py::module_& ioModule)
{
  ioModule.def("remap", [](Field const& iField, Field const& iX, Field const& iY, Field const& iZ) {
    return Transformed(iField, [x = iX.Get(), y = iY.Get(), z = iZ.Get()](SF::SFField const& iOperand) {
      return SF::Remap(iOperand, x, y, z);
    });
  });
  ioModule.def("affine", [](Field const& iField, std::array<double, 16> const& iMatrix) {
    return Transformed(iField, [=](SF::SFField const& iOperand) {
      return SF::Affine(iOperand, ZULMathTransformation(iMatrix.data(), 16));
    });
  });
  ioModule.def("translate", [](Field const& iField, Vector const& iBy) {
    return Transformed(iField, [=](SF::SFField const& iOperand) { return SF::Translate(iOperand, VectorOf(iBy)); });
  });
  ioModule.def("rotate", [](Field const& iField, Vector const& iAxis, double iAngle, Vector const& iThrough) {
    return Transformed(iField, [=](SF::SFField const& iOperand) {
      return SF::Rotate(iOperand, VectorOf(iAxis), iAngle, PointOf(iThrough));
    });
  });
  ioModule.def("scale", [](Field const& iField, double iFactor, Vector const& iAbout) {
    return Transformed(iField,
                       [=](SF::SFField const& iOperand) { return SF::Scale(iOperand, iFactor, PointOf(iAbout)); });
  });
  ioModule.def("stretch", [](Field const& iField, Vector const& iFactors) {
    return Transformed(iField, [=](SF::SFField const& iOperand) { return SF::Stretch(iOperand, VectorOf(iFactors)); });
  });
  ioModule.def("mirror", [](Field const& iField, Vector const& iNormal, Vector const& iThrough) {
    return Transformed(iField, [=](SF::SFField const& iOperand) {
      return SF::Mirror(iOperand, VectorOf(iNormal), PointOf(iThrough));
    });
  });
}

void AddOthers(py::module_& ioModule)
{
  ioModule.def("twist", [](Field const& iField, double iRate) {
    return Transformed(iField, [=](SF::SFField const& iOperand) { return SF::Twist(iOperand, iRate); });
  });
  ioModule.def("revolve", [](Field const& iField) { return Transformed(iField, SF::Revolve); });
  ioModule.def("extrude", [](Field const& iField, double iHeight) {
    return Transformed(iField, [=](SF::SFField const& iOperand) { return SF::Extrude(iOperand, iHeight); });
  });
  ioModule.def("to_cylindrical", [](Field const& iField) { return Transformed(iField, SF::ToCylindrical); });
  ioModule.def("array", [](Field const& iField, std::array<unsigned int, 3> const& iCounts, Vector const& iSpacing) {
    return Field(Result([=, field = iField.Get()] { return SF::Array(field, iCounts, VectorOf(iSpacing)); }, false));
  });
  ioModule.def("polar_array", [](Field const& iField, unsigned int iCount) {
    return Field(Result([=, field = iField.Get()] { return SF::PolarArray(field, iCount); }, false));
  });
}

} // namespace

void AddTransforms(py::module_& ioModule)
{
  AddMotions(ioModule);
  AddOthers(ioModule);
}

} // namespace SFPython
