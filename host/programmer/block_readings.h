// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "quillmark/byte_string.h"
#include "quillmark/checksum_calculator.h"
#include "quillmark/host/runner.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// Looks at the blocks that an upload reads. Each ends with a checksum of two bytes. The ECU
/// defines its algorithm, which may not be that of the platform's calculator; so a block whose
/// checksum the calculator does not confirm is read again, and accepted once two readings agree.
class BlockReadings {
 public:
  explicit BlockReadings(Platform& platform);

  /// What follows a try that was answered as expected; `kReject` if no two of several readings
  /// agree. Requests other than those of an upload are ignored.
  [[nodiscard]] NextMove Judge(const RequestTry& request_try);

  /// Blocks that were accepted because two readings agreed.
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
