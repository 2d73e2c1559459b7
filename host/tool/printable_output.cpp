// SPDX-License-Identifier: MIT
#include "host/tool/printable_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <utility>

namespace quillmark::host {
namespace {

bool IsPlain(char byte) { return (byte >= 0x20 && byte < 0x7F) || byte == '\n'; }

/// Of the UTF-8 sequence that begins with this byte; 0 if none does.
std::size_t LengthOfSequence(std::uint8_t first) {
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

bool IsContinuation(char byte) { return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80U; }

/// The character of a sequence with the right length; nothing for one that is written longer than
/// it needs to be, for half a surrogate pair, and beyond Unicode.
std::optional<char32_t> CharacterOf(std::string_view sequence) {
  constexpr std::array<char32_t, 5> kFirstOfLength{0, 0, 0x80, 0x800, 0x10000};
  constexpr std::array<std::uint8_t, 5> kBitsOfFirst{0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t character =
      static_cast<std::uint8_t>(sequence.front()) & kBitsOfFirst.at(sequence.size());
  for (const char byte : sequence.substr(1)) {
    character = character << 6U | (static_cast<std::uint8_t>(byte) & 0x3FU);
  }
  const bool is_surrogate = character >= 0xD800 && character <= 0xDFFF;
  const bool is_valid =
      character >= kFirstOfLength.at(sequence.size()) && character <= 0x10FFFF && !is_surrogate;
  return is_valid ? std::optional(character) : std::nullopt;
}

bool IsControl(char32_t character) {
  return (character < 0x20 && character != '\n') || (character >= 0x7F && character < 0xA0);
}

/// Characters that show no glyph but move what is around them.
bool ChangesOrder(char32_t character) {
  constexpr std::array<std::pair<char32_t, char32_t>, 4> kRanges{
      {{0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}}};
  return std::any_of(kRanges.begin(), kRanges.end(), [character](const auto& range) {
    return character >= range.first && character <= range.second;
  });
}

/// As JSON writes it: above 16 bits, a pair of surrogates.
std::string Escaped(char32_t character) {
  if (character < 0x10000) {
    return fmt::format("\\u{:04x}", static_cast<std::uint32_t>(character));
  }
  const auto rest = static_cast<std::uint32_t>(character) - 0x10000U;
  return fmt::format("\\u{:04x}\\u{:04x}", 0xD800U + (rest >> 10U), 0xDC00U + (rest & 0x3FFU));
}

}  // namespace

Charset CharsetOfEnvironment() {
#if defined(_WIN32)
  // TerminalOutput has a console show it.
  return Charset::kUtf8;
#else
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr || *value == '\0') {
      continue;
    }
    std::string locale(value);
    std::transform(locale.begin(), locale.end(), locale.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const bool is_utf8 =
        locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
    return is_utf8 ? Charset::kUtf8 : Charset::kAscii;
  }
  return Charset::kAscii;
#endif
}

PrintableOutput::PrintableOutput(std::ostream& stream, Charset charset)
    : stream_(stream), target_(stream.rdbuf()), charset_(charset) {
  stream_.rdbuf(this);
}

PrintableOutput::~PrintableOutput() {
  PrintableOutput::sync();
  stream_.rdbuf(target_);
}

std::streamsize PrintableOutput::xsputn(const char* text, std::streamsize size) {
  const std::string_view bytes(text, static_cast<std::size_t>(size));
  if (character_.empty() && std::all_of(bytes.begin(), bytes.end(), IsPlain)) {
    return target_->sputn(text, size);
  }
  std::for_each(bytes.begin(), bytes.end(), [this](char byte) { Put(byte); });
  return Release() ? size : 0;
}

PrintableOutput::int_type PrintableOutput::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) {
    return traits_type::not_eof(character);
  }
  Put(traits_type::to_char_type(character));
  return Release() ? character : traits_type::eof();
}

int PrintableOutput::sync() {
  PutEscaped(character_);
  character_.clear();
  return Release() ? target_->pubsync() : -1;
}

void PrintableOutput::Put(char byte) {
  if (!character_.empty() && !IsContinuation(byte)) {
    PutEscaped(character_);
    character_.clear();
  }
  character_ += byte;
  const std::size_t length = LengthOfSequence(static_cast<std::uint8_t>(character_.front()));
  if (character_.size() >= length) {
    PutCharacter();
    character_.clear();
  }
}

void PrintableOutput::PutCharacter() {
  const bool begins_sequence = LengthOfSequence(static_cast<std::uint8_t>(character_.front())) > 0;
  const auto character = begins_sequence ? CharacterOf(character_) : std::nullopt;
  if (!character) {
    PutEscaped(character_);
  } else if (IsControl(*character) || ChangesOrder(*character) ||
             (charset_ == Charset::kAscii && *character > 0x7F)) {
    printable_ += Escaped(*character);
  } else {
    printable_ += character_;
  }
}

void PrintableOutput::PutEscaped(std::string_view bytes) {
  for (const char byte : bytes) {
    printable_ += fmt::format("\\x{:02x}", static_cast<std::uint8_t>(byte));
  }
}

bool PrintableOutput::Pass(std::string_view sequence) {
  printable_ += sequence;
  return Release();
}

bool PrintableOutput::Release() {
  const auto size = static_cast<std::streamsize>(printable_.size());
  const bool written = target_->sputn(printable_.data(), size) == size;
  printable_.clear();
  return written;
}

std::ostream& operator<<(std::ostream& out, TerminalControl control) {
  auto* const output = dynamic_cast<PrintableOutput*>(out.rdbuf());
  if (output == nullptr) {
    return out << control.sequence;
  }
  if (!output->Pass(control.sequence)) {
    out.setstate(std::ios::badbit);
  }
  return out;
}

std::string OneLine(std::string text) {
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at)) {
    text.replace(at, 1, Escaped('\n'));
  }
  return text;
}

}  // namespace quillmark::host
