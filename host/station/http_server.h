// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmark::host {

/// What the own page may load and do: its own files and requests, nothing else, in no frame.
inline constexpr std::string_view kOwnPagePolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
    "img-src 'self' data:; frame-ancestors 'none'; form-action 'none'; base-uri 'none'";

/// A request that the rules of the server let through.
struct HttpRequest {
  std::vector<std::string> parts{};            ///< what the stars of its route stand for
  std::map<std::string, std::string> query{};  ///< decoded; of a repeated name the last value
  std::string body{};
};

struct HttpResponse {
  unsigned status = 200;
  std::string type = "application/json";
  std::string body = "{}";
  std::string policy{kOwnPagePolicy};  ///< its Content-Security-Policy
};

/// A request that cannot be answered; what() says why, for people.
class HttpError : public std::runtime_error {
 public:
  HttpError(unsigned status, const std::string& text) : std::runtime_error(text), status_(status) {}
  [[nodiscard]] unsigned status() const { return status_; }

 private:
  unsigned status_;
};

/// Where the server cannot listen; what() says why and what to do.
class CannotListen : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the server answers.
struct HttpRoute {
  std::string method{};        ///< "GET" or "POST"
  std::string path{};          ///< "/api/bays/*/image"; a star is one part
  std::size_t most_body = 0;   ///< the largest body in bytes
  bool is_open = false;        ///< answered without the cookie
  bool may_take_long = false;  ///< answered beside the server's thread
  /// Raises HttpError. Called on the server's thread, or on several others where it may take long.
  std::function<HttpResponse(const HttpRequest&)> answer{};
};

/// How much the server takes from strangers. Who is over a limit gets an answer that says so, or is
/// cut off where it does not read one.
struct HttpLimits {
  /// Beyond these, the oldest connection that has not shown the cookie is closed for a new one.
  std::size_t connections = 64;
  std::size_t event_streams = 24;
  std::size_t header_bytes = std::size_t{16} * 1024;
  /// For the whole header, from its first byte on.
  std::chrono::milliseconds header_time{10'000};
  std::chrono::milliseconds body_time{60'000};
  /// Before the first byte of a request.
  std::chrono::milliseconds idle_time{30'000};
  /// For a client to take an answer or an event.
  std::chrono::milliseconds write_time{10'000};
  /// Between two events on one stream; what changes meanwhile is told once.
  std::chrono::milliseconds event_pause{50};
  /// Something is sent at least this often, so that a lost connection is noticed.
  std::chrono::milliseconds event_silence{5'000};
};

/// Texts that change, for the streams of server-sent events: each stream begins with all of them,
/// and gets one again after it has changed. What a stream has not taken yet is not kept: it gets
/// the text as it is when there is room for it.
struct HttpEvents {
  std::size_t count = 0;
  /// The text without line ends; called on the server's thread.
  std::function<std::string(std::size_t)> text{};
};

/// An HTTP/1.1 server for one user of this machine. It listens on a loopback address alone.
///
/// The user's browser opens `url()`, whose fragment, which browsers do not send, is a random token.
/// The page posts it to /api/session and gets a cookie for it; without the cookie only open routes
/// are answered. GET /api/events is the stream of events. Requests with the Host or Origin of
/// another page are refused, so that no page from elsewhere reaches the server through the browser.
///
/// It has threads of its own and may be used from any.
class HttpServer {
 public:
  struct Settings {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;  ///< 0: any that is free
    std::vector<HttpRoute> routes{};
    HttpEvents events{};
    HttpLimits limits{};
  };

  /// Listens. Raises CannotListen.
  explicit HttpServer(Settings settings);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  HttpServer(HttpServer&&) = delete;
  HttpServer& operator=(HttpServer&&) = delete;
  ~HttpServer();

  /// Waits for answers that are being made, and closes all connections: no route is called any
  /// more. The destructor does so as well.
  void Close();

  [[nodiscard]] std::uint16_t port() const;
  /// "http://127.0.0.1:8017/#token=…".
  [[nodiscard]] std::string url() const;
  /// How many connections are open.
  [[nodiscard]] std::size_t connections() const;

  /// An event has changed.
  void Tell(std::size_t event);

 private:
  class Core;
  class Connection;

  std::unique_ptr<Core> core_;
};

/// The value of a cookie in the header Cookie; empty if it is not there.
[[nodiscard]] std::string_view CookieIn(std::string_view header, std::string_view name);

/// The names and values of a query, such as "name=a%20b&base=0". Raises HttpError for an invalid
/// escape, and for control characters.
[[nodiscard]] std::map<std::string, std::string> ParseQuery(std::string_view query);

/// What the stars of `pattern` stand for in `path`. False if it does not fit.
[[nodiscard]] bool Fits(std::string_view path, std::string_view pattern,
                        std::vector<std::string>& parts);

}  // namespace quillmark::host
