// SPDX-License-Identifier: MIT
#include "context/reply.h"

#include <utility>

#include "base/guards.h"
#include "context/gateway.h"
#include "context/k_message.h"
#include "context/plain_can.h"
#include "quillmark/error.h"

namespace quillmark {

namespace {

/// The message that starts in the frame `first`; `frames` has the frames that follow it.
std::optional<Bytes> ReadMessage(TransportForm form, ByteView first, ReplyFrames& frames) {
  switch (form) {
    case TransportForm::kKLine:
      return k_message::Read(first);
    case TransportForm::kGateway:
      return gateway::ReadReply(first, frames);
    case TransportForm::kPlainCan:
      break;
  }
  return plain_can::ReadReply(first, frames);
}

}  // namespace

std::optional<Bytes> ReadReply(TransportForm form, const std::shared_ptr<IXMLDOMNode>& node) {
  if (!node) {
    return Bytes{};
  }
  SiblingFrames frames(node);
  const auto first = frames.Next();
  return first ? ReadMessage(form, *first, frames) : Bytes{};
}

std::optional<Bytes> ReadReceivedReply(TransportForm form, ReplyFrames& frames) {
  const ByteView first = frames.NextData();
  return ReadMessage(form, first, frames);
}

Bytes ReadReplyAt(TransportForm form, const std::shared_ptr<DOMDocument>& root, std::size_t index) {
  return ReadReplyAtPath(form, root, Indexed(ReplyPath(form), index));
}

Bytes ReadReplyAtPath(TransportForm form, const std::shared_ptr<DOMDocument>& root,
                      const std::string& path) {
  auto reply = ReadReply(form, Require(root).selectSingleNode(path));
  if (!reply) {
    throw Error(error_number::kObjectNotSet);
  }
  return *std::move(reply);
}

std::size_t ReplyIndexOfLongRequest(TransportForm form) {
  return form == TransportForm::kGateway ? 1 : 0;
}

std::string ReplyPath(TransportForm form) {
  return form == TransportForm::kKLine ? "/k/r" : "/can/x/r";
}

std::string Indexed(const std::string& path, std::size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

std::shared_ptr<IXMLDOMNode> FindErrorMark(const std::shared_ptr<DOMDocument>& root) {
  return Require(root).selectSingleNode("//e");
}

std::optional<std::string> DescribeErrorMark(const std::shared_ptr<DOMDocument>& root) {
  const auto mark = FindErrorMark(root);
  if (!mark) {
    return std::nullopt;
  }
  const auto holder = mark->parentNode();
  const auto data = Require(holder).selectSingleNode("d");
  return data ? data->text() : holder->xml();
}

}  // namespace quillmark
