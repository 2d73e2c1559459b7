// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/hex.h"

namespace quillmark::portable {

/// Bytes that its copies share until one of them is written to. Few bytes are copied instead: a
/// count of users for each reply of an upload would cost `checkupload` more than the copy does.
///
/// Threads: copies may be used by different threads at once. One of them may be read by several
/// threads at once, and written to by one thread only.
class SharedBytes {
 public:
  SharedBytes() = default;
  explicit SharedBytes(Bytes bytes);
  SharedBytes(const SharedBytes& other);
  SharedBytes(SharedBytes&& other) noexcept;
  SharedBytes& operator=(SharedBytes other) noexcept;
  ~SharedBytes();

  /// Valid until this copy is written to or destroyed.
  [[nodiscard]] ByteView View() const;

  /// The same for writing; no other copy sees the change.
  [[nodiscard]] std::span<std::uint8_t> Writable();

  /// Removes bytes from the end, or appends zeros.
  void Resize(std::size_t size);

 private:
  struct Block;

  void Swap(SharedBytes& other) noexcept;
  [[nodiscard]] bool IsSole() const;

  Bytes few_;
  Block* many_ = nullptr;  ///< what is shared; null if the bytes are `few_`
};

}  // namespace quillmark::portable
