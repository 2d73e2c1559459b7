// SPDX-License-Identifier: MIT
#include "host/station/http_server.h"

#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/sslerr.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
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
/// A token, or a password.
constexpr std::size_t kMostSecret = 1024;

/// How long a refused client may go on sending, so that it sees the answer and not a reset.
constexpr milliseconds kLinger{1000};
constexpr int kMostLingeringReads = 1024;

/// What is read at once before a request has begun.
constexpr std::size_t kFirstRead = 4096;

std::string_view View(boost::string_view text) { return {text.data(), text.size()}; }

HttpResponse Refusal(unsigned status, const std::string& text) {
  const nlohmann::json body = {{"error", text}};
  HttpResponse response;
  response.status = status;
  response.body = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return response;
}

HttpHead HeadOf(const http::request_header<>& header) {
  const auto lines = [&header](http::field field) {
    std::vector<std::string_view> values;
    const auto [first, last] = header.equal_range(field);
    std::transform(first, last, std::back_inserter(values),
                   [](const auto& line) { return View(line.value()); });
    return values;
  };
  return {View(header.method_string()), View(header.target()),      lines(http::field::host),
          lines(http::field::origin),   lines(http::field::cookie), View(header["Sec-Fetch-Site"])};
}

/// As it stands in a URL.
std::string TextOf(const asio::ip::address& address) {
  return address.is_v6() ? '[' + address.to_string() + ']' : address.to_string();
}

/// The bytes of a connection: as they are, or through TLS.
class Stream {
 public:
  using executor_type = tcp::socket::executor_type;

  /// Without `tls`, bytes as they are.
  Stream(tcp::socket socket, std::optional<asio::ssl::context>& tls) : socket_(std::move(socket)) {
    if (tls) {
      tls_.emplace(socket_, *tls);
      is_secure_ = true;
    }
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  Stream(Stream&&) = delete;
  Stream& operator=(Stream&&) = delete;
  ~Stream() = default;

  [[nodiscard]] executor_type get_executor() { return socket_.get_executor(); }
  [[nodiscard]] tcp::socket& socket() { return socket_; }
  [[nodiscard]] bool is_secure() const { return is_secure_; }
  /// For a client that does not speak TLS.
  void SpeakPlainly() { is_secure_ = false; }

  template <typename Handler>
  void Handshake(Handler&& handler) {
    tls_->async_handshake(asio::ssl::stream_base::server, std::forward<Handler>(handler));
  }
  /// Says that nothing more follows, and waits for the client to say so, too.
  template <typename Handler>
  void Shutdown(Handler&& handler) {
    tls_->async_shutdown(std::forward<Handler>(handler));
  }

  // These names are those of Boost.Asio's streams.
  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    is_secure_ ? tls_->async_read_some(buffers, std::forward<Handler>(handler))
               : socket_.async_read_some(buffers, std::forward<Handler>(handler));
  }
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    is_secure_ ? tls_->async_write_some(buffers, std::forward<Handler>(handler))
               : socket_.async_write_some(buffers, std::forward<Handler>(handler));
  }

 private:
  tcp::socket socket_;
  std::optional<asio::ssl::stream<tcp::socket&>> tls_;
  bool is_secure_ = false;
};

bool IsPlainHttp(error_code error) {
  return error.category() == asio::error::get_ssl_category() &&
         ERR_GET_REASON(static_cast<unsigned long>(error.value())) == SSL_R_HTTP_REQUEST;
}

}  // namespace

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
  [[nodiscard]] std::string Url() const;
  [[nodiscard]] std::size_t connections() const { return open_; }
  void Tell(std::size_t event);

 private:
  friend class Connection;

  void Accept();
  void Admit(tcp::socket socket);
  void Remove(const Connection* connection);
  /// Closes the oldest connection of a stranger; false if there is none.
  bool MakeRoom();
  void Listen(const Settings& settings);
  void SetRules(std::vector<HttpRoute>&& routes);
  [[nodiscard]] HttpResponse BeginSession(const std::string& secret);
  void RequirePause() const;

  HttpEvents events_;
  HttpLimits limits_;
  std::shared_ptr<const TlsIdentity> identity_;
  HttpRules rules_;
  /// Empty if a password is asked for.
  std::string token_;
  std::string secret_;
  /// When the last wrong password is forgotten; each takes a pause to forget.
  std::chrono::steady_clock::time_point forgotten_;

  asio::io_context context_{1};
  std::optional<asio::ssl::context> tls_;
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
        stream_(std::move(socket), core.tls_),
        timer_(stream_.get_executor()),
        pause_(stream_.get_executor()) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection(Connection&&) = delete;
  Connection& operator=(Connection&&) = delete;
  ~Connection() = default;

  void Begin();
  void Close();
  void OnEvent(std::size_t event);
  [[nodiscard]] bool is_known() const { return is_known_; }

 private:
  using Parser = http::request_parser<http::string_body>;

  void OnHandshake(error_code error);
  void WaitForRequest();
  void ReadHeader();
  void OnHeader(error_code error);
  void ReadBody();
  void Answer();
  void Send(const HttpResponse& response, bool keeps_alive);
  void Refuse(unsigned status, const std::string& text) { Send(Refusal(status, text), false); }
  void RefuseWrong(error_code error);
  void End();
  void EndSending();
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
  Stream stream_;
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
    : events_(std::move(settings.events)),
      limits_(settings.limits),
      identity_(std::move(settings.identity)),
      token_(settings.password.empty() ? NewRunId() : ""),
      secret_(settings.password.empty() ? token_ : settings.password) {
  if (identity_) {
    tls_.emplace(identity_->Share());
  }
  Listen(settings);
  SetRules(std::move(settings.routes));
  Accept();
  thread_ = std::thread([this] { context_.run(); });
}

