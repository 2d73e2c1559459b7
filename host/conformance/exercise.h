// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/conformance/scripted_ecu.h"
#include "quillmark/host/bus.h"
#include "quillmark/request_document.h"

namespace quillmark::host {

/// The frames by which an ECU sends a message of these service bytes to the tester.
[[nodiscard]] std::vector<Bytes> FramesOfAnswer(TransportForm form, const Bytes& service_bytes);

/// The first of them, for a message that needs no more.
[[nodiscard]] Bytes FrameOfAnswer(TransportForm form, const Bytes& service_bytes);

/// A document of the component, and an ECU that answers all of it as it should. A test changes the
/// ECU.
struct Exercise {
  /// Where a request is in the script.
  struct Request {
    /// The turns of its first frame and of its last, which the answer follows.
    std::size_t first = 0;
    std::size_t last = 0;
    /// The turn behind its answer.
    std::size_t end = 0;
    std::uint8_t service = 0;
  };

  TransportForm form = TransportForm::kPlainCan;
  std::shared_ptr<DOMDocument> document{};
  /// As it was built.
  RequestDocument built{};
  Exchange exchange{};
  std::vector<Turn> script{};
  std::vector<Request> requests{};
  /// What the receive steps hold after a good run.
  std::vector<Bytes> good_frames{};

  /// Takes the replies of the script for those of a good run.
  void TakeGoodFrames();
  /// The first frame of the answer to request `number`, counted from 0.
  [[nodiscard]] ScriptedReply& AnswerTo(std::size_t number) {
    return script[requests[number].last].replies.front();
  }
  /// All replies to the last frame of that request.
  [[nodiscard]] std::vector<ScriptedReply>& RepliesTo(std::size_t number) {
    return script[requests[number].last].replies;
  }
  /// The negative response to that request.
  [[nodiscard]] Bytes Refusal(std::size_t number, std::uint8_t code) const {
    return FrameOfAnswer(form, {0x7F, requests[number].service, code});
  }
};

/// Leaves no node of the document behind, which a runner may replace as a whole.
void ForgetElements(RequestDocument& request);

/// What a flow control holds.
struct BlockSettings {
  int block_size = 1;
  int separation_time = 0;
};

/// One request and one answer of a byte each.
[[nodiscard]] Exercise TesterPresentExercise(TransportForm form);
/// The same for any identifiers, as CANIDs has them.
[[nodiscard]] Exercise TesterPresentExercise(TransportForm form, std::int32_t receive,
                                             std::int32_t send);
/// Requests of several frames on CAN, each with a short answer: `blocks` of `size` bytes.
[[nodiscard]] Exercise DownloadExercise(TransportForm form, int blocks, int size,
                                        const BlockSettings& settings = {});
/// Short requests with answers of three frames on CAN: as many reads of 8 bytes.
[[nodiscard]] Exercise UploadExercise(TransportForm form, int reads);
/// Begins with the wake-up pattern on a K line. The ECU answers the first request alone.
[[nodiscard]] Exercise StartDiagExercise(TransportForm form);

}  // namespace quillmark::host
