#pragma once

#include "CommonOptions.h"
#include "Grid.h"

#include <cstdint>
#include <functional>
#include <string>

namespace SFHost {

struct ViewOptions
{
  BoxOptions box;
  std::uint32_t cells = 96; ///< on the longest side of the box, until the page says otherwise
  std::uint32_t port = 0;   ///< 0 for a free one
};

constexpr std::uint32_t MaxViewCells = 384;

/// Serves the page of a model on the loopback interface until the process ends. `iReady` is told the port before the first request is
/// answered. Throws a Failure, also where this program has been built without the page.
void ServeView(CommonOptions const& iCommon, ViewOptions const& iOptions,
               std::function<void(std::uint16_t iPort)> const& iReady);

} // namespace SFHost
