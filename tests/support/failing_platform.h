// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "quillmark/quillmark.h"
#include "tested_platform.h"

namespace quillmark::testing {

/// The tested platform; a test overrides the operation that is to fail.
class FaultyPlatform : public ForwardingPlatform {
 public:
  FaultyPlatform() : ForwardingPlatform(TestPlatform()) {}
};

/// A string that passes every operation on to another; a test overrides what is to differ.
class ForwardingByteString : public ByteString {
 public:
  explicit ForwardingByteString(std::shared_ptr<ByteString> string) : string_(std::move(string)) {}

  std::int32_t Length() const override { return string_->Length(); }
  void SetLength(std::int32_t length) override { string_->SetLength(length); }
  std::uint8_t Item(std::int32_t position) const override { return string_->Item(position); }
  void SetItem(std::int32_t position, std::uint8_t value) override {
    string_->SetItem(position, value);
  }
  std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) override {
    return string_->Mid(start, count);
  }
  std::shared_ptr<ByteString> Clone() const override { return string_->Clone(); }
  void Assign(const ByteString& source) override { string_->Assign(source); }
  std::int32_t Checksum() const override { return string_->Checksum(); }
  std::string Hex() const override { return string_->Hex(); }
  void SetHex(std::string_view text) override { string_->SetHex(text); }
  std::int32_t StartAddress() const override { return string_->StartAddress(); }
  void SetStartAddress(std::int32_t address) override { string_->SetStartAddress(address); }
  std::int32_t EndAddress() const override { return string_->EndAddress(); }
  std::int32_t FillRunLength(std::uint8_t fill, std::int32_t address) const override {
    return string_->FillRunLength(fill, address);
  }

 private:
  std::shared_ptr<ByteString> string_;
};

}  // namespace quillmark::testing
