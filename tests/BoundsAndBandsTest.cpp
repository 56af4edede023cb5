#include "CompiledFieldSupport.h"

#include <algorithm>

using namespace SF;
using namespace SFTest;

namespace {

struct GridCase
{
  std::array<unsigned int, 3> dims;
  double h;
};

std::vector<float> Slices(SFCompiledField const& iField, GridCase const& iGrid)
{
  double const origin[3] = {-1.3, -0.9, -1.1};
  std::vector<float> values(std::size_t{iGrid.dims[0]} * iGrid.dims[1] * iGrid.dims[2]);
  EXPECT_EQ(iField.RenderSlices(iGrid.dims.data(), 0, iGrid.dims[2], values, iGrid.h, origin), S_OK);
  return values;
}

TEST(Bands, LimitTheValuesAndChangeNoneWithin)
{
  std::vector<std::string> texts = CompiledTexts;
  Expressions expressions(23);
  for (int i = 0; i < 30; ++i)
    texts.push_back(expressions.Next(6));
  for (std::string const& text : texts)
    for (GridCase const& grid :
         {GridCase{{40, 33, 29}, 0.08}, GridCase{{150, 80, 1}, 0.02}, GridCase{{1, 1, 1}, 1.0}}) {
      auto const whole = Slices(*Compiled(Build(text)), grid);
      for (double const band : {1e-300, 0.1, 0.75, 2.0}) {
        SFCompiledFieldOptions options = WithThreads(2);
        options.band = band;
        auto const found = Slices(*Compiled(Build(text), options), grid);
        auto const limit = static_cast<float>(band);
        for (std::size_t i = 0; i < whole.size(); ++i)
          ASSERT_TRUE(SameBits<std::uint32_t>(
              found[i],
              std::abs(whole[i]) < limit ? whole[i] : std::copysign(std::min(limit, std::abs(whole[i])), whole[i])))
              << text << ", band " << band << ", voxel " << i << ": " << found[i] << ", not " << whole[i];
      }
    }
}

/// A union of waves of slope 2 at most, and where they are among its operands.
std::string Waves(int iCount)
{
  Expressions random(5);
  std::string text;
  for (int i = 0; i < iCount; ++i) {
    auto const phase = [&] { return "f" + std::to_string(random.Uniform(0.0, 6.0)); };
    std::string const wave = "+ * s + X " + phase() + " c Y * s + Y " + phase() + " c + Z " + phase();
    text += (i + 1 < iCount ? "U + f" : "+ f") + std::to_string(random.Uniform(0.0, 3.0)) + " " + wave + " ";
  }
  return text + "$";
}

TEST(LipschitzBounds, ChangeNoBitWhenTheyAreTrueAndAreBelieved)
{
  RootPtr const root = Build(Waves(60));
  std::vector<SFDagNode const*> waves;
  for (SFDagNode const* node = root.get(); node != nullptr; node = node->GetRhs().get())
    if (node->GetTypeTag() == SFNodeType::MIN)
      waves.push_back(node->GetLhs().get());
  ASSERT_EQ(waves.size(), 59U);
  std::size_t wrong = 0; // grids: whether a false bound matters depends on what is pruned
  for (GridCase const& grid :
       {GridCase{{50, 41, 37}, 0.05}, GridCase{{21, 18, 300}, 0.01}, GridCase{{170, 90, 1}, 0.02}}) {
    auto const expected = Slices(*Compiled(root), grid);
    for (double const bound : {2.0, 1e-3}) {
      std::vector<SFLipschitzBound> bounds;
      for (SFDagNode const* const wave : waves)
        bounds.push_back({wave, bound});
      SFCompiledFieldOptions options = WithThreads(2);
      options.lipschitzBounds = bounds;
      bool const isSame = Slices(*Compiled(root, options), grid) == expected;
      EXPECT_TRUE(isSame || bound < 2.0);
      wrong += isSame ? 0U : 1U;
    }
  }
  EXPECT_GT(wrong, 0U);
}

/// MAX(MIN(a, 5), g - 3) has slope 1, although a is steep where it is above 5. Beside a field of 4 the 5 is dropped, and
/// what is left is steep too.
TEST(LipschitzBounds, DoNotHoldForWhatPruningLeaves)
{
  std::string const g = "+ X * f0.001 * Y Z ";
  std::string const filler = "+ f50 + s + X Y c + Y Z ";
  RootPtr const root = Build("U I U + " + g + "I f0 * f100 - " + g + "f6 f5 - " + g + "f3 U + f4 * f0.001 Y U " +
                             filler + "U * f2 " + filler + "* f3 " + filler + "$");
  SFLipschitzBound const bound{root->GetLhs().get(), 1.05};
  SFCompiledFieldOptions options = WithThreads(1);
  options.lipschitzBounds = {&bound, 1};
  unsigned int const dims[] = {64, 64, 64};
  double const origin[] = {3.0, 0.0, 0.0};
  std::vector<float> expected(64 * 64 * 64);
  std::vector<float> found(expected.size());
  ASSERT_EQ(Compiled(root)->RenderSlices(dims, 0, 64, expected, 0.2, origin), S_OK);
  ASSERT_EQ(Compiled(root, options)->RenderSlices(dims, 0, 64, found, 0.2, origin), S_OK);
  EXPECT_LT(*std::min_element(expected.begin(), expected.end()), 3.5F);
  EXPECT_TRUE(found == expected);

  FieldPtr const field = Compiled(root, options);
  unsigned int const corner[] = {9, 9, 9};
  for (unsigned int number = 0; number < 512; ++number) {
    ZULMathPoint const low{3.0 + 1.6 * (number & 7), 1.6 * (number >> 3 & 7), 1.6 * (number >> 6)};
    FieldPtr part;
    ASSERT_EQ(field->Restrict({{low.x - 1.0, low.y - 1.0, low.z - 1.0}, {low.x + 3.0, low.y + 3.0, low.z + 3.0}}, part),
              S_OK);
    ASSERT_EQ(part->Restrict({low, {low.x + 1.6, low.y + 1.6, low.z + 1.6}}, part), S_OK);
    std::vector<float> here(512);
    std::vector<float> there(512);
    double const from[] = {low.x, low.y, low.z};
    ASSERT_EQ(part->RenderSlices(corner, 0, 6, here, 0.2, from), S_OK);
    ASSERT_EQ(Compiled(root)->RenderSlices(corner, 0, 6, there, 0.2, from), S_OK);
    EXPECT_TRUE(here == there) << number;
  }
}

/// A range that reads coordinates twice is no wider than the slope allows, in a part of a part too, and holds all values.
/// That of X plus and minus a sine is wider without its bound, that of a distance from a line far away without its slope.
TEST(LipschitzBounds, NarrowIntervalsAndStayWithParts)
{
  std::string const stated = "- + X s * f3 Y s * f3 Y ";
  std::string const along = "+ * f0.6 X * f0.8 Y ";
  std::string const found = "- r + + q - - X * f0.6 " + along + "f3.2 q - - Y * f0.8 " + along + "f-2.4 q Z f0.1 ";
  for (auto const& [text, bound] : {std::pair{stated, 1.05}, {found, 1.0}}) {
    RootPtr const root = Build("U " + text + "f100 $");
    SFLipschitzBound const known{root->GetLhs().get(), bound};
    SFCompiledFieldOptions options = WithThreads(1);
    if (text == stated)
      options.lipschitzBounds = {&known, 1};
    FieldPtr field = Compiled(root, options);
    for (double const half : {1.0, 0.3, 0.01}) {
      ZULMathBox const box{{0.7 - half, 0.9 - half, 0.2 - half}, {0.7 + half, 0.9 + half, 0.2 + half}};
      ASSERT_EQ(field->Restrict(box, field), S_OK);
      double low = 0.0;
      double high = 0.0;
      ASSERT_EQ(field->EvaluateInterval(box, low, high), S_OK);
      EXPECT_LE(high - low, 2.0 * bound * half * std::sqrt(3.0) * 1.01 + 1e-5) << text << half;
      Points points = RandomPoints(200, half);
      for (std::size_t i = 0; i < points.Count(); ++i) {
        points.x[i] += 0.7;
        points.y[i] += 0.9;
        points.z[i] += 0.2;
      }
      ASSERT_EQ(points.Evaluate(*field), S_OK);
      EXPECT_GE(*std::min_element(points.values.begin(), points.values.end()), low);
      EXPECT_LE(*std::max_element(points.values.begin(), points.values.end()), high);
    }
  }
}

TEST(LipschitzBounds, FalseOnesAreReportedByTheCheck)
{
  RootPtr const ball = Build("- r + + q X q Y q Z f1 $");
  // Under this transform the ball's values are those at points twice as far apart.
  RootPtr const smaller = Build("m[0.5;0;0;0;0;0.5;0;0;0;0;0.5;0;0;0;0;1] - r + + q X q Y q Z f1 $");
  SFLipschitzCheck const check{{{-2.0, -2.0, -2.0}, {2.0, 2.0, 2.0}}, 2000};
  struct Case
  {
    RootPtr root;
    SFDagNode const* node;
    double bound;
    bool isTrue;
  };
  for (Case const& c : {Case{ball, ball.get(), 1.0, true}, Case{ball, ball.get(), 0.9, false},
                        Case{ball, ball->GetLhs()->GetLhs().get(), 2.0, false}, Case{smaller, smaller.get(), 2.0, true},
                        Case{smaller, smaller.get(), 1.9, false}, Case{smaller, smaller->GetLhs().get(), 1.0, true},
                        Case{smaller, smaller->GetLhs().get(), 0.9, false}, Case{ball, smaller.get(), 0.0, true}}) {
    SFLipschitzBound const bound{c.node, c.bound};
    SFCompiledFieldOptions options;
    options.lipschitzBounds = {&bound, 1};
    options.lipschitzCheck = &check;
    FieldPtr field;
    HRESULT code = S_OK;
    auto const lines = LinesOf([&] { code = SFCompiledField::Compile(Level2(), c.root, options, field); });
    EXPECT_EQ(code, c.isTrue ? S_OK : E_INVALIDARG) << c.bound;
    ASSERT_EQ(lines.size(), c.isTrue ? 0U : 1U);
    EXPECT_TRUE(c.isTrue || lines[0].find("a stated Lipschitz bound is false") != std::string::npos) << lines[0];
  }
}

TEST(LipschitzBounds, AndBandsThatMakeNoSenseAreRefused)
{
  RootPtr const root = Build("X $");
  for (auto const& [node, bound, band] : {std::tuple{root.get(), -1.0, 1.0},
                                          {root.get(), NaN, 1.0},
                                          {static_cast<SFDagNode*>(nullptr), 1.0, 1.0},
                                          {root.get(), 1.0, 0.0},
                                          {root.get(), 1.0, NaN}}) {
    SFLipschitzBound const stated{node, bound};
    SFCompiledFieldOptions options;
    options.lipschitzBounds = {&stated, 1};
    options.band = band;
    FieldPtr field;
    auto const lines =
        LinesOf([&] { EXPECT_EQ(SFCompiledField::Compile(Level2(), root, options, field), E_INVALIDARG); });
    EXPECT_EQ(lines.size(), 1U);
    EXPECT_EQ(field, nullptr);
  }
}

} // namespace
