#include "Grid.h"
#include "Model.h"
#include "Output.h"
#include "OutputFormat.h"
#include "Verbs.h"

namespace SFHost {
namespace {

constexpr std::string_view Formats[] = {"npy", "raw"};

struct GridVerbOptions
{
  ModelOptions model;
  GridOptions grid;
  std::string path;
};

/// The header of NumPy's format 1.0, padded so that the data begins at a multiple of 64.
/// Source: numpy.org, "numpy.lib.format", section "Format Version 1.0".
std::string NpyHeader(std::array<std::uint32_t, 3> const& iDims)
{
  constexpr std::size_t prefix = 10; // magic, version and the length of the rest in two bytes
  std::string text = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + std::to_string(iDims[2]) + ", " +
                     std::to_string(iDims[1]) + ", " + std::to_string(iDims[0]) + "), }";
  while ((prefix + text.size() + 1) % 64 != 0)
    text += ' ';
  text += '\n';
  std::string header("\x93NUMPY\x01\x00", 8);
  header += static_cast<char>(text.size() % 256);
  header += static_cast<char>(text.size() / 256);
  return header + text;
}

void Grid(GridVerbOptions const& iOptions)
{
  auto const format = FormatOf(iOptions.path, Formats);
  RequireOtherFile(iOptions.model, iOptions.path);
  Model model = LoadModel(iOptions.model);
  std::vector<float> values = MakeValues(iOptions.grid);
  Output output(iOptions.path); // before the work, which may be long, and of no use without a place for it
  RenderInto(values, model, iOptions.grid);
  if (format == "npy")
    output.Write(NpyHeader(iOptions.grid.dims));
  WriteFloats(output, values);
  output.Commit();
}

} // namespace

Action AddGrid(Arguments& ioArguments)
{
  auto const options = std::make_shared<GridVerbOptions>();
  options->model.AddTo(ioArguments);
  options->grid.AddTo(ioArguments);
  AddOutputFile(ioArguments, "OUT.npy|OUT.raw", options->path);
  ioArguments.Examples("  sfdag grid part.sf --dims 64 64 64 --voxel 0.1 --origin -3.2 -3.2 -3.2 -o part.npy\n"
                       "  sfdag grid -x '- r + + q X q Y q Z f1' --dims 9 9 9 --voxel 0.25 -o sphere.raw\n\n"
                       "The values are 32-bit floats, x fastest; NumPy sees the shape (NZ, NY, NX). A raw file is\n"
                       "the values alone, little-endian.");
  return [options] { Grid(*options); };
}

} // namespace SFHost
