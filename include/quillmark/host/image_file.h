// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/export.h"
#include "quillmark/memory_image.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// Consecutive bytes from an address on. Addresses have 32 bits; the last byte's address is at most
/// 0xFFFFFFFF.
struct ImageSegment {
  std::uint32_t address = 0;          ///< of the first byte
  std::vector<std::uint8_t> bytes{};  ///< one for each address

  friend bool operator==(const ImageSegment&, const ImageSegment&) = default;
};

/// The content of an image file: segments that are not empty, in address order, with a gap between
/// any two of them.
using ImageSegments = std::vector<ImageSegment>;

/// An image file whose content cannot be used. what() is "FILE:LINE: reason" or "FILE: reason".
class QUILLMARK_API DamagedImage : public std::runtime_error {
 public:
  /// `line` is counted from 1.
  DamagedImage(std::string_view file, std::size_t line, std::string_view reason);
  /// Of a file without lines, or as a whole.
  DamagedImage(std::string_view file, std::string_view reason);
};

/// What one of several files holds.
struct ImagePart {
  std::string_view file{};                   ///< its name for messages
  std::span<const ImageSegment> segments{};  ///< its content
};

/// What the files hold together, by the rule of a single one: an address may be in several of them
/// if they agree about its value. Otherwise raises `DamagedImage`.
[[nodiscard]] QUILLMARK_API ImageSegments JoinImages(const std::vector<ImagePart>& parts);

/// The formats of image files.
enum class ImageFormat : std::uint8_t {
  kIntelHex,   ///< with addresses of 16 to 32 bits
  kSRecord,    ///< S19, S28 or S37
  kRawBinary,  ///< bytes without addresses
};

/// "Intel HEX", "Motorola S-record" or "raw binary".
[[nodiscard]] QUILLMARK_API std::string_view NameOf(ImageFormat format);

/// The most bytes that are read as an image file: enough for a record for each byte of 24 bits of
/// addresses.
inline constexpr std::uint64_t kLargestImageFile = 0x10000000;

/// A file of another kind, which holds no image. what() says what it is and how to convert it.
class QUILLMARK_API NotAnImage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A raw binary without a base address, or a base address for a file that has addresses of its own.
class QUILLMARK_API MisplacedBase : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What an image file holds.
struct ImageFile {
  ImageFormat format = ImageFormat::kRawBinary;  ///< in which it was read
  ImageSegments segments{};                      ///< its content
  /// Records that give addresses values that other records give them too.
  std::uint64_t repeated_records = 0;
};

/// Whether the content is Intel HEX or Motorola S-record, possibly damaged, rather than a raw
/// binary without addresses.
[[nodiscard]] QUILLMARK_API bool HasAddresses(std::string_view content);

/// Reads an image file. The content determines the format; if it does not, as in a file whose first
/// line is damaged, the extension does; anything else is a raw binary that starts at `base`. Raises
/// `CannotReadFile`, `DamagedImage`, `NotAnImage` and `MisplacedBase`.
[[nodiscard]] QUILLMARK_API ImageFile ReadImageFile(const std::filesystem::path& path,
                                                    std::optional<std::uint32_t> base);

/// The same for text that is in memory; `path` is the name for messages, and its extension is used.
[[nodiscard]] QUILLMARK_API ImageFile ReadImage(std::string_view content,
                                                const std::filesystem::path& path,
                                                std::optional<std::uint32_t> base);

/// The format of the extension: .hex .ihex .ihx, .s19 .s28 .s37 .srec .mot .sx .s, in any case;
/// everything else is raw binary.
[[nodiscard]] QUILLMARK_API ImageFormat FormatOfName(const std::filesystem::path& path);

/// The segments as an image for the component.
[[nodiscard]] QUILLMARK_API std::shared_ptr<MemoryImage> ImageOf(
    std::span<const ImageSegment> segments, Platform& platform);

/// The segments of such an image in address order, joined where they are adjacent.
/// `file` is the name for messages. Raises `DamagedImage` where segments contradict each other.
[[nodiscard]] QUILLMARK_API ImageSegments SegmentsOf(const MemoryImage& image,
                                                     const std::string& file);

/// The number of bytes of all segments.
[[nodiscard]] QUILLMARK_API std::uint64_t SizeOf(const ImageSegments& segments);

/// SHA-256 of all bytes in address order, without their addresses, as 64 lower-case hexadecimal
/// digits: for an image without gaps, that of its raw binary.
[[nodiscard]] QUILLMARK_API std::string Sha256Of(const ImageSegments& segments);
/// The same of an image of the component, whose segments do not overlap.
[[nodiscard]] QUILLMARK_API std::string Sha256Of(const MemoryImage& image);

/// Writes `segments`. A raw binary starts at the first segment's address and has `fill` in the
/// gaps; the result is the number of these bytes, 0 for the other formats. Once `out` has failed,
/// nothing more is written to it; the caller checks its state.
QUILLMARK_API std::uint64_t WriteImage(std::ostream& out, ImageFormat format,
                                       const ImageSegments& segments, std::uint8_t fill);

}  // namespace quillmark::host
