// SPDX-License-Identifier: MIT
#include "host/programmer/block_readings.h"

#include <algorithm>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kReadBlock = 0x35;
constexpr std::size_t kChecksum = 2;
constexpr int kMostReadings = 4;

}  // namespace

BlockReadings::BlockReadings(Platform& platform)
    : calculator_(platform.CreateChecksumCalculator()),
      covered_(platform.CreateByteString()),
      checksum_(platform.CreateByteString()) {
  checksum_->SetLength(kChecksum);
}

NextMove BlockReadings::Judge(const RequestTry& request_try) {
  if (request_try.request.empty() || request_try.request[0] != kReadBlock) {
    return NextMove::kGoOn;
  }
  if (request_try.number == 1) {
    readings_ = 0;
  }
  if (ChecksumIsRight(request_try.answer)) {
    return NextMove::kGoOn;
  }
  const bool is_alike =
      readings_ > 0 &&
      std::equal(request_try.answer.begin(), request_try.answer.end(), last_.begin(), last_.end());
  if (is_alike) {
    ++believed_;
    return NextMove::kGoOn;
  }
  last_.assign(request_try.answer.begin(), request_try.answer.end());
  return ++readings_ < kMostReadings ? NextMove::kRepeat : NextMove::kReject;
}

bool BlockReadings::ChecksumIsRight(ByteView block) {
  if (block.size() < kChecksum) {
    return false;
  }
  covered_->SetBytes(block.first(block.size() - kChecksum));
  calculator_->Reset();
  calculator_->Add(*covered_);
  calculator_->StoreInto(*checksum_);
  bool is_right = false;
  checksum_->ReadBytes(
      [&](ByteView computed) { is_right = std::ranges::equal(computed, block.last(kChecksum)); });
  return is_right;
}

}  // namespace quillmark::host
