#include "SFMeshMeasure.h"
#include "SFMeshing.h"
#include "SFSampling.h"
#include "SFShapes.h"
#include "SFToolsErrors.h"
#include "SFTransforms.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace SF;

SFMesh Meshed(SFField const& iField, std::uint32_t iCells, SFMeshingOptions const& iOptions = {})
{
  ZULMathBox const box = RequireBounds(iField);
  return MeshField(iField, box, VoxelFor(box, iCells), iOptions);
}

SFField Nut()
{
  std::vector<SFPoint2> hexagon;
  for (int i = 0; i < 6; ++i)
    hexagon.push_back({std::cos(i * ZULPI / 3.0), std::sin(i * ZULPI / 3.0)});
  return Difference(Prism(hexagon, 0.8), Box({0.6, 0.5, 2.0}));
}

TEST(Meshing, VolumesAndTopology)
{
  struct Case
  {
    char const* name;
    SFField field;
    double volume;
    double accuracy;
    std::int64_t genus;
  };
  double const third = ZULPI / 3.0;
  for (auto const& [name, field, volume, accuracy, genus] :
       {Case{"ball", Sphere(1.0), 4.0 * third, 1e-3, 0}, Case{"torus", Torus(1.0, 0.4), 0.96 * third * ZULPI, 2e-3, 1},
        Case{"box", Box({1.0, 0.7, 0.5}), 0.35, 1e-11, 0},
        Case{"nut", Nut(), 0.8 * (1.5 * std::sqrt(3.0) - 0.3), 1e-4, 1}}) {
    SFMesh const mesh = Meshed(field, 64);
    auto const properties = MassPropertiesOf(mesh);
    auto const topology = TopologyOf(mesh);
    EXPECT_NEAR(properties.volume, volume, accuracy * volume) << name;
    EXPECT_TRUE(topology.IsWatertight()) << name;
    EXPECT_EQ(topology.components, 1U) << name;
    EXPECT_EQ(topology.genus, genus) << name;
  }
}

} // namespace
