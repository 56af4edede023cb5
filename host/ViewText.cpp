#include "ViewText.h"

#include "SFExpressionCheck.h"
#include "SFFormula.h"
#include "SFListing.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace SFHost {
namespace {

using Values = std::map<std::string, double>;

Values KnownOnly(Values const& iValues, std::vector<SF::SFParameterInfo> const& iParameters)
{
  Values known;
  for (SF::SFParameterInfo const& parameter : iParameters)
    if (auto const value = iValues.find(parameter.name); value != iValues.end())
      known.insert(*value);
  return known;
}

ViewField WithValues(SF::SFField iField, Values const& iValues)
{
  ViewField read{std::move(iField), {}, {}};
  read.parameters = SF::Parameters(read.field);
  for (auto const& [name, value] : KnownOnly(iValues, read.parameters))
    read.field = SF::With(read.field, name, value);
  return read;
}

/// A formula reads the values itself, so that all that its functions make of them follows.
ViewField ReadFormula(std::string const& iText, Values const& iValues)
{
  auto parameters = SF::SFFormula::ReadParameters(iText);
  SF::SFField field = SF::SFFormula::Read(iText, KnownOnly(iValues, parameters));
  return {std::move(field), std::move(parameters), {}};
}

ViewField ReadExpression(std::string const& iText, Values const& iValues)
{
  constexpr std::size_t mostWarnings = 20;
  ViewField read = WithValues(SF::SFField::FromExpression(iText), iValues);
  std::string onOneLine = iText;
  std::replace_if(
      onOneLine.begin(), onOneLine.end(), [](char iByte) { return iByte >= '\t' && iByte <= '\r'; }, ' ');
  for (auto const& finding : SF::SFExpressionCheck::Check(onOneLine, SF::SFNodeEquality::EExact, mostWarnings))
    read.warnings.push_back({finding.sentence, finding.position, finding.length, true, false});
  return read;
}

} // namespace

std::string_view NameOf(ViewNotation iNotation)
{
  constexpr std::string_view names[] = {"expression", "listing", "formula", "script"};
  return names[static_cast<std::size_t>(iNotation)];
}

ViewField ReadViewField(ViewNotation iNotation, std::string const& iText, Values const& iValues)
{
  try {
    switch (iNotation) {
    case ViewNotation::Expression:
      return ReadExpression(iText, iValues);
    case ViewNotation::Listing:
      return WithValues(SF::ReadListing(iText), iValues);
    case ViewNotation::Formula:
    case ViewNotation::Script:
      return ReadFormula(iText, iValues);
    }
  } catch (SF::SFFormulaError const& error) {
    throw TextProblems({{error.what(), error.GetPlace().offset, error.GetPlace().length}});
  } catch (SF::SFListingError const& error) {
    throw TextProblems({{error.GetReason(), error.GetPosition(), error.GetLength()}});
  } catch (std::logic_error const& error) {
    throw TextProblems({{error.what(), 0, 0, false}});
  }
  throw std::logic_error("unknown notation");
}

} // namespace SFHost
