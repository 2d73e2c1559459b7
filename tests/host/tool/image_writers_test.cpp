// SPDX-License-Identifier: MIT
// Every format written to a stream that fails, at each byte in turn, and to a disk that is full.
#include <gtest/gtest.h>

#include <fstream>

#include "quillmark/host/image_file.h"
#include "support/limited_stream.h"

namespace quillmark::host {
namespace {

/// Segments of 4 bytes at multiples of `distance`. No more than a few: a failure at each byte makes
/// the work grow with the square of their number.
ImageSegments FewSegments(std::uint32_t distance) {
  ImageSegments segments;
  for (std::uint32_t i = 0; i < 12; ++i) {
    segments.push_back({i * distance, {1, 2, 3, 4}});
  }
  return segments;
}

class FailingStream : public ::testing::TestWithParam<ImageFormat> {};

TEST_P(FailingStream, EndsWhatIsWrittenAtItsFirstFailure) {
  quillmark::testing::ExpectEndsWithItsStream(
      [](std::ostream& out) { WriteImage(out, GetParam(), FewSegments(50), 0xFF); });
}

TEST_P(FailingStream, LeavesAFullDiskAlone) {
  std::ofstream out("/dev/full", std::ios::binary);
  ASSERT_TRUE(out.is_open());
  WriteImage(out, GetParam(), FewSegments(0x10000), 0xFF);
  EXPECT_FALSE(out.flush());
}

INSTANTIATE_TEST_SUITE_P(Formats, FailingStream,
                         ::testing::Values(ImageFormat::kIntelHex, ImageFormat::kSRecord,
                                           ImageFormat::kRawBinary),
                         [](const auto& format) {
                           return format.param == ImageFormat::kRawBinary ? "RawBinary"
                                  : format.param == ImageFormat::kSRecord ? "SRecord"
                                                                          : "IntelHex";
                         });

}  // namespace
}  // namespace quillmark::host
