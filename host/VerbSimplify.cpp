#include "SFDagDifferentialOperator.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {
namespace {

struct SimplifyOptions
{
  ModelOptions model;
  TextOptions text;
};

std::string SimplifyStrictly(ModelOptions const& iOptions)
{
  Model const model = LoadModel(iOptions);
  auto const simplified = SF::SFDagDifferentialOperator::SimplifyTree(model.root, ZULGetDefaultTolerance());
  return CanonicalText(model, simplified != nullptr ? *simplified : *model.root);
}

} // namespace

Action AddSimplify(Arguments& ioArguments)
{
  auto const options = std::make_shared<SimplifyOptions>();
  options->model.AddTo(ioArguments);
  options->text.AddTo(ioArguments);
  ioArguments.Examples(
      "  sfdag simplify part.sf\n"
      "  sfdag simplify -x '+ * X f1 * f2 f3'\n\n"
      "Transforms, blends and offsets become operators, constants are folded, and what changes no bit is\n"
      "left out. With --strict: one pass of constant folding and of the rules for 0 and 1, some of which\n"
      "are made for derivatives and change what a model means.");

  return [options] {
    RequireOtherFile(options->model, options->text.path);
    if (options->model.strict)
      WriteText(options->text, SimplifyStrictly(options->model));
    else
      WriteText(options->text, LoadField(options->model));
  };
}

} // namespace SFHost
