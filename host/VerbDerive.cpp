#include "Failure.h"
#include "SFDagDifferentialOperator.h"
#include "SFFieldCalculus.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {
namespace {

constexpr std::string_view Axes[] = {"x", "y", "z"};
constexpr SF::SFNodeType Variables[] = {SF::SFNodeType::X, SF::SFNodeType::Y, SF::SFNodeType::Z};

struct DeriveOptions
{
  TextOptions text;
  std::size_t axis = 0;
  bool simplify = false;
};

std::string DeriveStrictly(CommonOptions const& iCommon, DeriveOptions const& iOptions)
{
  using Operator = SF::SFDagDifferentialOperator;
  Model const model = LoadReadyModel(iCommon.model);
  SF::SFNodeType const variable = Variables[iOptions.axis];
  auto const derivative = iOptions.simplify
                              ? Operator::BuildGradientTree(model.root, variable, ZULGetDefaultTolerance())
                              : Operator::DifferentiateFunctionTree(model.root, variable);
  if (derivative == nullptr)
    throw ModelFailure(model.name, "has no derivative");
  return CanonicalText(iCommon, model, *derivative);
}

void Derive(CommonOptions const& iCommon, DeriveOptions const& iOptions)
{
  RequireOtherFile(iCommon.model, iOptions.text.path);
  if (iCommon.model.strict)
    return WriteText(iCommon, iOptions.text, DeriveStrictly(iCommon, iOptions));
  FieldModel const model = LoadField(iCommon.model);
  WriteText(iCommon, iOptions.text,
            {model.name, Named(model.name, [&] { return SF::Gradient(model.field)[iOptions.axis]; })});
}

} // namespace

Action AddDerive(Arguments& ioArguments)
{
  auto const options = std::make_shared<DeriveOptions>();
  options->text.AddTo(ioArguments);
  ioArguments.Choice({.names = "--by", .values = "x|y|z", .help = "The axis", .required = true}, Axes, options->axis);
  ioArguments.Flag({.names = "--simplify", .values = "", .help = "With --strict: simplify the derivative"},
                   options->simplify);
  ioArguments.Examples(
      "  sfdag derive part.sf --by z -o part_z.vm\n"
      "  sfdag derive -x '* X X' --by x\n\n"
      "By the rules of calculus; at a kink the derivative of one side. With --strict that of MIN (U), and so\n"
      "of the symmetric difference (D), is the difference of both derivatives where the left operand is\n"
      "less, and 0 elsewhere.");
  return [options](CommonOptions const& iCommon) { Derive(iCommon, *options); };
}

} // namespace SFHost
