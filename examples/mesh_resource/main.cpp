/// Renders a model that joins triangle meshes and analytic shapes: an example of a host that brings geometry of
/// its own into scalar fields.

#include "FileContent.h"
#include "GridFile.h"
#include "MeshResource.h"

#include "SFDagEvaluator.h"
#include "SFDagFromExpression.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using SFExample::MeshResolver;

struct Options
{
  std::filesystem::path model = SF_EXAMPLES_DIR "/nut_on_plate.sf";
  std::filesystem::path output = "mesh_resource.npy";
  double voxel = 0.5;
  double margin = 6.0;
};

struct Grid
{
  std::array<unsigned int, 3> dims{};
  std::array<double, 3> origin{};
};

/// Keeps what the library reports while it lives.
class Reports
{
public:
  Reports() : _before(std::cout.rdbuf(_lines.rdbuf())) {}
  Reports(Reports const&) = delete;
  Reports& operator=(Reports const&) = delete;
  ~Reports() { std::cout.rdbuf(_before); }

  /// The line that says what went wrong first.
  std::string FirstError() const
  {
    std::istringstream lines(_lines.str());
    std::string line;
    while (std::getline(lines, line) && !line.starts_with("Error")) {
    }
    return line;
  }

private:
  std::ostringstream _lines;
  std::streambuf* _before;
};

[[noreturn]] void Fail(std::filesystem::path const& iFile, std::string const& iProblem)
{
  throw std::runtime_error(iFile.string() + ": " + iProblem);
}

std::shared_ptr<SF::SFDagNode> ReadModel(std::filesystem::path const& iFile, MeshResolver& ioResolver)
{
  std::string text;
  try {
    text = SFExample::ReadFile(iFile);
  } catch (std::runtime_error const& error) {
    Fail(iFile, error.what());
  }
  Reports const reports;
  auto root = SF::SFDagFromExpression::BuildFromExpression(text, &ioResolver);
  if (root == nullptr)
    Fail(iFile, reports.FirstError());
  return root;
}

/// The box of all meshes, a margin wider on every side, in voxels.
Grid GridAround(MeshResolver const& iResolver, Options const& iOptions)
{
  if (iResolver.Meshes().empty())
    Fail(iOptions.model, "refers to no mesh (#BRX:<file>), so there is no box to render");
  ZULMathBox box = iResolver.Meshes().begin()->second->Box();
  for (auto const& [file, mesh] : iResolver.Meshes()) {
    auto const& [low, high] = mesh->Box();
    box.low = {std::min(box.low.x, low.x), std::min(box.low.y, low.y), std::min(box.low.z, low.z)};
    box.high = {std::max(box.high.x, high.x), std::max(box.high.y, high.y), std::max(box.high.z, high.z)};
  }
  ZULMathVector const size = box.high - box.low;
  auto const points = [&](double iSize) { return std::floor((iSize + 2.0 * iOptions.margin) / iOptions.voxel) + 1.0; };
  constexpr double most = 1 << 28; // 1 GiB of floats
  double const count = points(size.x) * points(size.y) * points(size.z);
  if (!(count <= most))
    throw std::runtime_error("the voxel is too small: the grid would have more than " +
                             std::to_string(std::size_t{1} << 28) + " points");
  auto const dim = [&](double iSize) { return static_cast<unsigned int>(points(iSize)); };
  return {{dim(size.x), dim(size.y), dim(size.z)},
          {box.low.x - iOptions.margin, box.low.y - iOptions.margin, box.low.z - iOptions.margin}};
}

std::vector<float> Render(std::shared_ptr<SF::SFDagNode> iRoot, Grid iGrid, Options const& iOptions)
{
  SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  std::vector<float> values(std::size_t{iGrid.dims[0]} * iGrid.dims[1] * iGrid.dims[2]);
  Reports const reports;
  HRESULT const hr =
      SF::SFDagEvaluator(context).Render(iGrid.dims.data(), values, iOptions.voxel, iGrid.origin.data(), iRoot,
                                         ZULGetDefaultTolerance(), ZULGMSFDiscretizationAccuracyLevel::EMedium);
  if (Failed(hr))
    Fail(iOptions.model, reports.FirstError());
  return values;
}

void Run(Options const& iOptions)
{
  MeshResolver resolver(iOptions.model.parent_path());
  auto const root = ReadModel(iOptions.model, resolver);
  Grid const grid = GridAround(resolver, iOptions);
  auto const values = Render(root, grid, iOptions);
  SFExample::WriteNpy(iOptions.output, grid.dims, values);

  auto const inside = std::count_if(values.begin(), values.end(), [](float iValue) { return iValue <= 0.0F; });
  double const h = iOptions.voxel;
  for (auto const& [file, mesh] : resolver.Meshes())
    std::cout << "read " << file.string() << '\n';
  std::cout << "wrote " << iOptions.output.string() << ": " << grid.dims[0] << " x " << grid.dims[1] << " x "
            << grid.dims[2] << " points, " << h << " apart from (" << grid.origin[0] << ", " << grid.origin[1] << ", "
            << grid.origin[2] << "); volume inside " << static_cast<double>(inside) * h * h * h << '\n';
}

} // namespace

int main(int iCount, char** iArguments)
{
  Options options;
  CLI::App app("Renders a model with meshes, named as #BRX:<file.stl> relative to the model, to a NumPy file.");
  app.add_option("MODEL", options.model, "expression text")->capture_default_str();
  app.add_option("-o,--output", options.output, "the .npy file to write")->capture_default_str();
  app.add_option("--voxel", options.voxel, "distance between points, greater than 0")->capture_default_str();
  app.add_option("--margin", options.margin, "space around the meshes, at least 0")->capture_default_str();
  try {
    app.parse(iCount, iArguments);
    if (!(std::isfinite(options.voxel) && options.voxel > 0.0))
      throw CLI::ValidationError("--voxel", "must be greater than 0");
    if (!(std::isfinite(options.margin) && options.margin >= 0.0))
      throw CLI::ValidationError("--margin", "must be at least 0");
  } catch (CLI::CallForHelp const& help) {
    return app.exit(help);
  } catch (CLI::ParseError const& error) {
    std::cerr << "mesh_resource: " << error.what() << '\n';
    return 2;
  }
  try {
    Run(options);
  } catch (std::exception const& error) {
    std::cerr << "mesh_resource: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
