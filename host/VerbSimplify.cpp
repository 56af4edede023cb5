#include "SFDagDifferentialOperator.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {

Action AddSimplify(Arguments& ioArguments)
{
  auto const options = std::make_shared<ModelOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples("  sfdag simplify part.sf\n"
                       "  sfdag simplify -x '+ * X f0 * f1 Y'\n\n"
                       "One pass of constant folding and of the rules for 0 and 1. Some of the rules are made for\n"
                       "derivatives and change what a model means; sfdag eval tells.");

  return [options] {
    Model const model = LoadModel(*options);
    auto const simplified = SF::SFDagDifferentialOperator::SimplifyTree(model.root, ZULGetDefaultTolerance());
    PrintLines({CanonicalText(model, simplified != nullptr ? *simplified : *model.root)});
  };
}

} // namespace SFHost
