#pragma once

#include "SFFormula.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace SF {

using SFFormulaVector = std::vector<SFField>;
using SFFormulaPoints = std::vector<SFFormulaVector>;

/// A value while a formula is read: a field, a vector of fields, a list of vectors, or a text. No value is nested
/// deeper, so that destroying one needs no stack.
using SFFormulaValue = std::variant<SFField, SFFormulaVector, SFFormulaPoints, std::string>;

/// The arguments of one call, by the names of the function's table row. Each access throws std::invalid_argument, with the
/// name of the argument, for a value of another kind.
class SFFormulaCall
{
public:
  SFFormulaCall(SFFormulaFunction const& iFunction, std::vector<std::vector<SFFormulaValue>> iValues,
                SFResourceResolver* iResolver)
    : _function(iFunction), _values(std::move(iValues)), _resolver(iResolver)
  {
  }

  SFField const& Field(std::string_view iName) const;
  /// All values of the variadic argument.
  std::vector<SFField> Fields(std::string_view iName) const;
  /// A field without coordinates, as a number: its parameters have their present value in it.
  double Number(std::string_view iName) const;
  unsigned int Count(std::string_view iName) const;
  /// Three numbers.
  std::array<double, 3> Vector(std::string_view iName) const;
  std::array<unsigned int, 3> Counts(std::string_view iName) const;
  /// A vector of `iSize` fields.
  SFFormulaVector const& VectorOf(std::string_view iName, std::size_t iSize) const;
  /// A list of vectors of `iSize` numbers each.
  std::vector<std::vector<double>> Points(std::string_view iName, std::size_t iSize) const;
  std::string const& Text(std::string_view iName) const;
  SFResourceResolver* GetResolver() const { return _resolver; }

private:
  std::vector<SFFormulaValue> const& Values(std::string_view iName) const;
  SFFormulaValue const& Value(std::string_view iName) const { return Values(iName).front(); }

  SFFormulaFunction const& _function;
  std::vector<std::vector<SFFormulaValue>> _values; ///< by argument
  SFResourceResolver* _resolver;
};

/// A row of the table of functions.
struct SFFormulaRow
{
  SFFormulaFunction function;
  SFField (*apply)(SFFormulaCall const&);
};

/// The rows of shapes.
std::vector<SFFormulaRow> FormulaShapeRows();
/// All rows in alphabetical order.
std::vector<SFFormulaRow> const& FormulaRows();
/// Null where there is none of the name.
SFFormulaRow const* FindFormulaRow(std::string_view iName);
/// The name among those of a list that is nearest to a misspelt one; empty when none is near.
std::string_view NearestName(std::string_view iName, std::vector<std::string_view> const& iKnown);

} // namespace SF
