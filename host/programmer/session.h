// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "host/programmer/dialogue.h"
#include "host/programmer/progress_reporter.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/transfer.h"

namespace quillmark::host {

/// Gives an object what the configuration says of the way to the ECU: `CANIDs` and `FlowControl`.
void Configure(DiagOnCANReprog& reprog, const ProgrammerConfig& config);

/// One session with the ECU, phase by phase, on one component object. Every phase raises
/// ProgrammingError; errors of the component's request methods pass through as Error.
///
/// A session that is still open when it is destroyed is closed as far as the ECU answers.
class Session {
 public:
  /// References must outlive the session.
  Session(std::shared_ptr<Platform> platform, const ComponentFactory& create_component, Bus& bus,
          const ProgrammerConfig& config, ProgressReporter& progress,
          const SessionCallbacks& callbacks);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  Session(Session&&) = delete;
  Session& operator=(Session&&) = delete;
  ~Session();

  /// Opens the session; in gateway form the component's sequence also closes it again.
  [[nodiscard]] Identification Identify();
  /// Asks for an answer until there is one, and fails where it is no (`Cause::kCancelled`).
  void AwaitConfirmation(const std::function<Programmer::Answer()>& confirm);
  /// Sends one key, and a second one only where the first was not answered.
  void Unlock();
  /// Between the key and the erase: opens the session anew and unlocks the ECU again. False, and
  /// nothing was sent, where `failure` is none that this may mend, or both keys are spent.
  [[nodiscard]] bool BeginAnew(const Failure& failure);
  void Erase();
  /// `size` is the number of bytes of the image. Returns how many of them were sent.
  std::uint64_t Download(const std::shared_ptr<MemoryImage>& image, std::uint64_t size);
  void Check();
  /// `size` is the number of bytes of the ranges; `phase` is what it is for.
  [[nodiscard]] std::shared_ptr<MemoryImage> Upload(const std::shared_ptr<MemoryMap>& map,
                                                    std::uint64_t size, Phase phase);
  /// Nothing where the configuration has no log record. False where its answer did not come, so
  /// that it perhaps is not written.
  [[nodiscard]] bool WriteLogZone();
  void Close();

 private:
  using Document = Dialogue::Document;
  /// What memory holds, or why that is not known.
  struct Reading {
    Bytes bytes{};
    bool was_refused = false;
  };

  /// A component object that is configured for the ECU.
  [[nodiscard]] std::shared_ptr<DiagOnCANReprog> MakeReprog() const;

  [[nodiscard]] Bytes ReadSeed();
  /// Nothing where the key was accepted; how the exchange ended where it was not answered.
  [[nodiscard]] std::optional<RunOutcome> SendKey(const Bytes& seed);
  /// Asks for a key until there is one.
  [[nodiscard]] Bytes KeyOf(const Bytes& seed);
  [[nodiscard]] std::optional<Bytes> AskForKey(const Bytes& seed) const;

  /// Sends an image with few enough segments for the component.
  void DownloadPart(std::shared_ptr<MemoryImage> part);
  /// Waits for the next document and keeps the session alive; null after the last.
  [[nodiscard]] Document NextDocument(Transfer& transfer);
  /// Runs the documents of a transfer. How a document ended where the ECU asks for another flow
  /// control.
  [[nodiscard]] std::optional<RunOutcome> Stream(Transfer transfer,
                                                 const Dialogue::CheckDocument& check);
  /// Takes over the flow control that the ECU asks for; returns what of `image` is still to be
  /// sent.
  [[nodiscard]] std::shared_ptr<MemoryImage> AdaptTo(const RunOutcome& outcome,
                                                     const MemoryImage& image);
  /// A block was sent whole and not answered: reads back what became of it.
  [[nodiscard]] NextMove AfterUnansweredBlock(ByteView request);
  [[nodiscard]] Reading ReadBack(std::int32_t address, std::int32_t count);
  void OnRequestDone(ByteView request);
  [[nodiscard]] std::shared_ptr<ByteString> ByteStringOf(const Bytes& bytes) const;

  std::shared_ptr<Platform> platform_;
  const ComponentFactory& create_component_;
  const ProgrammerConfig& config_;
  ProgressReporter& progress_;
  std::int32_t block_size_;
  std::int32_t separation_time_;
  std::shared_ptr<DiagOnCANReprog> reprog_;
  Dialogue dialogue_;
  bool has_adapted_ = false;
  int keys_ = 0;
  /// Of the running transfer: bytes of the documents that are done, and bytes sent or received.
  std::uint64_t covered_ = 0;
  std::uint64_t moved_ = 0;
};

}  // namespace quillmark::host
