// SPDX-License-Identifier: MIT
#include "host/station/http_server.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <charconv>
#include <limits>
#include <list>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "quillmark/host/records.h"

namespace quillmark::host {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using std::chrono::milliseconds;

/// A body of more than this counts as an upload, of which only few are in memory at once.
constexpr std::size_t kUpload = std::size_t{64} * 1024;
constexpr int kMostUploads = 4;
constexpr std::size_t kMostTarget = 2048;

/// How long a refused client may go on sending, so that it sees the answer and not a reset.
constexpr milliseconds kLinger{1000};
constexpr int kMostLingeringReads = 1024;

/// Text that is compared with a secret: the time tells nothing about it.
bool AreEqual(std::string_view left, std::string_view right) {
  unsigned difference = left.size() == right.size() ? 0 : 1;
  for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) {
    difference |= static_cast<unsigned char>(left[i]) ^ static_cast<unsigned char>(right[i]);
  }
  return difference == 0;
}

std::string_view View(boost::string_view text) { return {text.data(), text.size()}; }

HttpResponse Refusal(unsigned status, const std::string& text) {
  const nlohmann::json body = {{"error", text}};
  HttpResponse response;
  response.status = status;
  response.body = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return response;
}

std::string WithoutPort(const tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return endpoint.address().is_v6() ? '[' + address + ']' : address;
}

}  // namespace

std::string_view CookieIn(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    const std::size_t end = std::min(header.find(';'), header.size());
    std::string_view pair = header.substr(0, end);
    header.remove_prefix(std::min(end + 1, header.size()));
    pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
    if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=') {
      return pair.substr(name.size() + 1);
    }
  }
  return {};
}

namespace {

std::string Decoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned value = static_cast<unsigned char>(text[i]);
    if (text[i] == '+') {
      value = ' ';
    } else if (text[i] == '%') {
      const std::string_view digits = text.substr(i + 1, 2);
      const char* const end = digits.data() + digits.size();
      const auto read = std::from_chars(digits.data(), end, value, 16);
      if (digits.size() != 2 || read.ptr != end) {
        throw HttpError(400, "expected two hexadecimal digits after % in the address");
      }
      i += 2;
    }
    if (value < 0x20 || value == 0x7F) {
      throw HttpError(400, "the address contains a control character");
    }
    decoded += static_cast<char>(value);
  }
  return decoded;
}

}  // namespace

std::map<std::string, std::string> ParseQuery(std::string_view query) {
  std::map<std::string, std::string> values;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    const std::size_t sign = std::min(pair.find('='), pair.size());
    values[Decoded(pair.substr(0, sign))] = Decoded(pair.substr(std::min(sign + 1, pair.size())));
  }
  return values;
}

bool Fits(std::string_view path, std::string_view pattern, std::vector<std::string>& parts) {
  parts.clear();
  while (!path.empty() && !pattern.empty()) {
    const std::size_t path_end = std::min(path.find('/', 1), path.size());
    const std::size_t pattern_end = std::min(pattern.find('/', 1), pattern.size());
    const std::string_view part = path.substr(0, path_end);
    if (pattern.substr(0, pattern_end) == "/*") {
      parts.emplace_back(part.substr(std::min<std::size_t>(1, part.size())));
    } else if (part != pattern.substr(0, pattern_end)) {
      return false;
    }
    path.remove_prefix(path_end);
    pattern.remove_prefix(pattern_end);
  }
  return path.empty() && pattern.empty();
}

class HttpServer::Core {
 public:
  explicit Core(Settings settings);
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;
  Core(Core&&) = delete;
  Core& operator=(Core&&) = delete;
  ~Core() { Close(); }

  void Close();
  [[nodiscard]] std::uint16_t port() const { return endpoint_.port(); }
  [[nodiscard]] std::string Url() const {
    return fmt::format("http://{}:{}/#token={}", WithoutPort(endpoint_), port(), token_);
  }
  [[nodiscard]] std::size_t connections() const { return open_; }
  void Tell(std::size_t event);

 private:
  friend class Connection;

