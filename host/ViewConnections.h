#pragma once

#include <httplib.h>

#include <cstdint>
#include <string>

namespace SFHost {

/// An HTTP server for the pages of this program alone, on the loopback interface. A connection carries one request, which must
/// arrive within seconds and be no larger than `MaxRequest`; slow and endless ones are cut off. Requests that other sites'
/// pages cause, by a name that leads here (Host) or from a page of theirs (Origin, Sec-Fetch-Site), are refused with 403
/// before their body is read.
class ViewConnections : public httplib::Server
{
public:
  static constexpr std::size_t MaxBody = std::size_t{16} << 20;
  static constexpr std::size_t MaxRequest = MaxBody + (std::size_t{64} << 10);

  ViewConnections();

  /// Takes a port, a free one for 0, and returns it. Throws a Failure.
  std::uint16_t Bind(std::uint16_t iPort);

private:
  bool process_and_close_socket(socket_t iSocket) override;
  HandlerResponse Guard(httplib::Request const& iRequest, httplib::Response& oResponse) const;
  bool IsOurs(std::string const& iAuthority) const;

  std::uint16_t _port = 0;
};

} // namespace SFHost
