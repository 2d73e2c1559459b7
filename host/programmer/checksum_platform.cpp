// SPDX-License-Identifier: MIT
#include "host/programmer/checksum_platform.h"

#include <string>
#include <utility>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"
#include "quillmark/forwarding_platform.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

class FunctionCalculator final : public ChecksumCalculator {
 public:
  explicit FunctionCalculator(BlockChecksum checksum) : checksum_(std::move(checksum)) {}

  void Reset() override { bytes_.clear(); }

  void Add(const ByteString& data) override {
    data.ReadBytes(
        [this](ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); });
  }

  void StoreInto(ByteString& block) override {
    if (block.Length() < 2) {
      throw Error(error_number::kSubscriptOutOfRange);
    }
    const std::uint16_t checksum = checksum_(bytes_);
    const std::int32_t last = block.EndAddress();
    block.SetItem(last - 1, static_cast<std::uint8_t>(checksum >> 8U));
    block.SetItem(last, static_cast<std::uint8_t>(checksum & 0xFFU));
  }

 private:
  BlockChecksum checksum_;
  Bytes bytes_;
};

class ChecksumPlatform final : public ForwardingPlatform {
 public:
  ChecksumPlatform(const std::shared_ptr<PortablePlatform>& portable, BlockChecksum checksum)
      : ForwardingPlatform(portable), checksum_(std::move(checksum)) {}

  std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return std::make_shared<FunctionCalculator>(checksum_);
  }

 private:
  BlockChecksum checksum_;
};

}  // namespace

std::shared_ptr<Platform> CreateChecksumPlatform(BlockChecksum checksum) {
  const auto portable = CreatePortablePlatform();
  auto platform = std::make_shared<ChecksumPlatform>(portable, std::move(checksum));
  // A worker would get the types of the portable platform otherwise. While it runs, its client
  // keeps the platform alive.
  portable->RegisterClass(std::string(DiagOnCANReprog::kProgID),
                          [weak = std::weak_ptr<Platform>(platform)](const auto& /*portable*/) {
                            return CreateDiagOnCANReprog(weak.lock());
                          });
  return platform;
}

}  // namespace quillmark::host