  void Accept();
  void Admit(tcp::socket socket);
  void Remove(const Connection* connection);
  /// Closes the oldest connection of a stranger; false if there is none.
  bool MakeRoom();
  [[nodiscard]] bool IsOwnHost(std::string_view host) const;
  /// The route of a request that may be made, before its body is read. Raises HttpError.
  [[nodiscard]] const HttpRoute& RouteOf(const http::request_header<>& header, bool& has_cookie,
                                         HttpRequest& request) const;
  [[nodiscard]] bool HasCookie(const http::request_header<>& header) const;
  [[nodiscard]] HttpRoute SessionRoute();

  std::vector<HttpRoute> routes_;
  HttpEvents events_;
  HttpLimits limits_;
  /// Browsers send cookies to every port of a host: the name tells servers apart.
  std::string cookie_name_;
  const std::string token_ = NewRunId();
  const std::string cookie_ = NewRunId();

  asio::io_context context_{1};
  asio::executor_work_guard<asio::io_context::executor_type> work_ =
      asio::make_work_guard(context_);
  asio::thread_pool slow_{2};
  tcp::acceptor acceptor_{context_};
  asio::steady_timer accept_again_{context_};
  tcp::endpoint endpoint_;
  std::list<std::shared_ptr<Connection>> connections_;
  std::atomic<std::size_t> open_ = 0;
  int uploads_ = 0;
  std::size_t streams_ = 0;
  std::thread thread_;
};

/// One connection, on the server's thread. It lives as long as something of it is under way.
class HttpServer::Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(Core& core, tcp::socket socket)
      : core_(core),
        socket_(std::move(socket)),
        timer_(socket_.get_executor()),
        pause_(socket_.get_executor()) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection(Connection&&) = delete;
  Connection& operator=(Connection&&) = delete;
  ~Connection() = default;

  void WaitForRequest();
  void Close();
  void OnEvent(std::size_t event);
  [[nodiscard]] bool is_known() const { return is_known_; }

 private:
  using Parser = http::request_parser<http::string_body>;

  void ReadHeader();
  void OnHeader(error_code error);
  void ReadBody();
  void Answer();
  void Send(const HttpResponse& response, bool keeps_alive);
  void Refuse(unsigned status, const std::string& text) { Send(Refusal(status, text), false); }
  void RefuseWrong(error_code error);
  void Linger(int reads);
  void EndUpload();

  void BeginStream();
  void WatchStream();
  void Flush();
  void Write(std::string text);

  /// Cancels what the socket is waiting for, unless `Disarm` comes first.
  void Arm(milliseconds time);
  /// Whether the time was over.
  bool Disarm();

  Core& core_;
  tcp::socket socket_;
  asio::steady_timer timer_;
  std::uint64_t armed_ = 0;
  bool is_late_ = false;
  bool is_closed_ = false;
  bool is_known_ = false;
  bool is_upload_ = false;

  boost::beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  const HttpRoute* route_ = nullptr;
  HttpRequest request_;
  std::optional<http::response<http::string_body>> response_;

  bool is_stream_ = false;
  bool is_writing_ = false;
  std::vector<bool> changed_;
  asio::steady_timer pause_;
  std::string text_;
  std::array<char, 512> ignored_{};
};

