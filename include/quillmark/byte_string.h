// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "quillmark/export.h"

namespace quillmark {

/// A sequence of bytes with a start address. One of the host's own types: a host may pass its
/// own implementation. The laws that it must obey are tests that run on any implementation
/// (tests/src/platform/byte_string_laws.h).
///
/// Positions are addresses. A new string starts at address 1, so its bytes are counted from 1; a
/// segment of a memory image is indexed by the ECU addresses that it covers. Zero and negative
/// addresses are valid.
///
/// Errors: 9 for a position outside the string, 6 if a length or an address leaves the signed
/// 32-bit range, 13 for text that is not hexadecimal, 7 if out of memory.
/// Threads: one string, and all views on its storage, are used by one thread at a time.
class QUILLMARK_API ByteString {
 public:
  virtual ~ByteString() = default;

  /// Number of bytes.
  [[nodiscard]] virtual std::int32_t Length() const = 0;
  /// Resizes at the end; growing fills with zero. Raises 9 on a view with a fixed count.
  virtual void SetLength(std::int32_t length) = 0;

  /// The byte at a position.
  [[nodiscard]] virtual std::uint8_t Item(std::int32_t position) const = 0;
  /// Writes the byte at a position.
  virtual void SetItem(std::int32_t position, std::uint8_t value) = 0;

  /// A view of the `count` bytes from position `start`. It shares storage with this string, counts
  /// its own positions from 1 and checks its bounds on each access. A `count` of 0 means an open
  /// view, to the end. `Mid(EndAddress() + 1, 0)` is a valid, empty view: the place to append.
  [[nodiscard]] virtual std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) = 0;

  /// An independent copy of the bytes, with this string's start address.
  [[nodiscard]] virtual std::shared_ptr<ByteString> Clone() const = 0;

  /// Copies the bytes of `source`. The two may overlap.
  ///
  /// - A whole string takes the length of `source` and keeps its own start address.
  /// - An open view replaces everything from its start to the end of its parent, which shrinks or
  ///   grows accordingly.
  /// - A view with a fixed count never resizes: as many bytes are copied as both have.
  virtual void Assign(const ByteString& source) = 0;

  /// Sum of all bytes. Only its low 8 bits are used.
  [[nodiscard]] virtual std::int32_t Checksum() const = 0;

  /// The bytes as upper-case hexadecimal text: two digits per byte, no separators.
  [[nodiscard]] virtual std::string Hex() const = 0;
  /// Parses such text, also in lower case, and assigns its bytes as `Assign` does.
  virtual void SetHex(std::string_view text) = 0;

  /// Calls `read` with the bytes, which are valid only during the call. The default goes through
  /// the text of `Hex`; an implementation with contiguous bytes should pass them directly.
  virtual void ReadBytes(const std::function<void(std::span<const std::uint8_t>)>& read) const;
  /// Assigns `bytes`, which must not be those of this string, as `Assign` does. The default goes
  /// through the text of `SetHex`.
  virtual void SetBytes(std::span<const std::uint8_t> bytes);

  /// The address of the first byte; always 1 for a view.
  [[nodiscard]] virtual std::int32_t StartAddress() const = 0;
  /// Moves the string to an address; its bytes stay the same. Raises 6 if the last byte would be
  /// beyond 2147483647, 9 on a view.
  virtual void SetStartAddress(std::int32_t address) = 0;
  /// The address of the last byte; for an empty string, the start address minus 1.
  [[nodiscard]] virtual std::int32_t EndAddress() const = 0;

  /// Number of consecutive bytes equal to `fill`, starting at `address`: 0 if the byte at `address`
  /// differs, negative on failure (in the reference type, -1 for an address outside the string).
  [[nodiscard]] virtual std::int32_t FillRunLength(std::uint8_t fill,
                                                   std::int32_t address) const = 0;
};

}  // namespace quillmark
