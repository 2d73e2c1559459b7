// SPDX-License-Identifier: MIT
// What a request to the station's server is, and which requests may be made. Nothing here knows a
// socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
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

/// The header of a request, as far as the rules look at it.
struct HttpHead {
  std::string_view method{};
  std::string_view target{};
  std::vector<std::string_view> hosts{};    ///< the value of each line Host
  std::vector<std::string_view> origins{};  ///< of each line Origin
  std::vector<std::string_view> cookies{};  ///< of each line Cookie
  std::string_view site{};                  ///< of Sec-Fetch-Site
};

/// Who may ask a server what.
struct HttpRules {
  std::string scheme = "http";
  std::uint16_t port = 0;
  /// What the server is called in an address: "127.0.0.1", "[::1]", "bench.example", "*.example",
  /// where the star is one label.
  std::vector<std::string> names{};
  std::string cookie_name{};
  std::string cookie{};  ///< what a client that is in sends
  std::vector<HttpRoute> routes{};

  /// The route of a request that may be made, before its body is read. Fills in its parts and its
  /// query. Raises HttpError. `has_cookie` is set as soon as it is known, also if it raises.
  [[nodiscard]] const HttpRoute& RouteOf(const HttpHead& head, HttpRequest& request,
                                         bool& has_cookie) const;
  /// Whether the value of Host is this server. Another name may be another page's, which lets its
  /// name stand for this machine.
  [[nodiscard]] bool IsOwnHost(std::string_view host) const;
  [[nodiscard]] bool HasCookie(const HttpHead& head) const;
};

/// Whether what a stranger gave is the secret, which an empty one never is. How long it takes
/// depends on what was given alone: the time tells nothing about the secret.
[[nodiscard]] bool IsSecret(std::string_view given, std::string_view secret);

/// The value of a cookie in the header Cookie; empty if it is not there.
[[nodiscard]] std::string_view CookieIn(std::string_view header, std::string_view name);

/// The names and values of a query, such as "name=a%20b&base=0". Raises HttpError for an invalid
/// escape, and for control characters.
[[nodiscard]] std::map<std::string, std::string> ParseQuery(std::string_view query);

/// What the stars of `pattern` stand for in `path`. False if it does not fit.
[[nodiscard]] bool Fits(std::string_view path, std::string_view pattern,
                        std::vector<std::string>& parts);

}  // namespace quillmark::host
