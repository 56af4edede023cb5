#include "SFFormulaFunctions.h"

#include "ResourceToSF.h"
#include "SFArgument.h"
#include "SFFieldCalculus.h"
#include "SFFieldNode.h"
#include "SFResourceResolver.h"
#include "SFTransforms.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace SF {
namespace {

ZULMathVector VectorFrom(std::array<double, 3> const& iNumbers) { return {iNumbers[0], iNumbers[1], iNumbers[2]}; }
ZULMathPoint PointFrom(std::array<double, 3> const& iNumbers) { return {iNumbers[0], iNumbers[1], iNumbers[2]}; }

SFField ResourceOf(SFFormulaCall const& iCall)
{
  std::string const& id = iCall.Text("id");
  std::shared_ptr<ResourceToSF> resource(iCall.GetResolver() == nullptr ? nullptr : iCall.GetResolver()->Resolve(id));
  if (resource == nullptr)
    Argument::Refuse("id", "nothing is known as \"" + id + "\"");
  if (resource->GetExpressionId().empty() && id.find('#') != std::string::npos)
    resource->SetExpressionId(id);
  return SFField::Resource(std::move(resource));
}

/// From left to right: a difference is the first without all the others.
template <SFField (*Join)(SFField const&, SFField const&)>
SFField Joined(SFFormulaCall const& iCall)
{
  auto fields = iCall.Fields("a");
  SFField result = fields.front();
  for (std::size_t i = 1; i < fields.size(); ++i)
    result = Join(result, fields[i]);
  return result;
}

template <SFField (*Join)(SFField const&, SFField const&, double)>
SFField SmoothlyJoined(SFFormulaCall const& iCall)
{
  auto fields = iCall.Fields("a");
  double const radius = iCall.Number("radius");
  SFField result = fields.front();
  for (std::size_t i = 1; i < fields.size(); ++i)
    result = Join(result, fields[i], radius);
  return result;
}

template <SFField (*Function)(SFField const&)>
SFField Unary(SFFormulaCall const& iCall)
{
  return Function(iCall.Field("a"));
}

using Call = SFFormulaCall const&;

// clang-format off
std::vector<SFFormulaRow> BasicRows()
{
  return {
    {{"abs", {{"a", ""}}}, Unary<abs>},
    {{"acos", {{"a", ""}}}, Unary<acos>},
    {{"angle", {{"y", ""}, {"x", ""}}}, [](Call c) { return Angle(c.Field("y"), c.Field("x")); }},
    {{"array", {{"a", ""}, {"counts", ""}, {"spacing", ""}}},
     [](Call c) { return Array(c.Field("a"), c.Counts("counts"), VectorFrom(c.Vector("spacing"))); }},
    {{"asin", {{"a", ""}}}, Unary<asin>},
    {{"atan", {{"a", ""}}}, Unary<atan>},
    {{"complement", {{"a", ""}}}, Unary<Complement>},
    {{"cos", {{"a", ""}}}, Unary<cos>},
    {{"difference", {{"a", ""}}, true}, Joined<Difference>},
    {{"exp", {{"a", ""}}}, Unary<exp>},
    {{"extrude", {{"a", ""}, {"height", ""}}}, [](Call c) { return Extrude(c.Field("a"), c.Number("height")); }},
    {{"intersection", {{"a", ""}}, true}, [](Call c) { return Intersection(c.Fields("a")); }},
    {{"length", {{"v", ""}}}, [](Call c) { return Length(c.VectorOf("v", 0)); }},
    {{"log", {{"a", ""}}}, Unary<log>},
    {{"max", {{"a", ""}}, true}, Joined<max>},
    {{"min", {{"a", ""}}, true}, Joined<min>},
    {{"mirror", {{"a", ""}, {"normal", ""}, {"through", "[0, 0, 0]"}}},
     [](Call c) { return Mirror(c.Field("a"), VectorFrom(c.Vector("normal")), PointFrom(c.Vector("through"))); }},
    {{"offset", {{"a", ""}, {"distance", ""}}}, [](Call c) { return Offset(c.Field("a"), c.Field("distance")); }},
    {{"polar_array", {{"a", ""}, {"count", ""}}}, [](Call c) { return PolarArray(c.Field("a"), c.Count("count")); }},
    {{"pow", {{"a", ""}, {"b", ""}}}, [](Call c) { return pow(c.Field("a"), c.Field("b")); }},
    {{"remap", {{"a", ""}, {"x", "x"}, {"y", "y"}, {"z", "z"}}},
     [](Call c) { return Remap(c.Field("a"), c.Field("x"), c.Field("y"), c.Field("z")); }},
    {{"resource", {{"id", ""}}}, ResourceOf},
    {{"revolve", {{"a", ""}}}, Unary<Revolve>},
    {{"rotate", {{"a", ""}, {"axis", ""}, {"angle", ""}, {"through", "[0, 0, 0]"}}},
     [](Call c) { return Rotate(c.Field("a"), VectorFrom(c.Vector("axis")), c.Number("angle"),
                                PointFrom(c.Vector("through"))); }},
    {{"scale", {{"a", ""}, {"factor", ""}, {"about", "[0, 0, 0]"}}},
     [](Call c) { return Scale(c.Field("a"), c.Number("factor"), PointFrom(c.Vector("about"))); }},
    {{"shell", {{"a", ""}, {"thickness", ""}}}, [](Call c) { return Shell(c.Field("a"), c.Number("thickness")); }},
    {{"sign", {{"a", ""}}}, Unary<sign>},
    {{"sin", {{"a", ""}}}, Unary<sin>},
    {{"smooth_difference", {{"a", ""}, {"radius", ""}}, true}, SmoothlyJoined<SmoothDifference>},
    {{"smooth_intersection", {{"a", ""}, {"radius", ""}}, true}, SmoothlyJoined<SmoothIntersection>},
    {{"smooth_union", {{"a", ""}, {"radius", ""}}, true}, SmoothlyJoined<SmoothUnion>},
    {{"sqrt", {{"a", ""}}}, Unary<sqrt>},
    {{"square", {{"a", ""}}}, Unary<square>},
    {{"stretch", {{"a", ""}, {"factors", ""}}},
     [](Call c) { return Stretch(c.Field("a"), VectorFrom(c.Vector("factors"))); }},
    {{"symmetric_difference", {{"a", ""}, {"b", ""}}},
     [](Call c) { return SymmetricDifference(c.Field("a"), c.Field("b")); }},
    {{"tan", {{"a", ""}}}, Unary<tan>},
    {{"to_cylindrical", {{"a", ""}}}, Unary<ToCylindrical>},
    {{"translate", {{"a", ""}, {"by", ""}}},
     [](Call c) { return Translate(c.Field("a"), VectorFrom(c.Vector("by"))); }},
    {{"twist", {{"a", ""}, {"rate", ""}}}, [](Call c) { return Twist(c.Field("a"), c.Number("rate")); }},
    {{"union", {{"a", ""}}, true}, [](Call c) { return Union(c.Fields("a")); }},
  };
}
// clang-format on

/// A component of a vector of numbers.
double NumberIn(std::string_view iName, SFField const& iField)
{
  std::optional<double> const number = ConstantValue(iField);
  if (!number)
    Argument::Refuse(iName, "numbers are expected here, and one depends on the point");
  return *number;
}

std::vector<SFFormulaRow> AllRows()
{
  std::vector<SFFormulaRow> rows = BasicRows();
  for (SFFormulaRow& row : FormulaShapeRows())
    rows.push_back(std::move(row));
  std::sort(rows.begin(), rows.end(),
            [](SFFormulaRow const& iA, SFFormulaRow const& iB) { return iA.function.name < iB.function.name; });
  return rows;
}

} // namespace

