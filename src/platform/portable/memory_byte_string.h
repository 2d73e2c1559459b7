// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/hex.h"
#include "platform/portable/shared_bytes.h"
#include "quillmark/byte_string.h"

namespace quillmark::portable {

/// The reference byte string. A whole string contains its storage until the first view of it is
/// taken, since most strings, such as the segments that `checkupload` adds, never get one. From
/// then on it shares the storage with its views, which are objects of this class too.
///
/// A copy of a long string shares its bytes until one of the two is written to, also through a
/// view: the whole string then gets bytes of its own, and all its views follow.
///
/// A view whose bytes its string no longer has raises 9 whenever it is used; it works again once
/// the string is long enough.
class MemoryByteString final : public ByteString {
 public:
  /// An empty whole string with start address 1.
  MemoryByteString() = default;
  MemoryByteString(const MemoryByteString&) = delete;
  MemoryByteString& operator=(const MemoryByteString&) = delete;
  MemoryByteString(MemoryByteString&&) = delete;
  MemoryByteString& operator=(MemoryByteString&&) = delete;
  ~MemoryByteString() override = default;

  [[nodiscard]] std::int32_t Length() const override;
  /// Raises 9 for a negative length.
  void SetLength(std::int32_t length) override;
  [[nodiscard]] std::uint8_t Item(std::int32_t position) const override;
  void SetItem(std::int32_t position, std::uint8_t value) override;
  [[nodiscard]] std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) override;
  [[nodiscard]] std::shared_ptr<ByteString> Clone() const override;
  void Assign(const ByteString& source) override;
  /// Raises 6 if the sum leaves the signed 32-bit range.
  [[nodiscard]] std::int32_t Checksum() const override;
  [[nodiscard]] std::string Hex() const override;
  void SetHex(std::string_view text) override;
  void ReadBytes(const std::function<void(ByteView)>& read) const override;
  void SetBytes(ByteView bytes) override;
  [[nodiscard]] std::int32_t StartAddress() const override;
  /// Raises 9 on a view for any address but 1.
  void SetStartAddress(std::int32_t address) override;
  [[nodiscard]] std::int32_t EndAddress() const override;
  [[nodiscard]] std::int32_t FillRunLength(std::uint8_t fill, std::int32_t address) const override;

  /// The bytes themselves, until the string or its storage is changed.
  [[nodiscard]] ByteView View() const;

  /// A copy of the bytes, which shares those of a long whole string.
  [[nodiscard]] SharedBytes Share() const;
  /// Assigns bytes as `Assign` does; a whole string shares them.
  void AssignShared(SharedBytes bytes);

  /// `string` as an object of this class; null if it is of another implementation.
  [[nodiscard]] static const MemoryByteString* From(const ByteString& string);
  [[nodiscard]] static MemoryByteString* From(ByteString& string);

  /// The bytes that a whole string and its views share.
  struct Storage {
    SharedBytes bytes;
    std::int32_t start_address = 1;
  };
  /// A view, made by `Mid`.
  MemoryByteString(std::shared_ptr<Storage> storage, std::size_t offset,
                   std::optional<std::size_t> count);

 private:
  /// `whole`, the bytes of the storage, as far as this string reaches. Raises 9 if they are gone.
  template <typename Span>
  [[nodiscard]] Span PartOf(Span whole) const;
  [[nodiscard]] std::span<std::uint8_t> WritableView();
  [[nodiscard]] std::size_t IndexOf(std::int32_t position) const;
  void AssignBytes(ByteView source);
  void Resize(std::int64_t length);

  Storage own_;                      ///< of a whole string without views
  std::shared_ptr<Storage> shared_;  ///< of every other string
  Storage* storage_ = &own_;         ///< the one of the two that is in use
  bool is_whole_ = true;
  std::size_t offset_ = 0;  ///< of the first byte within the storage
  /// of a view with a fixed count; all others end with the storage
  std::optional<std::size_t> count_;
};

/// Number of bytes equal to `fill` at the beginning of `bytes`. Compares parts without an early
/// end, so that the compiler uses vectors: 1 MiB in 17 instead of 34 µs.
[[nodiscard]] std::size_t FillRun(ByteView bytes, std::uint8_t fill);

}  // namespace quillmark::portable
