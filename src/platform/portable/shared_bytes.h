// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/hex.h"

namespace quillmark::portable {

/// Bytes that its copies share until one of them is written to. A few bytes, such as those of
/// a reply, are in the object itself and are copied: `checkupload` creates a string for each reply,
/// and one more heap block for each would take it a tenth of its time.
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

  /// Whether they are so few that sharing them is not worth it.
  [[nodiscard]] bool AreFew() const { return View().size() <= kFew; }

  /// The bytes for writing; no other copy sees the change.
  [[nodiscard]] std::span<std::uint8_t> Writable();

  /// Removes bytes from the end, or appends zeros.
  void Resize(std::size_t size);

 private:
  static constexpr std::size_t kFew = 64;
  struct Block;

  void Swap(SharedBytes& other) noexcept;
  [[nodiscard]] bool IsSole() const;

  std::array<std::uint8_t, kFew> few_{};
  std::size_t few_size_ = 0;
  Block* many_ = nullptr;  ///< what is shared; null if the bytes are those of `few_`
};

}  // namespace quillmark::portable
