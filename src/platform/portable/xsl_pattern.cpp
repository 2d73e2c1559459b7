// SPDX-License-Identifier: MIT
#include "platform/portable/xsl_pattern.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/portable/xml_lexis.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

constexpr std::string_view kDigits = "0123456789";

bool Contains(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

/// Copies a pattern token by token into the expression.
class Translator {
 public:
  explicit Translator(std::string_view pattern) : pattern_(pattern) {}

  TranslatedPattern Run() {
    while (at_ < pattern_.size()) {
      TranslateToken();
    }
    result_.origins.push_back(pattern_.size());
    return std::move(result_);
  }

 private:
  /// The previous token decides what a slash or a star means.
  enum class Before { kNothing, kOperand, kStepSign };

  void TranslateToken() {
    RejectWhatLeavesTheDocument();
    const char c = pattern_[at_];
    if (Contains(kBlanks, c)) {
      Copy(1);
    } else if (c == '"' || c == '\'') {
      CopyLiteral(c);
    } else if (c == '[') {
      TranslateBracket();
    } else if (c == '/') {
      TranslateSlash();
    } else if (const std::size_t length = WordLength(); length > 0) {
      CopyWord(length);
    } else {
      CopySign(c);
    }
  }

  void RejectWhatLeavesTheDocument() const {
    const std::string_view rest = pattern_.substr(at_);
    if (rest.starts_with("::")) {
      RaisePatternError(pattern_, "a pattern has no axes", at_);
    }
    if (rest.starts_with("..")) {
      RaisePatternError(pattern_, "a pattern has no parent step", at_);
    }
    if (rest.starts_with("$")) {
      RaisePatternError(pattern_, "a pattern has no variables", at_);
    }
  }

  void CopyLiteral(char quote) {
    const std::size_t end = pattern_.find(quote, at_ + 1);
    if (end == std::string_view::npos) {
      RaisePatternError(pattern_, "the literal has no end", at_);
    }
    Copy(end + 1 - at_);
    before_ = Before::kOperand;
  }

  void TranslateBracket() {
    const std::size_t digits =
        std::min(pattern_.find_first_not_of(kBlanks, at_ + 1), pattern_.size());
    const std::size_t digits_end =
        std::min(pattern_.find_first_not_of(kDigits, digits), pattern_.size());
    const std::size_t close =
        std::min(pattern_.find_first_not_of(kBlanks, digits_end), pattern_.size());
    const bool is_index = digits_end > digits && close < pattern_.size() && pattern_[close] == ']';
    Copy(1);
    before_ = Before::kNothing;
    if (is_index) {
      TranslateIndex(digits, digits_end);
    }
  }

  void TranslateIndex(std::size_t begin, std::size_t end) {
    std::uint32_t index = 0;
    const auto [stop, error] =
        std::from_chars(pattern_.data() + begin, pattern_.data() + end, index);
    if (error != std::errc()) {
      RaisePatternError(pattern_, "the index is too large", begin);
    }
    Insert(std::to_string(std::uint64_t{index} + 1), begin);
    at_ = end;
    before_ = Before::kOperand;
  }

  void TranslateSlash() {
    const std::size_t length = pattern_.substr(at_).starts_with("//") ? 2 : 1;
    if (before_ == Before::kNothing) {
      Insert('$' + std::string(kDocumentVariable), at_);
    }
    if (before_ == Before::kNothing && length == 1 && !IsStepAfter(at_ + 1)) {
      ++at_;
      before_ = Before::kOperand;
      return;
    }
    Copy(length);
    before_ = Before::kStepSign;
  }

  [[nodiscard]] bool IsStepAfter(std::size_t at) const {
    const std::size_t next = pattern_.find_first_not_of(kBlanks, at);
    return next != std::string_view::npos && !Contains(")]|,=!<>+-", pattern_[next]);
  }

  /// A colon belongs to the word only within a prefixed name: "a:b", but not "a::b".
  [[nodiscard]] std::size_t WordLength() const {
    const std::string_view rest = pattern_.substr(at_);
    return std::min(NameLength(rest), rest.find("::"));
  }

  void CopyWord(std::size_t length) {
    const std::string_view word = pattern_.substr(at_, length);
    const bool is_operator = before_ == Before::kOperand &&
                             (word == "and" || word == "or" || word == "div" || word == "mod");
    Copy(length);
    before_ = is_operator ? Before::kNothing : Before::kOperand;
  }

  void CopySign(char c) {
    if (c == '@') {
      before_ = Before::kStepSign;
    } else if (c == '*') {
      before_ = before_ == Before::kOperand ? Before::kNothing : Before::kOperand;
    } else {
      before_ = Contains(".])0123456789", c) ? Before::kOperand : Before::kNothing;
    }
    Copy(1);
  }

  void Copy(std::size_t length) {
    for (const std::size_t end = at_ + length; at_ < end; ++at_) {
      result_.xpath.push_back(pattern_[at_]);
      result_.origins.push_back(at_);
    }
  }

  void Insert(std::string_view text, std::size_t origin) {
    result_.xpath.append(text);
    result_.origins.insert(result_.origins.end(), text.size(), origin);
  }

  std::string_view pattern_;
  std::size_t at_ = 0;
  Before before_ = Before::kNothing;
  TranslatedPattern result_;
};

}  // namespace

TranslatedPattern TranslateXslPattern(std::string_view pattern) {
  return Translator(pattern).Run();
}

void RaisePatternError(std::string_view pattern, std::string_view reason, std::size_t offset) {
  std::string text = "Bad path \"";
  text.append(pattern).append("\" at ").append(std::to_string(offset));
  text.append(": ").append(reason);
  throw Error(error_number::kBadPattern, std::move(text));
}

}  // namespace quillmark::portable
