// SPDX-License-Identifier: MIT
// Image files: whatever the content, a reader returns segments in order, or says what is wrong; and
// the segments survive being written and read again, in every format.
//
// The first byte of the input, '0' to '?', chooses the name's extension and the base address.
#include <array>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

#include "fuzz/support/law.h"
#include "host/image/image_builder.h"
#include "quillmark/host/image_file.h"

namespace quillmark::fuzz {
namespace {

using namespace host;

constexpr std::array kNames = {"image.hex", "image.s19", "image.bin", "image"};
constexpr std::array kBases = {0U, 0x8000U, 0xFFFFFFFFU};

std::optional<ImageFile> Read(std::string_view content, std::uint8_t choice) {
  const std::size_t base = choice / kNames.size() % (kBases.size() + 1);
  try {
    return ReadImage(content, kNames[choice % kNames.size()],
                     base == 0 ? std::nullopt : std::optional(kBases[base - 1]));
  } catch (const DamagedImage&) {
  } catch (const NotAnImage&) {
  } catch (const MisplacedBase&) {
  }
  return std::nullopt;
}

void RequireOrder(const ImageSegments& segments) {
  std::uint64_t end = 0;
  for (const ImageSegment& segment : segments) {
    const bool first = &segment == &segments.front();
    Law(!segment.bytes.empty(), "no segment is empty");
    Law(first || segment.address > end, "segments are in order, apart and as long as possible");
    end = segment.address + std::uint64_t{segment.bytes.size()};
    Law(end <= kAddressSpace, "segments stay within 32 bits");
  }
}

void RequireRoundTrip(const ImageSegments& segments, ImageFormat format, const char* name) {
  std::ostringstream out;
  WriteImage(out, format, segments, 0xFF);
  Law(ReadImage(out.str(), name, std::nullopt).segments == segments, "what was written reads back");
}

void Run(std::string_view content, std::uint8_t choice) {
  const std::optional<ImageFile> file = Read(content, choice);
  if (!file) {
    return;
  }
  RequireOrder(file->segments);
  RequireRoundTrip(file->segments, ImageFormat::kIntelHex, "image.hex");
  RequireRoundTrip(file->segments, ImageFormat::kSRecord, "image.s19");
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 0) {
    quillmark::fuzz::Run({reinterpret_cast<const char*>(data + 1), size - 1}, data[0]);
  }
  return 0;
}
