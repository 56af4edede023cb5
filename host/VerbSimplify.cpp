#include "SFDagDifferentialOperator.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {
namespace {

std::string SimplifyStrictly(CommonOptions const& iCommon)
{
  Model const model = LoadModel(iCommon.model);
  auto const simplified = SF::SFDagDifferentialOperator::SimplifyTree(model.root, ZULGetDefaultTolerance());
  return CanonicalText(iCommon, model, simplified != nullptr ? *simplified : *model.root);
}

} // namespace

Action AddSimplify(Arguments& ioArguments)
{
  auto const options = std::make_shared<TextOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples(
      "  sfdag simplify part.sf\n"
      "  sfdag simplify -x '+ * X f1 * f2 f3'\n\n"
      "Transforms, blends and offsets become operators, constants are folded, and what changes no bit is\n"
      "left out. With --strict: one pass of constant folding and of the rules for 0 and 1, some of which\n"
      "are made for derivatives and change what a model means.");

  return [options](CommonOptions const& iCommon) {
    RequireOtherFile(iCommon.model, options->path);
    if (iCommon.model.strict)
      WriteText(iCommon, *options, SimplifyStrictly(iCommon));
    else
      WriteText(iCommon, *options, LoadField(iCommon.model));
  };
}

} // namespace SFHost
