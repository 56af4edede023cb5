#include "Grid.h"
#include "Model.h"
#include "OutputFormat.h"
#include "SFOutputFile.h"
#include "Verbs.h"
#include "Work.h"

#include <algorithm>

namespace SFHost {
namespace {

constexpr std::string_view Formats[] = {"npy", "raw"};

struct GridVerbOptions
{
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

std::string HeaderOf(std::string const& iPath, SF::SFGridFrame const& iFrame)
{
  return FormatOf(iPath, Formats) == "npy" ? NpyHeader(iFrame.dims) : "";
}

void GridStrictly(CommonOptions const& iCommon, GridVerbOptions const& iOptions)
{
  SF::SFGridFrame const frame = iOptions.grid.FrameAlone();
  Model model = LoadModel(iCommon.model);
  std::vector<float> values = MakeValues(iCommon, frame);
  SF::SFOutputFile output(iOptions.path); // before the work, which may be long, and of no use without a place for it
  RenderInto(values, model, frame);
  output.Write(HeaderOf(iOptions.path, frame));
  output.Write(values);
  output.Commit();
}

/// How many slices are in memory at once.
std::uint32_t SlicesAtOnce(SF::SFGridFrame const& iGrid)
{
  constexpr std::uint64_t bytes = std::uint64_t{64} << 20;
  auto const [nx, ny, nz] = iGrid.dims;
  std::uint64_t const fitting = bytes / sizeof(float) / (std::uint64_t{nx} * ny);
  return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(fitting, 1, nz));
}

void Grid(CommonOptions const& iCommon, GridVerbOptions const& iOptions)
{
  FormatOf(iOptions.path, Formats);
  RequireOtherFile(iCommon.model, iOptions.path);
  if (iCommon.model.strict)
    return GridStrictly(iCommon, iOptions);
  FieldModel const model = LoadField(iCommon.model);
  SF::SFGridFrame const frame = iOptions.grid.FrameFor(model);
  Work work(iCommon, model, "grid");
  auto const [nx, ny, nz] = frame.dims;
  SF::SFGridFrame slab = frame;
  slab.dims[2] = SlicesAtOnce(frame);
  std::vector<float> buffer = MakeValues(iCommon, slab);
  SF::SFOutputFile output(iOptions.path);
  output.Write(HeaderOf(iOptions.path, frame));
  std::size_t const slice = std::size_t{nx} * ny;
  std::uint64_t nans = 0;
  for (std::uint32_t begin = 0; begin < nz;) {
    std::uint32_t const end = begin + std::min(slab.dims[2], nz - begin);
    std::span const values(buffer.data(), slice * (end - begin));
    work.RenderSlices(frame, begin, end, values, static_cast<double>(end) / nz);
    nans += work.CountNans(frame, begin, end, values);
    output.Write(values);
    begin = end;
  }
  output.Commit();
  WarnOfNans(work.GetName(), nans, std::uint64_t{slice} * nz);
}

} // namespace

Action AddGrid(Arguments& ioArguments)
{
  auto const options = std::make_shared<GridVerbOptions>();
  options->grid.AddTo(ioArguments);
  AddOutputFile(ioArguments, "OUT.npy|OUT.raw", options->path);
  ioArguments.Examples("  sfdag grid part.sf --dims 64 64 64 --voxel 0.1 --origin -3.2 -3.2 -3.2 -o part.npy\n"
                       "  sfdag grid -x '- r + + q X q Y q Z f1' --dims 9 9 9 --voxel 0.25 -o sphere.raw\n\n"
                       "The values are 32-bit floats, x fastest; NumPy sees the shape (NZ, NY, NX). A raw file is\n"
                       "the values alone, little-endian.");
  return [options](CommonOptions const& iCommon) { Grid(iCommon, *options); };
}

} // namespace SFHost
