// SPDX-License-Identifier: MIT
#include "context/request.h"

#include <string>
#include <utility>

#include "base/guards.h"
#include "context/gateway.h"
#include "context/k_message.h"
#include "context/message_table.h"
#include "context/plain_can.h"

namespace quillmark {
namespace {

/// The element that holds the steps, in a new copy of the template document.
std::shared_ptr<IXMLDOMElement> NewRequestElement(const Context& context) {
  const auto document = NotNull(context.RequestTemplate().cloneNode(true));
  return NotNull(std::dynamic_pointer_cast<IXMLDOMElement>(
      document->selectSingleNode(RequestPath(context.Form()))));
}

}  // namespace

Request::Request(Context& context)
    : context_(context),
      element_(NewRequestElement(context)),
      document_(NotNull(element_->ownerDocument())),
      steps_(*element_, context.GetFlowControl().separation_time),
      buffers_(context.Buffers()) {}

void Request::AddStep(ByteView request, ByteView expected, std::int32_t reply_length) {
  AddRequestFrames(request);
  AddExpectedReply(expected, reply_length);
}

void Request::AddRequestFrames(ByteView request) {
  switch (context_.Form()) {
    case TransportForm::kKLine:
      return k_message::AddKFrames(steps_, context_.GetAddressing(), request);
    case TransportForm::kGateway:
      return gateway::AddAddressedCANFrames(steps_, context_.GetAddressing(), request);
    case TransportForm::kPlainCan:
      return plain_can::AddRequestFrames(steps_, buffers_, context_.GetFlowControl(), request);
  }
}

void Request::AddExpectedReply(ByteView expected, std::int32_t reply_length) {
  if (std::cmp_greater(expected.size(), reply_length)) {
    throw Error(error_number::kInvalidRequest, "can't check more bytes than received");
  }
  switch (context_.Form()) {
    case TransportForm::kKLine:
      return k_message::AddKReply(steps_, context_.GetAddressing(), expected, reply_length);
    case TransportForm::kGateway:
      return gateway::AddAddressedCANReply(steps_, context_.GetAddressing(), expected,
                                           reply_length);
    case TransportForm::kPlainCan:
      return plain_can::AddExpectedReply(steps_, expected, reply_length);
  }
}

void Request::AddWakeUp(std::int32_t milliseconds) {
  steps_.Flush();
  const std::string text = std::to_string(milliseconds);
  AppendElement(*document_, *element_, "bk", text);
  AppendElement(*document_, *element_, "w", text);
}

std::shared_ptr<DOMDocument> Request::Finish() {
  steps_.Flush();
  AppendLineEnd(*document_, Require(document_->documentElement()));
  context_.KeepBuffers(buffers_);
  return document_;
}

std::shared_ptr<DOMDocument> SingleStepRequest(Context& context, ByteView request,
                                               ByteView expected, std::int32_t reply_length) {
  Request document(context);
  document.AddStep(request, expected, reply_length);
  return document.Finish();
}

}  // namespace quillmark
