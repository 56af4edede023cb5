#include "Failure.h"
#include "SFDagCloner.h"
#include "SFDagDifferentialOperator.h"
#include "SFFieldCalculus.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {

namespace {

std::vector<std::string> StrictGradient(ModelOptions const& iOptions)
{
  Model const model = LoadReadyModel(iOptions);
  std::vector<std::string> lines;
  for (SF::SFNodeType const variable : {SF::SFNodeType::X, SF::SFNodeType::Y, SF::SFNodeType::Z}) {
    // A component rewrites the field that it came from, and the next one would see that.
    auto const field = SF::SFDagCloner::Clone(model.root);
    auto const component = SF::SFDagDifferentialOperator::BuildGradientTree(field, variable, ZULGetDefaultTolerance());
    if (component == nullptr)
      throw Failure(model.name, "has no gradient");
    lines.push_back(CanonicalText(model, *component));
  }
  return lines;
}

std::vector<std::string> PlainGradient(ModelOptions const& iOptions)
{
  FieldModel const model = LoadField(iOptions);
  return Named(model.name, [&] {
    std::vector<std::string> lines;
    for (SF::SFField const& component : SF::Gradient(model.field))
      lines.push_back(component.ToExpression());
    return lines;
  });
}

} // namespace

Action AddGradient(Arguments& ioArguments)
{
  auto const options = std::make_shared<ModelOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples(
      "  sfdag gradient part.sf\n"
      "  sfdag gradient -x '- r + + q X q Y q Z f1'\n\n"
      "The lines are those of sfdag derive along x, y and z (with --strict, those of derive --simplify).");

  return [options] { PrintLines(options->strict ? StrictGradient(*options) : PlainGradient(*options)); };
}

} // namespace SFHost
