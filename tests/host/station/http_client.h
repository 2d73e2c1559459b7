// SPDX-License-Identifier: MIT
#pragma once

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace quillmark::host {

/// A client that sends whatever it likes.
class RawClient {
 public:
  explicit RawClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
    EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    // A test that waits for nothing fails instead of hanging.
    const timeval limit{120, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  RawClient(RawClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
  RawClient& operator=(RawClient&&) = delete;
  ~RawClient() {
    if (socket_ >= 0) {
      ::close(socket_);
    }
  }

  void Send(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
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
      const ssize_t count = ::recv(socket_, part.data(), end.empty() ? part.size() : 1, 0);
      if (count <= 0) {
        break;
      }
      text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int socket_;
};

/// A client that keeps the rules: it knows the token, and gets the cookie for it.
class HttpClient {
 public:
  /// `url` is that of a server on 127.0.0.1.
  explicit HttpClient(const std::string& url) {
    constexpr std::string_view kBegin = "http://127.0.0.1:";
    port_ = static_cast<std::uint16_t>(std::stoul(url.substr(kBegin.size())));
    token_ = url.substr(url.find("token=") + 6);
    const std::string answer = Ask(Post("/api/session", token_, ""));
    const std::size_t start = answer.find("Set-Cookie: ") + 12;
    cookie_ = "Cookie: " + answer.substr(start, answer.find(';', start) - start) + "\r\n";
  }

  [[nodiscard]] const std::string& token() const { return token_; }
  /// A line of a header.
  [[nodiscard]] const std::string& cookie() const { return cookie_; }
  [[nodiscard]] std::string host() const { return fmt::format("127.0.0.1:{}", port_); }

  [[nodiscard]] std::string Get(std::string_view path) const { return Ask(Get(path, cookie_)); }
  [[nodiscard]] std::string GetAsStranger(std::string_view path) const {
    return Ask(Get(path, ""));
  }
  [[nodiscard]] std::string Post(std::string_view path, std::string_view body = {}) const {
    return Ask(Post(path, body, cookie_));
  }
  [[nodiscard]] RawClient Events() const {
    RawClient client(port_);
    client.Send(Get("/api/events", cookie_));
    return client;
  }

  /// What the server answers to one request, which is the last of its connection.
  [[nodiscard]] std::string Ask(std::string_view text) const {
    const RawClient client(port_);
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
  std::uint16_t port_ = 0;
  std::string token_;
  std::string cookie_;
};

}  // namespace quillmark::host
