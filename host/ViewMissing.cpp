#include "Failure.h"
#include "ViewServer.h"

namespace SFHost {

void ServeView(CommonOptions const&, ViewOptions const&, std::function<void(std::uint16_t)> const&)
{
  throw Failure("view", "this program has been built without the page, which needs cpp-httplib and three.js");
}

} // namespace SFHost