HttpServer::Core::Core(Settings settings)
    : routes_(std::move(settings.routes)),
      events_(std::move(settings.events)),
      limits_(settings.limits) {
  error_code error;
  const auto address = asio::ip::make_address(settings.address, error);
  if (error || !address.is_loopback()) {
    throw CannotListen(fmt::format(
        "expected a loopback address such as 127.0.0.1, found \"{}\": what is sent is not "
        "encrypted, so only this machine may be listened to; from another one use a tunnel, "
        "such as ssh -L",
        settings.address));
  }
  try {
    acceptor_.open(tcp::endpoint(address, 0).protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind({address, settings.port});
    acceptor_.listen();
    endpoint_ = acceptor_.local_endpoint();
  } catch (const boost::system::system_error& failure) {
    throw CannotListen(fmt::format("cannot listen on port {} of {}: {}", settings.port,
                                   settings.address, failure.code().message()));
  }
  cookie_name_ = fmt::format("quillmark-{}", port());
  routes_.push_back(SessionRoute());
  routes_.push_back({"GET", "/api/events", 0, false, false, {}});
  Accept();
  thread_ = std::thread([this] { context_.run(); });
}

void HttpServer::Core::Close() {
  if (!thread_.joinable()) {
    return;
  }
  slow_.join();
  asio::post(context_, [this] {
    error_code ignored;
    acceptor_.close(ignored);
    accept_again_.cancel();
    for (const auto& connection : std::list(connections_)) {
      connection->Close();
    }
    work_.reset();
  });
  thread_.join();
}

void HttpServer::Core::Accept() {
  acceptor_.async_accept([this](error_code error, tcp::socket socket) {
    if (!acceptor_.is_open()) {
      return;
    }
    if (!error) {
      Admit(std::move(socket));
      Accept();
      return;
    }
    // Out of descriptors, for example: it may work again once a connection has ended.
    accept_again_.expires_after(milliseconds(100));
    accept_again_.async_wait([this](error_code cancelled) {
      if (!cancelled) {
        Accept();
      }
    });
  });
}

void HttpServer::Core::Admit(tcp::socket socket) {
  if (connections_.size() >= limits_.connections && !MakeRoom()) {
    return;
  }
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  connections_.push_back(std::make_shared<Connection>(*this, std::move(socket)));
  open_ = connections_.size();
  connections_.back()->WaitForRequest();
}

bool HttpServer::Core::MakeRoom() {
  const auto stranger = std::find_if(connections_.begin(), connections_.end(),
                                     [](const auto& each) { return !each->is_known(); });
  if (stranger == connections_.end()) {
    return false;
  }
  const std::shared_ptr<Connection> connection = *stranger;
  connection->Close();
  return true;
}

void HttpServer::Core::Remove(const Connection* connection) {
  connections_.remove_if([&](const auto& each) { return each.get() == connection; });
  open_ = connections_.size();
}

void HttpServer::Core::Tell(std::size_t event) {
  asio::post(context_, [this, event] {
    for (const auto& connection : std::list(connections_)) {
      connection->OnEvent(event);
    }
  });
}

/// Another name may be another page's, which has let its name stand for this machine.
bool HttpServer::Core::IsOwnHost(std::string_view host) const {
  return host == fmt::format("{}:{}", WithoutPort(endpoint_), port()) ||
         host == fmt::format("localhost:{}", port());
}

bool HttpServer::Core::HasCookie(const http::request_header<>& header) const {
  const auto [first, last] = header.equal_range(http::field::cookie);
  return std::any_of(first, last, [this](const auto& field) {
    return AreEqual(CookieIn(View(field.value()), cookie_name_), cookie_);
  });
}

const HttpRoute& HttpServer::Core::RouteOf(const http::request_header<>& header, bool& has_cookie,
                                           HttpRequest& request) const {
  if (header.count(http::field::host) != 1 || !IsOwnHost(View(header[http::field::host]))) {
    throw HttpError(header.count(http::field::host) == 1 ? 403 : 400,
                    "expected the address of this station in the header Host");
  }
  if (header.count(http::field::origin) > 0 &&
      View(header[http::field::origin]) !=
          fmt::format("http://{}", View(header[http::field::host]))) {
    throw HttpError(403, "this request comes from another page");
  }
  const std::string_view target = View(header.target());
  if (target.size() > kMostTarget) {
    throw HttpError(414, fmt::format("expected an address of at most {} bytes", kMostTarget));
  }
  const std::size_t path_end = std::min(target.find('?'), target.size());
  const HttpRoute* found = nullptr;
  std::vector<std::string> parts;
  bool exists = false;
  for (const HttpRoute& route : routes_) {
    if (Fits(target.substr(0, path_end), route.path, parts)) {
      exists = true;
      if (View(header.method_string()) == route.method) {
        found = &route;
        request.parts = parts;
      }
    }
  }
  has_cookie = HasCookie(header);
  if (found == nullptr || !found->is_open) {
    // Also for what there is not: a stranger is told nothing.
    if (!has_cookie) {
      throw HttpError(401, "open the station with the address that it has printed");
    }
    const std::string_view site = View(header["Sec-Fetch-Site"]);
    if (!site.empty() && site != "same-origin" && site != "none") {
      throw HttpError(403, "this request comes from another page");
    }
  }
  if (found == nullptr) {
    throw exists ? HttpError(405, "this address does not take this method")
                 : HttpError(404, "there is nothing at this address");
  }
  request.query = ParseQuery(target.substr(std::min(path_end + 1, target.size())));
  return *found;
}

HttpRoute HttpServer::Core::SessionRoute() {
  return {"POST", "/api/session", 64, true, false, [this](const HttpRequest& request) {
            if (!AreEqual(request.body, token_)) {
              throw HttpError(401,
                              "this is not the token of this station, which it prints anew "
                              "with each start");
            }
            return HttpResponse{204, "", "", std::string(kOwnPagePolicy)};
          }};
}

void HttpServer::Connection::Arm(milliseconds time) {
  is_late_ = false;
  timer_.expires_after(time);
  timer_.async_wait([self = shared_from_this(), armed = ++armed_](error_code error) {
    if (error || armed != self->armed_) {
      return;
    }
    self->is_late_ = true;
    error_code ignored;
    self->socket_.cancel(ignored);
  });
}

bool HttpServer::Connection::Disarm() {
  ++armed_;
  timer_.cancel();
  return is_late_;
}

void HttpServer::Connection::Close() {
  if (is_closed_) {
    return;
  }
  is_closed_ = true;
  Disarm();
  pause_.cancel();
  EndUpload();
  if (is_stream_) {
    --core_.streams_;
  }
  error_code ignored;
  socket_.close(ignored);
  core_.Remove(this);
}

void HttpServer::Connection::EndUpload() {
  if (is_upload_) {
    is_upload_ = false;
    --core_.uploads_;
  }
}

/// Until the first byte of a request.
void HttpServer::Connection::WaitForRequest() {
  if (is_closed_) {
    return;
  }
  if (buffer_.size() > 0) {
    ReadHeader();
    return;
  }
  Arm(core_.limits_.idle_time);
  socket_.async_wait(tcp::socket::wait_read, [self = shared_from_this()](error_code error) {
    const bool is_late = self->Disarm();
    if (error || is_late) {
      self->Close();
      return;
    }
    self->ReadHeader();
  });
}

void HttpServer::Connection::ReadHeader() {
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(core_.limits_.header_bytes));
  // Which body is allowed depends on the header.
  parser_->body_limit(std::numeric_limits<std::uint64_t>::max());
  Arm(core_.limits_.header_time);
  http::async_read_header(socket_, buffer_, *parser_,
                          [self = shared_from_this()](error_code error, std::size_t /*bytes*/) {
                            self->OnHeader(error);
                          });
}

