// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace quillmark::host {

/// SHA-256 of bytes that come in parts: by sha256_linux.cpp or sha256_windows.cpp.
class Sha256 {
 public:
  using Digest = std::array<std::uint8_t, 32>;

  Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;
  Sha256(Sha256&&) = delete;
  Sha256& operator=(Sha256&&) = delete;
  ~Sha256();

  void Add(std::span<const std::uint8_t> bytes);
  /// Once, after the last part.
  [[nodiscard]] Digest Finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace quillmark::host
