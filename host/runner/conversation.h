// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/runner/message_reader.h"
#include "host/runner/reply_reader.h"
#include "host/runner/request_document.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/runner.h"

namespace quillmark::host {

/// The request that was sent last.
struct LastRequest {
  Bytes bytes{};
  /// Answers to it that may still come, since it was sent more often than it was answered.
  int answers_left = 0;
};

/// Why a try of a request did not get to its end.
struct TryEnd {
  RunStatus status = RunStatus::kComplete;
  std::string reason{};
  /// What came instead of the expected frame; empty where nothing came.
  Bytes frame{};
  std::optional<FlowControl> flow_control{};
};

/// Sends and receives the frames of one document's steps, with all the waiting that the protocols
/// demand, and separates what belongs to an answer from what does not.
class Conversation {
 public:
  /// All must outlive the conversation.
  Conversation(Bus& bus, TransportForm form, const RunnerTiming& timing,
               const Runner::StopRequested& stop_requested, LastRequest& last)
      : bus_(bus),
        form_(form),
        timing_(timing),
        stop_requested_(stop_requested),
        last_(last),
        requests_(form),
        reply_(form, requests_) {}

  /// Forgets the previous try. `number` counts the tries of a request from 1.
  void BeginTry(int number);
  /// The same for another answer to the request that was sent.
  void BeginAnswer();

  /// Executes a step. False if the try ends with it; `end` then says why.
  [[nodiscard]] bool Execute(const Step& step);

  [[nodiscard]] const RequestReader& requests() const { return requests_; }
  [[nodiscard]] const TryEnd& end() const { return end_; }
  /// The text of the frame that the last `kReceive` step took.
  [[nodiscard]] std::string& received() { return received_; }
  /// The service bytes of the answer: of all its frames, or of the unexpected one.
  [[nodiscard]] Bytes Answer() const;
  [[nodiscard]] bool was_pending() const { return was_pending_; }
  /// Whether the bus doubts that a frame of this try was sent correctly.
  [[nodiscard]] bool is_doubtful() const { return !doubt_.empty(); }
  [[nodiscard]] std::uint32_t passed_over() const { return passed_over_; }

 private:
  /// How long the wait for one frame goes on.
  struct Patience {
    Duration until;
    std::chrono::milliseconds timeout;
    int pending = 0;
    int waits = 0;
    Duration pending_until;
    Bytes pending_frame{};
  };

  [[nodiscard]] bool Send(const Step& step);
  [[nodiscard]] bool Receive(const Step& step);
  /// Whether to continue waiting after a frame with this role; false ends the try.
  [[nodiscard]] bool OnOtherFrame(const Step& step, Bytes frame, FrameRole role,
                                  Patience& patience);
  [[nodiscard]] bool OnPending(const Step& step, Bytes frame, Patience& patience);
  [[nodiscard]] bool OnWait(const Step& step, Bytes frame, Patience& patience);
  [[nodiscard]] bool OnEarlyRefusal(const Step& step, Bytes frame);
  /// Counts a frame that answers nothing; ends the try where it refuses the request before.
  [[nodiscard]] bool PassOver(Bytes frame);
  /// The next frame; nothing when the time is up, or a second after the host asked to stop.
  [[nodiscard]] std::optional<Bytes> NextFrame(Duration until);
  void NoticeStop();
  /// Looks at what arrived before a frame is sent that it cannot answer.
  [[nodiscard]] bool LookAtWhatArrived(const Step& step);
  [[nodiscard]] bool RefusesLastRequest(ByteView frame);
  void KeepSeparationTime();
  void AwaitQuietLine();

  [[nodiscard]] bool EndInSilence(const Step& step, Patience& patience);
  [[nodiscard]] bool End(RunStatus status, std::string reason, Bytes frame = {});

  Bus& bus_;
  TransportForm form_;
  const RunnerTiming& timing_;
  const Runner::StopRequested& stop_requested_;
  LastRequest& last_;
  RequestReader requests_;
  ReplyReader reply_;
  TryEnd end_;
  std::string received_;
  int try_number_ = 1;
  bool was_pending_ = false;
  /// Between a frame of the ECU and the next one of the tester: what arrives now answers nothing.
  bool turn_is_ours_ = true;
  /// What the bus reports about a frame that may not have been sent correctly.
  std::string doubt_;
  /// What came instead of the awaited frame and was not sound, and what is wrong with it.
  Bytes suspect_;
  std::string damage_;
  std::uint32_t passed_over_ = 0;
  Bytes last_passed_over_;
  /// Plain CAN: what the ECU asked for last, and when the last consecutive frame was sent.
  std::uint8_t separation_time_ = 0;
  Duration last_consecutive_{};
  std::optional<Duration> stop_by_;
};

}  // namespace quillmark::host
