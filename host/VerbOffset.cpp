#include "Failure.h"
#include "SFDagOffsetOperator.h"
#include "SFFieldCalculus.h"
#include "Text.h"
#include "Verbs.h"

#include <cmath>

namespace SFHost {
namespace {

struct OffsetOptions
{
  TextOptions text;
  std::optional<double> distance;
  std::optional<std::uint32_t> sides;
  std::optional<std::uint32_t> order;
};

std::string OffsetStrictly(CommonOptions const& iCommon, OffsetOptions const& iOptions)
{
  Model const model = LoadReadyModel(iCommon.model);
  SF::SFDagOffsetOperator const offsets(model.context);
  bool const twoSided = iOptions.sides == 1U;
  auto const build =
      twoSided ? &SF::SFDagOffsetOperator::BuildTwoSidedOffsetTree : &SF::SFDagOffsetOperator::BuildOneSidedOffsetTree;
  auto const field = (offsets.*build)(model.root, *iOptions.distance, ZULGetDefaultTolerance(),
                                      static_cast<int>(iOptions.order.value_or(1)));
  if (field == nullptr)
    throw ModelFailure(model.name, "has no offset by that distance");
  return CanonicalText(iCommon, model, *field);
}

SF::SFField Moved(SF::SFField const& iField, OffsetOptions const& iOptions)
{
  if (iOptions.sides != 1U)
    return SF::Offset(iField, *iOptions.distance);
  double const half = std::abs(*iOptions.distance) / 2.0;
  return SF::Difference(SF::Offset(iField, half), SF::Offset(iField, -half));
}

void Offset(CommonOptions const& iCommon, OffsetOptions const& iOptions)
{
  RequireOtherFile(iCommon.model, iOptions.text.path);
  if (iCommon.model.strict)
    return WriteText(iCommon, iOptions.text, OffsetStrictly(iCommon, iOptions));
  if (iOptions.order)
    throw UsageError("--order: only --strict has orders");
  FieldModel const model = LoadField(iCommon.model);
  WriteText(iCommon, iOptions.text, {model.name, Named(model.name, [&] { return Moved(model.field, iOptions); })});
}

} // namespace

Action AddOffset(Arguments& ioArguments)
{
  auto const options = std::make_shared<OffsetOptions>();
  options->text.AddTo(ioArguments);
  ioArguments.Number({.names = "--distance",
                      .values = "D",
                      .help = "How far the surface moves, outwards where D is above 0; the thickness of a shell",
                      .required = true},
                     options->distance, NumberRange::Finite);
  ioArguments.WholeNumber({.names = "--sides", .values = "0|1", .help = "0 moves the surface, 1 makes it a shell (0)"},
                          options->sides, {.least = 0, .most = 1});
  ioArguments.WholeNumber(
      {.names = "--order", .values = "1|2|3", .help = "With --strict: order of the approximation (1)"}, options->order,
      {.least = 1, .most = 3});
  ioArguments.Examples(
      "  sfdag offset part.sf --distance 0.5 -o larger.vm\n"
      "  sfdag offset -x '- r + + q X q Y q Z f1' --distance 0.2 --sides 1\n\n"
      "Exact for planes and distances, else of first order. A listing (.vm) keeps shared parts shared.");
  return [options](CommonOptions const& iCommon) { Offset(iCommon, *options); };
}

} // namespace SFHost
