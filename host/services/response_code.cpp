// SPDX-License-Identifier: MIT
#include "host/services/response_code.h"

#include <array>
#include <string_view>

#include "quillmark/host/bytes.h"

namespace quillmark::host {
namespace {

struct CodeMeaning {
  std::uint8_t code;
  std::string_view meaning;
};

constexpr std::array kCodeMeanings{
    CodeMeaning{0x10, "general reject"},
    CodeMeaning{0x11, "service not supported"},
    CodeMeaning{0x12, "sub-function not supported"},
    CodeMeaning{0x13, "incorrect message length"},
    CodeMeaning{0x21, "busy, repeat request"},
    CodeMeaning{0x22, "conditions not correct"},
    CodeMeaning{0x23, "routine not complete"},
    CodeMeaning{0x31, "request out of range"},
    CodeMeaning{0x33, "security access denied"},
    CodeMeaning{0x35, "invalid key"},
    CodeMeaning{0x36, "exceeded number of attempts"},
    CodeMeaning{0x37, "required time delay not expired"},
    CodeMeaning{0x72, "programming failure"},
    CodeMeaning{0x77, "block checksum error"},
    CodeMeaning{kResponsePending, "response pending"},
    CodeMeaning{0x80, "service not supported in this session"},
};

}  // namespace

std::string ResponseCodeText(std::uint8_t code) {
  std::string text = HexOf(Bytes{code});
  for (const CodeMeaning& known : kCodeMeanings) {
    if (known.code == code) {
      text.append(", ").append(known.meaning);
    }
  }
  return text;
}

}  // namespace quillmark::host
