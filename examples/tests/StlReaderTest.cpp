#include "StlReader.h"
#include "Meshes.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <string>

using SFExample::MeshError;
using SFExample::ParseStl;
using SFExample::TriangleMesh;

namespace {

void AppendLittleEndian(std::string& ioBytes, std::uint32_t iValue)
{
  for (int shift = 0; shift < 32; shift += 8)
    ioBytes += static_cast<char>(iValue >> shift & 0xFFu);
}

/// `iCoordinates` holds nine numbers a triangle.
std::string Binary(std::vector<float> const& iCoordinates, std::uint32_t iAnnounced, std::string iHeader = "")
{
  iHeader.resize(80);
  AppendLittleEndian(iHeader, iAnnounced);
  for (std::size_t i = 0; i < iCoordinates.size(); ++i) {
    if (i % 9 == 0)
      iHeader.append(12, '\x7F'); // a normal of NaN, which nobody reads
    AppendLittleEndian(iHeader, std::bit_cast<std::uint32_t>(iCoordinates[i]));
    if (i % 9 == 8)
      iHeader.append(2, '\x7F');
  }
  return iHeader;
}

std::vector<float> CoordinatesOf(TriangleMesh const& iMesh)
{
  std::vector<float> coordinates;
  for (auto const& triangle : iMesh.triangles)
    for (auto const index : triangle)
      for (double const value : {iMesh.vertices[index].x, iMesh.vertices[index].y, iMesh.vertices[index].z})
        coordinates.push_back(static_cast<float>(value));
  return coordinates;
}

std::string Ascii(TriangleMesh const& iMesh)
{
  auto const coordinates = CoordinatesOf(iMesh);
  std::string text = "solid a cube, facet by facet\r\n";
  for (std::size_t i = 0; i < coordinates.size(); ++i) {
    if (i % 9 == 0)
      text += "  FACET normal nan 0 0\n outer loop";
    if (i % 3 == 0)
      text += "\n\tvertex";
    text.append(coordinates[i] > 0 ? " +" : " ").append(std::to_string(coordinates[i]));
    if (i % 9 == 8)
      text += "\nendloop endfacet\n";
  }
  return text + "endsolid a cube, facet by facet";
}

} // namespace

TEST(StlReader, BothFormsGiveOneMesh)
{
  TriangleMesh const cube = SFTest::Cube();
  auto const coordinates = CoordinatesOf(cube);
  for (std::string const& content :
       {Binary(coordinates, 12), Binary(coordinates, 12, "solid facet normal"), Ascii(cube)}) {
    TriangleMesh const mesh = ParseStl(content);
    EXPECT_EQ(mesh.vertices.size(), 8u);
    ASSERT_EQ(mesh.triangles.size(), 12u);
    EXPECT_EQ(CoordinatesOf(mesh), coordinates);
    EXPECT_NO_THROW(RequireClosedManifold(mesh));
  }
}

TEST(StlReader, ZeroOfEitherSignIsOneCorner)
{
  EXPECT_EQ(ParseStl(Binary({0, 0, 0, 1, 0, 0, 0, 1, 0, -0.0F, 0, -0.0F, 0, 1, 0, 0, 0, 1}, 2)).vertices.size(), 4u);
}

TEST(StlReader, TellsWhatIsWrongWithAFile)
{
  float const nan = std::numeric_limits<float>::quiet_NaN();
  float const infinity = std::numeric_limits<float>::infinity();
  std::vector<float> const one{0, 0, 0, 1, 0, 0, 0, 1, 0};
  std::string const facet = "facet normal 0 0 1 outer loop vertex 0 0 0 vertex 1 0 0 vertex 0 1 0 endloop endfacet ";
  struct Case
  {
    std::string content;
    std::string message;
  };
  for (auto const& [content, message] : std::vector<Case>{
           {"", "no STL file: it neither begins"},
           {std::string(84, 'x').substr(0, 83), "no STL file: it neither begins"},
           {Binary(one, 1).substr(0, 133), "1 triangles that it announces it must have 134 bytes, but has 133"},
           {Binary(one, 1) + "x", "must have 134 bytes, but has 135"},
           {Binary(one, 0), "0 triangles that it announces it must have 84 bytes, but has 134"},
           {Binary(one, 2), "must have 184 bytes, but has 134"},
           {Binary(one, 0xFFFFFFFF), "must have 214748364834 bytes, but has 134"},
           {Binary(one, 2, "solid"), "must have 184 bytes, but has 134"},
           {Binary({0, 0, 0, 1, 0, 0, 0, 1, nan}, 1), "triangle 1: a coordinate is not a finite"},
           {Binary({0, 0, 0, 1, infinity, 0, 0, 1, 0}, 1), "triangle 1: a coordinate is not a finite"},
           {"solid\n" + facet, "\"facet\" or \"endsolid\" expected, the file ends"},
           {"solid\n" + facet + "\nendsolid\njunk", "line 4: \"solid\" expected, \"junk\" found"},
           {"solid\nfacets", "line 2: \"facet\" or \"endsolid\" expected, \"facets\" found"},
           {"solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0\nvertex 1 0 0", "line 5: a number expected, \"vertex\""},
           {"solid\nfacet normal 0 0 1 outer loop vertex 0 0 1e999", "a number expected, \"1e999\" found"},
           {"solid\nfacet normal 0 0 1 outer loop vertex 0 0 1e200", "line 2: a coordinate is not a finite"},
           {"solid\nfacet normal 0 0 1 outer loop vertex 0 0 nan", "line 2: a coordinate is not a finite"},
           {"solid\nfacet normal 0 0 1 outer loop vertex 0 0 1,5", "a number expected, \"1,5\" found"},
           {"solid\n\x1b[31m\xff", "\"facet\" or \"endsolid\" expected, \"?[31m?\" found"},
       }) {
    try {
      ParseStl(content);
      ADD_FAILURE() << "accepted: " << content;
    } catch (MeshError const& error) {
      EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
    }
  }
}
