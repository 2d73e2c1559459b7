#include "context/reply_frames.h"

#include "context/message_table.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

bool IsReplyFrame(const IXMLDOMNode& node) {
  return node.nodeType() == NodeType::kElement && node.nodeName() == "r";
}

}  // namespace

std::optional<Bytes> ReplyFrames::Next() {
  while (next_ && !IsReplyFrame(*next_)) {
    next_ = next_->nextSibling();
  }
  if (!next_) {
    throw Error(error_number::kObjectNotSet);
  }
  const auto frame = next_;
  next_ = frame->nextSibling();

  const auto data = frame->selectSingleNode("d");
  if (!data) {
    return std::nullopt;
  }
  const auto content = data->firstChild();
  if (!content) {
    throw Error(error_number::kObjectNotSet);
  }
  return BytesOfHex(content->text());
}

Bytes ReplyFrames::NextData() {
  auto data = Next();
  if (!data) {
    throw Error(error_number::kNoReply);
  }
  return *std::move(data);
}

}  // namespace quillmark
