// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/bus/bus.h"
#include "quillmark/dom.h"

namespace quillmark::host {

/// How long the tester waits for the ECU.
struct RunnerTiming {
  /// P2: for the first frame of an answer, including the latency of bus and adapter.
  std::chrono::milliseconds p2{1000};
  /// P2*: for the next frame after a negative response 0x78, response pending.
  std::chrono::milliseconds p2_star{5000};
  /// How many of these are accepted for one request, and for how long in total.
  int max_pending = 1000;
  std::chrono::milliseconds pending_limit{60'000};
};

/// How a run ended.
enum class RunStatus : std::uint8_t {
  kComplete,         ///< every step was executed
  kSilence,          ///< no frame came in time
  kUnexpectedFrame,  ///< a frame came that does not begin as the document says
  kPendingTooLong,   ///< the ECU kept answering "response pending"
  kBusError,         ///< the bus failed
  kStopped,          ///< the host asked to stop; nothing of the next request was sent
};

struct RunOutcome {
  RunStatus status = RunStatus::kComplete;
  /// The step that failed, counted from 1 among all steps of the document; 0 if none did.
  std::size_t step = 0;
  /// The text that the document's `e` element holds; empty if the run is complete.
  std::string reason;
  /// The service bytes of the current request, as far as they were sent.
  Bytes request;
  /// What came instead of the expected frame; empty if nothing came.
  Bytes frame;
  /// The code, where that frame is a negative response.
  std::optional<std::uint8_t> response_code;
  /// The time of the bus that the run took.
  Duration elapsed{};

  [[nodiscard]] bool complete() const { return status == RunStatus::kComplete; }
};

/// Runs request documents step by step on a bus, and so turns them into reply documents.
///
/// Each frame received is written into its `r` element as a `d` child. If a frame does not begin
/// with the text of `c`, or does not come, the run stops: the step gets the frame as `d`, if there
/// was one, and beside it an `e` element with the reason. A check method that polls reads such a
/// `d` nevertheless (D19). A negative response 0x78 is not a reply; it only prolongs the wait. An
/// empty frame never matches and is not written.
///
/// What arrived before a request is sent cannot be its reply and is discarded.
///
/// Threads: used by one thread at a time, that of its bus.
class Runner {
 public:
  /// Asked before each request of a document; true ends the run there.
  using StopRequested = std::function<bool()>;
  /// Called after each request of a document that was answered as expected, with its service bytes.
  using RequestDone = std::function<void(ByteView request)>;

  /// `bus` must outlive the runner. A plain CAN document looks like one for a gateway, so the
  /// transport form is passed here.
  Runner(Bus& bus, TransportForm form, const RunnerTiming& timing = {});

  void OnStopRequested(StopRequested stop_requested);
  void OnRequestDone(RequestDone request_done);

  /// Runs a document. Raises Error 13 with a text that says what is wrong, before anything is sent,
  /// for what is not a request document of the runner's form and for one that has been run before.
  [[nodiscard]] RunOutcome Run(DOMDocument& document);

 private:
  Bus& bus_;
  TransportForm form_;
  RunnerTiming timing_;
  StopRequested stop_requested_;
  RequestDone request_done_;
};

}  // namespace quillmark::host
