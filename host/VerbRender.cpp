#include "Colour.h"
#include "Failure.h"
#include "Grid.h"
#include "OutputFormat.h"
#include "Report.h"
#include "SFOutputFile.h"
#include "SFRenderer.h"
#include "Verbs.h"
#include "ZULPI.h"

#include <cmath>
#include <stdexcept>

namespace SFHost {
namespace {

constexpr std::string_view Extensions[] = {".png"};
constexpr std::string_view Views[] = {"iso", "top", "bottom", "front", "back", "left", "right"};
constexpr std::string_view Modes[] = {"shaded", "normals", "depth", "curvature"};

struct RenderVerbOptions
{
  BoxOptions box;
  std::array<std::uint32_t, 2> size{1024, 768};
  std::size_t view = 0;
  std::size_t mode = 0;
  std::uint32_t samples = 2;
  std::array<double, 6> camera{NAN, NAN, NAN, NAN, NAN, NAN}; ///< position and target
  std::array<double, 3> up{0.0, 0.0, 1.0};
  std::optional<double> fieldOfView; ///< in degrees
  std::vector<std::string> cuts;
  std::optional<double> isoSpacing;
  std::optional<std::string> background;
  std::optional<std::string> colour;
  bool hasNoGround = false;
  std::string path;
};

double Radians(double iDegrees) { return iDegrees * ZULPI / 180.0; }

/// "z=0" cuts off what is nearer to the eye; "z<0" and "z>0" say what is left.
SF::SFCutPlane CutOf(std::string const& iText, SF::SFCamera const& iCamera)
{
  constexpr std::string_view axes = "xyz";
  auto const axis = iText.empty() ? std::string_view::npos : axes.find(iText[0]);
  auto const offset = iText.size() < 3 ? std::nullopt : ParseNumber(iText.substr(2));
  if (axis == std::string_view::npos || !offset || !std::isfinite(*offset) ||
      std::string_view("=<>").find(iText[1]) == std::string_view::npos)
    throw UsageError("--cut: " + Quoted(iText) + " is not a plane, as z=0, x<2.5 or y>-1");
  Point const eye{iCamera.position.x - iCamera.target.x, iCamera.position.y - iCamera.target.y,
                  iCamera.position.z - iCamera.target.z};
  double const side = iText[1] == '<' ? 1.0 : iText[1] == '>' ? -1.0 : eye[axis] >= 0.0 ? 1.0 : -1.0;
  Point normal{};
  normal[axis] = side;
  return {{normal[0], normal[1], normal[2]}, side * *offset};
}

std::optional<SF::SFCamera> CameraOf(RenderVerbOptions const& iOptions)
{
  if (std::isnan(iOptions.camera[0]))
    return std::nullopt;
  auto const [x, y, z, atX, atY, atZ] = iOptions.camera;
  return SF::SFCamera{{x, y, z},
                      {atX, atY, atZ},
                      {iOptions.up[0], iOptions.up[1], iOptions.up[2]},
                      Radians(iOptions.fieldOfView.value_or(0.0)),
                      0.0};
}

SF::SFRenderOptions OptionsOf(RenderVerbOptions const& iOptions, ZULMathBox const& iBox)
{
  SF::SFRenderOptions options;
  options.width = iOptions.size[0];
  options.height = iOptions.size[1];
  options.samples = iOptions.samples;
  options.view = static_cast<SF::SFView>(iOptions.view);
  options.mode = static_cast<SF::SFRenderMode>(iOptions.mode);
  options.fieldOfView = Radians(iOptions.fieldOfView.value_or(0.0));
  options.camera = CameraOf(iOptions);
  SF::SFCamera const seen = options.camera ? *options.camera : SF::CameraFor(options.view, iBox, 1.0);
  for (std::string const& cut : iOptions.cuts)
    options.cuts.push_back(CutOf(cut, seen));
  options.isoSpacing = iOptions.isoSpacing;
  options.hasGround = !iOptions.hasNoGround;
  if (iOptions.colour)
    options.colour = ParseColour(*iOptions.colour, "--colour");
  options.isTransparent = iOptions.background == "transparent";
  if (iOptions.background && !options.isTransparent)
    options.background = ParseColour(*iOptions.background, "--background");
  return options;
}

void RenderPart(CommonOptions const& iCommon, RenderVerbOptions const& iOptions)
{
  ExtensionFor(iOptions.path, Extensions);
  RequireUsable(iCommon, iOptions.path);
  if (iCommon.model.strict)
    throw UsageError("--strict: pictures are of the plain meaning of a model");
  FieldModel const model = LoadField(iCommon.model);
  ZULMathBox const box = iOptions.box.BoxOf(model);
  SF::SFRenderOptions const options = OptionsOf(iOptions, box);
  SF::SFOutputFile output(iOptions.path);
  {
    Progress progress(iCommon.GetProgressMode(), "render");
    SF::SFImage const image =
        Named(model.name, [&] { return SF::Render(model.field, box, options, iCommon.ForTools(&progress)); });
    output.Write(SF::EncodePng(image));
  }
  output.Commit();
  Report report;
  report.Add("file", "file", iOptions.path, iOptions.path);
  report.PrintBeside(iCommon);
}

void AddCameraTo(Arguments& ioArguments, RenderVerbOptions& oOptions)
{
  ioArguments.Choice({.names = "--view",
                      .values = "iso|top|bottom|front|back|left|right",
                      .help = "Where the part is seen from (iso); the picture shows all of it"},
                     Views, oOptions.view);
  ioArguments.Numbers({.names = "--camera",
                       .values = "X,Y,Z,TX,TY,TZ",
                       .help = "The eye and the point in the middle of the picture, instead of a view"},
                      oOptions.camera, NumberRange::Finite);
  ioArguments.Numbers({.names = "--up", .values = "X,Y,Z", .help = "Upwards in the picture of --camera (0,0,1)"},
                      oOptions.up, NumberRange::Finite);
  ioArguments.Number({.names = "--fov",
                      .values = "DEGREES",
                      .help = "Perspective with this angle over the height of the picture (parallel)"},
                     oOptions.fieldOfView, NumberRange::Positive);
}

void AddLookTo(Arguments& ioArguments, RenderVerbOptions& oOptions)
{
  ioArguments.WholeNumbers({.names = "--size", .values = "WxH", .help = "Pixels of the picture (1024x768)"},
                           oOptions.size, {.least = 1, .most = SF::SFImage::MaxSide});
  ioArguments.Choice({.names = "--mode",
                      .values = "shaded|normals|depth|curvature",
                      .help = "Light and shadow; the normal's components as red, green, blue; near is light; mean "
                              "curvature, convex warm and concave cold (shaded)"},
                     Modes, oOptions.mode);
  ioArguments.WholeNumbers({.names = "--aa", .values = "N", .help = "Samples along each side of a pixel (2)"},
                           std::span(&oOptions.samples, 1), {.least = 1, .most = 16});
  ioArguments.Texts({.names = "--cut",
                     .values = "PLANE",
                     .help = "Cut the part: z=0 takes off the side of the eye, z<0 leaves what is below; may be given "
                             "several times. The cut face is orange, with lines of equal depth"},
                    oOptions.cuts);
  ioArguments.Number({.names = "--iso", .values = "S", .help = "Spacing of these lines (a round one that suits)"},
                     oOptions.isoSpacing, NumberRange::Positive);
  ioArguments.Text(
      {.names = "--colour,--color", .values = "COLOUR", .help = "Of the part, as #rrggbb or a name (steel)"},
      oOptions.colour);
  ioArguments.Text({.names = "--background",
                    .values = "COLOUR|transparent",
                    .help = "One colour, or none, instead of a light gradient"},
                   oOptions.background);
  ioArguments.Flag({.names = "--no-ground", .values = "", .help = "No shadow below the part"}, oOptions.hasNoGround);
}

} // namespace

Action AddRender(Arguments& ioArguments)
{
  auto const options = std::make_shared<RenderVerbOptions>();
  AddOutputFile(ioArguments, "OUT.png", options->path);
  options->box.AddTo(ioArguments);
  AddCameraTo(ioArguments, *options);
  AddLookTo(ioArguments, *options);
  ioArguments.Examples(
      "  sfdag render part.sfm -o part.png\n"
      "  sfdag render part.sfm --view front --cut y=0 --size 1600x1200 --aa 3 -o section.png\n"
      "  sfdag render -x '- r + + q X q Y q Z f1' --size 320x240 -o ball.png\n"
      "  sfdag render part.sfm --camera 90,-120,80,0,0,10 --fov 30 --colour brass -o part.png\n\n"
      "The first surface on each ray is found however thin it is; edges are as sharp as in the model.");
  return [options](CommonOptions const& iCommon) { RenderPart(iCommon, *options); };
}

} // namespace SFHost
