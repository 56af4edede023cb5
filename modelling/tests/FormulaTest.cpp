#include "SFFieldCalculus.h"
#include "SFFormula.h"
#include "SFTransforms.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

namespace {

using namespace SF;

struct Value
{
  char const* text;
  double value; ///< at (1, 2, 3)
};

TEST(Formula, GivesTheValueThatMathematicsGives)
{
  Value const values[] = {
      {"1 + 2 * 3", 7.0},
      {"2 ^ 3 ^ 2 - 1", 511.0},
      {"-x^2", -1.0},
      {"2^-1 * 4", 2.0},
      {"8 / 4 / 2 - 1 - 1", -1.0},
      {"-(x - y) * -z", 3.0 * -1.0},
      {"+x", 1.0},
      {"1e2 + .5 + 1.", 101.5},
      {"length([x, y, 2])", 3.0},
      {"length(2*[x, y] - [1, 1] / 2 + [0.5, 0.5] - -[0, 0])", std::sqrt(20.0)},
      {"# nothing\n\na = x # one\nb = a +\\\n", 0.0},
      {"a = x; b = a + y\n\n(a\n + b)\n", 4.0},
      {"param r = -2 (-3 .. 1)\nr * x", -2.0},
      {"min(x, y, z) + max(3, z, 5)", 6.0},
      {"translate(x, by = [2, 0, 0])", -1.0},
      {"rotate(x, axis=[0,0,1], angle=90*deg)", 2.0},
      {"difference(x - 2, x - 5, x)", 4.0},
      {"remap(x * y, y = z)", 3.0},
      {"smooth_union(x, x, radius = 4)", 0.0},
      {"symmetric_difference(b = x + 1, a = z) + pow(b = y, a = z)", 11.0},
      {"angle(0, 1) / pi", 2.0},
      {"half_space([0, 0, 2])", 3.0},
      {"prism([[0, 0], [2, 0], [2, 4], [0, 4]], height = 10)", -1.0},
      {"struts([[0, 0, 0, 0, 0, 9], [5, 0, 0, 5, 1, 1]], 1)", std::sqrt(5.0) - 1.0},
      {"chain([[1, 2, 0], [1, 2, 9], [9, 9, 9]], 0.5)", -0.5},
  };
  for (Value const& each : values) {
    if (std::string_view(each.text).find('\\') != std::string_view::npos) {
      EXPECT_THROW(SFFormula::Read(each.text), SFFormulaError);
      continue;
    }
    try {
      EXPECT_NEAR(SFFormula::Read(each.text)(1.0, 2.0, 3.0), each.value, 1e-15) << each.text;
    } catch (SFFormulaError const& error) {
      ADD_FAILURE() << error.Report(each.text);
    }
  }
}

struct Wrong
{
  char const* text;
  std::size_t line, column;
  char const* sentence; ///< a part of it
};

TEST(Formula, ErrorsNameThePlaceAndWhatWasExpected)
{
  Wrong const wrong[] = {
      {"", 1, 1, "there is none"},
      {"a = 1", 1, 6, "there is none"},
      {"x\ny", 1, 1, "only the last line"},
      {"x +", 1, 4, "a value is expected before the end of the text"},
      {"x + * y", 1, 5, "a value is expected before '*'"},
      {"x y", 1, 3, "an operator or the end of the line is expected before 'y'"},
      {"(x", 1, 1, "lacks its ')'"},
      {"x)", 1, 2, "before ')'"},
      {"[x, (y]", 1, 7, "')' is expected before ']'"},
      {"(x, y)", 1, 3, "')' is expected"},
      {"raduis = 2\nradius + x", 2, 1, "is 'raduis' meant?"},
      {"spere(1)", 1, 1, "no function is called 'spere'"},
      {"smoth_union(x, y, radius = 1)", 1, 1, "is 'smooth_union' meant?"},
      {"sin", 1, 1, "needs its arguments"},
      {"smooth_union(x, y, radios = 1)", 1, 20, "is 'radius' meant?"},
      {"smooth_union(x, y)", 1, 1, "lacks its argument 'radius'"},
      {"smooth_union(x, y, radius = -1)", 1, 1, "smooth_union: radius"},
      {"sin(x, y)", 1, 8, "one more"},
      {"sin(a = x, a = y)", 1, 12, "twice"},
      {"pow(a = x, y)", 1, 12, "without a name"},
      {"translate(x, [1, 2])", 1, 1, "a vector of 3 numbers"},
      {"translate(x, [1, 2, x])", 1, 1, "depends on the point"},
      {"array(x, [1, 2, 0.5], [1, 1, 1])", 1, 1, "whole numbers"},
      {"[1, 2] * [3, 4]", 1, 8, "vectors of one size"},
      {"[1, [2]]", 1, 1, "not both"},
      {"[[[1]]]", 1, 1, "vectors of numbers"},
      {"[1]", 1, 1, "the model must be a field"},
      {"a = 1\na = 2\na", 2, 1, "defined twice"},
      {"x = 1\nx", 1, 1, "cannot be defined anew"},
      {"sin = 1\nx", 1, 1, "is a function"},
      {"param r = x\nr", 1, 11, "a number is expected"},
      {"param r = 1 (2 .. 1)\nr", 1, 7, "range"},
      {"1e999", 1, 1, "too large"},
      {"2x", 1, 1, "without an operator"},
      {"x \xE2\x88\x92 1", 1, 3, "an operator or the end of the line"},
      {"\xC3\xA4 = 1", 1, 1, "a value is expected"},
      {"resource(\"#a\")", 1, 1, "nothing is known"},
      {"resource(\"#a", 1, 10, "closing quote"},
  };
  for (Wrong const& each : wrong)
    try {
      SFFormula::Read(each.text);
      ADD_FAILURE() << each.text << " is read";
    } catch (SFFormulaError const& error) {
      EXPECT_EQ(error.GetPlace().line, each.line) << each.text;
      EXPECT_EQ(error.GetPlace().column, each.column) << each.text;
      EXPECT_NE(std::string(error.what()).find(each.sentence), std::string::npos) << each.text << ": " << error.what();
    }
  try {
    SFFormula::Read("a = 1\n\xC3\xA4 + 1");
  } catch (SFFormulaError const& error) {
    EXPECT_EQ(error.Report("part.sfm"),
              "part.sfm:2:1: error: a value is expected before '\xC3\xA4'\n\xC3\xA4 + 1\n^~\n");
  }
}

TEST(Formula, ParametersCanBeReplaced)
{
  char const* const text = "param a = 2 (1 .. 3)\nparam b = 1\na * x + b";
  EXPECT_EQ(SFFormula::Read(text, {{"a", 5.0}})(1.0, 0.0, 0.0), 6.0);
  EXPECT_EQ(With(SFFormula::Read(text), "b", 7.0)(1.0, 0.0, 0.0), 9.0);
  EXPECT_THROW(SFFormula::Read(text, {{"c", 5.0}}), std::invalid_argument);
  auto const parameters = SFFormula::ReadParameters(text);
  ASSERT_EQ(parameters.size(), 2U);
  EXPECT_EQ(parameters[0].high, 3.0);
}

/// Every function of the table, in a call that works.
TEST(Formula, EveryFunctionCanBeCalled)
{
  std::map<std::string_view, std::string> const usual = {{"size", "[4, 4, 4]"},
                                                         {"radii", "[1, 2, 3]"},
                                                         {"counts", "[2, 2, 1]"},
                                                         {"normal", "[1, 1, 0]"},
                                                         {"v", "[x, y]"},
                                                         {"spacing", "[3, 3, 3]"},
                                                         {"by", "[1, 2, 3]"},
                                                         {"axis", "[0, 1, 0]"},
                                                         {"through", "[1, 0, 0]"},
                                                         {"about", "[1, 1, 1]"},
                                                         {"factors", "[1, 2, 1]"},
                                                         {"from", "[0, 0, 0]"},
                                                         {"to", "[1, 1, 1]"},
                                                         {"a", "sphere(0.2)"},
                                                         {"b", "x"},
                                                         {"x", "y"},
                                                         {"y", "x"},
                                                         {"z", "z"},
                                                         {"polygon", "[[0, 0], [1, 0], [0, 1]]"},
                                                         {"points", "[[0, 0, 0], [1, 1, 1]]"},
                                                         {"ends", "[[0, 0, 0, 1, 1, 1]]"},
                                                         {"teeth", "12"},
                                                         {"pressure_angle", "20*deg"}};
  for (SFFormulaFunction const& function : SFFormula::Functions()) {
    if (function.name == "resource")
      continue;
    std::string text = "param p = 0.75\n" + std::string(function.name) + "(";
    for (SFFormulaArgument const& argument : function.arguments) {
      auto const at = usual.find(argument.name);
      bool const isVector = argument.name == "cell" && function.name.ends_with("lattice");
      std::string const value = isVector ? "[4, 4, 4]" : at == usual.end() ? "p" : at->second;
      text += std::string(argument.name) + " = " + (argument.name == "count" ? "3" : value) + ", ";
    }
    text.replace(text.size() - 2, 2, ")");
    try {
      SFField const field = SFFormula::Read(text);
      EXPECT_FALSE(std::isnan(field(0.3, 0.4, 0.5))) << text;
      EXPECT_EQ(SFFormula::Read(field.ToFormula()).ToFormula(), field.ToFormula()) << text;
    } catch (SFFormulaError const& error) {
      ADD_FAILURE() << error.Report(text);
    }
  }
}

TEST(Formula, TheExampleOfTheDocuments)
{
  SFField const part = SFFormula::Read(R"(# a plate with two bores
param bore = 4 (1 .. 10)
hole  = cylinder(radius = bore, height = 20)
plate = difference(box([80, 50, 6]), union(translate(hole, [30, 0, 0]), translate(hole, [-30, 0, 0])))
smooth_union(plate, sqrt(x^2 + y^2 + (z - 6)^2) - 8, radius = 2)
)");
  EXPECT_EQ(part(30.0, 0.0, 0.0), 3.0 + 1.0);
  EXPECT_LT(part(30.0, 5.0, 0.0), 0.0);
  EXPECT_EQ(With(part, "bore", 6.0)(30.0, 5.0, 0.0), 1.0);
  auto const bounds = part.Bounds();
  ASSERT_TRUE(bounds);
  EXPECT_NEAR(bounds->high.x, 40.5, 0.01);
  EXPECT_NEAR(bounds->high.z, 14.5, 0.01);
}

TEST(Formula, DepthAndLengthCostNoStack)
{
  std::size_t const count = 100000;
  std::string const open(count, '(');
  std::string const close(count, ')');
  EXPECT_EQ(SFFormula::Read(open + "x" + close)(3.0, 0.0, 0.0), 3.0);
  EXPECT_THROW(SFFormula::Read(open), SFFormulaError);
  EXPECT_THROW(SFFormula::Read(std::string(count, '[')), SFFormulaError);
  EXPECT_EQ(SFFormula::Read(std::string(count, '-') + "x")(3.0, 0.0, 0.0), 3.0);
  std::string sum = "x";
  for (std::size_t i = 0; i < count; ++i)
    sum += "+1^1";
  EXPECT_EQ(SFFormula::Read(sum)(3.0, 0.0, 0.0), 3.0 + count);
}

TEST(Formula, WritingReadsBackToTheSameBits)
{
  SFField const x = SFField::X();
  SFField const ball = Length({x, SFField::Y(), SFField::Z()}) - 1.0 / 3.0;
  SFField many = ball;
  for (int i = 0; i < 40; ++i)
    many = min(many, abs(many - 0.1 * i) * many); // 2^40 paths
  SFField const fields[] = {
      Rotate(ball, {1.0, 2.0, 3.0}, 0.7) | Twist(x, 0.3),
      Offset(exp(x) * pow(ball, SFField::Y()) - log(abs(x) + SFField::Parameter("k", -0.1, -1.0, HUGE_VAL)), 0.25),
      tan(asin(sin(x) * 0.5)) + acos(cos(x) * 0.5) / atan(square(x) + 1.0) - sign(x),
      SymmetricDifference(x - 0.1, Difference(ball, ~x)),
      x * -0.0,
      max(x, HUGE_VAL) - 1e300 * 5e-324,
      many,
  };
  std::mt19937 random(3);
  std::uniform_real_distribution<double> coordinate(-2.0, 2.0);
  for (SFField const& field : fields) {
    std::string const text = field.ToFormula();
    SFField const read = SFFormula::Read(text);
    EXPECT_EQ(read.ToFormula(), text);
    for (int i = 0; i < 20; ++i) {
      double const p[3] = {coordinate(random), coordinate(random), coordinate(random)};
      EXPECT_EQ(std::bit_cast<std::uint64_t>(read(p[0], p[1], p[2])),
                std::bit_cast<std::uint64_t>(field(p[0], p[1], p[2])))
          << text.substr(0, 200);
    }
  }
  EXPECT_THROW(SFField::Parameter("a b", 1.0).ToFormula(), std::domain_error);
}

} // namespace
