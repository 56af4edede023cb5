#include "CompiledFieldSupport.h"
#include "HeapUse.h"

#include "SFPointSource.h"

#include <algorithm>

using namespace SFTest;

namespace {

struct Box
{
  ZULMathPoint low;
  ZULMathPoint high;
  ZULMathPoint At(double iU, double iV, double iW) const
  {
    return {low.x + iU * (high.x - low.x), low.y + iV * (high.y - low.y), low.z + iW * (high.z - low.z)};
  }
};

double ValueIn(SF::SFCompiledField const& iField, ZULMathPoint const& iPoint)
{
  double value = 0.0;
  EXPECT_EQ(iField.Evaluate(1, &iPoint.x, &iPoint.y, &iPoint.z, &value), S_OK);
  return value;
}

/// Points in arrays, from one on.
class From : public SF::SFPointSource
{
public:
  From(Points const& iPoints, std::size_t iFirst) : _points(iPoints), _first(iFirst) {}
  void GetPoints(std::size_t iFirst, std::size_t iCount, std::array<double*, 3> const& oPoints) const override
  {
    std::copy_n(&_points.x[_first + iFirst], iCount, oPoints[0]);
    std::copy_n(&_points.y[_first + iFirst], iCount, oPoints[1]);
    std::copy_n(&_points.z[_first + iFirst], iCount, oPoints[2]);
  }

private:
  Points const& _points;
  std::size_t _first;
};

} // namespace

TEST(Restriction, HasTheSameBitsPreparedOrNot)
{
  Vocabulary words;
  words.prefixes = {"m[1;2;0;0.5;0;1;1;0;-1;0;1;0;0;0;0;1] ", "n[1;2;3;4;5;6;7] "};
  words.shares = true;
  RandomFields random(11, words);
  Points const points = RandomPoints(1600);
  // What shares values with derivatives of others, where a choice leaves it out in parts of the box: the double of what is
  // squared; a difference of sets by which a minimum chooses too, and one whose first set is left out. And what conditions
  // alone compute elsewhere, or read last.
  std::array<std::string, 6> const beside{"f0",
                                          "+ q + s X f3 U * f2 + s X f3 * f8 Z",
                                          "+ U f1 X S X",
                                          "+ \\ - * f4 X f3 Y U U ! Y - * f4 X f3 - Z f1",
                                          "+ \\ - + X Z f7 Y ! Y",
                                          "I U + X Y + Y Z U + Z X - X Y"};
  for (std::size_t round = 0; round < Scaled(300); ++round) {
    std::string text = "+ " + beside[round % beside.size()] + " " + random.Next(6);
    for (char const choice : std::string_view(round % 2 == 0 ? "" : "UIDU"))
      text = std::string{choice, ' '} + text + " " + random.Next(5);
    FieldPtr field;
    ASSERT_EQ(Compiled(Build(text), WithThreads(1))->Restrict({{-3, -3, -3}, {3, 3, 3}}, field), S_OK);
    for (std::size_t const count : {1U, 7U, 8U, 130U, 1000U, 1500U, 40U}) {
      std::vector<double> few(4 * count);
      std::vector<double> prepared(4 * count);
      std::vector<double> values(count);
      ASSERT_EQ(field->EvaluateGradient(count, &points.x[5], &points.y[5], &points.z[5], &few[0], &few[count]), S_OK);
      ASSERT_EQ(field->EvaluateGradient(count, From(points, 5), &prepared[0], &prepared[count]), S_OK);
      ASSERT_EQ(field->Evaluate(count, &points.x[5], &points.y[5], &points.z[5], &values[0]), S_OK);
      for (std::size_t i = 0; i < few.size(); ++i)
        ASSERT_TRUE(Same(few[i], prepared[i]) && (i >= count || Same(values[i], few[i])))
            << "round " << round << ", " << i << " of " << count << ": " << few[i] << ' ' << prepared[i];
    }
    std::vector<double> few(6 * 1000);
    std::vector<double> prepared(6 * 1000);
    ASSERT_EQ(field->EvaluateHessian(1000, &points.x[0], &points.y[0], &points.z[0], nullptr, nullptr, &few[0]), S_OK);
    ASSERT_EQ(field->EvaluateHessian(1000, From(points, 0), nullptr, nullptr, &prepared[0]), S_OK);
    for (std::size_t i = 0; i < few.size(); ++i)
      ASSERT_TRUE(Same(few[i], prepared[i])) << "round " << round << ", second derivative " << i;
  }
}

