#include "Messages.h"
#include "Report.h"
#include "Verbs.h"
#include "ViewServer.h"

#include <memory>
#include <span>

namespace SFHost {

Action AddView(Arguments& ioArguments)
{
  auto const options = std::make_shared<ViewOptions>();
  options->box.AddTo(ioArguments);
  ioArguments.WholeNumbers(
      {.names = "-n,--cells", .values = "N", .help = "Cells along the longest side of the box (96)"},
      std::span(&options->cells, 1), {.least = 8, .most = MaxViewCells});
  ioArguments.WholeNumbers({.names = "--port", .values = "N", .help = "Port of the page (0: any that is free)"},
                           std::span(&options->port, 1), {.most = 65535});
  ioArguments.Examples("  sfdag view examples/gyroid_bracket.sfm\n"
                       "  sfdag view part.sfm --watch --port 8080     the page follows the file\n"
                       "  sfdag view part.py --watch                  of a program that prints a formula\n\n"
                       "The page is for this machine alone; SIGINT (Ctrl-C) ends it.");
  return [options](CommonOptions const& iCommon) {
    ServeView(iCommon, *options, [&](std::uint16_t iPort) {
      Report report;
      std::string const address = std::string("http://127.0.0.1:").append(std::to_string(iPort)).append("/");
      report.Add("url", "page", address, address);
      report.Add("port", "port", iPort, std::to_string(iPort));
      report.Print(iCommon);
    });
  };
}

} // namespace SFHost
