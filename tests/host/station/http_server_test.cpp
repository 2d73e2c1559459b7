// SPDX-License-Identifier: MIT
// Each rule of the server with a request that breaks it, byte by byte over a socket.
#include "host/station/http_server.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "tests/host/station/http_client.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

HttpResponse Echo(const HttpRequest& request) {
  return {200, "text/plain", fmt::format("{} bytes", request.body.size()),
          std::string(kOwnPagePolicy)};
}

class ServerFixture : public ::testing::Test {
 protected:
  ServerFixture() {
    settings.routes = {
        {"GET", "/", 0, true, false, [](const HttpRequest&) { return HttpResponse{}; }},
        {"GET", "/api/state", 0, false, false, [](const HttpRequest&) { return HttpResponse{}; }},
        {"POST", "/api/bays/*/image", 1000, false, true, Echo},
        {"GET", "/api/fails", 0, false, false,
         [](const HttpRequest&) -> HttpResponse { throw std::runtime_error("\"\x1b]0;\xff"); }}};
  }

  HttpServer& Start() {
    server = std::make_unique<HttpServer>(settings);
    client.emplace(server->url());
    return *server;
  }

  void WaitForConnections(std::size_t count) const {
    while (server->connections() != count) {
      std::this_thread::sleep_for(1ms);
    }
  }

  HttpServer::Settings settings;
  std::unique_ptr<HttpServer> server;
  std::optional<HttpClient> client;
};

/// What holds for a server with TLS as for one without.
class HttpServerTest : public ServerFixture, public ::testing::WithParamInterface<const char*> {
 protected:
  HttpServerTest() {
    if (GetParam() == kTls) {
      settings.identity = TestIdentity();
    }
  }

  static constexpr std::string_view kTls = "Tls";
};

INSTANTIATE_TEST_SUITE_P(Forms, HttpServerTest, ::testing::Values("Plain", "Tls"),
                         [](const auto& test) { return test.param; });

using PlainServerTest = ServerFixture;

TEST(Secret, IsNothingButItself) {
  EXPECT_TRUE(IsSecret("abc", "abc"));
  for (const char* const other : {"", "ab", "abd", "bbc", "abcd", "abcabc"}) {
    EXPECT_FALSE(IsSecret(other, "abc")) << other;
  }
}

TEST(Secret, IsNeverEmpty) {
  EXPECT_FALSE(IsSecret("", ""));
  EXPECT_FALSE(IsSecret("a", ""));
}

TEST_F(PlainServerTest, ListensToOtherMachinesOnlyWithTlsAndAPassword) {
  for (const char* const address : {"0.0.0.0", "192.0.2.1", "::", "example.org", ""}) {
    settings.address = address;
    EXPECT_THROW(HttpServer{settings}, CannotListen) << address;
  }
  settings.address = "0.0.0.0";
  settings.password = "correct horse battery";
  EXPECT_THROW(HttpServer{settings}, CannotListen);
  settings.password = "";
  settings.identity = TestIdentity();
  EXPECT_THROW(HttpServer{settings}, CannotListen);
  settings.identity = nullptr;
  settings.address = "127.0.0.2";
  EXPECT_THAT(HttpServer(settings).url(), StartsWith("http://127.0.0.2:"));
}

TEST_F(PlainServerTest, SaysThatAPortIsTaken) {
  settings.port = Start().port();
  try {
    const HttpServer second(settings);
    FAIL();
  } catch (const CannotListen& error) {
    EXPECT_THAT(error.what(), HasSubstr(fmt::format("cannot listen on port {}", settings.port)));
    EXPECT_THAT(error.next(), HasSubstr("--port"));
  }
}

TEST_F(PlainServerTest, SaysThatAnAddressIsAnotherMachines) {
  settings.address = "192.0.2.1";  // of nobody
  settings.identity = TestIdentity();
  settings.password = "correct horse battery";
  try {
    const HttpServer elsewhere(settings);
    FAIL();
  } catch (const CannotListen& error) {
    EXPECT_THAT(error.what(), HasSubstr("this machine does not have this address"));
    EXPECT_THAT(error.next(), HasSubstr("ip address"));
  }
}

