// SPDX-License-Identifier: MIT
#include "context/reply_frames.h"

#include <algorithm>

#include "base/guards.h"
#include "context/message_table.h"
#include "context/request_template.h"
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

ReceivedFrames::ReceivedFrames(TransportForm form, const DOMDocument& root) {
  const auto exchanges = NotNull(root.selectNodes(RequestPath(form)));
  for (std::size_t index = 0; index < exchanges->length(); ++index) {
    Require(exchanges->item(index)).readChildTexts("r", "d", [this](const ChildText& data) {
      Add(data);
    });
    exchange_ends_.push_back(frames_.size());
  }
}

void ReceivedFrames::Add(const ChildText& data) {
  State state = State::kBytes;
  if (data.state == ChildText::State::kNoPart) {
    state = State::kNotReceived;
  } else if (data.state == ChildText::State::kEmptyPart) {
    state = State::kNoText;
  } else if (!AppendBytesOfHex(bytes_, data.text)) {
    state = State::kNotHex;
  }
  frames_.push_back({state, bytes_.size()});
}

std::optional<ByteView> ReceivedFrames::At(std::size_t index) const {
  const Frame& frame = frames_[index];
  switch (frame.state) {
    case State::kNotReceived:
      return std::nullopt;
    case State::kNoText:
      throw Error(error_number::kObjectNotSet);
    case State::kNotHex:
      throw Error(error_number::kTypeMismatch);
    case State::kBytes:
      break;
  }
  const std::size_t begin = index == 0 ? 0 : frames_[index - 1].end;
  return ByteView(bytes_).subspan(begin, frame.end - begin);
}

ReceivedFrames::From::From(const ReceivedFrames& frames, std::size_t index)
    : frames_(frames),
      next_(index),
      end_(*std::upper_bound(frames.exchange_ends_.begin(), frames.exchange_ends_.end(), index)) {}

std::optional<ByteView> ReceivedFrames::From::Next() {
  if (next_ == end_) {
    throw Error(error_number::kObjectNotSet);
  }
  return frames_.At(next_++);
}

}  // namespace quillmark
