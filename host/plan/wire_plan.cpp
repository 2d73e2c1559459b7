// SPDX-License-Identifier: MIT
#include "host/plan/wire_plan.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "quillmark/error.h"
#include "quillmark/host/decode.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kCanFrameSize = 8;
constexpr std::size_t kAcknowledgementSize = 1;

[[noreturn]] void Refuse(const std::string& what) {
  throw Error(error_number::kTypeMismatch, "not a request document: " + what);
}

// A document says how the ECU's frame begins: in plain CAN form it is padded, a gateway's
// acknowledgement may be anything, and the reply to a block is known to its end.
std::size_t SizeOfReply(std::string_view expected, TransportForm form) {
  if (form == TransportForm::kPlainCan) {
    return kCanFrameSize;
  }
  return expected.empty() ? kAcknowledgementSize : expected.size() / 2;
}

std::shared_ptr<IXMLDOMNode> ParentOfSteps(const DOMDocument& document, TransportForm form) {
  auto steps = document.selectSingleNode(form == TransportForm::kKLine ? "/k" : "/can/x");
  if (!steps) {
    Refuse("it has no steps");
  }
  return steps;
}

}  // namespace

// Times add up in any order, and so each kind of step is read for itself, without a node object for
// each of thousands.
void WirePlan::Add(const DOMDocument& document) {
  const auto steps = ParentOfSteps(document, exchange_.form);
  RequestReader reader(exchange_.form);
  steps->readChildTexts("s", "d", [&](const ChildText& frame) {
    const std::optional<Bytes> bytes = BytesOfHex(frame.text);
    if (!bytes || bytes->empty()) {
      Refuse("a frame to send is no hex text");
    }
    AddSent(*bytes, reader);
  });
  AddRequest(reader.Request());
  steps->readChildTexts("r", "c", [this](const ChildText& expected) {
    plan_.wire_time += WireTime(exchange_, SizeOfReply(expected.text, exchange_.form), speed_);
  });
  AddPauses(*steps, "w");
  AddPauses(*steps, "bk");
}

void WirePlan::AddSent(ByteView frame, RequestReader& reader) {
  if (reader.BeginsRequest(frame)) {
    AddRequest(reader.Request());
  }
  reader.OnSent(frame);
  plan_.wire_time += WireTime(exchange_, frame.size(), speed_);
}

void WirePlan::AddPauses(const IXMLDOMNode& steps, std::string_view name) {
  const auto pauses = steps.selectNodes(name);
  for (std::size_t i = 0; i < pauses->length(); ++i) {
    plan_.wire_time += std::chrono::milliseconds(std::stol(pauses->item(i)->text()));
  }
}

void WirePlan::AddRequest(ByteView request) {
  if (const std::optional<AddressRange> memory = DownloadIn(request)) {
    plan_.blocks.push_back(*memory);
    plan_.sent_bytes += memory->count;
  }
}

}  // namespace quillmark::host