std::vector<SFFormulaRow> const& FormulaRows()
{
  static std::vector<SFFormulaRow> const rows = AllRows();
  return rows;
}

SFFormulaRow const* FindFormulaRow(std::string_view iName)
{
  auto const& rows = FormulaRows();
  auto const at =
      std::lower_bound(rows.begin(), rows.end(), iName,
                       [](SFFormulaRow const& iRow, std::string_view iText) { return iRow.function.name < iText; });
  return at != rows.end() && at->function.name == iName ? &*at : nullptr;
}

std::vector<SFFormulaFunction> const& SFFormula::Functions()
{
  static std::vector<SFFormulaFunction> const functions = [] {
    std::vector<SFFormulaFunction> list;
    for (SFFormulaRow const& row : FormulaRows())
      list.push_back(row.function);
    return list;
  }();
  return functions;
}

std::vector<SFFormulaValue> const& SFFormulaCall::Values(std::string_view iName) const
{
  auto const& arguments = _function.arguments;
  auto const at = std::find_if(arguments.begin(), arguments.end(),
                               [&](SFFormulaArgument const& iArgument) { return iArgument.name == iName; });
  return _values[static_cast<std::size_t>(at - arguments.begin())];
}

SFField const& SFFormulaCall::Field(std::string_view iName) const
{
  auto const* const field = std::get_if<SFField>(&Value(iName));
  if (field == nullptr)
    Argument::Refuse(iName, "a field or a number is expected here");
  return *field;
}