TEST_P(HttpServerTest, HasATokenOf128BitsThatIsNeverTheSame) {
  Start();
  const std::string first = client->token();
  EXPECT_EQ(first.size(), 32U);
  EXPECT_THAT(server->url(), HasSubstr("/#token="));
  Start();
  EXPECT_NE(client->token(), first);
}

TEST_P(HttpServerTest, GivesACookieForTheTokenThatNoScriptAndNoOtherPageGets) {
  Start();
  const std::string answer = client->Ask(client->Post("/api/session", client->token(), ""));
  EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 204"), HasSubstr("; HttpOnly; SameSite=Strict")));
  EXPECT_THAT(answer,
              HasSubstr(GetParam() == kTls ? "Cookie: __Host-quillmark-" : "Cookie: quillmark-"));
  EXPECT_EQ(answer.find("; Secure;") != std::string::npos, GetParam() == kTls);
  EXPECT_THAT(answer, Not(HasSubstr(client->token())));
  EXPECT_THAT(client->Ask(client->Get("/api/state", client->cookie())), StartsWith("HTTP/1.1 200"));
}

TEST_P(HttpServerTest, GivesNothingWithoutTheTokenOrTheCookie) {
  Start();
  std::string wrong = client->token();
  wrong.back() = wrong.back() == '0' ? '1' : '0';
  for (const std::string& token :
       {wrong, client->token().substr(1), std::string(), client->token() + "0"}) {
    EXPECT_THAT(client->Ask(client->Post("/api/session", token, "")),
                AllOf(StartsWith("HTTP/1.1 401"), Not(HasSubstr("Set-Cookie"))));
  }
  const std::string name = client->cookie().substr(8, client->cookie().find('=') - 8);
  for (const std::string& cookie :
       {std::string(), "Cookie: " + name + "=\r\n",
        "Cookie: " + name + "=" + client->token() + "\r\n",
        "Cookie: x" + client->cookie().substr(8), std::string("Cookie: ;;=;\r\n")}) {
    EXPECT_THAT(client->Ask(client->Get("/api/state", cookie)), StartsWith("HTTP/1.1 401"));
    EXPECT_THAT(client->Ask(client->Get("/api/events", cookie)), StartsWith("HTTP/1.1 401"));
    EXPECT_THAT(client->Ask(client->Post("/api/bays/0/image", "x", cookie)),
                StartsWith("HTTP/1.1 401"));
    EXPECT_THAT(client->Ask(client->Get("/no/such/page", cookie)), StartsWith("HTTP/1.1 401"));
  }
}

TEST_P(HttpServerTest, RefusesAnotherHost) {
  Start();
  for (const std::string& host :
       {std::string("evil.example"), fmt::format("evil.example:{}", server->port()),
        std::string("127.0.0.1"), std::string("127.0.0.1:1"), client->host() + ".evil.example",
        std::string()}) {
    EXPECT_THAT(
        client->Ask(fmt::format("GET / HTTP/1.1\r\nHost: {}\r\nConnection: close\r\n\r\n", host)),
        StartsWith("HTTP/1.1 403"))
        << host;
  }
  EXPECT_THAT(client->Ask("GET / HTTP/1.1\r\nConnection: close\r\n\r\n"),
              StartsWith("HTTP/1.1 400"));
  EXPECT_THAT(client->Ask(client->Get("/", fmt::format("Host: {}\r\n", client->host()))),
              StartsWith("HTTP/1.1 400"));
  EXPECT_THAT(
      client->Ask(fmt::format("GET / HTTP/1.1\r\nHost: localhost:{}\r\nConnection: close\r\n\r\n",
                              server->port())),
      StartsWith("HTTP/1.1 200"));
}

TEST_P(HttpServerTest, RefusesAnotherOrigin) {
  Start();
  const std::string cookie = client->cookie();
  for (const std::string& origin :
       {std::string("http://evil.example"), std::string("null"), std::string(),
        client->scheme() + "://127.0.0.1:1", client->scheme() + "x://" + client->host(),
        (client->scheme() == "http" ? "https://" : "http://") + client->host(),
        client->scheme() + "://" + client->host() + ".evil"}) {
    const std::string header = cookie + "Origin: " + origin + "\r\n";
    EXPECT_THAT(client->Ask(client->Get("/", header)), StartsWith("HTTP/1.1 403")) << origin;
    EXPECT_THAT(client->Ask(client->Get("/api/state", header)), StartsWith("HTTP/1.1 403"))
        << origin;
    EXPECT_THAT(client->Ask(client->Post("/api/bays/0/image", "", header)),
                StartsWith("HTTP/1.1 403"));
  }
  EXPECT_THAT(client->Ask(client->Get("/api/state", fmt::format("{}Origin: {}://{}\r\n", cookie,
                                                                client->scheme(), client->host()))),
              StartsWith("HTTP/1.1 200"));
}

