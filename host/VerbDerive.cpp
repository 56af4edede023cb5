#include "Failure.h"
#include "SFDagDifferentialOperator.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {
namespace {

constexpr std::string_view Axes[] = {"x", "y", "z"};
constexpr SF::SFNodeType Variables[] = {SF::SFNodeType::X, SF::SFNodeType::Y, SF::SFNodeType::Z};

struct DeriveOptions
{
  ModelOptions model;
  std::size_t axis = 0;
  bool simplify = false;
};

void Derive(DeriveOptions const& iOptions)
{
  using Operator = SF::SFDagDifferentialOperator;
  Model const model = LoadReadyModel(iOptions.model);
  SF::SFNodeType const variable = Variables[iOptions.axis];
  auto const derivative = iOptions.simplify
                              ? Operator::BuildGradientTree(model.root, variable, ZULGetDefaultTolerance())
                              : Operator::DifferentiateFunctionTree(model.root, variable);
  if (derivative == nullptr)
    throw Failure(model.name, "has no derivative");
  PrintLines({CanonicalText(model, *derivative)});
}

} // namespace

Action AddDerive(Arguments& ioArguments)
{
  auto const options = std::make_shared<DeriveOptions>();
  options->model.AddTo(ioArguments);
  ioArguments.Choice({.names = "--by", .values = "x|y|z", .help = "The axis", .required = true}, Axes, options->axis);
  ioArguments.Flag({.names = "--simplify", .values = "", .help = "Simplify the derivative"}, options->simplify);
  ioArguments.Examples("  sfdag derive part.sf --by z --simplify\n"
                       "  sfdag derive -x '* X X' --by x\n\n"
                       "The derivative of MIN (U), and so of the symmetric difference (D), is not the textbook's:\n"
                       "it is the difference of both derivatives where the left operand is less, and 0 elsewhere.");
  return [options] { Derive(*options); };
}

} // namespace SFHost
