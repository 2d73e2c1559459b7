// SPDX-License-Identifier: MIT
// The readers and writers against srec_cat and srec_cmp, run as programs.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "host/image/record_files.h"
#include "quillmark/host/image_file.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

// A folder of one test, gone with it.
class TemporaryFolder {
 public:
  TemporaryFolder()
      : path_(fs::path(::testing::TempDir()) / fmt::format("quillmark_oracle_{}", ::getpid())) {
    fs::create_directories(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { fs::remove_all(path_); }

  [[nodiscard]] std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

// Exit status of a shell command.
int Run(const std::string& command) { return std::system(command.c_str()); }

// Segments with a gap between any two, which end below `limit`.
ImageSegments RandomSegments(std::uint32_t limit) {
  const auto count = *rc::gen::inRange<std::size_t>(1, 5);
  const auto starts =
      *rc::gen::container<std::set<std::uint32_t>>(count, rc::gen::inRange(0U, limit - 1));
  ImageSegments segments;
  for (auto start = starts.begin(); start != starts.end(); ++start) {
    const std::uint32_t end = std::next(start) == starts.end() ? limit : *std::next(start) - 1;
    const std::uint32_t room = std::min(end - *start, 600U);
    if (room > 0) {
      const auto size = *rc::gen::inRange<std::size_t>(1, room + 1);
      segments.push_back({*start, *rc::gen::container<std::vector<std::uint8_t>>(
                                      size, rc::gen::arbitrary<std::uint8_t>())});
    }
  }
  RC_PRE(!segments.empty());
  return segments;
}

// The arguments that make srec_cat read `segments` from one raw binary each.
std::string SegmentArguments(const TemporaryFolder& folder, const ImageSegments& segments) {
  std::string arguments;
  for (std::size_t at = 0; at < segments.size(); ++at) {
    const std::string file = folder.File(fmt::format("segment{}.bin", at));
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(segments[at].bytes.data()),
              static_cast<std::streamsize>(segments[at].bytes.size()));
    arguments += fmt::format(" {} -binary -offset {}", file, segments[at].address);
  }
  return arguments;
}

// What srec_cat writes for `segments`, read by the readers under test.
ImageSegments WrittenBySrecCat(const ImageSegments& segments, const std::string& format) {
  const TemporaryFolder folder;
  const std::string file = folder.File("image");
  RC_ASSERT(Run(fmt::format("{}{} -o {} {}", SREC_CAT, SegmentArguments(folder, segments), file,
                            format)) == 0);
  return ReadImageFile(file, {}).segments;
}

// Whether srec_cmp finds `text`, written by the writers under test, equal to `segments`.
bool EqualForSrecCmp(const ImageSegments& segments, const std::string& text,
                     const std::string& format) {
  const TemporaryFolder folder;
  const std::string file = folder.File("image");
  const std::string expected = folder.File("expected");
  std::ofstream(file) << text;
  RC_ASSERT(Run(fmt::format("{}{} -o {} -motorola -address-length=4", SREC_CAT,
                            SegmentArguments(folder, segments), expected)) == 0);
  return Run(fmt::format("{} {} {} {} -motorola >{} 2>&1", SREC_CMP, file, format, expected,
                         folder.File("differences"))) == 0;
}

std::size_t RandomWidth() { return *rc::gen::element<std::size_t>(1, 7, 16, 32, 100, 250); }

// Widths that srec_cat can be told: at least the alignment of its address records.
std::size_t RandomOutputBlock() { return *rc::gen::element<std::size_t>(8, 16, 20, 32, 64, 200); }

RC_GTEST_PROP(Oracle, IntelHexOfSrecCatIsReadBack, ()) {
  const ImageSegments segments = RandomSegments(0xFFFFFFFF);
  RC_ASSERT(WrittenBySrecCat(segments, fmt::format("-intel -obs={}", RandomOutputBlock())) ==
            segments);
}

RC_GTEST_PROP(Oracle, IntelHexWithSegmentAddressesOfSrecCatIsReadBack, ()) {
  const ImageSegments segments = RandomSegments(0xFFFFF);
  RC_ASSERT(WrittenBySrecCat(segments, "-intel -address-length=3") == segments);
}

RC_GTEST_PROP(Oracle, SRecordsOfSrecCatAreReadBack, ()) {
  const ImageSegments segments = RandomSegments(0xFFFFFFFF);
  RC_ASSERT(WrittenBySrecCat(segments, fmt::format("-motorola -obs={}", RandomOutputBlock())) ==
            segments);
}

RC_GTEST_PROP(Oracle, SRecordsOfEveryAddressWidthOfSrecCatAreReadBack, ()) {
  const ImageSegments segments = RandomSegments(0xFFFF);
  const auto width = *rc::gen::element(2, 3, 4);
  RC_ASSERT(WrittenBySrecCat(segments, fmt::format("-motorola -address-length={} "
                                                   "-execution-start-address=0x100",
                                                   width)) == segments);
}

RC_GTEST_PROP(Oracle, WrittenIntelHexIsWhatSrecCatReads, ()) {
  const ImageSegments segments = RandomSegments(0xFFFFFFFF);
  std::ostringstream text;
  WriteIntelHex(text, segments, RandomWidth());
  RC_ASSERT(EqualForSrecCmp(segments, text.str(), "-intel"));
}

RC_GTEST_PROP(Oracle, WrittenSRecordsAreWhatSrecCatReads, ()) {
  const auto limit = *rc::gen::element(0xFFFFU, 0xFFFFFFU, 0xFFFFFFFFU);
  const ImageSegments segments = RandomSegments(limit);
  std::ostringstream text;
  WriteSRecord(text, segments, RandomWidth());
  RC_ASSERT(EqualForSrecCmp(segments, text.str(), "-motorola"));
}

RC_GTEST_PROP(Oracle, SrecCmpSeesAChangedByte, ()) {
  ImageSegments segments = RandomSegments(0xFFFFFF);
  std::ostringstream text;
  WriteSRecord(text, segments);
  segments.back().bytes.back() ^= 0x01U;
  RC_ASSERT(!EqualForSrecCmp(segments, text.str(), "-motorola"));
}

}  // namespace
}  // namespace quillmark::host
