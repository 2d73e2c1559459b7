// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/programmer/block_readings.h"
#include "host/programmer/progress_reporter.h"
#include "host/programmer/repetition.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/runner.h"

namespace quillmark::host {

/// What a session asks and tells its host; each may be empty.
struct SessionCallbacks {
  const std::function<bool()>& stop_requested;
  const std::function<void(const DocumentRun&)>& on_document;
  const std::function<void(const std::string&)>& on_warning;
};

/// What `check` raises.
[[nodiscard]] std::optional<Error> ErrorOf(const std::function<void()>& check);

/// Runs the documents of one session, repeats requests as far as repetition.h allows, keeps the
/// session alive and closes it. Failures are ProgrammingErrors.
class Dialogue {
 public:
  using Document = std::shared_ptr<DOMDocument>;
  using CheckDocument = std::function<void(const Document&)>;
  /// Tells what follows where the answer to a download block did not come.
  using BlockUnanswered = std::function<NextMove(const RequestTry& request_try)>;

  /// A routine of the ECU: the documents that start it and poll it, and the component's checks.
  struct Routine {
    std::function<Document()> start;
    CheckDocument check_start;
    std::function<Document()> ask;
    std::function<bool(const Document&)> is_finished;
  };

  /// References must outlive the dialogue.
  Dialogue(Platform& platform, std::shared_ptr<DiagOnCANReprog> reprog, Bus& bus,
           const ProgrammerConfig& config, ProgressReporter& progress,
           const SessionCallbacks& callbacks);

  void OnRequestDone(Runner::RequestDone request_done);
  void AskAboutBlocks(BlockUnanswered block_unanswered);

  /// Runs a document and reports it to the host.
  RunOutcome Run(const Document& document);
  /// The same without a report, for one that belongs to another document's request.
  RunOutcome RunAside(const Document& document);
  /// Runs a document and demands that it is complete and passes its check.
  void Exchange(const Document& document, const CheckDocument& check);
  /// The same; but returns how the run ended where that asks for `remedy`.
  [[nodiscard]] std::optional<RunOutcome> ExchangeUnless(Remedy remedy, const Document& document,
                                                         const CheckDocument& check);

  /// Starts a routine and polls it until it is finished.
  void RunRoutine(const Routine& routine);
  /// Whether a start of the last routine was not answered, so that it may have run.
  [[nodiscard]] bool was_perhaps_started() const { return start_was_unanswered_; }

  /// Sends tester present if the last request was so long ago that the session would lapse.
  void KeepAlive();
  /// For a host that has no answer yet.
  void KeepAliveUnlessStopped();

  [[nodiscard]] bool is_open() const { return is_open_; }
  void SetOpen(bool open);
  void Close();
  /// Closes the session after a failure, without waiting long; a further failure is not reported.
  void Abandon() noexcept;

  /// Whether the log record was sent and not answered.
  [[nodiscard]] bool log_record_is_unanswered() const { return log_record_is_unanswered_; }
  /// Reports to the host blocks that were accepted without a correct checksum.
  void WarnOfBelievedBlocks();
  void Warn(const std::string& text) const;

  [[noreturn]] void Fail(Cause cause, const std::string& text) const;

 private:
  enum class State : std::uint8_t { kRunning, kFinished, kRefused };
  struct Asked {
    State state = State::kRunning;
    RunOutcome outcome{};
    std::optional<Error> error{};
  };

  [[nodiscard]] bool StopRequested() const;
  void TellDocument(const Document& document, const RunOutcome* outcome) const;
  void Demand(const RunOutcome& outcome, const std::optional<Error>& error) const;

  [[nodiscard]] NextMove OnTry(const RequestTry& request_try);
  [[nodiscard]] NextMove OnBlockUnanswered(const RequestTry& request_try);
  [[nodiscard]] NextMove Repeat();
  [[nodiscard]] NextMove Accept(RequestKind kind);

  /// Polls a routine once.
  [[nodiscard]] Asked AskFor(const Routine& routine);
  void Poll(const Routine& routine);
  /// After a start that may still arrive at the ECU.
  void AwaitQuiet(const Routine& routine);
  /// Lets time pass and keeps the session alive.
  void Pause(std::chrono::milliseconds time);

  Bus& bus_;
  const ProgrammerConfig& config_;
  ProgressReporter& progress_;
  SessionCallbacks callbacks_;
  std::shared_ptr<DiagOnCANReprog> reprog_;
  Runner runner_;
  BlockReadings readings_;
  BlockUnanswered block_unanswered_;
  bool is_open_ = false;
  bool is_closing_ = false;
  bool is_abandoned_ = false;
  Duration last_request_{};
  /// Of the request that is being run: repetitions other than for a busy ECU.
  int repetitions_ = 0;
  /// What is to be done about the request that ended the last run.
  Remedy remedy_ = Remedy::kNone;
  bool was_pending_ = false;
  bool is_restart_ = false;
  bool start_was_unanswered_ = false;
  bool log_record_is_unanswered_ = false;
};

}  // namespace quillmark::host
