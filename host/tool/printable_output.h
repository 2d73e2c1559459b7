// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace quillmark::host {

enum class Charset : std::uint8_t { kAscii, kUtf8 };

/// The character set of the locale that the environment names: UTF-8, or nothing beyond ASCII. On
/// Windows, UTF-8.
[[nodiscard]] Charset CharsetOfEnvironment();

/// Makes a stream harmless for a terminal while it lives: whichever file, ECU or other program a
/// text comes from, the terminal acts on none of it.
///
/// Line feeds pass. Other control characters (C0, DEL, C1), the separators and overrides that
/// change the order of text, and characters beyond the character set become `\u001b`, which in a
/// JSON text still means the same character. Bytes that are not UTF-8 become `\x9b`.
class PrintableOutput : public std::streambuf {
 public:
  PrintableOutput(std::ostream& stream, Charset charset);
  PrintableOutput(const PrintableOutput&) = delete;
  PrintableOutput& operator=(const PrintableOutput&) = delete;
  PrintableOutput(PrintableOutput&&) = delete;
  PrintableOutput& operator=(PrintableOutput&&) = delete;
  /// Gives the stream its own buffer back.
  ~PrintableOutput() override;

  /// Writes a control sequence of the tool's own as it is; false if that fails.
  [[nodiscard]] bool Pass(std::string_view sequence);

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  void Put(char byte);
  void PutCharacter();
  void PutEscaped(std::string_view bytes);
  [[nodiscard]] bool Release();

  std::ostream& stream_;
  std::streambuf* target_;
  Charset charset_;
  /// The beginning of a character.
  std::string character_;
  /// What is ready for the target.
  std::string printable_;
};

/// A control sequence of the tool's own, which a PrintableOutput lets pass.
struct TerminalControl {
  std::string_view sequence;
};

std::ostream& operator<<(std::ostream& out, TerminalControl control);

/// Text for a single line: a line feed in it becomes `\u000a`.
[[nodiscard]] std::string OneLine(std::string text);

}  // namespace quillmark::host
