// SPDX-License-Identifier: MIT
#include <map>
#include <string_view>

#include "host/report/packed_writer.h"
#include "host/report/page_data.h"
#include "page_sources.h"
#include "quillmark/host/bytes.h"
#include "quillmark/host/report.h"

namespace quillmark::host {
namespace {

/// Text escaped for use between tags and within the quotes of an attribute.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

/// The length of the JSON, the JSON and the frames, in letters that can neither end the element
/// that contains them nor begin another.
std::string DataText(const PageData& data) {
  const std::string columns = data.columns.dump(-1, ' ', false, Json::error_handler_t::replace);
  PackedWriter packed;
  packed.Number(columns.size());
  packed.Append(Bytes(columns.begin(), columns.end()));
  packed.Append(data.frames);
  return Base64Of(Deflated(packed.bytes()));
}

/// Replaces the placeholders `@NAME@` of a template by `values`.
std::string Filled(std::string_view text, const std::map<std::string_view, std::string>& values) {
  std::string filled;
  while (true) {
    const std::size_t start = text.find('@');
    const std::size_t end = start == std::string_view::npos ? start : text.find('@', start + 1);
    if (end == std::string_view::npos) {
      return filled.append(text);
    }
    const auto value = values.find(text.substr(start + 1, end - start - 1));
    if (value == values.end()) {
      filled.append(text.substr(0, end));
      text.remove_prefix(end);
      continue;
    }
    filled.append(text.substr(0, start)).append(value->second);
    text.remove_prefix(end + 1);
  }
}

/// How a Content-Security-Policy names the one script or style that it allows.
std::string PolicyHash(std::string_view sha256) {
  return "'sha256-" + Base64Of(BytesOfHex(sha256).value_or(Bytes{})) + '\'';
}

std::string Script() {
  std::string script;
  for (const std::string_view part : kPageScripts) {
    script.append(part);
  }
  return script;
}

}  // namespace

std::string RenderPage(const Artifacts& artifacts) {
  const Outcome outcome = OutcomeOf(artifacts);
  return Filled(
      kPageTemplate,
      {{"TITLE", Escaped(outcome.line) + " · Quillmark"},
       {"KICKER",
        "Quillmark · report of <b>" + std::string(NameOf(artifacts.plan.command)) + "</b>"},
       {"STATE", Escaped(outcome.state)},
       {"OUTCOME", Escaped(outcome.line)},
       {"FOOTER",
        "Times are those of the bus, counted from its first frame. What became of the memory "
        "is read off the frames themselves."},
       {"STYLE", std::string(kPageStyle)},
       {"STYLE_HASH", PolicyHash(kPageStyleSha256)},
       {"SCRIPT_HASH", PolicyHash(kPageScriptSha256)},
       {"SCRIPT", Script()},
       {"DATA", DataText(PageDataOf(artifacts))}});
}

}  // namespace quillmark::host
