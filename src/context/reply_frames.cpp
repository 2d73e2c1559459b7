// SPDX-License-Identifier: MIT
#include "context/reply_frames.h"

#include "context/message_table.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

bool IsReplyFrame(const IXMLDOMNode& node) {
  return node.nodeType() == NodeType::kElement && node.nodeName() == "r";
}

}  // namespace

ByteView ReplyFrames::NextData() {
  const auto data = Next();
  if (!data) {
    throw Error(error_number::kNoReply);
  }
  return *data;
}

std::optional<ByteView> SiblingFrames::Next() {
  if (has_frame_) {
    node_ = node_->nextSibling();
  }
  while (node_ && !IsReplyFrame(*node_)) {
    node_ = node_->nextSibling();
  }
  if (!node_) {
    throw Error(error_number::kObjectNotSet);
  }
  has_frame_ = true;

  const auto data = node_->selectSingleNode("d");
  if (!data) {
    return std::nullopt;
  }
  const auto content = data->firstChild();
  if (!content) {
    throw Error(error_number::kObjectNotSet);
  }
  bytes_ = BytesOfHex(content->text());
  return bytes_;
}

}  // namespace quillmark
