// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "host/runner/runner.h"
#include "quillmark/byte_string.h"
#include "quillmark/checksum_calculator.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// Looks at the blocks that an upload reads. Each ends with a checksum of two bytes. Its algorithm
/// is the ECU's, and the platform's calculator perhaps has another; so a block whose checksum is
/// not what the calculator says is read again, and is believed once two readings are alike.
class BlockReadings {
 public:
  explicit BlockReadings(Platform& platform);

  /// What follows a try that was answered as expected; `kReject` where no two of several readings
  /// are alike. Requests other than those of an upload are none of its business.
  [[nodiscard]] NextMove Judge(const RequestTry& request_try);

  /// Blocks that were believed because two readings were alike.
  [[nodiscard]] std::uint64_t believed() const { return believed_; }
  void Forget() { believed_ = 0; }

 private:
  [[nodiscard]] bool ChecksumIsRight(ByteView block);

  std::shared_ptr<ChecksumCalculator> calculator_;
  std::shared_ptr<ByteString> covered_;
  std::shared_ptr<ByteString> checksum_;
  Bytes last_;
  int readings_ = 0;
  std::uint64_t believed_ = 0;
};

}  // namespace quillmark::host
