#include "Failure.h"
#include "Model.h"
#include "Output.h"
#include "SFDagToExpression.h"
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
    std::string text;
    Require(SF::SFDagToExpression(model.context).Export(*model.root, text, true, false), model.name,
            "cannot be written as text at level " + std::to_string(options->level));
    Output output("-");
    output.Write(text + "\n");
    output.Commit();
  };
}

} // namespace SFHost
