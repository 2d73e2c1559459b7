// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_access.h"
#include "base/guards.h"
#include "context/message_table.h"
#include "context/reply.h"
#include "context/reply_frames.h"
#include "transfer/transfer.h"

namespace quillmark::transfer {
namespace {

/// The data of upload replies: 75 | RL | address (3) | n | n data bytes | checksum (2).
class UploadedData {
 public:
  void Add(ByteView reply) {
    const std::size_t count = ByteAt(reply, 6);
    const std::int32_t address =
        ByteAt(reply, 3) * 65536 + ByteAt(reply, 4) * 256 + ByteAt(reply, 5);
    Append(bytes_, ViewAt(reply, 7, count));
    blocks_.push_back({address, count});
  }

  /// Adds a segment for each reply, reusing one string for all of them.
  void StoreInto(MemoryImage& image, Platform& platform) const {
    const auto segment = NotNull(platform.CreateByteString());
    ByteView rest = bytes_;
    for (const Block& block : blocks_) {
      segment->SetBytes(rest.first(block.count));
      segment->SetStartAddress(block.address);
      image.AddSegment(*segment);
      rest = rest.subspan(block.count);
    }
  }

 private:
  struct Block {
    std::int32_t address;
    std::size_t count;
  };

  Bytes bytes_;  ///< of all blocks
  std::vector<Block> blocks_;
};

/// The distance to the next reply. In gateway form, the frames of the reply itself and the
/// acknowledgement of the next request are skipped. In the other forms every `r` is read: in plain
/// CAN form, a frame that does not begin a message belongs to the previous reply, and on a K line a
/// message is one frame.
std::size_t StrideTo(TransportForm form, const std::optional<Bytes>& reply) {
  if (form == TransportForm::kGateway && reply) {
    return (reply->size() + 4) / 8 + 2;
  }
  return 1;
}

UploadedData ReadReplies(TransportForm form, const DOMDocument& root) {
  const ReceivedFrames frames(form, root);
  UploadedData data;
  for (std::size_t index = ReplyIndexOfLongRequest(form); index < frames.size();) {
    ReceivedFrames::From following(frames, index);
    const auto reply = ReadReceivedReply(form, following);
    if (reply) {
      data.Add(*reply);
    }
    index += StrideTo(form, reply);
  }
  return data;
}

}  // namespace

void checkdownload(const Context& /*context*/, const std::shared_ptr<DOMDocument>& root) {
  if (const auto failure = DescribeErrorMark(root)) {
    RaiseMessage(error_number::kDownloadFailed, *failure);
  }
}

void checkupload(const Context& context, const std::shared_ptr<DOMDocument>& root,
                 const std::shared_ptr<MemoryImage>& Image) {
  if (FindErrorMark(root)) {
    RaiseMessage(error_number::kUploadFailed);
  }
  MemoryImage& image = Require(Image);
  ReadReplies(context.Form(), *root).StoreInto(image, context.GetPlatform());
}

}  // namespace quillmark::transfer
