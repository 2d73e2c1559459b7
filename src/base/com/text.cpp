// SPDX-License-Identifier: MIT
#include "base/com/text.h"

#include <windows.h>

#include "base/checked.h"
#include "base/guards.h"

namespace quillmark::com {

std::wstring Utf16Of(std::string_view utf8) {
  const auto size = checked::Convert<int>(utf8.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
  std::wstring utf16(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, utf16.data(), length);
  return utf16;
}

std::string Utf8Of(std::wstring_view utf16) {
  const auto size = checked::Convert<int>(utf16.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, utf16.data(), size, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, utf16.data(), size, utf8.data(), length, nullptr, nullptr);
  return utf8;
}

Bstr::Bstr(std::wstring_view text)
    : text_(SysAllocStringLen(text.data(), checked::Convert<UINT>(text.size()))) {
  RequireMemory(text_ != nullptr);
}

}  // namespace quillmark::com
