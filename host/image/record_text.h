// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::host {

/// One line of a record file, without line end and trailing blanks.
struct RecordLine {
  std::string_view text;
  std::size_t number;  ///< counted from 1
};

/// The lines of a record file that are not blank; line ends are LF or CR LF.
class RecordLines {
 public:
  explicit RecordLines(std::string_view text) : rest_(text) {}

  /// Nothing after the last line.
  [[nodiscard]] std::optional<RecordLine> Next();

  /// Number of the line that Next returned last, 1 before that: where a missing record is reported.
  [[nodiscard]] std::size_t LastLine() const { return last_line_; }

 private:
  std::string_view rest_;
  std::size_t number_ = 0;
  std::size_t last_line_ = 1;
};

/// Passes the lines up to the end of the text to `take`; it returns true for an end record, after
/// which any line is damage (`DamagedImage`). False if there was no end record.
[[nodiscard]] bool ReadToEndRecord(RecordLines& lines, std::string_view file,
                                   const std::function<bool(const RecordLine&)>& take);

/// The bytes of hexadecimal text in either case, in place of what `bytes` held. Raises
/// `DamagedImage` for an odd number of digits or a character that is not a digit, whose column
/// counts from 1 at the start of the line.
void ParseRecordHex(std::string_view file, const RecordLine& line, std::size_t first_column,
                    std::vector<std::uint8_t>& bytes);

/// A character for a message: itself in quotes if it can be printed, otherwise its code.
[[nodiscard]] std::string Printable(char character);

/// The big-endian number in `count` bytes from `first` on; at most four.
[[nodiscard]] std::uint32_t BigEndian(std::span<const std::uint8_t> bytes, std::size_t first,
                                      std::size_t count);

}  // namespace quillmark::host
