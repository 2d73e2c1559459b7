// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <utility>

namespace quillmark::com {

/// UTF-8 as UTF-16 and back; what is not well-formed becomes U+FFFD. Raise 7 if out of memory, and
/// 6 for a text that is too long for the conversion.
[[nodiscard]] std::wstring Utf16Of(std::string_view utf8);
[[nodiscard]] std::string Utf8Of(std::wstring_view utf16);

/// The text of a BSTR, which may be null and may contain zeros.
[[nodiscard]] inline std::wstring_view View(BSTR text) {
  return text == nullptr ? std::wstring_view() : std::wstring_view(text, SysStringLen(text));
}

/// An owned BSTR.
class Bstr {
 public:
  Bstr() = default;
  /// Raises 7 if out of memory.
  explicit Bstr(std::wstring_view text);
  /// The same from UTF-8 text.
  explicit Bstr(std::string_view utf8) : Bstr(std::wstring_view(Utf16Of(utf8))) {}
  Bstr(const Bstr&) = delete;
  Bstr(Bstr&& other) noexcept : text_(other.Detach()) {}
  Bstr& operator=(const Bstr&) = delete;
  Bstr& operator=(Bstr&& other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  ~Bstr() { SysFreeString(text_); }

  [[nodiscard]] BSTR get() const { return text_; }
  [[nodiscard]] std::wstring_view view() const { return View(text_); }
  [[nodiscard]] std::string utf8() const { return Utf8Of(view()); }

  /// Storage for a function that returns a text; the previous one is freed.
  [[nodiscard]] BSTR* Put() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  /// Passes the text to the caller.
  [[nodiscard]] BSTR Detach() { return std::exchange(text_, nullptr); }

 private:
  BSTR text_ = nullptr;
};

}  // namespace quillmark::com
