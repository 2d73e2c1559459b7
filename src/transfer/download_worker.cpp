// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <utility>

#include "base/byte_access.h"
#include "base/guards.h"
#include "context/message_table.h"
#include "transfer/piece_stream.h"
#include "transfer/segment_cutter.h"
#include "transfer/transfer.h"
#include "transfer/transfer_documents.h"

namespace quillmark::transfer {
namespace {

constexpr std::uint8_t kDownloadRequest = 0x34;
constexpr std::array<std::uint8_t, 2> kExpectedReply = {0x74, 0x02};
constexpr std::int32_t kReplyLength = 2;
constexpr std::size_t kHeaderLength = 6;
constexpr std::size_t kMaxDataLength = 255;
constexpr std::size_t kChecksumLength = 2;

/// The request blocks of one run; its objects are created once and reused for every block.
///
///     34 | RL | address (3) | n | n data bytes | checksum (2)
class BlockBuilder {
 public:
  BlockBuilder(Platform& platform, std::uint8_t RL)
      : block_(NotNull(platform.CreateByteString())),
        checksum_(NotNull(platform.CreateChecksumCalculator())),
        RL_(RL) {}

  /// Builds the block of `data` from `address` on, then calls `use` with it.
  template <typename Use>
  void Build(std::int32_t address, ByteView data, Use use) {
    const ByteView bytes = WithoutChecksum(address, data);
    block_->SetBytes(bytes);
    if (bytes.size() != size_) {
      // Almost all blocks have the same length, so the view of the previous block can be used for
      // the next.
      summed_ = NotNull(block_->Mid(1, static_cast<std::int32_t>(bytes.size() - kChecksumLength)));
      size_ = bytes.size();
    }
    checksum_->Reset();
    checksum_->Add(*summed_);
    checksum_->StoreInto(*block_);
    block_->ReadBytes(std::ref(use));
  }

 private:
  /// The block, with zeros where the checksum will be.
  ByteView WithoutChecksum(std::int32_t address, ByteView data) {
    const auto [high, middle, low] = AddressBytes(address);
    const std::array<std::uint8_t, kHeaderLength> header = {
        kDownloadRequest, RL_, high, middle, low, static_cast<std::uint8_t>(data.size())};
    auto end = std::copy(header.begin(), header.end(), bytes_.begin());
    end = std::copy(data.begin(), data.end(), end);
    end = std::fill_n(end, kChecksumLength, std::uint8_t{0});
    return ByteView(bytes_.begin(), end);
  }

  std::shared_ptr<ByteString> block_;
  std::shared_ptr<ChecksumCalculator> checksum_;
  std::uint8_t RL_;
  std::shared_ptr<ByteString> summed_;  ///< view on what the checksum covers
  std::size_t size_ = 0;                ///< of the block that it was made for
  std::array<std::uint8_t, kHeaderLength + kMaxDataLength + kChecksumLength> bytes_{};
};

/// Adds the blocks of a segment, which holds `bytes`. False if the client wants no more.
bool StreamBlocks(const ByteString& segment, ByteView bytes, const CutRule& rule,
                  BlockBuilder& blocks, PieceStream& stream) {
  const std::int64_t start = segment.StartAddress();
  SegmentCutter cutter(segment, rule);
  while (const auto cut = cutter.Next()) {
    stream.Skip(cut->skipped);
    if (cut->count == 0) {
      break;
    }
    const auto position = static_cast<std::size_t>(cut->address - start + 1);
    const ByteView data = ViewAt(bytes, position, static_cast<std::size_t>(cut->count));
    bool goes_on = false;
    blocks.Build(cut->address, data, [&](ByteView block) {
      goes_on = stream.Add(block, kExpectedReply, kReplyLength, cut->count);
    });
    if (!goes_on) {
      return false;
    }
  }
  return true;
}

}  // namespace

void RequireBlockSize(std::int32_t MaxSize) {
  if (MaxSize < 1 || MaxSize > std::int32_t{kMaxDataLength}) {
    throw Error(error_number::kInvalidRequest,
                "Invalid block size (" + std::to_string(MaxSize) + ")");
  }
}

void RunDownload(Context& context, TransferParameters& parameters, XMLDocClient& client) {
  context.FlowControl(parameters.BS, parameters.STMin);
  RequireBlockSize(parameters.MaxSize);
  Platform& platform = context.GetPlatform();
  const auto image = ReadImage(platform, *std::exchange(parameters.document, nullptr));

  PieceStream stream(context, client);
  BlockBuilder blocks(platform, parameters.RL);
  const CutRule rule{parameters.FillByte, parameters.IMod, parameters.MaxSize};
  for (const auto& segment : image->Segments()) {
    bool goes_on = false;
    Require(segment).ReadBytes(
        [&](ByteView bytes) { goes_on = StreamBlocks(*segment, bytes, rule, blocks, stream); });
    if (!goes_on) {
      return;
    }
  }
  stream.Finish();
}

}  // namespace quillmark::transfer