/// A page on another port of this machine is the same site: its pictures come with the cookie.
TEST_P(HttpServerTest, RefusesWhatTheBrowserSaysComesFromAnotherPage) {
  Start();
  const std::string cookie = client->cookie();
  for (const char* const site : {"cross-site", "same-site"}) {
    EXPECT_THAT(client->Ask(client->Get("/api/state",
                                        fmt::format("{}Sec-Fetch-Site: {}\r\n", cookie, site))),
                StartsWith("HTTP/1.1 403"));
  }
  for (const char* const site : {"same-origin", "none"}) {
    EXPECT_THAT(client->Ask(client->Get("/api/state",
                                        fmt::format("{}Sec-Fetch-Site: {}\r\n", cookie, site))),
                StartsWith("HTTP/1.1 200"));
  }
}

TEST_P(HttpServerTest, LetsNoOtherPageReadAnAnswerAndNothingIsKept) {
  Start();
  const std::string cookie = client->cookie();
  const RawClient stream = client->Raw();
  stream.Send(client->Get("/api/events", cookie));
  for (const std::string& answer :
       {client->Ask(client->Get("/", "")), client->Ask(client->Get("/api/state", cookie)),
        client->Ask(client->Get("/none", cookie)), client->Ask("x\r\n\r\n"),
        client->Ask(client->Get("/", "Origin: http://evil.example\r\n")),
        client->Ask(fmt::format("OPTIONS /api/state HTTP/1.1\r\nHost: {}\r\nConnection: close\r\n"
                                "Access-Control-Request-Method: POST\r\n{}\r\n",
                                client->host(), cookie)),
        stream.Read("\r\n\r\n")}) {
    EXPECT_THAT(answer, Not(HasSubstr("Access-Control"))) << answer;
    EXPECT_THAT(answer,
                HasSubstr("default-src 'none'; script-src 'self'; style-src 'self'; connect-src "
                          "'self'; img-src 'self' data:; frame-ancestors 'none'; form-action "
                          "'none'; base-uri 'none'\r\n"));
    EXPECT_THAT(answer, HasSubstr("X-Content-Type-Options: nosniff\r\n"));
    EXPECT_THAT(answer, HasSubstr("Referrer-Policy: no-referrer\r\n"));
    EXPECT_THAT(answer, HasSubstr("Cache-Control: no-store\r\n"));
  }
}

TEST_P(HttpServerTest, KnowsItsAddressesAndTheirMethods) {
  Start();
  const std::string cookie = client->cookie();
  EXPECT_THAT(client->Ask(client->Get("/api/bays/0/none", cookie)), StartsWith("HTTP/1.1 404"));
  EXPECT_THAT(client->Ask(client->Get("/../../etc/passwd", cookie)), StartsWith("HTTP/1.1 404"));
  EXPECT_THAT(client->Ask(client->Get("http://evil.example/", cookie)), StartsWith("HTTP/1.1 404"));
  EXPECT_THAT(client->Ask(client->Post("/api/state", "", cookie)),
              AllOf(StartsWith("HTTP/1.1 405"), HasSubstr("Allow: ")));
  EXPECT_THAT(client->Ask(client->Get("/api/state?x=%zz", cookie)), StartsWith("HTTP/1.1 400"));
  EXPECT_THAT(client->Ask(client->Get("/api/state?x=%1b", cookie)), StartsWith("HTTP/1.1 400"));
  EXPECT_THAT(client->Ask(client->Get("/api/state?" + std::string(3000, 'x'), cookie)),
              StartsWith("HTTP/1.1 414"));
}

TEST_P(HttpServerTest, RefusesWhatIsNoRequest) {
  Start();
  for (const char* const text :
       {"\r\n\r\n\r\n", "hello\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "\x16\x03\x01\x02\r\n\r\n",
        "POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
        "POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n",
        "GET / HTTP/1.1\r\nHost : x\r\n\r\n"}) {
    EXPECT_THAT(client->Ask(text), StartsWith("HTTP/1.1 400")) << text;
  }
}

