// SPDX-License-Identifier: MIT
#include "tests/src/platform/naive_byte_string.h"

#include <deque>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "quillmark/error.h"

namespace quillmark::testing {
namespace {

[[noreturn]] void Raise(std::int32_t number) { throw Error(number); }

unsigned DigitOf(char c) {
  constexpr std::string_view kLower = "0123456789abcdef";
  constexpr std::string_view kUpper = "0123456789ABCDEF";
  for (unsigned digit = 0; digit < 16; ++digit) {
    if (c == kLower[digit] || c == kUpper[digit]) {
      return digit;
    }
  }
  Raise(error_number::kTypeMismatch);
}

std::deque<std::uint8_t> Parse(std::string_view hex) {
  if (hex.size() % 2 != 0) {
    Raise(error_number::kTypeMismatch);
  }
  std::deque<std::uint8_t> bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    bytes.push_back(static_cast<std::uint8_t>(DigitOf(hex[at]) * 16 + DigitOf(hex[at + 1])));
  }
  return bytes;
}

/// Everything that follows from length, start address and the access to one byte.
class NaiveByteString : public ByteString, public std::enable_shared_from_this<NaiveByteString> {
 public:
  [[nodiscard]] virtual bool IsCounted() const = 0;

  [[nodiscard]] std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) override;
  [[nodiscard]] std::shared_ptr<ByteString> Clone() const override;

  void Assign(const ByteString& source) override { SetHex(source.Hex()); }

  [[nodiscard]] std::int32_t Checksum() const override {
    std::int32_t sum = 0;
    for (std::int32_t i = 0; i < Length(); ++i) {
      sum += Item(StartAddress() + i);
    }
    return sum;
  }

  [[nodiscard]] std::string Hex() const override {
    std::string text;
    for (std::int32_t i = 0; i < Length(); ++i) {
      const unsigned byte = Item(StartAddress() + i);
      text += "0123456789ABCDEF"[byte / 16];
      text += "0123456789ABCDEF"[byte % 16];
    }
    return text;
  }

  void SetHex(std::string_view text) override {
    const std::deque<std::uint8_t> bytes = Parse(text);
    static_cast<void>(Hex());
    if (!IsCounted()) {
      SetLength(static_cast<std::int32_t>(bytes.size()));
    }
    for (std::int32_t i = 0; i < Length() && i < std::ssize(bytes); ++i) {
      SetItem(StartAddress() + i, bytes[static_cast<std::size_t>(i)]);
    }
  }

  [[nodiscard]] std::int32_t EndAddress() const override {
    const std::int64_t end = std::int64_t{StartAddress()} + Length() - 1;
    if (end < std::numeric_limits<std::int32_t>::min()) {
      Raise(error_number::kOverflow);
    }
    return static_cast<std::int32_t>(end);
  }

  [[nodiscard]] std::int32_t FillRunLength(std::uint8_t fill, std::int32_t address) const override {
    if (address < StartAddress() || address > EndAddress()) {
      return -1;
    }
    std::int32_t run = 0;
    while (address + run <= EndAddress() && Item(address + run) == fill) {
      ++run;
    }
    return run;
  }
};

class NaiveWhole final : public NaiveByteString {
 public:
  [[nodiscard]] bool IsCounted() const override { return false; }

  [[nodiscard]] std::int32_t Length() const override {
    return static_cast<std::int32_t>(bytes_.size());
  }

  void SetLength(std::int32_t length) override {
    if (length < 0) {
      Raise(error_number::kSubscriptOutOfRange);
    }
    RequireEnd(start_, length);
    bytes_.resize(static_cast<std::size_t>(length));
  }

  [[nodiscard]] std::uint8_t Item(std::int32_t position) const override {
    return bytes_[IndexOf(position)];
  }

  void SetItem(std::int32_t position, std::uint8_t value) override {
    bytes_[IndexOf(position)] = value;
  }

  [[nodiscard]] std::int32_t StartAddress() const override { return start_; }

  void SetStartAddress(std::int32_t address) override {
    RequireEnd(address, Length());
    start_ = address;
  }

 private:
  static void RequireEnd(std::int64_t start, std::int64_t length) {
    if (length > 0 && start + length - 1 > std::numeric_limits<std::int32_t>::max()) {
      Raise(error_number::kOverflow);
    }
  }

  [[nodiscard]] std::size_t IndexOf(std::int32_t position) const {
    const std::int64_t index = std::int64_t{position} - start_;
    if (index < 0 || index >= Length()) {
      Raise(error_number::kSubscriptOutOfRange);
    }
    return static_cast<std::size_t>(index);
  }

  std::deque<std::uint8_t> bytes_;
  std::int32_t start_ = 1;
};

class NaiveView final : public NaiveByteString {
 public:
  NaiveView(std::shared_ptr<NaiveByteString> parent, std::int32_t skipped, std::int32_t count)
      : parent_(std::move(parent)), skipped_(skipped), count_(count) {}

  [[nodiscard]] bool IsCounted() const override { return count_ > 0 || parent_->IsCounted(); }

  [[nodiscard]] std::int32_t Length() const override {
    const std::int32_t available = parent_->Length() - skipped_;
    if (available < count_) {
      Raise(error_number::kSubscriptOutOfRange);
    }
    return count_ > 0 ? count_ : available;
  }

  void SetLength(std::int32_t length) override {
    if (length < 0 || (IsCounted() && length != Length())) {
      Raise(error_number::kSubscriptOutOfRange);
    }
    if (!IsCounted()) {
      parent_->SetLength(skipped_ + length);
    }
  }

  [[nodiscard]] std::uint8_t Item(std::int32_t position) const override {
    return parent_->Item(InParent(position));
  }

  void SetItem(std::int32_t position, std::uint8_t value) override {
    parent_->SetItem(InParent(position), value);
  }

  [[nodiscard]] std::int32_t StartAddress() const override { return 1; }

  void SetStartAddress(std::int32_t address) override {
    if (address != 1) {
      Raise(error_number::kSubscriptOutOfRange);
    }
  }

 private:
  [[nodiscard]] std::int32_t InParent(std::int32_t position) const {
    if (position < 1 || position > Length()) {
      Raise(error_number::kSubscriptOutOfRange);
    }
    return parent_->StartAddress() + (skipped_ + (position - 1));
  }

  std::shared_ptr<NaiveByteString> parent_;
  std::int32_t skipped_;
  std::int32_t count_;  ///< 0 for an open view.
};

std::shared_ptr<ByteString> NaiveByteString::Mid(std::int32_t start, std::int32_t count) {
  const std::int64_t skipped = std::int64_t{start} - StartAddress();
  if (skipped < 0 || count < 0 || skipped + count > Length()) {
    Raise(error_number::kSubscriptOutOfRange);
  }
  return std::make_shared<NaiveView>(shared_from_this(), static_cast<std::int32_t>(skipped), count);
}

std::shared_ptr<ByteString> NaiveByteString::Clone() const {
  auto clone = std::make_shared<NaiveWhole>();
  clone->SetHex(Hex());
  clone->SetStartAddress(StartAddress());
  return clone;
}

}  // namespace

std::shared_ptr<ByteString> MakeNaiveByteString() { return std::make_shared<NaiveWhole>(); }

}  // namespace quillmark::testing
