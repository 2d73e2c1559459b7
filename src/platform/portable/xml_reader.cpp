#include "platform/portable/xml_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/portable/tree_edits.h"
#include "platform/portable/utf8.h"
#include "platform/portable/xml_lexis.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr std::array<std::pair<std::string_view, char>, 5> kEntities{
    {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}}};

/// One pass over the text; `parent_` is the innermost open element, at the outside `document_`.
class Reader {
 public:
  Reader(std::string_view text, pugi::xml_node document)
      : text_(text), document_(document), parent_(document) {}

  void Run() {
    CheckCharacters();
    Skip(kByteOrderMark);
    ReadDeclaration();
    while (at_ < text_.size()) {
      ReadNext();
    }
    if (parent_ != document_) {
      Fail(std::string("The element \"") + parent_.name() + "\" is not closed", at_);
    }
    if (!has_root_) {
      Fail("The document has no element", at_);
    }
  }

 private:
  [[noreturn]] static void Fail(const std::string& reason, std::size_t offset) {
    throw Error(error_number::kTypeMismatch, reason + " (offset " + std::to_string(offset) + ")");
  }

  void CheckCharacters() const {
    const std::size_t valid = XmlPrefixLength(text_);
    if (valid < text_.size()) {
      Fail("Neither UTF-8 nor a character that XML allows", valid);
    }
  }

  [[nodiscard]] std::string_view Rest() const { return text_.substr(at_); }

  bool Skip(std::string_view token) {
    const bool found = Rest().starts_with(token);
    at_ += found ? token.size() : 0;
    return found;
  }

