/// What CGAL says of meshes: "<file> <closed> <bounds a volume> <outward> <intersects itself> <genus> <volume>", the answers
/// as 0 or 1. A file that is no oriented manifold is refused.

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/connected_components.h>
#include <CGAL/Polygon_mesh_processing/measure.h>
#include <CGAL/Polygon_mesh_processing/orientation.h>
#include <CGAL/Polygon_mesh_processing/self_intersections.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/Surface_mesh/IO/PLY.h>

#include <iostream>
#include <string>

namespace PMP = CGAL::Polygon_mesh_processing;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Mesh = CGAL::Surface_mesh<Kernel::Point_3>;

int main(int iCount, char** iArguments)
{
  for (int i = 1; i < iCount; ++i) {
    Mesh mesh;
    // Refuses what is not oriented and manifold; nothing is repaired.
    if (!CGAL::IO::read_PLY(std::string(iArguments[i]), mesh) || !CGAL::is_triangle_mesh(mesh)) {
      std::cerr << iArguments[i] << ": no oriented manifold\n";
      return 1;
    }
    bool const isClosed = CGAL::is_closed(mesh);
    auto const euler =
        static_cast<long>(num_vertices(mesh)) - static_cast<long>(num_edges(mesh)) + static_cast<long>(num_faces(mesh));
    auto const components = mesh.add_property_map<Mesh::Face_index, std::size_t>("f:component").first;
    auto const count = static_cast<long>(PMP::connected_components(mesh, components));
    bool const intersects = PMP::does_self_intersect(mesh);
    std::cout.precision(9);
    std::cout << iArguments[i] << ' ' << isClosed << ' ' << (!intersects && PMP::does_bound_a_volume(mesh)) << ' '
              << PMP::is_outward_oriented(mesh) << ' ' << intersects << ' ' << count - euler / 2 << ' '
              << PMP::volume(mesh) << '\n';
  }
}
