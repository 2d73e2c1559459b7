// SPDX-License-Identifier: MIT
// The header of a request to a station: whatever it holds, it is refused with a text and a status
// for it, or it has the name of the station, no other origin, and the cookie where its route asks
// for it. Its path and its query are read back as they were.
//
// The input is a line with the method and one with the target, and then lines of the header.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/law.h"
#include "host/station/http_rules.h"
#include "host/station/station.h"

namespace quillmark::fuzz {
namespace {

using namespace host;

constexpr std::string_view kCookie = "5ec2e7";

HttpRules RulesOf(std::string scheme, std::uint16_t port, std::vector<std::string> names) {
  return {std::move(scheme),
          port,
          std::move(names),
          "quillmark",
          std::string(kCookie),
          {{"GET", "/", 0, true},
           {"GET", "/api/session", 0, true},
           {"POST", "/api/session", 1024, true},
           {"GET", "/api/runs", 0},
           {"POST", "/api/bays/*/image", 1000},
           {"GET", "/api/bays/*/log", 0},
           {"GET", "/api/runs/*/report", 0}}};
}

const HttpRules& Plain() {
  static const HttpRules rules = RulesOf("http", 8017, {"127.0.0.1", "localhost"});
  return rules;
}

const HttpRules& Secure() {
  static const HttpRules rules =
      RulesOf("https", 443, {"[::1]", "bench.example", "*.line.example"});
  return rules;
}

std::string_view TakeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

HttpHead HeadOf(std::string_view text) {
  HttpHead head;
  head.method = TakeLine(text);
  head.target = TakeLine(text);
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = line.substr(std::min(colon + 1, line.size()));
    if (name == "Host") {
      head.hosts.push_back(value);
    } else if (name == "Origin") {
      head.origins.push_back(value);
    } else if (name == "Cookie") {
      head.cookies.push_back(value);
    } else {
      head.site = value;
    }
  }
  return head;
}

bool IsPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
  });
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
  });
  return lower;
}

/// The rule of a name, written a second time.
bool IsStation(const HttpRules& rules, std::string_view host) {
  std::string name = Lower(host);
  if (&rules == &Plain()) {
    return name == "127.0.0.1:8017" || name == "localhost:8017";
  }
  if (name.ends_with(":443")) {
    name.resize(name.size() - 4);
  }
  constexpr std::string_view kLine = ".line.example";
  const bool is_of_line = name.size() > kLine.size() && name.ends_with(kLine) &&
                          name.find('.') == name.size() - kLine.size();
  return name == "[::1]" || name == "bench.example" || is_of_line;
}

std::string Encoded(std::string_view text) {
  std::string encoded;
  for (const char byte : text) {
    encoded += fmt::format("%{:02x}", static_cast<unsigned char>(byte));
  }
  return encoded;
}

void RequireQuery(const std::map<std::string, std::string>& query) {
  std::string text;
  for (const auto& [name, value] : query) {
    Law(IsPlain(name) && IsPlain(value), "a query has no control character");
    text += fmt::format("{}={}&", Encoded(name), Encoded(value));
  }
  Law(ParseQuery(text) == query, "a query is read back");
}

void RequireParts(const HttpHead& head, const HttpRoute& route, const HttpRequest& request) {
  std::string path = route.path;
  for (const std::string& part : request.parts) {
    Law(part.find('/') == std::string::npos, "a part is one part");
    path.replace(path.find('*'), 1, part);
  }
  Law(head.target.substr(0, head.target.find('?')) == path, "a path is its route with its parts");
}

void RequireRight(const HttpRules& rules, const HttpHead& head, const HttpRoute& route) {
  Law(head.method == route.method, "a route takes its own method");
  Law(head.hosts.size() == 1 && IsStation(rules, head.hosts.front()),
      "who is let in has opened this station");
  const std::string own = fmt::format("{}://{}", rules.scheme, head.hosts.front());
  Law(std::all_of(head.origins.begin(), head.origins.end(),
                  [&](std::string_view origin) { return origin == own; }),
      "who is let in comes from no other page");
  const std::string cookie = fmt::format("quillmark={}", kCookie);
  Law(route.is_open || std::any_of(head.cookies.begin(), head.cookies.end(),
                                   [&](std::string_view line) {
                                     return line.find(cookie) != std::string_view::npos;
                                   }),
      "who is let in has the cookie");
  Law(route.is_open || head.site.empty() || head.site == "none" || head.site == "same-origin",
      "the browser does not say that it is for another page");
}

void RequireRefusal(const HttpError& error) {
  constexpr std::array<unsigned, 6> kStatuses{400, 401, 403, 404, 405, 414};
  Law(std::find(kStatuses.begin(), kStatuses.end(), error.status()) != kStatuses.end(),
      "a refusal has a status of its own");
  Law(std::string_view(error.what()).size() > 10, "a refusal has a text");
}

void RequireFilter(const HttpRequest& request) {
  try {
    const RunFilter filter = FilterOf(request);
    Law(filter.most <= 1000, "so many runs are listed at most");
    for (const auto& time : {filter.since, filter.until}) {
      Law(!time || time->time_since_epoch().count() >= 0, "a time is one of the clock");
    }
  } catch (const HttpError& error) {
    Law(error.status() == 400, "a filter that is none is the client's mistake");
  }
}

void Run(const HttpRules& rules, const HttpHead& head) {
  HttpRequest request;
  bool has_cookie = false;
  try {
    const HttpRoute& route = rules.RouteOf(head, request, has_cookie);
    RequireRight(rules, head, route);
    RequireParts(head, route, request);
    RequireQuery(request.query);
    RequireFilter(request);
  } catch (const HttpError& error) {
    RequireRefusal(error);
    Law(error.status() != 401 || !has_cookie, "who has the cookie is no stranger");
  }
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto head = quillmark::fuzz::HeadOf({reinterpret_cast<const char*>(data), size});
  quillmark::fuzz::Run(quillmark::fuzz::Plain(), head);
  quillmark::fuzz::Run(quillmark::fuzz::Secure(), head);
  return 0;
}