TEST(Restriction, ManyPiecesKeepNoMoreThanTheBudgetTogether)
{
  std::string text;
  for (int i = 0; i < 40; ++i)
    text += (i < 39 ? "U - r + + q - X f" : "- r + + q - X f") + std::to_string(i % 4) + " q - Y f" +
            std::to_string(i / 4 % 4) + " q Z f0." + std::to_string(10 + i) + " ";
  SF::SFCompiledFieldOptions options = WithThreads(1);
  options.memoryBudget = std::size_t{1} << 20;
  FieldPtr const field = Compiled(Build(text), options);
  Points const points = RandomPoints(2000);
  std::vector<FieldPtr> pieces(400);
  for (FieldPtr& piece : pieces)
    ASSERT_EQ(field->Restrict({{-3, -3, -3}, {3, 3, 3}}, piece), S_OK);
  std::size_t const before = TakenFromHeap();
  std::vector<double> numbers(8000);
  for (FieldPtr const& piece : pieces)
    for (std::size_t const count : {10U, 2000U})
      ASSERT_EQ(piece->EvaluateGradient(count, points.x.data(), points.y.data(), points.z.data(), numbers.data(),
                                        &numbers[2000]),
                S_OK);
  EXPECT_LT(TakenFromHeap(), before + 4 * options.memoryBudget);
}

TEST(Restriction, KeepsEveryBitInItsBoxThroughAllLevels)
{
  // Choices, with what makes their operands negative, zero of either sign, constant or not a number.
  Vocabulary words;
  using enum SFNodeType;
  for (int i = 0; i < 3; ++i)
    words.operators.insert(words.operators.end(), {MIN, MAX, WITHOUT, NOT, ABS, SIGN});
  words.leaves = {"X", "Y", "Z", "f", "f0", "f-0"};
  words.shares = true;
  RandomFields random(5, words);
  for (std::size_t round = 0; round < Scaled(1500); ++round) {
    FieldPtr field = Compiled(Build(random.Next(6)), WithThreads(1));
    FieldPtr restricted = field;
    Box box{{-2.0, -2.0, -2.0}, {2.0, 2.0, 2.0}};
    for (int level = 0; level < 4; ++level) {
      ZULMathPoint const a = box.At(random.Uniform(0, 1), random.Uniform(0, 1), random.Uniform(0, 1));
      ZULMathPoint const b = box.At(random.Uniform(0, 1), random.Uniform(0, 1), random.Uniform(0, 1));
      box = {{std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)},
             {std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)}};
      ASSERT_EQ(restricted->Restrict({box.low, box.high}, restricted), S_OK);
      for (int corner = 0; corner < 9; ++corner) {
        ZULMathPoint const point =
            corner == 8 ? box.At(0.3, 0.6, 0.2) : box.At(corner & 1, corner >> 1 & 1, corner >> 2);
        ZULMathPoint const inside{std::clamp(point.x, box.low.x, box.high.x),
                                  std::clamp(point.y, box.low.y, box.high.y),
                                  std::clamp(point.z, box.low.z, box.high.z)};
        double const whole = ValueIn(*field, inside);
        double const part = ValueIn(*restricted, inside);
        ASSERT_TRUE(Same(part, whole)) << "round " << round << " level " << level << ": " << part << ' ' << whole;
      }
    }
  }
}

TEST(Restriction, KnowsWhereNothingCanJump)
{
  auto const isContinuous = [](char const* iText, double iFrom, double iTo) {
    FieldPtr part;
    EXPECT_EQ(Compiled(Build(iText))->Restrict({{iFrom, 0.0, 0.0}, {iTo, 1.0, 1.0}}, part), S_OK);
    return part->IsContinuous();
  };
  EXPECT_TRUE(isContinuous("a X", -1.0, 1.0));
  EXPECT_FALSE(isContinuous("? X", -1.0, 1.0));
  EXPECT_TRUE(isContinuous("? X", 0.5, 1.0));
  EXPECT_TRUE(isContinuous("U ? X f-2", -1.0, 1.0));
}

TEST(Restriction, RefusesWhatIsNoBox)
{
  FieldPtr part;
  FieldPtr const field = Compiled(Build("X "));
  Captured const lines;
  EXPECT_EQ(field->Restrict({{1.0, 0.0, 0.0}, {0.0, 1.0, 1.0}}, part), E_INVALIDARG);
  EXPECT_EQ(lines.Lines(),
            (LineList{"Error in Restrict at src/SFCompiledField.cpp:N iBox.low <= iBox.high not satisfied."}));
  EXPECT_EQ(part, nullptr);
}