/// A request that ends before it is whole, or is none.
void HttpServer::Connection::RefuseWrong(error_code error) {
  if (error == http::error::header_limit) {
    Refuse(431, fmt::format("expected a header of at most {} bytes", core_.limits_.header_bytes));
  } else if (error == http::error::body_limit) {
    Refuse(413, fmt::format("expected at most {} bytes", route_->most_body));
  } else if (error.category() == http::make_error_code(http::error::end_of_stream).category() &&
             error != http::error::end_of_stream && error != http::error::partial_message) {
    Refuse(400, fmt::format("this is no HTTP request: {}", error.message()));
  } else {
    Close();
  }
}

void HttpServer::Connection::OnHeader(error_code error) {
  if (is_closed_) {
    return;
  }
  if (Disarm()) {
    Refuse(408, "the header of the request took too long");
    return;
  }
  if (error) {
    RefuseWrong(error);
    return;
  }
  const auto& header = parser_->get();
  try {
    route_ = &core_.RouteOf(header, is_known_, request_);
    const auto length = parser_->content_length();
    if (length && *length > route_->most_body) {
      throw HttpError(
          413, fmt::format("expected at most {} bytes, found {}", route_->most_body, *length));
    }
    if (route_->most_body > kUpload) {
      if (core_.uploads_ >= kMostUploads) {
        throw HttpError(503, "too many files are being sent at once; send this one again later");
      }
      is_upload_ = true;
      ++core_.uploads_;
    }
  } catch (const HttpError& refusal) {
    Refuse(refusal.status(), refusal.what());
    return;
  }
  parser_->body_limit(route_->most_body);
  if (View(header[http::field::expect]) != "100-continue") {
    ReadBody();
    return;
  }
  text_ = "HTTP/1.1 100 Continue\r\n\r\n";
  asio::async_write(socket_, asio::buffer(text_),
                    [self = shared_from_this()](error_code failure, std::size_t /*bytes*/) {
                      if (failure) {
                        self->Close();
                      } else {
                        self->ReadBody();
                      }
                    });
}

