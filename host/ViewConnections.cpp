#include "ViewConnections.h"

#include "Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace SFHost {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char const* Loopback = "127.0.0.1";
constexpr std::size_t Threads = 32;
constexpr auto RequestTime = std::chrono::seconds(5);
constexpr auto ResponseTime = std::chrono::seconds(30);
constexpr auto ClosingTime = std::chrono::milliseconds(500);

/// A connection whose request and response have deadlines of their own, however the client divides them up.
class Connection : public httplib::Stream
{
public:
  explicit Connection(socket_t iSocket) : _socket(iSocket) {}

  bool is_readable() const override { return _next < _end || Wait(POLLIN, _requestEnd); }
  bool is_writable() const override { return Wait(POLLOUT, Clock::now() + ResponseTime); }
  socket_t socket() const override { return _socket; }
  void get_remote_ip_and_port(std::string& oHost, int& oPort) const override { Here(oHost, oPort); }
  void get_local_ip_and_port(std::string& oHost, int& oPort) const override { Here(oHost, oPort); }

  ssize_t read(char* oBytes, std::size_t iSize) override
  {
    if (_next == _end && !Fill())
      return -1;
    std::size_t const size = std::min(iSize, _end - _next);
    std::copy_n(_buffer.data() + _next, size, oBytes);
    _next += size;
    return static_cast<ssize_t>(size);
  }

  ssize_t write(char const* iBytes, std::size_t iSize) override
  {
    if (!_isAnswering)
      _responseEnd = Clock::now() + ResponseTime;
    _isAnswering = true;
    for (std::size_t sent = 0; sent < iSize;) {
      if (!Wait(POLLOUT, _responseEnd))
        return -1;
      ssize_t const count = send(_socket, iBytes + sent, iSize - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count < 0 && errno != EINTR && errno != EAGAIN)
        return -1;
      sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return static_cast<ssize_t>(iSize);
  }

  /// Ends the connection. What still comes is thrown away for a moment: otherwise the system takes back a response that
  /// the client has not read yet.
  void Close()
  {
    shutdown(_socket, SHUT_WR);
    auto const end = Clock::now() + ClosingTime;
    while (Wait(POLLIN, end) && recv(_socket, _buffer.data(), _buffer.size(), MSG_DONTWAIT) > 0)
      continue;
    close(_socket);
  }

private:
  static void Here(std::string& oHost, int& oPort)
  {
    oHost = Loopback;
    oPort = 0;
  }

  bool Wait(int iEvent, Clock::time_point iEnd) const
  {
    for (;;) {
      auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(iEnd - Clock::now()).count();
      pollfd waited{_socket, static_cast<short>(iEvent), 0};
      int const ready = left <= 0 ? 0 : poll(&waited, 1, static_cast<int>(left));
      if (ready > 0 || ready == 0 || errno != EINTR)
        return ready > 0;
    }
  }

  bool Fill()
  {
    if (_received >= ViewConnections::MaxRequest || !Wait(POLLIN, _requestEnd))
      return false;
    ssize_t const count = recv(_socket, _buffer.data(), _buffer.size(), MSG_DONTWAIT);
    if (count <= 0)
      return false;
    _next = 0;
    _end = static_cast<std::size_t>(count);
    _received += _end;
    return true;
  }

  socket_t _socket;
  Clock::time_point _requestEnd = Clock::now() + RequestTime;
  Clock::time_point _responseEnd;
  bool _isAnswering = false;
  std::array<char, 16384> _buffer;
  std::size_t _next = 0;
  std::size_t _end = 0;
  std::size_t _received = 0;
};

bool Refuse(httplib::Response& oResponse, int iStatus, char const* iWhy)
{
  oResponse.status = iStatus;
  oResponse.set_content(std::string(iWhy) + "\n", "text/plain");
  return true;
}

/// The body is what the head says it is, plain and within the limits.
bool RefuseBody(httplib::Request const& iRequest, httplib::Response& oResponse)
{
  if (iRequest.has_header("Transfer-Encoding") || iRequest.has_header("Content-Encoding"))
    return Refuse(oResponse, 415, "bodies are plain, with a Content-Length");
  if (iRequest.get_header_value<std::uint64_t>("Content-Length") > ViewConnections::MaxBody)
    return Refuse(oResponse, 413, "the request is too large");
  if (iRequest.method == "POST" && iRequest.get_header_value("Content-Type") != "application/json")
    return Refuse(oResponse, 415, "bodies are application/json");
  return false;
}

} // namespace

ViewConnections::ViewConnections()
{
  new_task_queue = [] { return new httplib::ThreadPool(Threads); };
  // The library's own choice would let another process share the port.
  set_socket_options([](socket_t iSocket) {
    int const yes = 1;
    setsockopt(iSocket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  set_tcp_nodelay(true);
  set_payload_max_length(MaxBody);
  set_default_headers({{"Content-Security-Policy",
                        "default-src 'self'; img-src 'self' data: blob:; frame-ancestors 'none'; base-uri 'none'; "
                        "form-action 'none'"},
                       {"Cross-Origin-Resource-Policy", "same-origin"},
                       {"X-Content-Type-Options", "nosniff"},
                       {"Referrer-Policy", "no-referrer"},
                       {"Cache-Control", "no-store"}});
  set_pre_routing_handler(
      [this](httplib::Request const& iRequest, httplib::Response& oResponse) { return Guard(iRequest, oResponse); });
}

std::uint16_t ViewConnections::Bind(std::uint16_t iPort)
{
  errno = 0;
  int const port = iPort == 0 ? bind_to_any_port(Loopback) : bind_to_port(Loopback, iPort) ? iPort : -1;
  if (port <= 0)
    throw SystemFailure(std::string("port ").append(std::to_string(iPort)), errno);
  return _port = static_cast<std::uint16_t>(port);
}

bool ViewConnections::process_and_close_socket(socket_t iSocket)
{
  Connection connection(iSocket);
  bool closed = false;
  // Answers are not compressed: that would take longer than their way.
  bool const done = process_request(connection, true, closed,
                                    [](httplib::Request& ioRequest) { ioRequest.headers.erase("Accept-Encoding"); });
  connection.Close();
  return done;
}

bool ViewConnections::IsOurs(std::string const& iAuthority) const
{
  std::string const port = std::string(":").append(std::to_string(_port));
  return iAuthority == Loopback + port || iAuthority == "localhost" + port;
}

httplib::Server::HandlerResponse ViewConnections::Guard(httplib::Request const& iRequest,
                                                        httplib::Response& oResponse) const
{
  std::string const scheme = "http://";
  std::string const origin = iRequest.get_header_value("Origin");
  std::string const site = iRequest.get_header_value("Sec-Fetch-Site");
  bool const isOpened = iRequest.path == "/" && iRequest.get_header_value("Sec-Fetch-Mode") == "navigate";
  bool const isOurs =
      iRequest.get_header_value_count("Host") == 1 && IsOurs(iRequest.get_header_value("Host")) &&
      (!iRequest.has_header("Origin") || (origin.starts_with(scheme) && IsOurs(origin.substr(scheme.size())))) &&
      (site.empty() || site == "same-origin" || site == "none" || isOpened);
  bool const isRefused =
      !isOurs ? Refuse(oResponse, 403, "only for the page of this program") : RefuseBody(iRequest, oResponse);
  return isRefused ? HandlerResponse::Handled : HandlerResponse::Unhandled;
}

} // namespace SFHost
