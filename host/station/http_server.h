// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/station/http_rules.h"
#include "host/station/tls_identity.h"

namespace quillmark::host {

/// Where the server cannot listen; what() says why, next() what to do.
class CannotListen : public std::runtime_error {
 public:
  CannotListen(const std::string& text, std::string next)
      : std::runtime_error(text), next_(std::move(next)) {}
  [[nodiscard]] const std::string& next() const noexcept { return next_; }

 private:
  std::string next_;
};

/// How much the server takes from strangers. Who is over a limit gets an answer that says so, or is
/// cut off where it does not read one.
struct HttpLimits {
  /// Beyond these, the oldest connection that has not shown the cookie is closed for a new one.
  std::size_t connections = 64;
  std::size_t event_streams = 24;
  std::size_t header_bytes = std::size_t{16} * 1024;
  /// For the handshake of TLS, and for the whole header, from its first byte on.
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
  /// So many wrong passwords of all clients together, and then one in each pause: until it is over,
  /// nobody else is let in. Who has the cookie is not held up.
  int wrong_passwords = 5;
  std::chrono::milliseconds password_pause{2'000};
};

/// Texts that change, for the streams of server-sent events: each stream begins with all of them,
/// and gets one again after it has changed. What a stream has not taken yet is not kept: it gets
/// the text as it is when there is room for it.
struct HttpEvents {
  std::size_t count = 0;
  /// The text without line ends; called on the server's thread.
  std::function<std::string(std::size_t)> text{};
};

/// An HTTP/1.1 server for one user. On a loopback address it serves this machine; on another one it
/// needs a TLS identity and a password.
///
/// A client posts a secret to /api/session and gets a cookie for it; without the cookie only open
/// routes are answered. The secret is the password, which the page asks for, or, without one, a
/// random token in the fragment of `url()`, which browsers do not send; GET /api/session says
/// which, as {"asks": "password"} or "token". GET /api/events is the stream of events. Requests
/// with the Host or Origin of another page are refused, so that no page from elsewhere reaches the
/// server through the browser.
///
/// It has threads of its own and may be used from any.
class HttpServer {
 public:
  struct Settings {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;  ///< 0: any that is free
    /// With one, the server speaks TLS alone, and its certificate's names are its own.
    std::shared_ptr<const TlsIdentity> identity{};
    std::string password{};  ///< empty: a token instead
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
  /// "http://127.0.0.1:8017/#token=…", or "https://bench.example:8017/", which has no secret.
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

}  // namespace quillmark::host
