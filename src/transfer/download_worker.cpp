// SPDX-License-Identifier: MIT
#include "transfer/download_worker.h"

#include <array>
#include <functional>
#include <string>
#include <utility>

#include "base/checked.h"
#include "base/guards.h"
#include "context/message_table.h"
#include "transfer/address_bytes.h"
#include "transfer/piece_stream.h"
#include "transfer/segment_cutter.h"
#include "transfer/transfer_documents.h"

namespace quillmark::transfer {
namespace {

constexpr std::uint8_t kDownloadRequest = 0x34;
constexpr std::array<std::uint8_t, 2> kExpectedReply = {0x74, 0x02};
constexpr std::int32_t kReplyLength = 2;
constexpr std::int32_t kHeaderLength = 6;
constexpr std::int32_t kChecksumLength = 2;

/// The request blocks of one run; its objects are made once and reused for every block.
///
///     34 | RL | address (3) | n | n data bytes | checksum (2)
class BlockBuilder {
 public:
  BlockBuilder(Platform& platform, std::uint8_t RL)
      : block_(NotNull(platform.CreateByteString())),
        checksum_(NotNull(platform.CreateChecksumCalculator())),
        RL_(RL) {}

  /// Builds the block of `count` bytes from `address` on, then calls `use` with it.
  template <typename Use>
  void Build(ByteString& segment, std::int32_t address, std::int32_t count, Use use) {
    MakeRoom(count);
    WriteHeader(address, checked::ToByte(count));
    data_->Assign(Require(segment.Mid(address, count)));

    checksum_->Reset();
    checksum_->Add(*summed_);
    checksum_->StoreInto(*block_);
    block_->ReadBytes(std::ref(use));
  }

 private:
  /// Almost all blocks have one length, and so the views of the block before are good for the next.
  void MakeRoom(std::int32_t count) {
    if (count == count_) {
      return;
    }
    block_->SetLength(checked::Add(count, kHeaderLength + kChecksumLength));
    header_ = NotNull(block_->Mid(1, kHeaderLength));
    data_ = NotNull(block_->Mid(kHeaderLength + 1, count));
    summed_ = NotNull(block_->Mid(1, kHeaderLength + count));
    count_ = count;
  }

  void WriteHeader(std::int32_t address, std::uint8_t count) {
    const auto [high, middle, low] = AddressBytes(address);
    header_->SetBytes(
        std::array<std::uint8_t, kHeaderLength>{kDownloadRequest, RL_, high, middle, low, count});
  }

  std::shared_ptr<ByteString> block_;
  std::shared_ptr<ChecksumCalculator> checksum_;
  std::uint8_t RL_;
  std::int32_t count_ = 0;              ///< data bytes that the block has room for
  std::shared_ptr<ByteString> header_;  ///< view on its first bytes
  std::shared_ptr<ByteString> data_;    ///< view on its data bytes
  std::shared_ptr<ByteString> summed_;  ///< view on what its checksum covers
};

/// False where the client wants no more.
bool StreamSegment(ByteString& segment, const CutRule& rule, BlockBuilder& blocks,
                   PieceStream& stream) {
  SegmentCutter cutter(segment, rule);
  while (const auto cut = cutter.Next()) {
    stream.Skip(cut->skipped);
    if (cut->count == 0) {
      break;
    }
    bool goes_on = false;
    blocks.Build(segment, cut->address, cut->count, [&](ByteView block) {
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
  if (MaxSize < 1 || MaxSize > 255) {
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
    if (!StreamSegment(Require(segment), rule, blocks, stream)) {
      return;
    }
  }
  stream.Finish();
}

}  // namespace quillmark::transfer
