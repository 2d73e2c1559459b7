// SPDX-License-Identifier: MIT
#include "host/tool/wire_plan.h"

#include "host/runner/message_reader.h"
#include "host/runner/request_document.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kDownloadService = 0x34;
constexpr std::size_t kCanFrameSize = 8;
constexpr std::size_t kAcknowledgementSize = 1;

// A document says how the ECU's frame begins: in plain CAN form it is padded, a gateway's
// acknowledgement may be anything, and the reply to a block is known to its end.
std::size_t SizeOfReply(const Step& step, TransportForm form) {
  if (form == TransportForm::kPlainCan) {
    return kCanFrameSize;
  }
  return step.expected.empty() ? kAcknowledgementSize : step.expected.size() / 2;
}

}  // namespace

void WirePlan::Add(const DOMDocument& document) {
  const RequestDocument request = ReadRequestDocument(document, form_);
  RequestReader reader(form_);
  for (const Step& step : request.steps) {
    switch (step.kind) {
      case StepKind::kSend:
        if (reader.BeginsRequest(step.frame)) {
          AddRequest(reader.Request());
        }
        reader.OnSent(step.frame);
        wire_time_ += WireTime(request.exchange, step.frame.size(), speed_);
        break;
      case StepKind::kReceive:
        wire_time_ += WireTime(request.exchange, SizeOfReply(step, form_), speed_);
        break;
      default:
        wire_time_ += step.time;
    }
  }
  AddRequest(reader.Request());
}

void WirePlan::AddRequest(ByteView request) {
  const Description description = Describe(request);
  if (description.service == kDownloadService && description.memory) {
    memory_.push_back(*description.memory);
    data_bytes_ += description.memory->count;
  }
}

}  // namespace quillmark::host