std::vector<SFField> SFFormulaCall::Fields(std::string_view iName) const
{
  std::vector<SFField> fields;
  for (SFFormulaValue const& value : Values(iName)) {
    auto const* const field = std::get_if<SFField>(&value);
    if (field == nullptr)
      Argument::Refuse(iName, "a field or a number is expected here");
    fields.push_back(*field);
  }
  return fields;
}

double SFFormulaCall::Number(std::string_view iName) const
{
  std::optional<double> const number = ConstantValue(Field(iName));
  if (!number)
    Argument::Refuse(iName, "a number is expected here, and this depends on the point");
  return *number;
}

unsigned int SFFormulaCall::Count(std::string_view iName) const
{
  double const number = Number(iName);
  constexpr double most = 1e6;
  if (!(number >= 1.0 && number <= most) || number != std::floor(number))
    Argument::Refuse(iName, "a whole number from 1 to 1000000 is expected here");
  return static_cast<unsigned int>(number);
}

SFFormulaVector const& SFFormulaCall::VectorOf(std::string_view iName, std::size_t iSize) const
{
  auto const* const vector = std::get_if<SFFormulaVector>(&Value(iName));
  if (vector == nullptr || (iSize != 0 && vector->size() != iSize))
    Argument::Refuse(iName, iSize == 0 ? "a vector is expected here, as in [x, y]"
                                       : "a vector of " + std::to_string(iSize) + " numbers is expected here");
  return *vector;
}

std::array<double, 3> SFFormulaCall::Vector(std::string_view iName) const
{
  SFFormulaVector const& fields = VectorOf(iName, 3);
  return {NumberIn(iName, fields[0]), NumberIn(iName, fields[1]), NumberIn(iName, fields[2])};
}

std::array<unsigned int, 3> SFFormulaCall::Counts(std::string_view iName) const
{
  std::array<unsigned int, 3> counts{};
  auto const numbers = Vector(iName);
  constexpr double most = 1e6;
  for (std::size_t i = 0; i < 3; ++i) {
    if (!(numbers[i] >= 1.0 && numbers[i] <= most) || numbers[i] != std::floor(numbers[i]))
      Argument::Refuse(iName, "whole numbers from 1 to 1000000 are expected here");
    counts[i] = static_cast<unsigned int>(numbers[i]);
  }
  return counts;
}

std::vector<std::vector<double>> SFFormulaCall::Points(std::string_view iName, std::size_t iSize) const
{
  auto const* const points = std::get_if<SFFormulaPoints>(&Value(iName));
  if (points == nullptr)
    Argument::Refuse(iName, "a list of points is expected here, as in [[0, 0], [1, 0], [0, 1]]");
  std::vector<std::vector<double>> numbers;
  for (SFFormulaVector const& point : *points) {
    if (point.size() != iSize)
      Argument::Refuse(iName, "each point must have " + std::to_string(iSize) + " numbers");
    auto& row = numbers.emplace_back();
    for (SFField const& field : point)
      row.push_back(NumberIn(iName, field));
  }
  return numbers;
}

std::string const& SFFormulaCall::Text(std::string_view iName) const
{
  auto const* const text = std::get_if<std::string>(&Value(iName));
  if (text == nullptr)
    Argument::Refuse(iName, "a text between double quotes is expected here");
  return *text;
}

std::string_view NearestName(std::string_view iName, std::vector<std::string_view> const& iKnown)
{
  constexpr std::size_t longest = 40;
  std::string_view nearest;
  std::size_t least = 1 + std::min<std::size_t>(2, iName.size() / 2);
  if (iName.size() > longest)
    return nearest;
  for (std::string_view const known : iKnown) {
    // The edit distance, row by row (V. I. Levenshtein, 1966).
    std::vector<std::size_t> row(known.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
      row[j] = j;
    for (std::size_t i = 1; i <= iName.size(); ++i) {
      std::size_t diagonal = std::exchange(row[0], i);
      for (std::size_t j = 1; j < row.size(); ++j) {
        std::size_t const changed = diagonal + (iName[i - 1] == known[j - 1] ? 0 : 1);
        diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, changed}));
      }
    }
    if (row.back() < least) {
      least = row.back();
      nearest = known;
    }
  }
  return nearest;
}

} // namespace SF
