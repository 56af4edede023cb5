#include "Call.h"
#include "SFShapes.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

namespace SFPython {
namespace {

/// Struts that are made within a few milliseconds.
constexpr std::size_t FewStruts = 500;

/// Numbers in rows, one after the other.
using Rows = py::array_t<double, py::array::c_style>;
using Fields3 = std::array<Field const*, 3>;

SF::SFField3 Three(Fields3 const& iFields) { return {iFields[0]->Get(), iFields[1]->Get(), iFields[2]->Get()}; }

ZULMathPoint PointAt(double const* iValues) { return {iValues[0], iValues[1], iValues[2]}; }

std::size_t CountOf(Rows const& iRows, std::size_t iWidth) { return static_cast<std::size_t>(iRows.size()) / iWidth; }

void AddSolids(py::module_& ioModule)
{
  ioModule.def("sphere", [](Field const& iRadius) { return Field(SF::Sphere(iRadius.Get())); });
  ioModule.def("box", [](Fields3 const& iSize) { return Field(SF::Box(Three(iSize))); });
  ioModule.def("rounded_box", [](Fields3 const& iSize, Field const& iRadius) {
    return Field(SF::RoundedBox(Three(iSize), iRadius.Get()));
  });
  ioModule.def("cylinder", [](Field const& iRadius, Field const& iHeight) {
    return Field(SF::Cylinder(iRadius.Get(), iHeight.Get()));
  });
  ioModule.def("capsule", [](Fields3 const& iFrom, Fields3 const& iTo, Field const& iRadius) {
    return Field(SF::Capsule(Three(iFrom), Three(iTo), iRadius.Get()));
  });
  ioModule.def("cone", [](Field const& iRadius, Field const& iHeight, Field const& iTopRadius) {
    return Field(SF::Cone(iRadius.Get(), iHeight.Get(), iTopRadius.Get()));
  });
  ioModule.def("torus", [](Field const& iRadius, Field const& iTubeRadius) {
    return Field(SF::Torus(iRadius.Get(), iTubeRadius.Get()));
  });
  ioModule.def("ellipsoid", [](Fields3 const& iRadii) { return Field(SF::Ellipsoid(Three(iRadii))); });
  ioModule.def("half_space", [](Vector const& iNormal, Field const& iOffset) {
    return Field(SF::HalfSpace({iNormal[0], iNormal[1], iNormal[2]}, iOffset.Get()));
  });
  ioModule.def("gear", [](Field const& iModule, Field const& iTeeth, Field const& iHeight, Field const& iAngle) {
    return Field(SF::Gear(iModule.Get(), iTeeth.Get(), iHeight.Get(), iAngle.Get()));
  });
  ioModule.def("prism", [](Rows const& iPolygon, Field const& iHeight) {
    std::vector<SF::SFPoint2> corners;
    for (std::size_t i = 0; i < CountOf(iPolygon, 2); ++i)
      corners.push_back({iPolygon.data()[2 * i], iPolygon.data()[2 * i + 1]});
    return Field(
        Result([corners, height = iHeight.Get()] { return SF::Prism(corners, height); }, corners.size() <= FewParts));
  });
}

void AddLattices(py::module_& ioModule)
{
  ioModule.def("periodic_sheet", [](int iSurface, Field const& iCell, Field const& iThickness) {
    return Field(SF::PeriodicSheet(static_cast<SF::SFPeriodicSurface>(iSurface), iCell.Get(), iThickness.Get()));
  });
  ioModule.def("periodic_network", [](int iSurface, Field const& iCell, Field const& iOffset) {
    return Field(SF::PeriodicNetwork(static_cast<SF::SFPeriodicSurface>(iSurface), iCell.Get(), iOffset.Get()));
  });
  ioModule.def("struts", [](Rows const& iEnds, Field const& iRadius) {
    std::vector<SF::SFStrut> struts;
    struts.reserve(CountOf(iEnds, 6));
    for (std::size_t i = 0; i < CountOf(iEnds, 6); ++i)
      struts.push_back({PointAt(iEnds.data() + 6 * i), PointAt(iEnds.data() + 6 * i + 3)});
    return Field(Result([struts = std::move(struts), radius = iRadius.Get()] { return SF::Struts(struts, radius); },
                        CountOf(iEnds, 6) <= FewStruts));
  });
  ioModule.def("chain", [](Rows const& iPoints, Field const& iRadius) {
    std::vector<ZULMathPoint> points;
    for (std::size_t i = 0; i < CountOf(iPoints, 3); ++i)
      points.push_back(PointAt(iPoints.data() + 3 * i));
    return Field(Result([points = std::move(points), radius = iRadius.Get()] { return SF::Chain(points, radius); },
                        CountOf(iPoints, 3) <= FewStruts));
  });
  ioModule.def("lattice",
               [](int iLattice, std::array<unsigned int, 3> const& iCounts, Vector const& iCell, Field const& iRadius) {
                 return Field(Result(
                     [iLattice, iCounts, cell = ZULMathVector{iCell[0], iCell[1], iCell[2]}, radius = iRadius.Get()] {
                       return SF::Lattice(static_cast<SF::SFLattice>(iLattice), iCounts, cell, radius);
                     },
                     false));
               });
}

} // namespace

void AddShapes(py::module_& ioModule)
{
  AddSolids(ioModule);
  AddLattices(ioModule);
}

} // namespace SFPython
