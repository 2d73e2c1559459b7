// SPDX-License-Identifier: MIT
#include "context/k_line.h"

#include "context/k_message.h"

namespace quillmark::k_line {

void AddKFrames(StepWriter& steps, const Addressing& addressing, ByteView request) {
  k_message::RequireRequestLength(request.size());
  steps.Send(k_message::Build(k_message::ToEcu(addressing), request, request.size()));
}

void AddKReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
               std::int32_t reply_length) {
  const std::size_t length = k_message::RequireReplyLength(reply_length);
  steps.Receive(k_message::Build(k_message::ToTester(addressing), expected, length));
  steps.WaitSeparationTime();
}

Bytes ReadReply(ByteView message) { return k_message::Read(message); }

}  // namespace quillmark::k_line
