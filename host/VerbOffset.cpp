#include "Failure.h"
#include "SFDagOffsetOperator.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {
namespace {

struct OffsetOptions
{
  ModelOptions model;
  std::optional<double> distance;
  std::optional<std::uint32_t> sides;
  std::optional<std::uint32_t> order;
};

void Offset(OffsetOptions const& iOptions)
{
  Model const model = LoadReadyModel(iOptions.model);
  SF::SFDagOffsetOperator const offsets(model.context);
  bool const twoSided = iOptions.sides == 1U;
  auto const build =
      twoSided ? &SF::SFDagOffsetOperator::BuildTwoSidedOffsetTree : &SF::SFDagOffsetOperator::BuildOneSidedOffsetTree;
  auto const field = (offsets.*build)(model.root, *iOptions.distance, ZULGetDefaultTolerance(),
                                      static_cast<int>(iOptions.order.value_or(1)));
  if (field == nullptr)
    throw Failure(model.name, "has no offset by that distance");
  PrintLines({CanonicalText(model, *field)});
}

} // namespace

Action AddOffset(Arguments& ioArguments)
{
  auto const options = std::make_shared<OffsetOptions>();
  options->model.AddTo(ioArguments);
  ioArguments.Number({.names = "--distance",
                      .values = "D",
                      .help = "How far the surface moves, outwards where D is above 0; the thickness of a shell",
                      .required = true},
                     options->distance, NumberRange::Finite);
  ioArguments.WholeNumber({.names = "--sides", .values = "0|1", .help = "0 moves the surface, 1 makes it a shell (0)"},
                          options->sides, {.least = 0, .most = 1});
  ioArguments.WholeNumber({.names = "--order", .values = "1|2|3", .help = "Order of the approximation (1)"},
                          options->order, {.least = 1, .most = 3});
  ioArguments.Examples("  sfdag offset part.sf --distance 0.5 > larger.sf\n"
                       "  sfdag offset -x '- r + + q X q Y q Z f1' --distance 0.2 --sides 1");
  return [options] { Offset(*options); };
}

} // namespace SFHost