void HttpServer::Connection::ReadBody() {
  if (is_closed_) {
    return;
  }
  Arm(core_.limits_.body_time);
  http::async_read(socket_, buffer_, *parser_,
                   [self = shared_from_this()](error_code error, std::size_t /*bytes*/) {
                     if (self->is_closed_) {
                       return;
                     }
                     if (self->Disarm()) {
                       self->Refuse(408, "the body of the request took too long");
                     } else if (error) {
                       self->RefuseWrong(error);
                     } else {
                       self->Answer();
                     }
                   });
}

void HttpServer::Connection::Answer() {
  if (!route_->answer) {
    BeginStream();
    return;
  }
  request_.body = std::move(parser_->get().body());
  const bool keeps_alive = parser_->get().keep_alive();
  const auto answer = [](const HttpRoute& route, const HttpRequest& request) {
    try {
      return route.answer(request);
    } catch (const HttpError& error) {
      return Refusal(error.status(), error.what());
    } catch (const std::exception& error) {
      return Refusal(500, error.what());
    }
  };
  if (!route_->may_take_long) {
    Send(answer(*route_, request_), keeps_alive);
    return;
  }
  asio::post(core_.slow_, [self = shared_from_this(), answer, keeps_alive] {
    HttpResponse response = answer(*self->route_, self->request_);
    asio::post(self->core_.context_, [self, response = std::move(response), keeps_alive] {
      self->Send(response, keeps_alive);
    });
  });
}

void HttpServer::Connection::Send(const HttpResponse& response, bool keeps_alive) {
  EndUpload();
  request_ = {};
  if (is_closed_) {
    return;
  }
  response_.emplace();
  response_->result(response.status);
  response_->set(http::field::server, "quillmark");
  response_->set(http::field::cache_control, "no-store");
  response_->set("Content-Security-Policy", response.policy);
  response_->set("X-Content-Type-Options", "nosniff");
  response_->set("Referrer-Policy", "no-referrer");
  response_->set("Cross-Origin-Resource-Policy", "same-origin");
  if (!response.type.empty()) {
    response_->set(http::field::content_type, response.type);
  }
  if (response.status == 405) {
    response_->set(http::field::allow, "GET, POST");
  }
  if (route_ != nullptr && route_->path == "/api/session" && response.status == 204) {
    response_->set(http::field::set_cookie, fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict",
                                                        core_.cookie_name_, core_.cookie_));
    is_known_ = true;
  }
  route_ = nullptr;
  response_->body() = response.body;
  response_->keep_alive(keeps_alive);
  response_->prepare_payload();
  Arm(core_.limits_.write_time);
  http::async_write(socket_, *response_,
                    [self = shared_from_this(), keeps_alive](error_code error, std::size_t /*n*/) {
                      const bool is_late = self->Disarm();
                      self->response_.reset();
                      if (error || is_late) {
                        self->Close();
                      } else if (keeps_alive) {
                        self->WaitForRequest();
                      } else {
                        self->socket_.shutdown(tcp::socket::shutdown_send, error);
                        self->Arm(kLinger);
                        self->Linger(0);
                      }
                    });
}

