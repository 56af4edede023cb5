#include "Model.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {

Action AddText(Arguments& ioArguments)
{
  auto const options = std::make_shared<ModelOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples("  sfdag text bracket.sf\n"
                       "  sfdag text -x '+X*Yf2'");

  return [options] {
    Model const model = LoadModel(*options);
    PrintLines({CanonicalText(model, *model.root)});
  };
}

} // namespace SFHost
