// SPDX-License-Identifier: MIT
// Copies of long byte strings share their bytes, and no user notices.
#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "platform/portable/memory_byte_string.h"
#include "platform/portable/reference_types.h"
#include "tests/src/platform/naive_byte_string.h"

namespace quillmark::portable {
namespace {

constexpr std::int32_t kLong = 5000;
constexpr std::int32_t kShort = 60;

std::shared_ptr<MemoryByteString> StringOf(std::int32_t length) {
  auto string = std::make_shared<MemoryByteString>();
  string->SetLength(length);
  return string;
}

const std::uint8_t* BytesOf(const ByteString& string) {
  return MemoryByteString::From(string)->View().data();
}

TEST(SharedBytes, CopiesOfALongStringShareThem) {
  const auto string = StringOf(kLong);
  EXPECT_EQ(BytesOf(*string->Clone()), BytesOf(*string));
  MemoryByteString assigned;
  assigned.Assign(*string);
  EXPECT_EQ(BytesOf(assigned), BytesOf(*string));
  SegmentImage image;
  image.AddSegment(*string);
  EXPECT_EQ(BytesOf(*image.Segments().front()), BytesOf(*string));
}

TEST(SharedBytes, CopiesOfAShortStringAndOfAViewHaveTheirOwn) {
  const auto few = StringOf(kShort);
  EXPECT_NE(BytesOf(*few->Clone()), BytesOf(*few));
  const auto string = StringOf(kLong);
  const auto view = string->Mid(1, kLong - 1);
  EXPECT_NE(BytesOf(*view->Clone()), BytesOf(*view));
}

TEST(SharedBytes, AWriteThroughAViewMovesTheWholeStringAndAllItsViews) {
  const auto string = StringOf(kLong);
  const auto written = string->Mid(10, 5);
  const auto other = string->Mid(8, 0);
  const auto copy = string->Clone();
  written->SetItem(1, 0xEE);
  EXPECT_NE(BytesOf(*string), BytesOf(*copy));
  EXPECT_EQ(string->Item(10), 0xEE);
  EXPECT_EQ(other->Item(3), 0xEE);
  EXPECT_EQ(copy->Item(10), 0);
  EXPECT_EQ(BytesOf(*other), BytesOf(*string) + 7);
}

TEST(SharedBytes, WhatNobodySharesAnyLongerIsWrittenInPlace) {
  const auto string = StringOf(kLong);
  const std::uint8_t* const bytes = BytesOf(*string);
  static_cast<void>(string->Clone());
  string->SetItem(1, 0xEE);
  EXPECT_EQ(BytesOf(*string), bytes);
}

/// The thread that writes learns that the other has read for the last time by nothing but the bytes
/// themselves: ThreadSanitizer sees a race unless they tell. It remembers the last few thousand
/// accesses of a thread, and so one byte is read and written.
TEST(SharedBytes, AreWrittenInPlaceOnlyAfterTheLastReadOfAnotherThread) {
  const auto string = StringOf(kLong);
  auto copy = string->Clone();
  std::atomic<bool> is_read = false;
  std::thread reader([&] {
    EXPECT_EQ(copy->Item(7), 0);
    copy.reset();
    is_read.store(true, std::memory_order_relaxed);
  });
  while (!is_read.load(std::memory_order_relaxed)) {
    std::this_thread::yield();
  }
  string->SetItem(7, 0xEE);
  reader.join();
  EXPECT_EQ(string->Item(7), 0xEE);
}

TEST(SharedBytes, AreReadByOneThreadWhileAnotherWritesItsCopy) {
  const auto string = StringOf(kLong);
  const auto copy = string->Clone();
  std::thread reader([&] { EXPECT_EQ(copy->Item(1), 0); });
  string->Mid(1, 10)->SetItem(1, 0xEE);
  string->SetLength(2 * kLong);
  reader.join();
  EXPECT_EQ(string->Checksum(), 0xEE);
}

/// A string of the reference type and one that copies byte by byte, both treated alike.
class Twin {
 public:
  Twin() : Twin(std::make_shared<MemoryByteString>(), testing::MakeNaiveByteString()) {}

  template <typename Operation>
  void Both(Operation operation) {
    operation(*own_);
    operation(*naive_);
  }
  void Assign(const Twin& source) {
    own_->Assign(*source.own_);
    naive_->Assign(*source.naive_);
  }
  [[nodiscard]] Twin Clone() const { return {own_->Clone(), naive_->Clone()}; }
  [[nodiscard]] Twin Mid(std::int32_t start, std::int32_t count) const {
    return {own_->Mid(start, count), naive_->Mid(start, count)};
  }
  [[nodiscard]] std::int32_t Length() const { return own_->Length(); }

  void ExpectSame() const { ASSERT_TRUE(own_->Hex() == naive_->Hex()); }

 private:
  Twin(std::shared_ptr<ByteString> own, std::shared_ptr<ByteString> naive)
      : own_(std::move(own)), naive_(std::move(naive)) {}

  std::shared_ptr<ByteString> own_;
  std::shared_ptr<ByteString> naive_;
};

/// Some strings that are copied to each other and written to, at random.
class Strings {
 public:
  void Step() {
    Twin& twin = AnyTwin();
    const std::uint8_t value = static_cast<std::uint8_t>(Below(256));
    switch (Below(8)) {
      case 0:
        AnyTwin() = twin.Clone();
        return;
      case 1:
        AnyTwin().Assign(twin);
        return;
      case 2:
        return twin.Both([length = Below(6000)](ByteString& string) { string.SetLength(length); });
      case 3:
        return twin.Both([&, length = Below(6000)](ByteString& string) {
          string.SetBytes(std::vector<std::uint8_t>(static_cast<std::size_t>(length), value));
        });
      case 4:
        AnyTwin() = Twin();
        return;
      default:
        return WriteThroughAView(twin, value);
    }
  }

  void ExpectSame() const {
    for (const Twin& twin : twins_) {
      twin.ExpectSame();
    }
  }

 private:
  std::int32_t Below(std::int32_t end) {
    return std::uniform_int_distribution<std::int32_t>(0, end - 1)(random_);
  }
  Twin& AnyTwin() { return twins_[static_cast<std::size_t>(Below(4))]; }

  void WriteThroughAView(Twin& twin, std::uint8_t value) {
    if (twin.Length() == 0) {
      return;
    }
    Twin view = twin.Mid(1 + Below(twin.Length()), 0);
    // What the view must follow: an assignment gives the string the bytes of another.
    AnyTwin().Assign(AnyTwin());
    if (twin.Length() > 0 && Below(2) == 0) {
      twin.Both([&](ByteString& string) { string.SetItem(1, value); });
    }
    view.Both([&](ByteString& string) {
      try {
        string.SetItem(1, value);
      } catch (const Error&) {
        return;  // The string was made shorter: the same for both.
      }
    });
  }

  std::mt19937 random_{7};  // NOLINT(bugprone-random-generator-seed): the same steps in every run
  std::vector<Twin> twins_{4};
};

TEST(SharedBytes, NobodyCanTellThatTheyAreShared) {
  Strings strings;
  for (int step = 0; step < 200; ++step) {
    strings.Step();
    strings.ExpectSame();
  }
}

}  // namespace
}  // namespace quillmark::portable
