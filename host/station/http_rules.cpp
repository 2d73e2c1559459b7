// SPDX-License-Identifier: MIT
#include "host/station/http_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace quillmark::host {
namespace {

constexpr std::size_t kMostTarget = 2048;

char Lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool AreSameName(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

/// `name` may begin with a star, which is one label.
bool Names(std::string_view name, std::string_view host) {
  if (!name.starts_with("*.")) {
    return AreSameName(name, host);
  }
  const std::size_t label = std::min(host.find('.'), host.size());
  return label > 0 && AreSameName(name.substr(1), host.substr(label));
}

}  // namespace

bool IsSecret(std::string_view given, std::string_view secret) {
  if (secret.empty()) {
    return false;
  }
  unsigned difference = given.size() == secret.size() ? 0 : 1;
  for (std::size_t i = 0; i < given.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i]) ^
                  static_cast<unsigned char>(secret[i % secret.size()]);
  }
  return difference == 0;
}

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

bool HttpRules::IsOwnHost(std::string_view host) const {
  const std::string port_text = fmt::format(":{}", port);
  if (host.ends_with(port_text)) {
    host.remove_suffix(port_text.size());
  } else if (port != (scheme == "https" ? 443 : 80)) {
    return false;
  }
  return std::any_of(names.begin(), names.end(),
                     [host](const std::string& name) { return Names(name, host); });
}

bool HttpRules::HasCookie(const HttpHead& head) const {
  return std::any_of(head.cookies.begin(), head.cookies.end(), [this](std::string_view line) {
    return IsSecret(CookieIn(line, cookie_name), cookie);
  });
}

const HttpRoute& HttpRules::RouteOf(const HttpHead& head, HttpRequest& request,
                                    bool& has_cookie) const {
  if (head.hosts.size() != 1 || !IsOwnHost(head.hosts.front())) {
    throw HttpError(head.hosts.size() == 1 ? 403 : 400,
                    "expected the address of this station in the header Host");
  }
  const std::string own = fmt::format("{}://{}", scheme, head.hosts.front());
  if (std::any_of(head.origins.begin(), head.origins.end(),
                  [&](std::string_view origin) { return origin != own; })) {
    throw HttpError(403, "this request comes from another page");
  }
  if (head.target.size() > kMostTarget) {
    throw HttpError(414, fmt::format("expected an address of at most {} bytes", kMostTarget));
  }
  const std::size_t path_end = std::min(head.target.find('?'), head.target.size());
  const HttpRoute* found = nullptr;
  std::vector<std::string> parts;
  bool exists = false;
  for (const HttpRoute& route : routes) {
    if (Fits(head.target.substr(0, path_end), route.path, parts)) {
      exists = true;
      if (head.method == route.method) {
        found = &route;
        request.parts = parts;
      }
    }
  }
  has_cookie = HasCookie(head);
  if (found == nullptr || !found->is_open) {
    // Also for what there is not: a stranger is told nothing.
    if (!has_cookie) {
      throw HttpError(401, "open the station with the address that it has printed");
    }
    if (!head.site.empty() && head.site != "same-origin" && head.site != "none") {
      throw HttpError(403, "this request comes from another page");
    }
  }
  if (found == nullptr) {
    throw exists ? HttpError(405, "this address does not take this method")
                 : HttpError(404, "there is nothing at this address");
  }
  request.query = ParseQuery(head.target.substr(std::min(path_end + 1, head.target.size())));
  return *found;
}

}  // namespace quillmark::host
