// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <memory>

#include "base/com/com_ptr.h"
#include "base/com/scriptable.h"
#include "quillmark/byte_string.h"
#include "quillmark/checksum_calculator.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"

namespace quillmark::vantrel {

/// `Vantrel.ByteString`: a byte string, or a view of one.
class ByteStringObject final : public com::Scriptable {
 public:
  explicit ByteStringObject(std::shared_ptr<ByteString> bytes) : bytes_(std::move(bytes)) {}

  [[nodiscard]] const std::shared_ptr<ByteString>& bytes() const { return bytes_; }

  /// An object by the private interface of this class; null for an object of another library, and
  /// for one of another apartment, which is a proxy.
  [[nodiscard]] static com::ComPtr<ByteStringObject> From(IDispatch& object);

 private:
  [[nodiscard]] void* Find(REFIID iid) override;
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;
  void Set(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<ByteString> bytes_;
};

/// `bytes` as an object for a script.
[[nodiscard]] com::Variant ObjectOf(std::shared_ptr<ByteString> bytes);

/// A byte string passed as an argument: an object of this library itself, or a copy of one of any
/// other implementation, read through its members `Hex` and `StartAddress`.
class ByteStringArgument {
 public:
  explicit ByteStringArgument(com::ComPtr<IDispatch> object);

  [[nodiscard]] ByteString& operator*() const { return *bytes_; }

  /// Makes changes to the bytes visible in the object.
  void WriteBack() const;

 private:
  com::ComPtr<IDispatch> object_;
  std::shared_ptr<ByteString> bytes_;
  bool is_copy_;
};

/// `Vantrel.ChecksumCalculator`.
class ChecksumCalculatorObject final : public com::Scriptable {
 public:
  explicit ChecksumCalculatorObject(std::shared_ptr<ChecksumCalculator> calculator)
      : calculator_(std::move(calculator)) {}

 private:
  enum : DISPID { kReset = 1, kAdd, kStoreInto };
  static constexpr std::array<com::Member, 3> kMembers = {
      {{L"Reset", kReset}, {L"Add", kAdd, 1}, {L"StoreInto", kStoreInto, 1}}};

  [[nodiscard]] std::span<const com::Member> Members() const override { return kMembers; }
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<ChecksumCalculator> calculator_;
};

/// `Vantrel.MemoryImage`: a collection of byte strings, enumerated in address order.
class MemoryImageObject final : public com::Scriptable {
 public:
  explicit MemoryImageObject(std::shared_ptr<MemoryImage> image) : image_(std::move(image)) {}

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<MemoryImage> image_;
};

/// `Vantrel.MemoryMap`: a collection of ranges, in the order in which they were added.
class MemoryMapObject final : public com::Scriptable {
 public:
  explicit MemoryMapObject(std::shared_ptr<MemoryMap> map) : map_(std::move(map)) {}

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  std::shared_ptr<MemoryMap> map_;
};

}  // namespace quillmark::vantrel