void HttpServer::Connection::Linger(int reads) {
  socket_.async_read_some(asio::buffer(ignored_),
                          [self = shared_from_this(), reads](error_code error, std::size_t /*n*/) {
                            if (error || self->is_late_ || reads == kMostLingeringReads) {
                              self->Close();
                            } else {
                              self->Linger(reads + 1);
                            }
                          });
}

void HttpServer::Connection::BeginStream() {
  if (core_.streams_ >= core_.limits_.event_streams) {
    Refuse(503, "too many windows are open");
    return;
  }
  ++core_.streams_;
  is_stream_ = true;
  changed_.assign(core_.events_.count, true);
  // What the system keeps for a client that does not read.
  error_code ignored;
  socket_.set_option(tcp::socket::send_buffer_size(64 * 1024), ignored);
  WatchStream();
  Write(
      fmt::format("HTTP/1.1 200 OK\r\nServer: quillmark\r\nContent-Type: text/event-stream\r\n"
                  "Cache-Control: no-store\r\nContent-Security-Policy: {}\r\n"
                  "X-Content-Type-Options: nosniff\r\nReferrer-Policy: no-referrer\r\n"
                  "Cross-Origin-Resource-Policy: same-origin\r\nConnection: close\r\n\r\n"
                  "retry: 1000\n\n",
                  kOwnPagePolicy));
}

/// Nothing more is expected of the client but its end.
void HttpServer::Connection::WatchStream() {
  socket_.async_read_some(asio::buffer(ignored_),
                          [self = shared_from_this()](error_code error, std::size_t /*bytes*/) {
                            if (error || self->is_closed_) {
                              self->Close();
                            } else {
                              self->WatchStream();
                            }
                          });
}

void HttpServer::Connection::OnEvent(std::size_t event) {
  if (is_stream_ && event < changed_.size()) {
    changed_[event] = true;
    Flush();
  }
}

/// Sends what has changed, once the last events are on their way and the pause is over.
void HttpServer::Connection::Flush() {
  if (is_closed_ || is_writing_) {
    return;
  }
  std::string text;
  for (std::size_t event = 0; event < changed_.size(); ++event) {
    if (changed_[event]) {
      changed_[event] = false;
      text += fmt::format("data: {}\n\n", core_.events_.text(event));
    }
  }
  if (!text.empty()) {
    Write(std::move(text));
  }
}

void HttpServer::Connection::Write(std::string text) {
  is_writing_ = true;
  text_ = std::move(text);
  Arm(core_.limits_.write_time);
  asio::async_write(socket_, asio::buffer(text_),
                    [self = shared_from_this()](error_code error, std::size_t /*bytes*/) {
                      const bool is_late = self->Disarm();
                      if (error || is_late) {
                        self->Close();
                        return;
                      }
                      self->pause_.expires_after(self->core_.limits_.event_pause);
                      self->pause_.async_wait([self](error_code cancelled) {
                        if (cancelled || self->is_closed_) {
                          return;
                        }
                        self->is_writing_ = false;
                        self->Flush();
                        if (self->is_writing_) {
                          return;
                        }
                        self->pause_.expires_after(self->core_.limits_.event_silence);
                        self->pause_.async_wait([self](error_code woken) {
                          if (!woken && !self->is_closed_ && !self->is_writing_) {
                            self->Write(": \n\n");
                          }
                        });
                      });
                    });
}

HttpServer::HttpServer(Settings settings) : core_(std::make_unique<Core>(std::move(settings))) {}

HttpServer::~HttpServer() = default;

void HttpServer::Close() { core_->Close(); }

std::uint16_t HttpServer::port() const { return core_->port(); }

std::string HttpServer::url() const { return core_->Url(); }

std::size_t HttpServer::connections() const { return core_->connections(); }

void HttpServer::Tell(std::size_t event) { core_->Tell(event); }

}  // namespace quillmark::host
