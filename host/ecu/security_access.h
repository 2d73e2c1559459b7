// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// The protection of erase, download and upload: service 27 with the sub-functions 81 (seed) and 82
/// (key).
class SecurityAccess {
 public:
  explicit SecurityAccess(const EcuOptions& options);

  [[nodiscard]] bool unlocked() const { return unlocked_; }

  /// Clears seed and key, as every change of session does; the count of wrong keys stays.
  void Lock();

  /// The positive response. Raises Refusal.
  [[nodiscard]] Bytes OnRequest(ByteView request, Duration now);

 private:
  [[nodiscard]] Bytes OnSeedRequest(ByteView request, Duration now);
  [[nodiscard]] Bytes OnKey(ByteView key, Duration now);

  std::function<Bytes(const Bytes& seed)> key_of_;
  bool refuses_key_;
  int allowed_attempts_;
  Duration delay_;
  std::uint32_t next_seed_;
  std::optional<Bytes> seed_;
  bool unlocked_ = false;
  int wrong_keys_ = 0;
  std::optional<Duration> closed_until_;
};

}  // namespace quillmark::host
