// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "host/programmer/programmer.h"
#include "host/programmer/progress_reporter.h"
#include "host/runner/runner.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"

namespace quillmark::host {

/// What a session asks and reports to its host; each may be empty.
struct SessionCallbacks {
  const std::function<bool()>& stop_requested;
  const std::function<void(const DocumentRun&)>& on_document;
};

/// One session with the ECU, phase by phase, on one component object. Every phase raises
/// ProgrammingError; errors of the component's request methods pass through as Error.
///
/// A session that is still open when it is destroyed is closed, if the ECU answers.
class Session {
 public:
  /// References must outlive the session.
  Session(std::shared_ptr<Platform> platform, std::shared_ptr<DiagOnCANReprog> reprog, Bus& bus,
          const ProgrammerConfig& config, ProgressReporter& progress,
          const SessionCallbacks& callbacks);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  Session(Session&&) = delete;
  Session& operator=(Session&&) = delete;
  ~Session();

  /// Opens the session; in gateway form the component's sequence also closes it again.
  [[nodiscard]] Identification Identify();
  /// Asks until there is an answer, and fails if it is no (`Cause::kCancelled`).
  void AwaitConfirmation(const std::function<Programmer::Answer()>& confirm);
  void Unlock();
  void Erase();
  /// `size` is the number of bytes of the image. Returns how many of them were sent.
  std::uint64_t Download(const std::shared_ptr<MemoryImage>& image, std::uint64_t size);
  void Check();
  /// `size` is the number of bytes of the ranges; `phase` is what it is for.
  [[nodiscard]] std::shared_ptr<MemoryImage> Upload(const std::shared_ptr<MemoryMap>& map,
                                                    std::uint64_t size, Phase phase);
  /// Nothing if the configuration has no log record.
  void WriteLogZone();
  void Close();

 private:
  using Document = std::shared_ptr<DOMDocument>;
  using CheckDocument = std::function<void(const Document&)>;

  [[nodiscard]] bool StopRequested() const;
  void SetOpen(bool open);
  void StopCommunication();
  /// Sends tester present if the last request is so long ago that the session might lapse.
  void KeepAlive();
  /// For a host that has no answer yet.
  void KeepAliveUnlessStopped();
  /// Lets time pass and keeps the session alive.
  void Pause(std::chrono::milliseconds time);
  RunOutcome Run(const Document& document);
  void TellDocument(const Document& document, const RunOutcome* outcome) const;
  /// Runs a document and requires that it is complete and passes its check.
  void Exchange(const Document& document, const CheckDocument& check);
  /// Asks until `is_finished` says so of a document's reply.
  void Poll(const std::function<Document()>& request,
            const std::function<bool(const Document&)>& is_finished);
  class PieceReceiver;
  /// Waits for a worker's next document and keeps the session alive.
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> NextPiece(PieceReceiver& receiver);
  /// Runs the documents of a worker that `start` starts; `size` is what they must add up to.
  void Stream(const std::function<void()>& start, const CheckDocument& check, std::uint64_t size);
  [[nodiscard]] std::int32_t RunPiece(const std::shared_ptr<IXMLDOMNode>& piece,
                                      const CheckDocument& check);
  void OnRequestDone(ByteView request);
  /// Asks for a key until there is one.
  [[nodiscard]] Bytes KeyOf(const Bytes& seed);
  [[nodiscard]] std::optional<Bytes> AskForKey(const Bytes& seed) const;
  [[nodiscard]] std::shared_ptr<ByteString> ByteStringOf(const Bytes& bytes) const;
  [[noreturn]] void Fail(Cause cause, const std::string& text) const;

  std::shared_ptr<Platform> platform_;
  Bus& bus_;
  const ProgrammerConfig& config_;
  ProgressReporter& progress_;
  SessionCallbacks callbacks_;
  Runner runner_;
  std::shared_ptr<DiagOnCANReprog> reprog_;
  bool open_ = false;
  bool closing_ = false;
  Duration last_request_{};
  /// Of the running transfer: bytes of the finished documents, and bytes sent or received.
  std::uint64_t covered_ = 0;
  std::uint64_t moved_ = 0;
};

}  // namespace quillmark::host
