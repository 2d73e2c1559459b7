// SPDX-License-Identifier: MIT
#pragma once

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "host/station/tls_identity.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host {

using TlsSession = std::unique_ptr<SSL, decltype(&::SSL_free)>;

/// Of a client that takes any certificate. `newest` is a version, 0 the newest that there is.
inline TlsSession NewTlsSession(int newest = 0) {
  const std::unique_ptr<SSL_CTX, decltype(&::SSL_CTX_free)> context(
      ::SSL_CTX_new(::TLS_client_method()), ::SSL_CTX_free);
  ::SSL_CTX_set_security_level(context.get(), 0);  // else it would not even ask for an old version
  ::SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
  ::SSL_CTX_set_max_proto_version(context.get(), newest);
  return {::SSL_new(context.get()), ::SSL_free};
}

/// A client that sends whatever it likes.
class RawClient {
 public:
  enum class Speaks { kPlainly, kTls };

  explicit RawClient(std::uint16_t port, Speaks speaks = Speaks::kPlainly, int newest_tls = 0)
      : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
    EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    // A test that waits for nothing fails instead of hanging.
    const timeval limit{120, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (speaks == Speaks::kTls) {
      std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes to a socket as to a file
      tls_ = NewTlsSession(newest_tls);
      ::SSL_set_fd(tls_.get(), socket_);
      ::ERR_clear_error();
      is_connected_ = ::SSL_connect(tls_.get()) == 1;
      const char* const reason = ::ERR_reason_error_string(::ERR_peek_error());
      failure_ = is_connected_ || reason == nullptr ? "" : reason;
    }
  }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  RawClient(RawClient&& other) noexcept
      : socket_(std::exchange(other.socket_, -1)),
        tls_(std::move(other.tls_)),
        is_connected_(other.is_connected_),
        failure_(std::move(other.failure_)) {}
  RawClient& operator=(RawClient&&) = delete;
  ~RawClient() {
    if (socket_ >= 0) {
      ::close(socket_);
    }
  }

  void Send(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t sent = tls_
                               ? ::SSL_write(tls_.get(), text.data(), static_cast<int>(text.size()))
                               : ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
      if (sent <= 0) {
        return;
      }
      text.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  /// What comes until the server closes, or until `end` has come.
  [[nodiscard]] std::string Read(std::string_view end = {}) const {
    std::string text;
    std::array<char, 4096> part{};
    while (end.empty() || text.find(end) == std::string::npos) {
      const std::size_t most = end.empty() ? part.size() : 1;
      const ssize_t count = tls_ ? ::SSL_read(tls_.get(), part.data(), static_cast<int>(most))
                                 : ::recv(socket_, part.data(), most, 0);
      if (count <= 0) {
        break;
      }
      text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  /// Whether the handshake of TLS came to its end.
  [[nodiscard]] bool is_connected() const { return is_connected_; }
  /// Why it did not.
  [[nodiscard]] const std::string& failure() const { return failure_; }
  /// Whether the server has said that nothing more follows.
  [[nodiscard]] bool HasSeenTheEnd() const {
    return (::SSL_get_shutdown(tls_.get()) & SSL_RECEIVED_SHUTDOWN) != 0;
  }

 private:
  int socket_;
  TlsSession tls_{nullptr, ::SSL_free};
  bool is_connected_ = false;
  std::string failure_;
};

/// A client that keeps the rules: it knows the secret, and gets the cookie for it.
class HttpClient {
 public:
  /// `url` is that of a server that 127.0.0.1 reaches; without a secret it is that of the URL.
  explicit HttpClient(const std::string& url, const std::string& secret = "") {
    const std::size_t host = url.find("://") + 3;
    host_ = url.substr(host, url.find('/', host) - host);
    scheme_ = url.substr(0, host - 3);
    port_ = static_cast<std::uint16_t>(std::stoul(host_.substr(host_.rfind(':') + 1)));
    token_ = secret.empty() ? url.substr(url.find("token=") + 6) : secret;
    const std::string answer = Ask(Post("/api/session", token_, ""));
    const std::size_t start = answer.find("Set-Cookie: ") + 12;
    cookie_ = "Cookie: " + answer.substr(start, answer.find(';', start) - start) + "\r\n";
  }

  [[nodiscard]] const std::string& token() const { return token_; }
  /// A line of a header.
  [[nodiscard]] const std::string& cookie() const { return cookie_; }
  [[nodiscard]] const std::string& host() const { return host_; }
  [[nodiscard]] const std::string& scheme() const { return scheme_; }

  [[nodiscard]] std::string Get(std::string_view path) const { return Ask(Get(path, cookie_)); }
  [[nodiscard]] std::string GetAsStranger(std::string_view path) const {
    return Ask(Get(path, ""));
  }
  [[nodiscard]] std::string Post(std::string_view path, std::string_view body = {}) const {
    return Ask(Post(path, body, cookie_));
  }
  [[nodiscard]] RawClient Events() const {
    RawClient client = Raw();
    client.Send(Get("/api/events", cookie_));
    return client;
  }

  /// A connection of its own.
  [[nodiscard]] RawClient Raw() const {
    return RawClient(port_,
                     scheme_ == "https" ? RawClient::Speaks::kTls : RawClient::Speaks::kPlainly);
  }
  /// What the server answers to one request, which is the last of its connection.
  [[nodiscard]] std::string Ask(std::string_view text) const {
    const RawClient client = Raw();
    client.Send(text);
    return client.Read();
  }

  /// Requests as they are sent; `more` are lines of the header.
  [[nodiscard]] std::string Get(std::string_view path, std::string_view more) const {
    return fmt::format("GET {} HTTP/1.1\r\nHost: {}\r\nConnection: close\r\n{}\r\n", path, host(),
                       more);
  }
  [[nodiscard]] std::string Post(std::string_view path, std::string_view body,
                                 std::string_view more) const {
    return fmt::format(
        "POST {} HTTP/1.1\r\nHost: {}\r\nConnection: close\r\nContent-Length: {}\r\n{}\r\n{}", path,
        host(), body.size(), more, body);
  }

 private:
  std::string scheme_;
  std::string host_;
  std::uint16_t port_ = 0;
  std::string token_;
  std::string cookie_;
};

/// Runs the command "openssl" in a folder.
inline void OpenSsl(const testing::TemporaryFolder& folder, const std::string& arguments) {
  const std::string command =
      fmt::format("cd '{}' && openssl {} 2>openssl.log", folder.Path(""), arguments);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no test has a second thread yet
  ASSERT_EQ(std::system(command.c_str()), 0) << command << '\n' << folder.Read("openssl.log");
}

/// Makes a certificate and its key, NAME.crt and NAME.key, for some hosts.
inline void MakeCertificate(const testing::TemporaryFolder& folder, const std::string& name,
                            const std::string& hosts) {
  OpenSsl(folder, fmt::format("req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "
                              "-subj '/CN=test' -days 3 -keyout {0}.key -out {0}.crt {1}",
                              name, hosts.empty() ? "" : "-addext 'subjectAltName=" + hosts + "'"));
}

/// For 127.0.0.1, bench.example, and whatever is called *.line.example. Its folder is that of a
/// test that has no other.
inline std::shared_ptr<const TlsIdentity> TestIdentity() {
  const testing::TemporaryFolder folder;
  MakeCertificate(folder, "test", "IP:127.0.0.1,DNS:bench.example,DNS:*.line.example");
  return std::make_shared<const TlsIdentity>(folder.Path("test.crt"), folder.Path("test.key"));
}

}  // namespace quillmark::host
