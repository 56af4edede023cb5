#pragma once

#include "SFField.h"
#include "SFImage.h"
#include "SFToolsExport.h"
#include "SFWorkOptions.h"
#include "ZULMathBox.h"
#include "ZULMathVector.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace SF {

/// Where a picture is seen from. Front looks along +y, right along -x, top along -z; iso from above, in front and
/// right.
enum class SFView
{
  Iso,
  Top,
  Bottom,
  Front,
  Back,
  Left,
  Right
};

/// An eye in the model's length unit.
struct SFCamera
{
  ZULMathPoint position;           ///< of the eye; not the target
  ZULMathPoint target;             ///< the middle of the picture
  ZULMathVector up{0.0, 0.0, 1.0}; ///< what points upwards in the picture; not along the view
  double fieldOfView = 0.0;        ///< angle over the height of the picture, in radians; 0 for a parallel projection
  double height = 0.0;             ///< of what a parallel projection shows; 0 for what shows the whole part
};

/// What the pixels tell.
enum class SFRenderMode
{
  Shaded,
  Normals,  ///< components of the outward normal, -1 to 1 as 0 to full
  Depth,    ///< near is light, far is dark
  Curvature ///< mean curvature: convex is warm, concave is cold, flat is white
};

/// A half-space: the part is cut away where normal · p > offset.
struct SFCutPlane
{
  ZULMathVector normal; ///< need not be of length 1; not 0
  double offset = 0.0;  ///< along the normal, times its length
};

/// What a picture is to show.
struct SFRenderOptions
{
  std::uint32_t width = 1024;               ///< in pixels, from 1 to SFImage::MaxSide
  std::uint32_t height = 768;               ///< in pixels, likewise
  std::uint32_t samples = 2;                ///< along each side of a pixel, from 1 to 16
  SFView view = SFView::Iso;                ///< where there is no camera
  double fieldOfView = 0.0;                 ///< of the view, as in a camera
  std::optional<SFCamera> camera;           ///< instead of the view
  SFRenderMode mode = SFRenderMode::Shaded; ///< what the pixels tell
  std::vector<SFCutPlane> cuts;     ///< where they meet the solid is a face, coloured and with the field's iso-lines
  std::optional<double> isoSpacing; ///< of these lines, in units of the field; a round one that suits where missing
  std::array<double, 3> colour{0.62, 0.69, 0.76};  ///< of the part; red, green, blue in sRGB, from 0 to 1
  std::optional<std::array<double, 3>> background; ///< one colour instead of a gradient
  bool isTransparent = false;                      ///< four channels, nothing behind the part
  bool hasGround = true; ///< the shadow of the part on a ground below it, where the view looks down on it
};

/// The camera of a view that shows a box in a picture of a width over its height, with a margin.
SF_TOOLS_EXPORT SFCamera CameraFor(SFView iView, ZULMathBox const& iBox, double iAspect, double iFieldOfView = 0.0);

/// Draws the surface of a field within a box, whose faces cut it. Rays are traced through the compiled field,
/// restricted to pieces of the box: where LipschitzBound is finite by steps that cannot pass the surface, else by
/// interval arithmetic, so that the first surface on a ray is found however thin it is. (J. C. Hart, "Sphere tracing",
/// 1996.) Where the values between two points are unknown, as those of a resource without a Lipschitz bound, only what
/// is thicker than a twentieth of a pixel is sure to be found. The picture is the same, byte for byte, for any number
/// of threads.
///
/// Shaded pictures have one soft key light with shadows, and light from all sides that the part itself keeps off
/// (ambient occlusion). std::invalid_argument with the name of the option; SFModelError when the box holds no surface;
/// SFMemoryLimit; SFCancelled within 50 ms.
SF_TOOLS_EXPORT SFImage Render(SFField const& iField, ZULMathBox const& iBox, SFRenderOptions const& iOptions,
                               SFWorkOptions const& iWork);

/// The distance of the first surface from the camera's position, measured along the middle of the view, for the centre
/// of each pixel, row by row from the top; infinite where there is none. Takes size, view, camera and cuts of the
/// options. Errors as of Render.
SF_TOOLS_EXPORT std::vector<float> TraceDepths(SFField const& iField, ZULMathBox const& iBox,
                                               SFRenderOptions const& iOptions, SFWorkOptions const& iWork);

} // namespace SF
