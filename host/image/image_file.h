// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "host/image/image.h"

namespace quillmark::host {

enum class ImageFormat : std::uint8_t { kIntelHex, kSRecord, kRawBinary };

/// "Intel HEX", "Motorola S-record" or "raw binary".
[[nodiscard]] std::string_view NameOf(ImageFormat format);

/// The most bytes that are read as an image file: enough for a record for each byte of 24 bits of
/// addresses.
inline constexpr std::uint64_t kLargestImageFile = 0x10000000;

/// A file of another kind, which holds no image. what() says what it is and how to convert it.
class NotAnImage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A raw binary without a base address, or a base address for a file that has addresses of its own.
class MisplacedBase : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ImageFile {
  ImageFormat format;
  ImageSegments segments;
  std::uint64_t repeated_records = 0;  ///< as in `ImageContent`
};

/// Whether the content is Intel HEX or Motorola S-record, possibly damaged, rather than a raw
/// binary without addresses.
[[nodiscard]] bool HasAddresses(std::string_view content);

/// Reads an image file. The content determines the format; if it does not, as in a file whose first
/// line is damaged, the extension does; anything else is a raw binary that starts at `base`. Raises
/// `CannotReadFile`, `DamagedImage`, `NotAnImage` and `MisplacedBase`.
[[nodiscard]] ImageFile ReadImageFile(const std::filesystem::path& path,
                                      std::optional<std::uint32_t> base);

/// The same for text that is in memory; `path` is the name for messages, and its extension is used.
[[nodiscard]] ImageFile ReadImage(std::string_view content, const std::filesystem::path& path,
                                  std::optional<std::uint32_t> base);

/// The format of the extension: .hex .ihex .ihx, .s19 .s28 .s37 .srec .mot .sx .s, in any case;
/// everything else is raw binary.
[[nodiscard]] ImageFormat FormatOfName(const std::filesystem::path& path);

/// Writes `segments`. A raw binary starts at the first segment's address and has `fill` in the
/// gaps; the result is the number of these bytes, 0 for the other formats. Once `out` has failed,
/// nothing more is written to it; the caller checks its state.
std::uint64_t WriteImage(std::ostream& out, ImageFormat format, const ImageSegments& segments,
                         std::uint8_t fill);

}  // namespace quillmark::host
