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

/// A sequence of bytes with a start address, one of the host library's types.
///
/// Positions are addresses: a fresh string starts at address 1 and so counts its bytes from 1; a
/// segment of a memory image is indexed by the ECU addresses that it covers. Zero and negative
/// addresses are valid. `EndAddress` is the address of the last byte; of an empty string it is the
/// start address less 1.
///
/// A host may pass its own implementation. Its laws are written as tests that run on any
/// implementation (tests/platform/byte_string_laws.h).
///
/// Errors: 9 for a position outside the string, 6 where a length or an address leaves the signed
/// 32-bit range, 13 for text that is not hexadecimal, 7 out of memory.
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

  /// A view on the `count` bytes from `start` on. It shares storage with this string, counts its
  /// own positions from 1 and checks its bounds at each access. `count` 0 means open to the end,
  /// and `Mid(EndAddress() + 1, 0)` is a legal empty view: the place to append.
  [[nodiscard]] virtual std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) = 0;

  /// An independent copy of the bytes, with this string's start address.
  [[nodiscard]] virtual std::shared_ptr<ByteString> Clone() const = 0;

  /// Copies the bytes of `source`, also where the two overlap.
  ///
  /// - A whole string takes the source's length and keeps its own start address.
  /// - An open view replaces everything from its start to its parent's end and so sets the parent's
  ///   length, shrinking or growing it.
  /// - A counted view never resizes: it takes as many bytes as both have.
  virtual void Assign(const ByteString& source) = 0;

  /// Sum of all bytes; users take its low 8 bits.
  [[nodiscard]] virtual std::int32_t Checksum() const = 0;

  /// The bytes as upper-case hexadecimal text, two digits a byte, no separators.
  [[nodiscard]] virtual std::string Hex() const = 0;
  /// Parses such text, lower case accepted, and assigns its bytes as `Assign` would.
  virtual void SetHex(std::string_view text) = 0;

  /// Calls `read` with the bytes, which are good for that call alone. An implementation that has
  /// its bytes side by side in memory spares the component the text of `Hex`, through which this
  /// one goes.
  virtual void ReadBytes(const std::function<void(std::span<const std::uint8_t>)>& read) const;
  /// Assigns `bytes`, which are not those of this string, as `Assign` would. Like `ReadBytes`, it
  /// goes through the text unless an implementation knows better.
  virtual void SetBytes(std::span<const std::uint8_t> bytes);

  /// The address of the first byte; of a view always 1.
  [[nodiscard]] virtual std::int32_t StartAddress() const = 0;
  /// Moves the string to an address; its bytes stay as they are. Raises 6 where the last byte would
  /// lie behind 2147483647, 9 on a view.
  virtual void SetStartAddress(std::int32_t address) = 0;
  /// The address of the last byte; of an empty string the start address less 1.
  [[nodiscard]] virtual std::int32_t EndAddress() const = 0;

  /// Number of consecutive bytes equal to `fill` from `address` on; 0 where the byte at `address`
  /// differs, negative on failure (the reference type: -1 for an address outside the string).
  [[nodiscard]] virtual std::int32_t FillRunLength(std::uint8_t fill,
                                                   std::int32_t address) const = 0;
};

}  // namespace quillmark
