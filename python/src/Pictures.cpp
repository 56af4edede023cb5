#include "Call.h"
#include "SFRenderer.h"
#include "SFVolumeFiles.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>

namespace SFPython {
namespace {

ZULMathVector VectorOf(Vector const& iValues) { return {iValues[0], iValues[1], iValues[2]}; }
ZULMathPoint PointOf(Vector const& iValues) { return {iValues[0], iValues[1], iValues[2]}; }

void Attend(SF::SFWorkOptions& ioOptions, Call const& iCall, unsigned int iThreads)
{
  ioOptions.threads = iThreads;
  ioOptions.cancel = iCall.GetCancel();
  ioOptions.profiler = GetProfiler();
}

/// The names are those of the package's functions.
SF::SFRenderOptions OptionsOf(py::dict const& iOptions)
{
  SF::SFRenderOptions options;
  options.width = iOptions["width"].cast<std::uint32_t>();
  options.height = iOptions["height"].cast<std::uint32_t>();
  options.samples = iOptions["samples"].cast<std::uint32_t>();
  options.view = static_cast<SF::SFView>(iOptions["view"].cast<int>());
  options.mode = static_cast<SF::SFRenderMode>(iOptions["mode"].cast<int>());
  options.fieldOfView = iOptions["field_of_view"].cast<double>();
  for (auto const& [normal, offset] : iOptions["cuts"].cast<std::vector<std::pair<Vector, double>>>())
    options.cuts.push_back({VectorOf(normal), offset});
  options.colour = iOptions["colour"].cast<Vector>();
  options.background = iOptions["background"].cast<std::optional<Vector>>();
  options.isTransparent = iOptions["transparent"].cast<bool>();
  options.hasGround = iOptions["ground"].cast<bool>();
  if (py::object const eye = iOptions["eye"]; !eye.is_none()) {
    auto const [position, target] = eye.cast<std::pair<Vector, Vector>>();
    bool const isUpright = position[0] == target[0] && position[1] == target[1]; // y is upwards then
    ZULMathVector const up{0.0, isUpright ? 1.0 : 0.0, isUpright ? 0.0 : 1.0};
    options.camera = SF::SFCamera{PointOf(position), PointOf(target), up, options.fieldOfView, 0.0};
  }
  return options;
}

} // namespace

void AddPictures(py::module_& ioModule)
{
  ioModule.def("render", [](Field const& iField, Vector const& iLow, Vector const& iHigh, py::dict const& iOptions,
                            unsigned int iThreads, py::object const& iProgress) {
    SF::SFRenderOptions const options = OptionsOf(iOptions);
    std::unique_ptr<SF::SFImage> image;
    auto const run = [&](Call& ioCall) {
      SF::SFWorkOptions work;
      Attend(work, ioCall, iThreads);
      image = std::make_unique<SF::SFImage>(SF::Render(iField.Get(), {PointOf(iLow), PointOf(iHigh)}, options, work));
    };
    Run(run, iProgress, false);
    py::array_t<std::uint8_t> pixels(std::vector<py::ssize_t>{image->height, image->width, image->channels});
    std::copy(image->pixels.begin(), image->pixels.end(), pixels.mutable_data());
    return pixels;
  });
  ioModule.def("png", [](py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast> const& iPixels) {
    SF::SFImage image(static_cast<std::uint32_t>(iPixels.shape(1)), static_cast<std::uint32_t>(iPixels.shape(0)),
                      static_cast<std::uint32_t>(iPixels.shape(2)));
    std::copy_n(iPixels.data(), image.pixels.size(), image.pixels.begin());
    return py::bytes(Result([image = std::move(image)] { return SF::EncodePng(image); }, false));
  });
  ioModule.def("write_volume",
               [](std::string const& iPath, py::array_t<float> const& iValues, double iVoxel, Vector const& iOrigin,
                  double iHalfBand, std::string const& iUnit, py::object const& iProgress) {
                 SF::SFGridFrame frame;
                 for (std::size_t axis = 0; axis < 3; ++axis)
                   frame.dims[axis] = static_cast<std::uint32_t>(iValues.shape(static_cast<py::ssize_t>(2 - axis)));
                 frame.voxel = iVoxel;
                 frame.origin = iOrigin;
                 SF::SFVolumeOptions options;
                 options.halfBand = iHalfBand;
                 options.unit = SF::UnitOf(iUnit);
                 std::span<float const> const values(iValues.data(), static_cast<std::size_t>(iValues.size()));
                 SF::SFVolumeFormat const format = SF::VolumeFormatOf(iPath);
                 auto const run = [&](Call& ioCall) {
                   Attend(options, ioCall, 0);
                   SF::SFOutputFile file(iPath);
                   SF::WriteVolume(values, frame, format, file, options);
                   file.Commit();
                 };
                 Run(run, iProgress, false);
               });
}

} // namespace SFPython
