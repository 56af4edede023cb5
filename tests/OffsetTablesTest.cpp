#include "Support.h"

#include "SFDagOffsetOperator.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iomanip>
#include <unordered_set>

using namespace SF;
using namespace SFTest;

/// The measurements of docs/offsets.md. With SF_TABLES in the environment they are printed as its tables.
namespace {

ZULTolerance const tolerance;

bool IsPrinting() { return std::getenv("SF_TABLES") != nullptr; }

class Table
{
public:
  explicit Table(std::string const& iHead) { Row(iHead); }
  ~Table()
  {
    if (IsPrinting())
      std::cerr << _text.str();
  }
  void Row(std::string const& iCells) { _text << "| " << iCells << " |\n"; }

private:
  std::ostringstream _text;
};

std::string Short(double iValue)
{
  if (std::isnan(iValue))
    return "none";
  std::ostringstream text;
  text << std::setprecision(2) << iValue;
  return text.str();
}

NodePtr Offset(std::string const& iField, double iDistance, int iOrder)
{
  Captured const quiet;
  return SFDagOffsetOperator(Level2()).BuildOneSidedOffsetTree(Build(iField), iDistance, tolerance, iOrder);
}

/// Distances, as fractions of the one asked for; NaN without a zero set.
struct Errors
{
  double onGrid = NAN;  ///< zeros interpolated between the voxels of a rendering
  double ofZeros = NAN; ///< some of them made exact
};

using Distance = std::function<double(ZULMathPoint const&)>;

/// How far the zero set of a field lies from where a distance is `iLevel`, in three slices about y = 0.
Errors ErrorsOf(NodePtr iField, Distance const& iDistance, double iLevel)
{
  constexpr unsigned int n = 64;
  constexpr double low = -1.5;
  constexpr double h = 3.0 / (n - 1);
  std::array<unsigned int, 3> dims{n, 3, n};
  std::array<double, 3> const origin{low, -h, low};
  std::vector<float> values(std::size_t{3} * n * n);
  Captured const quiet;
  EXPECT_EQ(SFDagEvaluator(Level2()).Render(dims.data(), values, h, origin.data(), iField, tolerance,
                                            ZULGMSFDiscretizationAccuracyLevel::EMedium),
            S_OK);

  Errors errors;
  auto const note = [&](double& ioError, ZULMathPoint const& iPoint) {
    ioError = std::fmax(ioError, std::abs(iDistance(iPoint) - iLevel) / std::abs(iLevel));
  };
  int crossings = 0;
  for (unsigned int i = 0; i + 1 < values.size(); ++i) {
    double const a = values[i];
    double const b = values[i + 1];
    if (i % n == n - 1 || (a < 0.0) == (b < 0.0))
      continue;
    double left = low + h * (i % n);
    double right = left + h;
    ZULMathPoint point(left + h * a / (a - b), h * (i / n % 3) - h, low + h * (i / (n * 3)));
    note(errors.onGrid, point);
    if (crossings++ % 8 != 0)
      continue;
    for (int step = 0; step < 40; ++step) {
      point.x = 0.5 * (left + right);
      ((ValueAt(*iField, point) < 0.0) == (a < 0.0) ? left : right) = point.x;
    }
    note(errors.ofZeros, point);
  }
  return errors;
}

std::size_t CountNodes(NodePtr const& iRoot)
{
  std::unordered_set<SFDagNode*> met;
  std::vector<SFDagNode*> open{iRoot.get()};
  while (!open.empty()) {
    SFDagNode* const node = open.back();
    open.pop_back();
    if (node != nullptr && met.insert(node).second)
      open.insert(open.end(), {node->GetLhs().get(), node->GetRhs().get()});
  }
  return met.size();
}

double Length(double iX, double iY, double iZ) { return std::sqrt(iX * iX + iY * iY + iZ * iZ); }

/// A balanced union of spheres, a power of two of them.
std::string Spheres(int iFirst, int iCount)
{
  if (iCount > 1)
    return "U " + Spheres(iFirst, iCount / 2) + Spheres(iFirst + iCount / 2, iCount / 2);
  std::string const x = std::to_string(iFirst);
  return "- r + + q - X f" + x + " q - Y f" + x + "5 q Z f1 ";
}

} // namespace

