#include "SFFormula.h"
#include "SFRenderer.h"
#include "SFShapes.h"
#include "SFToolsErrors.h"
#include "SFTransforms.h"
#include "ZULPI.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>
#include <set>
#include <string>

namespace {

using namespace SF;

SFRenderOptions Small()
{
  SFRenderOptions options;
  options.width = 97;
  options.height = 64;
  options.samples = 1;
  return options;
}

/// Looks along -z from height 10; a pixel is `iHeight` / 64.
SFCamera FromAbove(double iHeight, double iFieldOfView = 0.0)
{
  return {{0, 0, 10}, {0, 0, 0}, {0, 1, 0}, iFieldOfView, iHeight};
}

/// Calls `iCheck(x, y, depth)` with the place of each pixel in a parallel view of height 3 from above.
template <class Check>
void ForPixels(SFField const& iField, ZULMathBox const& iBox, Check const& iCheck)
{
  SFRenderOptions options = Small();
  options.camera = FromAbove(3.0);
  auto const depths = TraceDepths(iField, iBox, options, {});
  for (std::size_t i = 0; i < depths.size(); ++i) {
    double const x = (static_cast<double>(i % options.width) + 0.5 - 0.5 * options.width) * 3.0 / options.height;
    double const y = (0.5 * options.height - static_cast<double>(i / options.width) - 0.5) * 3.0 / options.height;
    iCheck(x, y, static_cast<double>(depths[i]));
  }
}

constexpr ZULMathBox Cube{{-2, -2, -2}, {2, 2, 2}};

// The same ball as a distance, scaled down a hundredfold, and without a Lipschitz bound: by steps, by steps that end far
// from the surface, by gradients, and by intervals alone (the sign may jump).
TEST(Renderer, DepthsAreThoseOfTheBall)
{
  std::string const square = "x^2 + y^2 + z^2 - 1";
  for (std::string const& text :
       {std::string("sphere(1)"), std::string("0.01 * sphere(1) + 0*x"), square, square + " + 0 * sign(x - 10)"})
    ForPixels(SFFormula::Read(text), Cube, [&](double iX, double iY, double iDepth) {
      double const squared = 1.0 - iX * iX - iY * iY;
      if (std::abs(squared) < 0.05)
        return; // the silhouette
      bool const isHit = std::isfinite(iDepth);
      EXPECT_EQ(isHit, squared > 0.0) << text << " at " << iX << ", " << iY;
      if (isHit) {
        EXPECT_NEAR(iDepth, 10.0 - std::sqrt(squared), 0.1 * 3.0 / 64) << text << " at " << iX << ", " << iY;
      }
    });
}

TEST(Renderer, ThinWallsAreFound)
{
  SFField const distance = (SFField::X() + SFField::Z()) / std::sqrt(2.0);
  SFField const sheet = abs(distance) - 5e-5;
  SFField const steep = sheet * (SFField(2.0) + square(SFField::Y())); // no Lipschitz bound is known
  ASSERT_TRUE(std::isinf(steep.LipschitzBound()));
  for (SFField const& field : {sheet, steep, Intersection(distance - 5e-5, SFField(-5e-5) - distance)})
    ForPixels(field, Cube, [](double iX, double iY, double iDepth) {
      if (std::abs(iX) < 1.95 && std::abs(iY) < 1.95) {
        EXPECT_NEAR(iDepth, 10.0 + iX, 2e-3) << iX << ", " << iY;
      }
    });
}

TEST(Renderer, PerspectiveMeasuresAlongTheView)
{
  SFRenderOptions options = Small();
  options.camera = FromAbove(0.0, ZULPI / 6.0);
  for (float const depth : TraceDepths(Box({8.0, 8.0, 1.0}), {{-4, -4, -1}, {4, 4, 1}}, options, {}))
    EXPECT_NEAR(depth, 9.5, 1e-3);
}

// Three faces, three normals; at most a few pixels next to an edge see the field round it.
TEST(Renderer, EdgesStaySharp)
{
  SFRenderOptions options = Small();
  options.mode = SFRenderMode::Normals;
  options.background = {{0.0, 0.0, 0.0}};
  SFImage const image = Render(Rotate(Box({2.0, 1.5, 1.0}), {0, 0, 1}, 0.3), Cube, options, {});
  std::map<std::array<std::uint8_t, 3>, int> pixels;
  for (std::size_t i = 0; i < image.pixels.size(); i += 3)
    ++pixels[{image.pixels[i], image.pixels[i + 1], image.pixels[i + 2]}];
  int others = 0;
  for (auto const& [colour, count] : pixels)
    others += count < 100 ? count : 0;
  EXPECT_LE(others, 3);
  EXPECT_EQ(std::count_if(pixels.begin(), pixels.end(), [](auto const& iEntry) { return iEntry.second >= 100; }), 4);
}

TEST(Renderer, ThreadsChangeNothingAndOptionsDo)
{
  SFField const part = Intersection(PeriodicSheet(SFPeriodicSurface::Gyroid, 0.8, 0.1), Sphere(1.0));
  auto const render = [&](SFRenderOptions const& iOptions, unsigned int iThreads) {
    SFWorkOptions work;
    work.threads = iThreads;
    return Render(part, {{-1, -1, -1}, {1, 1, 1}}, iOptions, work).pixels;
  };
  std::set<std::vector<std::uint8_t>> pictures;
  std::vector<SFRenderOptions> variants(9, Small());
  variants[1].mode = SFRenderMode::Curvature;
  variants[2].mode = SFRenderMode::Depth;
  variants[3].cuts = {{{0, 0, 1}, 0.1}};
  variants[4].view = SFView::Left;
  variants[5].samples = 2;
  variants[6].isTransparent = true;
  variants[7].hasGround = false;
  variants[8].fieldOfView = 0.5;
  for (SFRenderOptions const& variant : variants) {
    auto const picture = render(variant, 1);
    EXPECT_EQ(picture, render(variant, 3));
    pictures.insert(picture);
  }
  EXPECT_EQ(pictures.size(), variants.size());
}

TEST(Renderer, SaysWhatIsWrong)
{
  auto const failure = [](char const* iFormula, SFRenderOptions const& iOptions, SFWorkOptions const& iWork = {}) {
    try {
      Render(SFFormula::Read(iFormula), Cube, iOptions, iWork);
    } catch (std::exception const& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(failure("sphere(1) + 9", Small()),
            "there is no surface in the box: the field is positive everywhere in it");
  EXPECT_EQ(failure("sqrt(-1 - x^2)", Small()), "the field has no value (NaN) anywhere in the box");
  SFRenderOptions options = Small();
  options.height = 0;
  EXPECT_EQ(failure("sphere(1)", options), "size: not from 1 to 1000000 pixels along a side");
  options.height = options.width = SFImage::MaxSide;
  EXPECT_NE(failure("sphere(1)", options).find("the picture needs 5.87e+03 GiB of memory"), std::string::npos);
  options = Small();
  options.camera = SFCamera{{0, 0, 1}, {0, 0, 0}};
  EXPECT_EQ(failure("sphere(1)", options), "camera: up is along the view, or not finite");
  std::atomic<bool> const cancel = true;
  SFWorkOptions cancelled;
  cancelled.cancel = &cancel;
  EXPECT_EQ(failure("sphere(1)", Small(), cancelled), "cancelled");
}

} // namespace
