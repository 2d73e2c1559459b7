// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// How long the tester waits for the ECU.
struct RunnerTiming {
  /// P2: for a frame that answers. What the bus and an adapter add is part of it.
  std::chrono::milliseconds p2{1000};
  /// P2*: for the next frame after a negative response 0x78, response pending.
  std::chrono::milliseconds p2_star{5000};
  /// How many of these may answer a request.
  int max_pending = 1000;
  /// For how long altogether they may.
  std::chrono::milliseconds pending_limit{60'000};
  /// How many flow controls "wait" of ISO 15765-2 may come in a row, P2 apart.
  int max_wait_frames = 10;
};

/// How a run, or one try of a request, ended.
enum class RunStatus : std::uint8_t {
  kComplete,         ///< every step was executed
  kSilence,          ///< no frame came in time
  kDamagedReply,     ///< what came was changed or cut off on the way
  kUnexpectedFrame,  ///< an answer came that does not begin as the document says
  kFlowControl,      ///< the ECU asks for a flow control that the document was not built for
  kPendingTooLong,   ///< the ECU kept answering "response pending", or asking to wait
  kLateRefusal,      ///< the ECU refused the request before, which it seemed to have answered
  kBusError,         ///< the bus failed
  kStopped,          ///< the host asked to stop
};

/// The flow control of ISO 15765-2 that an ECU asks for.
struct FlowControl {
  /// The frames that it takes before it sends the next flow control; 0: all of a message.
  std::uint8_t block_size = 0;
  /// As the ECU codes it: 0 to 0x7F are milliseconds, 0xF1 to 0xF9 hundreds of microseconds.
  std::uint8_t separation_time = 0;

  friend bool operator==(const FlowControl&, const FlowControl&) = default;
};

/// How a run ended, and what was on the bus when it failed.
struct RunOutcome {
  /// `kComplete`, or the reason why the run ended early.
  RunStatus status = RunStatus::kComplete;
  /// The step that failed, counted from 1 among all steps of the document; 0 where none did.
  std::size_t step = 0;
  /// The text that the document's `e` element holds; empty where the run is complete.
  std::string reason{};
  /// The service bytes of the request that failed, else of the last one, as far as they were sent.
  Bytes request{};
  /// `kStopped`: the run ended in the midst of that request, not behind it.
  bool stopped_within = false;
  /// What came instead of the expected frame; empty where nothing came.
  Bytes frame{};
  /// The code, where that frame is a negative response.
  std::optional<std::uint8_t> response_code{};
  /// The service bytes of `frame`, as far as it holds them.
  Bytes answer{};
  /// The service bytes of the frame that was expected, as far as it holds them.
  Bytes expected{};
  /// `kFlowControl`: what the ECU asks for.
  std::optional<FlowControl> flow_control{};
  /// Frames that answered nothing.
  std::uint32_t passed_over = 0;
  /// The time of the bus that the run took.
  Duration elapsed{};

  /// Whether every step was executed.
  [[nodiscard]] bool complete() const { return status == RunStatus::kComplete; }
};

/// How one try of a request ended. Its bytes are valid during the callback only.
struct RequestTry {
  /// `kComplete`, or why it failed.
  RunStatus status = RunStatus::kComplete;
  /// Counted from 1.
  int number = 1;
  /// When the first try of the request began, in the time of the bus.
  Duration began{};
  /// The service bytes of the request, as far as they were sent.
  ByteView request{};
  /// Whether that was all of them.
  bool sent_whole = false;
  /// The ECU has said "response pending".
  bool was_pending = false;
  /// The service bytes of the answer, where a whole one came.
  ByteView answer{};
  /// The code, where that is a negative response.
  std::optional<std::uint8_t> response_code{};
};

struct LastRequest;

/// What follows a try.
enum class NextMove : std::uint8_t {
  kGoOn,    ///< it counts as it ended: the next request, or the end of a run that failed
  kRepeat,  ///< the request is sent again
  kAccept,  ///< the request counts as done, though its answer did not come
  kReject,  ///< the answer is not believed, though it is the expected one: the run has failed
};

/// Executes request documents step by step on a bus and so turns them into reply documents.
///
/// Each frame received is written into its `r` element as a `d` child. Where no answer comes, or
/// not the expected one, the run stops: the step gets the frame as `d`, if there was one, and
/// beside it an `e` element with the reason. A check method that polls still reads such a `d`. A
/// negative response 0x78 is no reply; it only prolongs the wait. Frames that answer nothing are
/// skipped.
///
/// A host may have a request sent again. The document then describes only the last try, and the
/// first `s` of the request lists how each try ended, in an attribute `tries`: "silence, ok". The
/// words are "ok", "silence", "damaged", "unexpected", "doubted" (complete, but sent again), the
/// two digits of a response code, "failed" for what ends a run in any case, and "accepted" for a
/// request that counts as done without its answer. Where a request was sent several times, the next
/// one waits until as many answers have come, or for P2 of silence, and the last complete answer
/// counts.
///
/// A negative response that arrives after the answer of its request is still a failure.
///
/// Threads: used by one thread at a time, that of its bus.
class QUILLMARK_API Runner {
 public:
  /// Asked before each request of a document, and at least every tenth of a second of a wait; true
  /// ends the run, in the midst of a request within a second.
  using StopRequested = std::function<bool()>;
  /// Called after each request of a document that was done, with its service bytes.
  using RequestDone = std::function<void(ByteView request)>;
  /// Decides what follows a try. It may use the runner for other documents.
  using TryDone = std::function<NextMove(const RequestTry& request_try)>;

  /// `bus` must outlive the runner. A plain CAN document does not differ from one for a gateway, so
  /// the form is given here.
  Runner(Bus& bus, TransportForm form, const RunnerTiming& timing = {});
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;
  Runner(Runner&&) = delete;
  Runner& operator=(Runner&&) = delete;
  ~Runner();

  /// Replaces the function that is asked whether to stop; an empty one lets every run go on.
  void OnStopRequested(StopRequested stop_requested);
  /// Replaces the function that is told of requests; an empty one is not called.
  void OnRequestDone(RequestDone request_done);
  /// Replaces the function that decides what follows a try; with an empty one no request is
  /// repeated.
  void OnTryDone(TryDone try_done);

  /// Counts from the next run on.
  void SetTiming(const RunnerTiming& timing) { timing_ = timing; }

  /// Whether P2 of silence passes. A frame that comes is dropped.
  [[nodiscard]] bool IsQuiet() { return !bus_.Receive(timing_.p2); }

  /// Runs a document. Raises Error 13 with a text that says what is wrong, before anything is sent,
  /// for anything but a request document of the runner's form, and for one that has been run
  /// before.
  [[nodiscard]] RunOutcome Run(DOMDocument& document);

 private:
  Bus& bus_;
  TransportForm form_;
  RunnerTiming timing_;
  StopRequested stop_requested_;
  RequestDone request_done_;
  TryDone try_done_;
  std::unique_ptr<LastRequest> last_;
};

}  // namespace quillmark::host
