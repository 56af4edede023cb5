#include "Failure.h"
#include "Model.h"
#include "Verbs.h"

namespace SFHost {
namespace {

constexpr int FindingsStatus = 3;

} // namespace

Action AddCheck(Arguments& ioArguments)
{
  auto const options = std::make_shared<ModelOptions>();
  options->AddTo(ioArguments);
  ioArguments.Examples("  sfdag check bracket.sf\n"
                       "  sfdag check -x '- X f3'\n"
                       "\n"
                       "Ends with status 3 if there are warnings.");

  return [options] {
    if (!CheckModel(*options))
      throw Ending{FindingsStatus};
  };
}

} // namespace SFHost
