#include "transfer/transfer_checks.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_access.h"
#include "context/error_mark.h"
#include "context/message_table.h"
#include "context/reply.h"

namespace quillmark::transfer {
namespace {

/// What one upload reply brings: 75 | RL | address (3) | n | n data bytes | checksum (2).
struct UploadedBlock {
  std::int32_t address;
  Bytes data;
};

UploadedBlock ParseUploadReply(const Bytes& reply) {
  const std::size_t count = ByteAt(reply, 6);
  const std::int32_t address = ByteAt(reply, 3) * 65536 + ByteAt(reply, 4) * 256 + ByteAt(reply, 5);
  return {address, BytesAt(reply, 7, count)};
}

/// How far the next reply is. In addressed CAN form a reply's own frames and the acknowledgement of
/// the next request are passed over. Elsewhere every `r` is looked at: in plain CAN form what does
/// not begin a message belongs to the reply before it, and on a K line a message is one frame.
std::size_t StrideTo(TransportForm form, const std::optional<Bytes>& reply) {
  if (form == TransportForm::kAddressedCAN && reply) {
    return (reply->size() + 4) / 8 + 2;
  }
  return 1;
}

std::vector<UploadedBlock> ReadBlocks(TransportForm form, const DOMDocument& root) {
  const auto frames = root.selectNodes(ReplyPath(form));
  std::vector<UploadedBlock> blocks;
  for (std::size_t index = ReplyIndexOfLongRequest(form); index < frames->length();) {
    const auto reply = ReadReceivedReply(form, frames->item(index));
    if (reply) {
      blocks.push_back(ParseUploadReply(*reply));
    }
    index += StrideTo(form, reply);
  }
  return blocks;
}

std::vector<std::shared_ptr<ByteString>> MakeSegments(Platform& platform,
                                                      const std::vector<UploadedBlock>& blocks) {
  std::vector<std::shared_ptr<ByteString>> segments;
  segments.reserve(blocks.size());
  for (const UploadedBlock& block : blocks) {
    const auto& segment = segments.emplace_back(platform.CreateByteString());
    segment->SetHex(HexOf(block.data));
    segment->SetStartAddress(block.address);
  }
  return segments;
}

}  // namespace

void checkdownload(const std::shared_ptr<DOMDocument>& root) {
  if (const auto failure = DescribeErrorMark(root)) {
    RaiseMessage(Message::kDownload, *failure);
  }
}

void checkupload(const Context& context, const std::shared_ptr<DOMDocument>& root,
                 const std::shared_ptr<MemoryImage>& Image) {
  if (FindErrorMark(root)) {
    RaiseMessage(Message::kUpload);
  }
  MemoryImage& image = Require(Image);
  const auto segments = MakeSegments(context.GetPlatform(), ReadBlocks(context.Form(), *root));
  for (const auto& segment : segments) {
    image.AddSegment(*segment);
  }
}

}  // namespace quillmark::transfer
