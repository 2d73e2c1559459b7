// SPDX-License-Identifier: MIT
#include "quillmark/host/image_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "host/image/record_files.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

constexpr std::array<std::string_view, 3> kIntelHexExtensions = {".hex", ".ihex", ".ihx"};
constexpr std::array<std::string_view, 7> kSRecordExtensions = {".s19", ".s28", ".s37", ".srec",
                                                                ".mot", ".sx",  ".s"};

bool IsPrintable(char character) {
  return (character >= ' ' && character <= '~') || character == '\t' || character == '\r';
}

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// Decides by the first line that is not blank. It may be a damaged record, but it must be text.
std::optional<ImageFormat> FormatOfContent(std::string_view content) {
  const std::size_t start = content.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view line = content.substr(start, content.find('\n', start) - start);
  if (!std::all_of(line.begin(), line.end(), IsPrintable)) {
    return std::nullopt;
  }
  if (line.front() == ':') {
    return ImageFormat::kIntelHex;
  }
  if (line.size() > 1 && line.front() == 'S' && IsDigit(line[1])) {
    return ImageFormat::kSRecord;
  }
  return std::nullopt;
}

ImageFormat FormatOf(std::string_view content, const std::filesystem::path& path,
                     std::optional<std::uint32_t> base) {
  if (const auto format = FormatOfContent(content)) {
    return *format;
  }
  return base ? ImageFormat::kRawBinary : FormatOfName(path);
}

/// Its headers and symbols would go into the memory as if they were a raw binary.
void RefuseElf(std::string_view content, const std::string& file) {
  if (content.starts_with("\x7F"
                          "ELF")) {
    throw NotAnImage(
        fmt::format("{}: is an ELF file, expected Intel HEX, Motorola S-record or raw binary; "
                    "objcopy -O srec {} {}.srec makes an image of it",
                    file, file, file));
  }
}

ImageSegments ReadRawBinary(std::string_view content, const std::string& file, std::uint32_t base) {
  if (content.empty()) {
    return {};
  }
  if (base + std::uint64_t{content.size()} > kAddressSpace) {
    throw DamagedImage(file,
                       fmt::format("{} bytes from address {:08X} on run past address FFFFFFFF",
                                   content.size(), base));
  }
  return {{base, std::vector<std::uint8_t>(content.begin(), content.end())}};
}

/// In pieces, so that filling a gap of gigabytes ends when the stream fails.
void WriteFill(std::ostream& out, std::uint64_t count, std::uint8_t fill) {
  constexpr std::uint64_t kPiece = 0x10000;
  const std::string piece(static_cast<std::size_t>(std::min(count, kPiece)),
                          static_cast<char>(fill));
  for (std::uint64_t written = 0; written < count && out; written += piece.size()) {
    const std::uint64_t size = std::min<std::uint64_t>(count - written, piece.size());
    out.write(piece.data(), static_cast<std::streamsize>(size));
  }
}

std::uint64_t WriteRawBinary(std::ostream& out, const ImageSegments& segments, std::uint8_t fill) {
  std::uint64_t filled = 0;
  std::uint64_t next = segments.empty() ? 0 : segments.front().address;
  for (const ImageSegment& segment : segments) {
    filled += segment.address - next;
    WriteFill(out, segment.address - next, fill);
    out.write(reinterpret_cast<const char*>(segment.bytes.data()),
              static_cast<std::streamsize>(segment.bytes.size()));
    next = segment.address + std::uint64_t{segment.bytes.size()};
  }
  return filled;
}

}  // namespace

std::string_view NameOf(ImageFormat format) {
  switch (format) {
    case ImageFormat::kIntelHex:
      return "Intel HEX";
    case ImageFormat::kSRecord:
      return "Motorola S-record";
    case ImageFormat::kRawBinary:
      break;
  }
  return "raw binary";
}

bool HasAddresses(std::string_view content) { return FormatOfContent(content).has_value(); }

ImageFile ReadImageFile(const std::filesystem::path& path, std::optional<std::uint32_t> base) {
  return ReadImage(ReadFile(path, kLargestImageFile), path, base);
}

ImageFile ReadImage(std::string_view content, const std::filesystem::path& path,
                    std::optional<std::uint32_t> base) {
  const std::string file = path.string();
  RefuseElf(content, file);
  const ImageFormat format = FormatOf(content, path, base);
  if (format == ImageFormat::kRawBinary) {
    if (!base) {
      throw MisplacedBase(fmt::format(
          "{}: neither Intel HEX nor Motorola S-record; a raw binary needs a base address", file));
    }
    return {format, ReadRawBinary(content, file, *base)};
  }
  if (base) {
    throw MisplacedBase(fmt::format("{}: a base address is for a raw binary, this file is {}", file,
                                    NameOf(format)));
  }
  ImageContent records =
      format == ImageFormat::kIntelHex ? ReadIntelHex(content, file) : ReadSRecord(content, file);
  return {format, std::move(records.segments), records.repeated_records};
}

ImageFormat FormatOfName(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), [](char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
  });
  const auto is_among = [&](const auto& extensions) {
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
  };
  if (is_among(kIntelHexExtensions)) {
    return ImageFormat::kIntelHex;
  }
  return is_among(kSRecordExtensions) ? ImageFormat::kSRecord : ImageFormat::kRawBinary;
}

std::uint64_t WriteImage(std::ostream& out, ImageFormat format, const ImageSegments& segments,
                         std::uint8_t fill) {
  switch (format) {
    case ImageFormat::kIntelHex:
      WriteIntelHex(out, segments);
      return 0;
    case ImageFormat::kSRecord:
      WriteSRecord(out, segments);
      return 0;
    case ImageFormat::kRawBinary:
      break;
  }
  return WriteRawBinary(out, segments, fill);
}

}  // namespace quillmark::host
