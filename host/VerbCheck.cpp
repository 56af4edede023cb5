#include "Failure.h"
#include "Model.h"
#include "Verbs.h"

namespace SFHost {
Action AddCheck(Arguments& ioArguments)
{
  ioArguments.Examples("  sfdag check bracket.sf\n"
                       "  sfdag check -x '- X f3'\n"
                       "\n"
                       "Ends with status 3 if there are warnings.");

  return [](CommonOptions const& iCommon) {
    if (!CheckModel(iCommon.model))
      throw Ending{ModelStatus};
  };
}

} // namespace SFHost