TEST(OffsetTables, ZeroSetsLieAtTheDistance)
{
  auto const sphere = [](ZULMathPoint const& iP) { return Length(iP.x, iP.y, iP.z) - 1.0; };
  struct
  {
    char const* name;
    char const* text;
    double radius;
    Distance distance;
    bool exact; ///< the field is a signed distance
  } const shapes[] = {
      {"sphere", "- r + + q X q Y q Z f1 $", 1.0, sphere, true},
      {"plane", "- + * X f0.6 * Y f0.8 f0.1 $", 1.0,
       [](ZULMathPoint const& iP) { return 0.6 * iP.x + 0.8 * iP.y - 0.1; }, true},
      {"capsule", "- r + + q X q Y q I - a Z f0.75 f0 f0.5 $", 0.5,
       [](ZULMathPoint const& iP) { return Length(iP.x, iP.y, std::max(std::abs(iP.z) - 0.75, 0.0)) - 0.5; }, true},
      {"sphere as x² + y² + z² - 1", "- + + q X q Y q Z f1 $", 1.0, sphere, false},
      {"sphere as exp(r²) - e", "- e + + q X q Y q Z f2.71828182845905 $", 1.0, sphere, false},
  };
  Table table("field | d / radius | order 1 | order 2 | order 3");
  table.Row("--- | ---: | ---: | ---: | ---:");
  for (auto const& [name, text, radius, distance, exact] : shapes)
    for (double const fraction : {-0.3, 0.1, 0.3}) {
      double const d = fraction * radius;
      std::string row = std::string(name) + " | " + Short(fraction);
      std::array<Errors, 3> errors;
      for (int order = 1; order <= 3; ++order) {
        auto& [onGrid, ofZeros] = errors[static_cast<std::size_t>(order - 1)] =
            ErrorsOf(Offset(text, d, order), distance, d);
        row += " | " + Short(ofZeros) + " (" + Short(onGrid) + ")";
        if (exact) {
          EXPECT_LT(ofZeros, 2e-5) << name << row;
          EXPECT_LT(onGrid, 0.02) << name << row;
        }
      }
      table.Row(row);
      if (!exact && std::abs(fraction) < 0.2) {
        EXPECT_LT(errors[1].ofZeros, 0.2 * errors[0].ofZeros) << row;
        EXPECT_LT(errors[2].ofZeros, std::max(0.2 * errors[1].ofZeros, 2e-5)) << row;
      }
    }
}

TEST(OffsetTables, Growth)
{
  std::string const gyroid = "- a + + * s * X f6 c * Y f6 * s * Y f6 c * Z f6 * s * Z f6 c * X f6 f0.4 ";
  std::string const box = "I I - a X f1.1 - a Y f1.2 - a Z f1.3 ";
  std::vector<std::pair<std::string, std::string>> fields{
      {"plane", "X "},
      {"sphere", "- r + + q X q Y q Z f1 "},
      {"gyroid shell", gyroid},
      {"gyroid shell in a box", "I " + gyroid + box},
      {"the same with a boss and a bore",
       "\\ U I " + gyroid + box + "- r + q - X f0.5 q Y f0.3 - r + + q X q Y q Z f0.5 "},
      {"2 spheres", Spheres(0, 2)},
      {"4 spheres", Spheres(0, 4)},
      {"8 spheres", Spheres(0, 8)},
  };
  if (IsPrinting())
    fields.emplace_back("16 spheres", Spheres(0, 16));
  Table table("field | its nodes | order | nodes | text | s");
  table.Row("--- | ---: | ---: | ---: | ---: | ---:");
  for (auto const& [name, text] : fields)
    for (int order = 1; order <= 3; ++order) {
      std::clock_t const start = std::clock();
      NodePtr const offset = Offset(text, 0.1, order);
      double const seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
      ASSERT_NE(offset, nullptr) << name << order;
      std::size_t const length = TextOf(*offset).size();
      if (length > 10000) {
        EXPECT_LT(20 * CountNodes(offset), length) << "equal parts are not merged";
      }
      table.Row(name + " | " + std::to_string(CountNodes(Build(text))) + " | " + std::to_string(order) + " | " +
                std::to_string(CountNodes(offset)) + " | " + std::to_string(length) + " | " + Short(seconds));
    }
}
