// SPDX-License-Identifier: MIT
// Every file of the tool, on a disk that is full after any number of bytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/tool/memory_file.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/image_file.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/trace.h"
#include "quillmark/portable_platform.h"
#include "support/file_limit.h"
#include "support/limited_stream.h"
#include "tests/host/tool/temporary_folder.h"

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

namespace fs = std::filesystem;
using quillmark::testing::FileLimit;

/// Whether `work` found out that its file could not be written.
template <typename Work>
bool IsRefused(Work&& work) {
  try {
    work();
  } catch (const CannotWriteFile&) {
    return true;
  }
  return false;
}

class FileWriters : public ::testing::Test {
 protected:
  /// Calls `work` with room for ever more bytes until it succeeds; it says whether it did. After
  /// each failure `expect` looks at what is left.
  template <typename Work, typename Expect>
  void FillTheDisk(Work work, Expect expect) {
    rlim_t room = 0;
    for (bool failed = true; failed; ++room) {
      {
        const FileLimit limit(room);
        failed = work();
      }
      if (failed) {
        expect(room);
      }
    }
    EXPECT_GT(room, 10U);
  }

  testing::TemporaryFolder folder_;
};

TEST_F(FileWriters, LeaveNoPartOfAMemory) {
  const auto platform = CreatePortablePlatform();
  const auto memory = platform->CreateMemoryImage();
  const auto segment = platform->CreateByteString();
  segment->SetHex("0102030405060708");
  for (const int address : {0, 0x20, 0x50}) {
    segment->SetStartAddress(address);
    memory->AddSegment(*segment);
  }
  for (const std::string name : {"a.hex", "a.s19", "a.bin"}) {
    const auto write = [&] {
      MemoryFile(folder_.Path(name), Existing::kKept).Write(*memory, 0xFF);
    };
    FillTheDisk([&] { return IsRefused(write); }, [&](rlim_t) { EXPECT_EQ(folder_.Entries(), 0); });
    fs::remove(folder_.Path(name));
  }
}

TEST_F(FileWriters, KeepOfATraceWhatThereIsRoomFor) {
  const std::string path = folder_.Path("trace");
  for (const TraceFormat format : {TraceFormat::kCandump, TraceFormat::kAsc, TraceFormat::kKLine}) {
    const auto write = [&] {
      TraceFile trace(path, format, Existing::kReplaced);
      for (int i = 0; i < 3; ++i) {
        trace.Write({.data = {1, 2, 3}});
      }
      trace.Close();
    };
    FillTheDisk([&] { return IsRefused(write); },
                [&](rlim_t room) { EXPECT_EQ(fs::file_size(path), room); });
  }
}

class ArtifactWriters : public FileWriters {
 protected:
  ArtifactWriters() { document_->loadXML("<can>a document</can>"); }

  /// Whether anything could not be written.
  bool LeaveArtifacts() {
    fs::remove_all(Out());
    ArtifactFolder folder(Out(), TransportForm::kPlainCan, Existing::kKept);
    const RunOutcome outcome;
    bool refused = IsRefused([&] { folder.WriteResult(R"({"outcome":"unfinished"})"); });
    refused |= IsRefused([&] { folder.WritePlan(R"({"plan":"of a run"})"); });
    refused |= IsRefused([&] { folder.WriteRequest({Phase::kErase, *document_}); });
    folder.log() << "{\"event\":\"image\"}\n" << std::flush;
    folder.trace().Write({.data = {1, 2, 3}});
    refused |= IsRefused([&] {
      static_cast<void>(folder.WriteReply({Phase::kErase, *document_, &outcome}));
    });
    refused |= IsRefused([&] { folder.WriteResult(R"({"outcome":"done","exit":0})"); });
    refused |= IsRefused([&] { folder.Close(); });
    return refused;
  }

  [[nodiscard]] std::string Out() const { return folder_.Path("out"); }

  const std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  const std::shared_ptr<DOMDocument> document_ = platform_->CreateDOMDocument();
};

TEST_F(ArtifactWriters, LeaveWholeFilesAndTheBeginningsOfLogAndTrace) {
  FillTheDisk([&] { return LeaveArtifacts(); },
              [&](rlim_t room) {
                for (const auto& entry : fs::recursive_directory_iterator(Out())) {
                  const std::string name = fs::relative(entry.path(), Out()).string();
                  EXPECT_NE(entry.path().extension(), ".part");
                  if (name.ends_with(".json")) {
                    EXPECT_TRUE(nlohmann::json::accept(folder_.Read("out/" + name))) << name;
                  } else if (name.ends_with(".xml")) {
                    EXPECT_EQ(folder_.Read("out/" + name), document_->xml());
                  } else if (!entry.is_directory()) {
                    EXPECT_LE(fs::file_size(entry.path()), room);
                  }
                }
              });
}

}  // namespace
}  // namespace quillmark::host
