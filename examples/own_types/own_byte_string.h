// SPDX-License-Identifier: MIT
#pragma once

// A host's own byte string: bytes in a vector that views share. It keeps the laws of the interface,
// which tests/src/platform/byte_string_laws.h has as tests for any implementation.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/byte_string.h"
#include "quillmark/error.h"

namespace example {

using quillmark::ByteString;
using quillmark::Error;

class OwnByteString final : public ByteString {
 public:
  OwnByteString() : memory_(std::make_shared<Memory>()) {}

  [[nodiscard]] std::int32_t Length() const override {
    return static_cast<std::int32_t>(View().size());
  }

  void SetLength(std::int32_t length) override {
    const std::int32_t current = Length();
    if (length < 0 || (count_ && length != current)) {
      throw Error(quillmark::error_number::kSubscriptOutOfRange);
    }
    const std::size_t whole = offset_ + static_cast<std::size_t>(length);
    RequireAddresses(memory_->start, whole);
    memory_->bytes.resize(whole);
  }

  [[nodiscard]] std::uint8_t Item(std::int32_t position) const override {
    return View()[IndexOf(position)];
  }

  void SetItem(std::int32_t position, std::uint8_t value) override {
    View()[IndexOf(position)] = value;
  }

  // A view keeps the memory alive, not the string that it was asked of. What is counted stays
  // counted.
  [[nodiscard]] std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) override {
    const std::int64_t skipped = std::int64_t{start} - StartAddress();
    const std::int64_t length = Length();
    if (skipped < 0 || count < 0 || skipped + count > length) {
      throw Error(quillmark::error_number::kSubscriptOutOfRange);
    }
    const auto view = std::make_shared<OwnByteString>(*this);
    view->is_view_ = true;
    view->offset_ = offset_ + static_cast<std::size_t>(skipped);
    if (count > 0) {
      view->count_ = static_cast<std::size_t>(count);
    } else if (count_) {
      view->count_ = static_cast<std::size_t>(length - skipped);
    }
    return view;
  }

  [[nodiscard]] std::shared_ptr<ByteString> Clone() const override {
    auto clone = std::make_shared<OwnByteString>();
    const auto view = View();
    clone->memory_->bytes.assign(view.begin(), view.end());
    clone->memory_->start = StartAddress();
    return clone;
  }

  // The source may share this memory, so its bytes are copied before the length changes.
  void Assign(const ByteString& source) override {
    std::vector<std::uint8_t> bytes;
    source.ReadBytes(
        [&](std::span<const std::uint8_t> read) { bytes.assign(read.begin(), read.end()); });
    SetBytes(bytes);
  }

  [[nodiscard]] std::int32_t Checksum() const override {
    const auto view = View();
    return std::accumulate(view.begin(), view.end(), std::int32_t{0});
  }

  [[nodiscard]] std::string Hex() const override {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : View()) {
      text += kDigits[byte / 16];
      text += kDigits[byte % 16];
    }
    return text;
  }

  void SetHex(std::string_view text) override {
    if (text.size() % 2 != 0) {
      throw Error(quillmark::error_number::kTypeMismatch);
    }
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at < text.size(); at += 2) {
      bytes.push_back(static_cast<std::uint8_t>(DigitOf(text[at]) * 16 + DigitOf(text[at + 1])));
    }
    SetBytes(bytes);
  }

  // Both are optional: without them the component takes the way through the text.
  void ReadBytes(const std::function<void(std::span<const std::uint8_t>)>& read) const override {
    read(View());
  }

  void SetBytes(std::span<const std::uint8_t> bytes) override {
    if (!count_) {
      SetLength(static_cast<std::int32_t>(bytes.size()));
    }
    const auto view = View();
    std::copy_n(bytes.begin(), std::min(bytes.size(), view.size()), view.begin());
  }

  [[nodiscard]] std::int32_t StartAddress() const override { return is_view_ ? 1 : memory_->start; }

  void SetStartAddress(std::int32_t address) override {
    if (is_view_ && address != 1) {
      throw Error(quillmark::error_number::kSubscriptOutOfRange);
    }
    RequireAddresses(address, View().size());
    if (!is_view_) {
      memory_->start = address;
    }
  }

  [[nodiscard]] std::int32_t EndAddress() const override {
    const std::int64_t end = std::int64_t{StartAddress()} + Length() - 1;
    if (end < std::numeric_limits<std::int32_t>::min()) {
      throw Error(quillmark::error_number::kOverflow);
    }
    return static_cast<std::int32_t>(end);
  }

  [[nodiscard]] std::int32_t FillRunLength(std::uint8_t fill, std::int32_t address) const override {
    const auto view = View();
    const std::int64_t index = std::int64_t{address} - StartAddress();
    if (index < 0 || index >= Length()) {
      return -1;
    }
    const auto from = view.begin() + index;
    return static_cast<std::int32_t>(
        std::find_if(from, view.end(), [&](std::uint8_t byte) { return byte != fill; }) - from);
  }

 private:
  struct Memory {
    std::vector<std::uint8_t> bytes;
    std::int32_t start = 1;
  };

  static unsigned DigitOf(char character) {
    constexpr std::string_view kDigits = "0123456789ABCDEFabcdef";
    const std::size_t digit = kDigits.find(character);
    if (digit == std::string_view::npos) {
      throw Error(quillmark::error_number::kTypeMismatch);
    }
    return static_cast<unsigned>(digit < 16 ? digit : digit - 6);
  }

  // Every byte has an address; an empty string may start anywhere.
  static void RequireAddresses(std::int64_t start, std::size_t length) {
    if (length > 0 &&
        start + static_cast<std::int64_t>(length) - 1 > std::numeric_limits<std::int32_t>::max()) {
      throw Error(quillmark::error_number::kOverflow);
    }
  }

  // The bytes of a view whose parent was cut are gone.
  [[nodiscard]] std::span<std::uint8_t> View() const {
    const std::size_t size = memory_->bytes.size();
    if (offset_ > size || count_.value_or(0) > size - offset_) {
      throw Error(quillmark::error_number::kSubscriptOutOfRange);
    }
    return std::span(memory_->bytes).subspan(offset_, count_.value_or(size - offset_));
  }

  [[nodiscard]] std::size_t IndexOf(std::int32_t position) const {
    const std::int64_t index = std::int64_t{position} - StartAddress();
    if (index < 0 || index >= Length()) {
      throw Error(quillmark::error_number::kSubscriptOutOfRange);
    }
    return static_cast<std::size_t>(index);
  }

  std::shared_ptr<Memory> memory_;
  bool is_view_ = false;
  std::size_t offset_ = 0;
  std::optional<std::size_t> count_;  // nothing: open to the end
};

}  // namespace example
