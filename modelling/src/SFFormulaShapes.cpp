#include "SFFormulaFunctions.h"
#include "SFShapes.h"

namespace SF {
namespace {

using Call = SFFormulaCall const&;

SFField3 Dimensions(Call iCall, std::string_view iName)
{
  SFFormulaVector const& fields = iCall.VectorOf(iName, 3);
  return {fields[0], fields[1], fields[2]};
}

ZULMathVector VectorOf(Call iCall, std::string_view iName)
{
  auto const numbers = iCall.Vector(iName);
  return {numbers[0], numbers[1], numbers[2]};
}

template <SFPeriodicSurface Surface>
SFField Sheet(Call iCall)
{
  return PeriodicSheet(Surface, iCall.Field("cell"), iCall.Field("thickness"));
}

template <SFPeriodicSurface Surface>
SFField Network(Call iCall)
{
  return PeriodicNetwork(Surface, iCall.Field("cell"), iCall.Field("offset"));
}

template <SFLattice Kind>
SFField LatticeOf(Call iCall)
{
  return Lattice(Kind, iCall.Counts("counts"), VectorOf(iCall, "cell"), iCall.Field("radius"));
}

SFField PrismOf(Call iCall)
{
  std::vector<SFPoint2> polygon;
  for (auto const& point : iCall.Points("polygon", 2))
    polygon.push_back({point[0], point[1]});
  return Prism(polygon, iCall.Field("height"));
}

SFField StrutsOf(Call iCall)
{
  std::vector<SFStrut> struts;
  for (auto const& ends : iCall.Points("ends", 6))
    struts.push_back({{ends[0], ends[1], ends[2]}, {ends[3], ends[4], ends[5]}});
  return Struts(struts, iCall.Field("radius"));
}

SFField ChainOf(Call iCall)
{
  std::vector<ZULMathPoint> points;
  for (auto const& point : iCall.Points("points", 3))
    points.push_back({point[0], point[1], point[2]});
  return Chain(points, iCall.Field("radius"));
}

std::vector<SFFormulaArgument> const LatticeArguments{{"counts", ""}, {"cell", ""}, {"radius", ""}};
std::vector<SFFormulaArgument> const SheetArguments{{"cell", ""}, {"thickness", ""}};
std::vector<SFFormulaArgument> const NetworkArguments{{"cell", ""}, {"offset", "0"}};

} // namespace

// clang-format off
std::vector<SFFormulaRow> FormulaShapeRows()
{
  using enum SFPeriodicSurface;
  return {
    {{"bcc_lattice", LatticeArguments}, LatticeOf<SFLattice::Bcc>},
    {{"box", {{"size", ""}}}, [](Call c) { return Box(Dimensions(c, "size")); }},
    {{"capsule", {{"from", ""}, {"to", ""}, {"radius", ""}}},
     [](Call c) { return Capsule(Dimensions(c, "from"), Dimensions(c, "to"), c.Field("radius")); }},
    {{"chain", {{"points", ""}, {"radius", ""}}}, ChainOf},
    {{"cone", {{"radius", ""}, {"height", ""}, {"top_radius", "0"}}},
     [](Call c) { return Cone(c.Field("radius"), c.Field("height"), c.Field("top_radius")); }},
    {{"cubic_lattice", LatticeArguments}, LatticeOf<SFLattice::Cubic>},
    {{"cylinder", {{"radius", ""}, {"height", ""}}}, [](Call c) { return Cylinder(c.Field("radius"), c.Field("height")); }},
    {{"ellipsoid", {{"radii", ""}}}, [](Call c) { return Ellipsoid(Dimensions(c, "radii")); }},
    {{"fcc_lattice", LatticeArguments}, LatticeOf<SFLattice::Fcc>},
    {{"gear", {{"module", ""}, {"teeth", ""}, {"height", ""}, {"pressure_angle", "20*deg"}}},
     [](Call c) { return Gear(c.Field("module"), c.Field("teeth"), c.Field("height"), c.Field("pressure_angle")); }},
    {{"gyroid", SheetArguments}, Sheet<Gyroid>},
    {{"gyroid_network", NetworkArguments}, Network<Gyroid>},
    {{"half_space", {{"normal", ""}, {"offset", "0"}}},
     [](Call c) { return HalfSpace(VectorOf(c, "normal"), c.Field("offset")); }},
    {{"iwp", SheetArguments}, Sheet<IWP>},
    {{"iwp_network", NetworkArguments}, Network<IWP>},
    {{"kelvin_lattice", LatticeArguments}, LatticeOf<SFLattice::Kelvin>},
    {{"lidinoid", SheetArguments}, Sheet<Lidinoid>},
    {{"lidinoid_network", NetworkArguments}, Network<Lidinoid>},
    {{"neovius", SheetArguments}, Sheet<Neovius>},
    {{"neovius_network", NetworkArguments}, Network<Neovius>},
    {{"octet_lattice", LatticeArguments}, LatticeOf<SFLattice::Octet>},
    {{"prism", {{"polygon", ""}, {"height", ""}}}, PrismOf},
    {{"rounded_box", {{"size", ""}, {"radius", ""}}},
     [](Call c) { return RoundedBox(Dimensions(c, "size"), c.Field("radius")); }},
    {{"schwarz_d", SheetArguments}, Sheet<SchwarzD>},
    {{"schwarz_d_network", NetworkArguments}, Network<SchwarzD>},
    {{"schwarz_p", SheetArguments}, Sheet<SchwarzP>},
    {{"schwarz_p_network", NetworkArguments}, Network<SchwarzP>},
    {{"sphere", {{"radius", ""}}}, [](Call c) { return Sphere(c.Field("radius")); }},
    {{"struts", {{"ends", ""}, {"radius", ""}}}, StrutsOf},
    {{"torus", {{"radius", ""}, {"tube_radius", ""}}}, [](Call c) { return Torus(c.Field("radius"), c.Field("tube_radius")); }},
  };
}
// clang-format on

} // namespace SF