void HttpServer::Core::Listen(const Settings& settings) {
  error_code error;
  const auto address = asio::ip::make_address(settings.address, error);
  if (error) {
    throw CannotListen(fmt::format("expected an IP address of this machine to listen on, such as "
                                   "127.0.0.1, found \"{}\"",
                                   settings.address),
                       "name one of those that \"ip address\" lists");
  }
  if (!address.is_loopback() && (!identity_ || !token_.empty())) {
    throw CannotListen(
        fmt::format("expected a certificate, its key and a password for {}, which other machines "
                    "reach; found no {}",
                    settings.address, identity_ ? "password" : "certificate"),
        "name them with --certificate, --key and --password-file; or listen on 127.0.0.1 and use a "
        "tunnel from another machine, such as ssh -L");
  }
  try {
    acceptor_.open(tcp::endpoint(address, 0).protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind({address, settings.port});
    acceptor_.listen();
    endpoint_ = acceptor_.local_endpoint();
  } catch (const boost::system::system_error& failure) {
    const bool is_elsewhere = failure.code() == boost::system::errc::address_not_available;
    throw CannotListen(
        fmt::format(
            "cannot listen on port {} of {}: {}", settings.port, settings.address,
            is_elsewhere ? "this machine does not have this address" : failure.code().message()),
        is_elsewhere ? "name one of those that \"ip address\" lists"
                     : "name another with --port, or 0 for any that is free");
  }
}

void HttpServer::Core::SetRules(std::vector<HttpRoute>&& routes) {
  rules_.scheme = identity_ ? "https" : "http";
  rules_.port = port();
  if (!endpoint_.address().is_unspecified()) {
    rules_.names.push_back(TextOf(endpoint_.address()));
  }
  if (endpoint_.address().is_loopback()) {
    rules_.names.emplace_back("localhost");
  }
  if (identity_) {
    const auto& names = identity_->names();
    rules_.names.insert(rules_.names.end(), names.begin(), names.end());
  }
  // Browsers send cookies to every port of a host: the name tells servers apart. With the prefix
  // they take it from a page with TLS alone, and from no other host.
  rules_.cookie_name = fmt::format("{}quillmark-{}", identity_ ? "__Host-" : "", port());
  rules_.cookie = NewRunId();
  rules_.routes = std::move(routes);
  rules_.routes.push_back({"GET", "/api/session", 0, true, false, [this](const HttpRequest&) {
                             HttpResponse response;
                             response.body =
                                 token_.empty() ? R"({"asks":"password"})" : R"({"asks":"token"})";
                             return response;
                           }});
  rules_.routes.push_back(
      {"POST", "/api/session", kMostSecret, true, false,
       [this](const HttpRequest& request) { return BeginSession(request.body); }});
  rules_.routes.push_back({"GET", "/api/events", 0, false, false, {}});
}

/// By the name that its certificate has, which browsers compare.
std::string HttpServer::Core::Url() const {
  std::string name = TextOf(endpoint_.address());
  if (identity_) {
    const auto& names = identity_->names();
    const auto named = std::find_if(names.begin(), names.end(),
                                    [](const std::string& each) { return each.front() != '*'; });
    if (named != names.end() && std::find(names.begin(), names.end(), name) == names.end()) {
      name = *named;
    }
  }
  const std::string page = fmt::format("{}://{}:{}/", rules_.scheme, name, port());
  return token_.empty() ? page : fmt::format("{}#token={}", page, token_);
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
  connections_.back()->Begin();
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

/// Raises HttpError while the last wrong passwords are too many.
void HttpServer::Core::RequirePause() const {
  const auto most = (limits_.wrong_passwords - 1) * limits_.password_pause;
  const auto left = forgotten_ - std::chrono::steady_clock::now() - most;
  if (left > milliseconds(0)) {
    throw HttpError(429, fmt::format("too many wrong passwords; try again in {} s",
                                     std::chrono::ceil<std::chrono::seconds>(left).count()));
  }
}

HttpResponse HttpServer::Core::BeginSession(const std::string& secret) {
  if (token_.empty()) {
    RequirePause();
  }
  if (IsSecret(secret, secret_)) {
    return {204, "", "", std::string(kOwnPagePolicy)};
  }
  if (!token_.empty()) {
    throw HttpError(401,
                    "this is not the token of this station, which it prints anew with each start");
  }
  forgotten_ = std::max(forgotten_, std::chrono::steady_clock::now()) + limits_.password_pause;
  throw HttpError(401, "this is not the password of this station");
}

/// Up to the first byte of a request.
void HttpServer::Connection::Begin() {
  if (!stream_.is_secure()) {
    WaitForRequest();
    return;
  }
  Arm(core_.limits_.header_time);
  stream_.Handshake([self = shared_from_this()](error_code error) { self->OnHandshake(error); });
}

void HttpServer::Connection::OnHandshake(error_code error) {
  const bool is_late = Disarm();
  if (is_closed_) {
    return;
  }
  if (IsPlainHttp(error)) {
    stream_.SpeakPlainly();
    Refuse(400, "this station speaks TLS; open the address with https:// in front");
  } else if (error || is_late) {
    Close();
  } else {
    WaitForRequest();
  }
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
    self->stream_.socket().cancel(ignored);
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
  stream_.socket().close(ignored);
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
  stream_.async_read_some(buffer_.prepare(kFirstRead),
                          [self = shared_from_this()](error_code error, std::size_t bytes) {
                            const bool is_late = self->Disarm();
                            if (error || is_late) {
                              self->Close();
                              return;
                            }
                            self->buffer_.commit(bytes);
                            self->ReadHeader();
                          });
}

void HttpServer::Connection::ReadHeader() {
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(core_.limits_.header_bytes));
  // Which body is allowed depends on the header.
  parser_->body_limit(std::numeric_limits<std::uint64_t>::max());
  Arm(core_.limits_.header_time);
  http::async_read_header(stream_, buffer_, *parser_,
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
    route_ = &core_.rules_.RouteOf(HeadOf(header), request_, is_known_);
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
  asio::async_write(stream_, asio::buffer(text_),
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
  http::async_read(stream_, buffer_, *parser_,
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
    response_->set(
        http::field::set_cookie,
        fmt::format("{}={}; Path=/; {}HttpOnly; SameSite=Strict", core_.rules_.cookie_name,
                    core_.rules_.cookie, stream_.is_secure() ? "Secure; " : ""));
    is_known_ = true;
  }
  route_ = nullptr;
  response_->body() = response.body;
  response_->keep_alive(keeps_alive);
  response_->prepare_payload();
  Arm(core_.limits_.write_time);
  http::async_write(stream_, *response_,
                    [self = shared_from_this(), keeps_alive](error_code error, std::size_t /*n*/) {
                      const bool is_late = self->Disarm();
                      self->response_.reset();
                      if (error || is_late) {
                        self->Close();
                      } else if (keeps_alive) {
                        self->WaitForRequest();
                      } else {
                        self->End();
                      }
                    });
}

/// The last answer is sent.
void HttpServer::Connection::End() {
  Arm(kLinger);
  if (!stream_.is_secure()) {
    EndSending();
    return;
  }
  // What it fails with does not matter: what a client goes on sending is no longer looked at.
  stream_.Shutdown([self = shared_from_this()](error_code /*error*/) { self->EndSending(); });
}

void HttpServer::Connection::EndSending() {
  if (is_closed_ || is_late_) {
    Close();
    return;
  }
  error_code ignored;
  stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
  Linger(0);
}

void HttpServer::Connection::Linger(int reads) {
  stream_.socket().async_read_some(
      asio::buffer(ignored_),
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
  stream_.socket().set_option(tcp::socket::send_buffer_size(64 * 1024), ignored);
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
  stream_.async_read_some(asio::buffer(ignored_),
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
  asio::async_write(stream_, asio::buffer(text_),
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