  void SkipBlanks() { at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size()); }

  std::string_view TakeUntil(std::string_view end, const char* reason) {
    const std::size_t begin = at_;
    const std::size_t found = text_.find(end, at_);
    if (found == std::string_view::npos) {
      Fail(reason, begin);
    }
    at_ = found + end.size();
    return text_.substr(begin, found - begin);
  }

  std::string_view TakeName() {
    const std::string_view name = text_.substr(at_, NameLength(Rest()));
    if (name.empty()) {
      Fail("A name is missing", at_);
    }
    at_ += name.size();
    return name;
  }

  void ReadDeclaration() {
    if (Rest().starts_with("<?xml") && NameLength(Rest().substr(2)) == 3) {
      at_ += 2;
      ReadInstructionBody(TakeName());
    }
  }

  void ReadNext() {
    if (Rest().front() != '<') {
      return ReadText();
    }
    if (Skip("<!--")) {
      return ReadComment();
    }
    if (Skip("<![CDATA[")) {
      return ReadCData();
    }
    if (Rest().starts_with("<!DOCTYPE")) {
      Fail("Document type declarations are not accepted", at_);
    }
    if (Skip("<?")) {
      return ReadInstruction();
    }
    if (Skip("</")) {
      return ReadEndTag();
    }
    ReadStartTag();
  }

  void ReadText() {
    const std::size_t begin = at_;
    at_ = std::min(text_.find('<', at_), text_.size());
    const std::string_view raw = text_.substr(begin, at_ - begin);
    if (const std::size_t end = raw.find("]]>"); end != std::string_view::npos) {
      Fail("\"]]>\" stands in text", begin + end);
    }
    if (parent_ == document_ && !IsBlank(raw)) {
      Fail("Text stands outside of the root element", begin + raw.find_first_not_of(kBlanks));
    }
    Append(pugi::node_pcdata, Decode(raw, begin, '\n'));
  }

  void ReadComment() {
    const std::size_t begin = at_;
    const std::string_view raw = TakeUntil("--", "A comment is not closed");
    if (!Skip(">")) {
      Fail("\"--\" stands in a comment", begin + raw.size());
    }
    Append(pugi::node_comment, NormalizeLineEnds(raw));
  }

  void ReadCData() {
    if (parent_ == document_) {
      Fail("Text stands outside of the root element", at_);
    }
    Append(pugi::node_cdata, NormalizeLineEnds(TakeUntil("]]>", "A CDATA section is not closed")));
  }

  void ReadInstruction() {
    const std::size_t begin = at_;
    const std::string_view target = TakeName();
    if (target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' &&
        (target[2] | 0x20) == 'l') {
      Fail("An XML declaration stands behind the beginning", begin);
    }
    ReadInstructionBody(target);
  }

  void ReadInstructionBody(std::string_view target) {
    const std::size_t begin = at_;
    SkipBlanks();
    const bool is_separated = at_ > begin;
    const std::string_view data = TakeUntil("?>", "A processing instruction is not closed");
    if (!is_separated && !data.empty()) {
      Fail("A blank is missing behind a processing instruction's target", begin);
    }
    const pugi::xml_node node = Append(pugi::node_pi, NormalizeLineEnds(data));
    SetName(node, std::string(target).c_str());
  }

  void ReadEndTag() {
    const std::size_t begin = at_ - 2;
    const std::string_view name = TakeName();
    SkipBlanks();
    if (!Skip(">")) {
      Fail("An end tag is not closed", begin);
    }
    if (parent_ == document_ || name != parent_.name()) {
      Fail("The end tag \"" + std::string(name) + "\" closes no open element", begin);
    }
    parent_ = parent_.parent();
  }

  void ReadStartTag() {
    const std::size_t begin = at_++;
    const std::string name(TakeName());
    if (parent_ == document_ && std::exchange(has_root_, true)) {
      Fail("A second root element", begin);
    }
    const pugi::xml_node element = AppendNew(parent_, pugi::node_element);
    SetName(element, name.c_str());
    while (ReadAttribute(element)) {
    }
    if (Skip("/>")) {
      return;
    }
    if (!Skip(">")) {
      Fail("The start tag \"" + name + "\" is not closed", begin);
    }
    parent_ = element;
  }

  bool ReadAttribute(pugi::xml_node element) {
    const std::size_t before_blanks = at_;
    SkipBlanks();
    const std::size_t begin = at_;
    if (begin == before_blanks || NameLength(Rest()) == 0) {
      return false;
    }
    const std::string name(TakeName());
    if (element.attribute(name.c_str())) {
      Fail("The attribute \"" + name + "\" is given twice", begin);
    }
    SkipBlanks();
    const bool has_value = Skip("=");
    SkipBlanks();
    const char quote = has_value && at_ < text_.size() ? text_[at_] : '\0';
    if (quote != '"' && quote != '\'') {
      Fail("The attribute \"" + name + "\" has no quoted value", begin);
    }
    const std::size_t value_begin = ++at_;
    const std::string_view raw =
        TakeUntil(std::string_view(&quote, 1), "An attribute's value is not closed");
    if (const std::size_t sign = raw.find('<'); sign != std::string_view::npos) {
      Fail("\"<\" stands in an attribute's value", value_begin + sign);
    }
    SetAttribute(element, name.c_str(), Decode(raw, value_begin, ' '));
    return true;
  }

  /// Resolves the references in `raw`, which begins at `offset`. Line ends become `line_end`; in
  /// attributes (a blank) so do tabs.
  static std::string Decode(std::string_view raw, std::size_t offset, char line_end) {
    std::string value;
    value.reserve(raw.size());
    std::size_t at = 0;
    while (at < raw.size()) {
      const char c = raw[at];
      if (c == '&') {
        at += DecodeReference(raw.substr(at), offset + at, value);
        continue;
      }
      ++at;
      if (c == '\r' && raw.substr(at).starts_with('\n')) {
        continue;
      }
      const bool is_line_end = c == '\r' || c == '\n' || (c == '\t' && line_end == ' ');
      value.push_back(is_line_end ? line_end : c);
    }
    return value;
  }

  /// Appends the character of the reference at the beginning of `text` and returns its length.
  static std::size_t DecodeReference(std::string_view text, std::size_t offset,
                                     std::string& value) {
    const std::size_t end = text.find(';');
    const std::string_view name = text.substr(1, end == std::string_view::npos ? 0 : end - 1);
    if (name.starts_with('#')) {
      AppendUtf8(value, DecodeCharacterNumber(name.substr(1), offset));
      return end + 1;
    }
    for (const auto& [entity, character] : kEntities) {
      if (name == entity) {
        value.push_back(character);
        return end + 1;
      }
    }
    Fail("\"&\" begins no known reference", offset);
  }

  static std::uint32_t DecodeCharacterNumber(std::string_view digits, std::size_t offset) {
    int base = 10;
    if (digits.starts_with('x')) {
      base = 16;
      digits.remove_prefix(1);
    }
    std::uint32_t code = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, code, base);
    if (error != std::errc() || stop != end || !IsXmlCharacter(code)) {
      Fail("A character reference names no character", offset);
    }
    return code;
  }

  static std::string NormalizeLineEnds(std::string_view raw) {
    std::string text;
    text.reserve(raw.size());
    for (std::size_t at = 0; at < raw.size(); ++at) {
      const bool is_pair = raw.substr(at).starts_with("\r\n");
      if (!is_pair) {
        text.push_back(raw[at] == '\r' ? '\n' : raw[at]);
      }
    }
    return text;
  }

  pugi::xml_node Append(pugi::xml_node_type type, std::string_view value) {
    const pugi::xml_node node = AppendNew(parent_, type);
    SetValue(node, value);
    return node;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  pugi::xml_node document_;
  pugi::xml_node parent_;
  bool has_root_ = false;
};

}  // namespace

void ReadXml(std::string_view text, pugi::xml_node parent) { Reader(text, parent).Run(); }

}  // namespace quillmark::portable
