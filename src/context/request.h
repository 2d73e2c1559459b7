// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "base/hex.h"
#include "context/context.h"
#include "context/step_writer.h"

namespace quillmark {

/// One request document under construction. What it leaves in the frame buffers of the context
/// takes effect with `Finish`, so a request that fails half-way changes nothing.
///
///     Request request(context);
///     request.AddStep(Octets(0x3E), Octets(0x7E), 1);
///     return request.Finish();
class Request {
 public:
  /// Raises 91 before `CANIDs`.
  explicit Request(Context& context);

  /// Appends the frames of the service bytes `request` and those of its reply: `reply_length`
  /// bytes, including the service identifier, that begin with `expected`. Raises 1000 if a length
  /// does not fit the transport form or the prefix is longer than the reply.
  void AddStep(ByteView request, ByteView expected, std::int32_t reply_length);

  /// K line wake-up: a break and a wait, both of `milliseconds`.
  void AddWakeUp(std::int32_t milliseconds);

  /// The document under construction; its steps are complete only after `Finish`.
  [[nodiscard]] DOMDocument& Document() const { return *document_; }

  /// Completes the document with a line end and returns it.
  [[nodiscard]] std::shared_ptr<DOMDocument> Finish();

 private:
  void AddRequestFrames(ByteView request);
  void AddExpectedReply(ByteView expected, std::int32_t reply_length);

  Context& context_;
  std::shared_ptr<IXMLDOMElement> element_;
  std::shared_ptr<DOMDocument> document_;
  StepWriter steps_;
  FrameBuffers buffers_;
};

/// A request document of one step.
[[nodiscard]] std::shared_ptr<DOMDocument> SingleStepRequest(Context& context, ByteView request,
                                                             ByteView expected,
                                                             std::int32_t reply_length);

}  // namespace quillmark