TEST_P(HttpServerTest, AnErrorIsTextWhateverItSays) {
  Start();
  EXPECT_THAT(client->Ask(client->Get("/api/fails", client->cookie())),
              AllOf(StartsWith("HTTP/1.1 500"), HasSubstr(R"({"error":"\"\u001b]0;)")));
}

TEST_P(HttpServerTest, BoundsTheHeader) {
  Start();
  EXPECT_THAT(client->Ask(client->Get("/", "X: " + std::string(20'000, 'x') + "\r\n")),
              StartsWith("HTTP/1.1 431"));
}

TEST_P(HttpServerTest, BoundsTheBodyWhateverItsLengthIsSaidToBe) {
  Start();
  const std::string cookie = client->cookie();
  EXPECT_THAT(client->Ask(client->Post("/api/bays/0/image", std::string(1000, 'x'), cookie)),
              AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("1000 bytes")));
  EXPECT_THAT(client->Ask(client->Post("/api/bays/0/image", std::string(1001, 'x'), cookie)),
              StartsWith("HTTP/1.1 413"));
  // The answer comes although the rest is still under way.
  EXPECT_THAT(client->Ask(client->Post("/api/bays/0/image", std::string(500'000, 'x'), cookie)),
              StartsWith("HTTP/1.1 413"));
  std::string chunks = fmt::format(
      "POST /api/bays/0/image HTTP/1.1\r\nHost: {}\r\nTransfer-Encoding: chunked\r\n{}\r\n",
      client->host(), cookie);
  for (int i = 0; i < 11; ++i) {
    chunks += "64\r\n" + std::string(100, 'x') + "\r\n";
  }
  EXPECT_THAT(client->Ask(chunks), StartsWith("HTTP/1.1 413"));
  EXPECT_THAT(client->Ask(fmt::format("POST /api/bays/0/image HTTP/1.1\r\nHost: {}\r\n"
                                      "Content-Length: 18446744073709551616\r\n{}\r\n",
                                      client->host(), cookie)),
              StartsWith("HTTP/1.1 400"));
}

TEST_P(HttpServerTest, TakesNoBodyFromAStranger) {
  Start();
  const RawClient raw = client->Raw();
  raw.Send(fmt::format("POST /api/bays/0/image HTTP/1.1\r\nHost: {}\r\nContent-Length: 900\r\n\r\n",
                       client->host()));
  EXPECT_THAT(raw.Read(), StartsWith("HTTP/1.1 401"));
}

TEST_F(PlainServerTest, BoundsTheTimeOfEachPart) {
  settings.limits.header_time = 50ms;
  settings.limits.body_time = 50ms;
  settings.limits.idle_time = 50ms;
  Start();
  const RawClient idle(server->port());
  EXPECT_THAT(idle.Read(), IsEmpty());
  EXPECT_THAT(client->Ask("GET / HT"), StartsWith("HTTP/1.1 408"));
  // The cookie may take longer than these times on a busy machine, but no part of it waits.
  EXPECT_THAT(
      client->Ask(fmt::format("POST /api/session HTTP/1.1\r\nHost: {}\r\nContent-Length: 32\r\n"
                              "\r\nx",
                              client->host())),
      StartsWith("HTTP/1.1 408"));
}

/// A byte now and then does not keep a header alive.
TEST_F(PlainServerTest, BoundsTheTimeOfAHeaderThatGoesOnForEver) {
  settings.limits.header_time = 100ms;
  Start();
  const RawClient raw(server->port());
  std::atomic<bool> is_over = false;
  raw.Send("GET / HTTP/1.1\r\n");
  const auto drip = std::async(std::launch::async, [&] {
    while (!is_over) {
      raw.Send("X: y\r\n");
      std::this_thread::sleep_for(10ms);
    }
  });
  EXPECT_THAT(raw.Read(), StartsWith("HTTP/1.1 408"));
  is_over = true;
}

TEST_P(HttpServerTest, AnswersSeveralRequestsOnOneConnection) {
  Start();
  const RawClient raw = client->Raw();
  raw.Send(fmt::format("GET / HTTP/1.1\r\nHost: {}\r\n\r\n", client->host()) +
           client->Get("/api/state", client->cookie()));
  EXPECT_THAT(raw.Read("{}"), StartsWith("HTTP/1.1 200"));
  EXPECT_THAT(raw.Read(), StartsWith("HTTP/1.1 200"));
}

TEST_P(HttpServerTest, TwoHundredIdleConnectionsDisturbNobody) {
  Start();
  const std::string cookie = client->cookie();
  const RawClient page = client->Raw();
  page.Send(fmt::format("GET /api/state HTTP/1.1\r\nHost: {}\r\n{}\r\n", client->host(), cookie));
  EXPECT_THAT(page.Read("{}"), StartsWith("HTTP/1.1 200"));
  std::vector<RawClient> idle;
  for (int i = 0; i < 200; ++i) {
    // With TLS, some of them stop before their handshake.
    idle.push_back(i % 3 == 0 ? RawClient(server->port()) : client->Raw());
    idle.back().Send(i % 2 == 0 ? "" : "GET /");
    EXPECT_LE(server->connections(), settings.limits.connections);
  }
  EXPECT_THAT(client->Ask(client->Get("/api/state", cookie)), StartsWith("HTTP/1.1 200"));
  page.Send(client->Get("/api/state", cookie));
  EXPECT_THAT(page.Read(), StartsWith("HTTP/1.1 200"));
}

class TlsServerTest : public ServerFixture {
 protected:
  TlsServerTest() { settings.identity = TestIdentity(); }

  [[nodiscard]] RawClient Connect(int newest_tls) const {
    return RawClient(server->port(), RawClient::Speaks::kTls, newest_tls);
  }
  /// What a client begins its handshake with.
  [[nodiscard]] static std::string ClientHello() {
    const TlsSession session = NewTlsSession();
    BIO* const sent = ::BIO_new(::BIO_s_mem());
    ::SSL_set_bio(session.get(), ::BIO_new(::BIO_s_mem()), sent);
    ::SSL_connect(session.get());
    char* text = nullptr;
    const auto count = static_cast<std::size_t>(::BIO_get_mem_data(sent, &text));
    return {text, count};
  }
};

TEST_F(TlsServerTest, TakesTls12AndNewer) {
  Start();
  EXPECT_TRUE(Connect(TLS1_3_VERSION).is_connected());
  EXPECT_TRUE(Connect(TLS1_2_VERSION).is_connected());
  // It is the server that refuses.
  EXPECT_THAT(Connect(TLS1_1_VERSION).failure(), HasSubstr("alert protocol version"));
  EXPECT_THAT(Connect(TLS1_VERSION).failure(), HasSubstr("alert protocol version"));
}

TEST_F(TlsServerTest, TellsAClientWithoutTlsWhatToDo) {
  Start();
  const RawClient raw(server->port());
  raw.Send(client->Get("/", client->cookie()));
  EXPECT_THAT(raw.Read(), AllOf(StartsWith("HTTP/1.1 400"), HasSubstr("https://")));
  const RawClient noise(server->port());
  noise.Send("\x01\x02 something else entirely, which is no handshake");
  EXPECT_THAT(noise.Read(), Not(HasSubstr("HTTP")));
}

TEST_F(TlsServerTest, SaysThatNothingMoreFollows) {
  Start();
  const RawClient raw = client->Raw();
  raw.Send(client->Get("/", ""));
  EXPECT_THAT(raw.Read(), StartsWith("HTTP/1.1 200"));
  EXPECT_TRUE(raw.HasSeenTheEnd());
}

TEST_F(TlsServerTest, BoundsTheTimeOfAHandshake) {
  settings.limits.header_time = 50ms;
  server = std::make_unique<HttpServer>(settings);
  const RawClient silent(server->port());
  const RawClient half(server->port());
  half.Send(ClientHello().substr(0, 40));
  EXPECT_THAT(silent.Read(), IsEmpty());
  EXPECT_THAT(half.Read(), IsEmpty());
  WaitForConnections(0);
}

TEST_F(TlsServerTest, AClientThatStopsInTheMiddleOfTheHandshakeDisturbsNobody) {
  Start();
  const std::string hello = ClientHello();
  for (std::size_t count = 1; count <= hello.size(); count += 40) {
    const RawClient gone(server->port());
    gone.Send(hello.substr(0, count));
  }
  const RawClient waiting(server->port());
  waiting.Send(hello);
  EXPECT_THAT(client->Get("/api/state"), StartsWith("HTTP/1.1 200"));
}

TEST_F(TlsServerTest, HasTheNamesOfItsCertificate) {
  Start();
  const auto answer_to = [this](const std::string& host) {
    return client->Ask(fmt::format("GET / HTTP/1.1\r\nHost: {}:{}\r\nConnection: close\r\n\r\n",
                                   host, server->port()));
  };
  for (const char* const host : {"bench.example", "Bench.Example", "a.line.example", "localhost"}) {
    EXPECT_THAT(answer_to(host), StartsWith("HTTP/1.1 200")) << host;
  }
  for (const char* const host : {"x.bench.example", "line.example", ".line.example",
                                 "a.b.line.example", "*.example", "example", "bench.example."}) {
    EXPECT_THAT(answer_to(host), StartsWith("HTTP/1.1 403")) << host;
  }
}

class PasswordTest : public TlsServerTest {
 protected:
  PasswordTest() {
    settings.address = "0.0.0.0";
    settings.password = kPassword;
    // A wrong password is not forgotten before the test ends.
    settings.limits.password_pause = 3600s;
  }

  void Start() {
    server = std::make_unique<HttpServer>(settings);
    client.emplace(server->url(), kPassword);
  }

  [[nodiscard]] std::string LogIn(std::string_view password) const {
    return client->Ask(client->Post("/api/session", password, ""));
  }

  static constexpr const char* kPassword = "correct horse battery";
};

TEST_F(PasswordTest, TheAddressHasACertifiedNameAndNoSecret) {
  Start();
  EXPECT_EQ(server->url(), fmt::format("https://127.0.0.1:{}/", server->port()));
  EXPECT_THAT(client->Ask(fmt::format("GET / HTTP/1.1\r\nHost: 0.0.0.0:{}\r\n"
                                      "Connection: close\r\n\r\n",
                                      server->port())),
              StartsWith("HTTP/1.1 403"));
}

TEST_F(PasswordTest, ThePageIsToldWhatToAskFor) {
  Start();
  EXPECT_THAT(client->GetAsStranger("/api/session"), HasSubstr(R"({"asks":"password"})"));
  settings.address = "127.0.0.1";
  settings.password = "";
  server = std::make_unique<HttpServer>(settings);
  EXPECT_THAT(HttpClient(server->url()).GetAsStranger("/api/session"),
              HasSubstr(R"({"asks":"token"})"));
}

TEST_F(PasswordTest, LetsInWithThePasswordAlone) {
  Start();
  EXPECT_THAT(client->Get("/api/state"), StartsWith("HTTP/1.1 200"));
  EXPECT_THAT(client->GetAsStranger("/api/state"), StartsWith("HTTP/1.1 401"));
  for (const std::string_view wrong :
       {"", "correct horse", "correct horse batterY", "correct horse battery "}) {
    EXPECT_THAT(LogIn(wrong), AllOf(StartsWith("HTTP/1.1 401"), Not(HasSubstr("Set-Cookie")),
                                    HasSubstr("not the password")));
  }
  EXPECT_THAT(LogIn(kPassword), StartsWith("HTTP/1.1 204"));
}

TEST_F(PasswordTest, ManyWrongPasswordsKeepOutEverybodyWhoIsNotIn) {
  Start();
  for (int i = 0; i < settings.limits.wrong_passwords; ++i) {
    EXPECT_THAT(LogIn("wrong"), StartsWith("HTTP/1.1 401"));
  }
  EXPECT_THAT(LogIn("wrong"), AllOf(StartsWith("HTTP/1.1 429"), HasSubstr("try again in 3600 s")));
  EXPECT_THAT(LogIn(kPassword), StartsWith("HTTP/1.1 429"));
  EXPECT_THAT(client->Get("/api/state"), StartsWith("HTTP/1.1 200"));
}

TEST_F(PasswordTest, IsTakenAgainAfterAPause) {
  settings.limits.wrong_passwords = 1;
  settings.limits.password_pause = 20ms;
  Start();
  (void)LogIn("wrong");
  std::string answer = LogIn(kPassword);
  while (answer.starts_with("HTTP/1.1 429")) {
    answer = LogIn(kPassword);
  }
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 204"));
}

TEST_F(PasswordTest, RefusesOneFromAnotherPage) {
  Start();
  EXPECT_THAT(
      client->Ask(client->Post("/api/session", kPassword, "Origin: https://evil.example\r\n")),
      StartsWith("HTTP/1.1 403"));
}

class EventTest : public HttpServerTest {
 protected:
  EventTest() {
    settings.limits.event_pause = 1ms;
    settings.events.count = 2;
    settings.events.text = [this](std::size_t event) {
      const std::lock_guard lock(mutex);
      ++asked;
      return texts.at(event);
    };
  }

  void Change(std::size_t event, const std::string& text) {
    {
      const std::lock_guard lock(mutex);
      texts.at(event) = text;
    }
    server->Tell(event);
  }

  [[nodiscard]] int Asked() {
    const std::lock_guard lock(mutex);
    return asked;
  }

  std::mutex mutex;
  std::vector<std::string> texts{"one", "two"};
  int asked = 0;
};

INSTANTIATE_TEST_SUITE_P(Forms, EventTest, ::testing::Values("Plain", "Tls"),
                         [](const auto& test) { return test.param; });

TEST_P(EventTest, AStreamBeginsWithEverythingAndGoesOnWithWhatChanges) {
  Start();
  const RawClient raw = client->Raw();
  raw.Send(client->Get("/api/events", client->cookie()));
  EXPECT_THAT(raw.Read("data: two\n\n"),
              AllOf(HasSubstr("text/event-stream"), HasSubstr("\n\ndata: one\n\n")));
  Change(1, "2");
  EXPECT_EQ(raw.Read("data: 2\n\n"), "data: 2\n\n");
  const RawClient second = client->Raw();
  second.Send(client->Get("/api/events", client->cookie()));
  EXPECT_THAT(second.Read("data: 2\n\n"), HasSubstr("data: one\n\n"));
}

TEST_P(EventTest, ASilentStreamShowsThatItIsAlive) {
  settings.limits.event_silence = 5ms;
  Start();
  const RawClient raw = client->Raw();
  raw.Send(client->Get("/api/events", client->cookie()));
  EXPECT_THAT(raw.Read("\n: \n\n: \n\n"), HasSubstr("data: two"));
}

TEST_P(EventTest, AStreamThatIsNotReadIsDroppedAndDisturbsNobody) {
  settings.limits.write_time = 200ms;
  Start();
  const std::string cookie = client->cookie();
  const RawClient reader = client->Raw();
  const RawClient sleeper = client->Raw();
  sleeper.Send(client->Get("/api/events", cookie));
  (void)sleeper.Read("data: two\n\n");
  WaitForConnections(2);
  // Each event is more than the system keeps between the two.
  const std::string large(8'000'000, 'x');
  Change(0, large);
  WaitForConnections(1);
  const int asked_before = Asked();
  for (int i = 0; i < 20; ++i) {
    Change(0, large);
  }
  reader.Send(client->Get("/api/state", cookie));
  EXPECT_THAT(reader.Read(), StartsWith("HTTP/1.1 200"));
  EXPECT_EQ(Asked(), asked_before);
}

TEST_P(EventTest, TheNumberOfStreamsIsBounded) {
  settings.limits.event_streams = 2;
  Start();
  const std::string cookie = client->cookie();
  std::vector<RawClient> streams;
  for (int i = 0; i < 2; ++i) {
    streams.push_back(client->Raw());
    streams.back().Send(client->Get("/api/events", cookie));
    (void)streams.back().Read("data: two\n\n");
  }
  EXPECT_THAT(client->Ask(client->Get("/api/events", cookie)), StartsWith("HTTP/1.1 503"));
  streams.pop_back();
  WaitForConnections(1);
  const RawClient next = client->Raw();
  next.Send(client->Get("/api/events", cookie));
  EXPECT_THAT(next.Read("data: two\n\n"), StartsWith("HTTP/1.1 200"));
}

TEST_P(EventTest, ItEndsWhileClientsAreAtWork) {
  Start();
  const RawClient stream = client->Raw();
  stream.Send(client->Get("/api/events", client->cookie()));
  const RawClient half = client->Raw();
  half.Send("GET / HT");
  WaitForConnections(2);
  server.reset();
  EXPECT_THAT(half.Read(), IsEmpty());
}

}  // namespace
}  // namespace quillmark::host
