#include "Streams.h"

#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace SFHost {

void OpenMissingStreams()
{
  for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(stream, F_GETFD) == -1)
      open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace SFHost
