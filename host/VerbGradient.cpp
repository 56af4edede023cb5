#include "Failure.h"
#include "Report.h"
#include "SFDagCloner.h"
#include "SFDagDifferentialOperator.h"
#include "SFFieldCalculus.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {

namespace {

std::vector<std::string> StrictGradient(CommonOptions const& iCommon)
{
  Model const model = LoadReadyModel(iCommon.model);
  std::vector<std::string> lines;
  for (SF::SFNodeType const variable : {SF::SFNodeType::X, SF::SFNodeType::Y, SF::SFNodeType::Z}) {
    // A component rewrites the field that it came from, and the next one would see that.
    auto const field = SF::SFDagCloner::Clone(model.root);
    auto const component = SF::SFDagDifferentialOperator::BuildGradientTree(field, variable, ZULGetDefaultTolerance());
    if (component == nullptr)
      throw ModelFailure(model.name, "has no gradient");
    lines.push_back(CanonicalText(iCommon, model, *component));
  }
  return lines;
}

std::vector<std::string> PlainGradient(CommonOptions const& iCommon)
{
  FieldModel const model = LoadField(iCommon.model);
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
  ioArguments.Examples(
      "  sfdag gradient part.sf\n"
      "  sfdag gradient -x '- r + + q X q Y q Z f1'\n\n"
      "The lines are those of sfdag derive along x, y and z (with --strict, those of derive --simplify).");

  return [](CommonOptions const& iCommon) {
    auto const components = iCommon.model.strict ? StrictGradient(iCommon) : PlainGradient(iCommon);
    Report report;
    for (std::size_t axis = 0; axis < components.size(); ++axis)
      report.Add(std::string(1, "xyz"[axis]), "", components[axis], components[axis]);
    report.Print(iCommon);
  };
}

} // namespace SFHost