TEST(Curvature, OfCompiledFieldsIsThatOfTheLevelSurface)
{
  struct Case
  {
    char const* text;
    double x, y, z;
    double largest, smallest;
  };
  // The ellipse x^2 / 4 + y^2 = 1 has the curvature a b / (a^2 sin^2 + b^2 cos^2)^(3/2).
  double const s = std::sin(0.5);
  double const c = std::cos(0.5);
  double const ellipse = -2.0 / std::pow(4.0 * s * s + c * c, 1.5);
  for (Case const& each : {
           Case{"- r + + q X q Y q Z f2 $", 2.0, 0.0, 0.0, -0.5, -0.5},
           Case{"- r + + q - X f5 q Y q Z f2 $", 5.0, 2.0, 0.0, -0.5, -0.5},
           Case{"! - r + + q X q Y q Z f2 $", 0.0, 0.0, 2.0, 0.5, 0.5},
           Case{"- + / q X f4 q Y f1 $", 2.0 * c, s, 0.3, 0.0, ellipse},
           Case{"- r + q - r + q X q Y f3 q Z f1 $", 4.0, 0.0, 0.0, -0.25, -1.0},
           Case{"- r + q - r + q X q Y f3 q Z f1 $", 2.0, 0.0, 0.0, 0.5, -1.0},
           Case{"U - f9 X - r + + q X q Y q Z f2 $", 0.0, 2.0, 0.0, -0.5, -0.5},
           Case{"+ * X Y - Z f0 $", 0.0, 0.0, 0.0, 1.0, -1.0},
       }) {
    double curvatures[4];
    FieldPtr const field = Compiled(Build(each.text));
    ASSERT_EQ(field->EvaluateCurvature(1, &each.x, &each.y, &each.z, curvatures), S_OK);
    EXPECT_NEAR(curvatures[0], each.largest, 1e-7) << each.text;
    EXPECT_NEAR(curvatures[1], each.smallest, 1e-7) << each.text;
    EXPECT_NEAR(curvatures[2], (each.largest + each.smallest) / 2.0, 1e-14) << each.text;
    EXPECT_NEAR(curvatures[3], each.largest * each.smallest, 1e-14) << each.text;
  }
}

TEST(CompiledField, HasTheHessiansOfDifferencesOfGradients)
{
  Vocabulary words;
  words.operators = OperatorsWithout({SFNodeType::TAN, SFNodeType::POW, SFNodeType::ACOS, SFNodeType::ASIN});
  RandomFields random(11, words);
  constexpr double h = 1e-5;
  constexpr std::size_t rows[6][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}};
  int compared = 0;
  int differing = 0;
  for (std::size_t round = 0; round < Scaled(400); ++round) {
    FieldPtr const field = Compiled(Build(random.Next(4)), WithThreads(1));
    ZULMathPoint const p = random.Point();
    double value = 0.0;
    double gradient[3];
    double hessian[6];
    ASSERT_EQ(field->EvaluateHessian(1, &p.x, &p.y, &p.z, &value, gradient, hessian), S_OK);
    double plain[3];
    ASSERT_EQ(field->EvaluateGradient(1, &p.x, &p.y, &p.z, nullptr, plain), S_OK);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      ASSERT_TRUE(Same(gradient[axis], plain[axis]));
      double x[2] = {p.x, p.x};
      double y[2] = {p.y, p.y};
      double z[2] = {p.z, p.z};
      double* const moved = axis == 0 ? x : axis == 1 ? y : z;
      moved[0] -= h;
      moved[1] += h;
      double ends[6];
      ASSERT_EQ(field->EvaluateGradient(2, x, y, z, nullptr, ends), S_OK);
      for (std::size_t k = 0; k < 6; ++k) {
        if (rows[k][1] != axis)
          continue;
        double const slope = (ends[3 + rows[k][0]] - ends[rows[k][0]]) / (2.0 * h);
        if (!std::isfinite(slope) || !std::isfinite(hessian[k]) || std::abs(slope) > 1e3)
          continue;
        ++compared;
        differing += std::abs(slope - hessian[k]) > 1e-4 * (1.0 + std::abs(slope)) ? 1 : 0;
      }
    }
  }
  EXPECT_GT(compared, static_cast<int>(Scaled(1000)));
  EXPECT_LT(differing, compared / 100); // a difference may lie across a kink
}
