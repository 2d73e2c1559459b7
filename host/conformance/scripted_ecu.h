// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A frame of the ECU, and how long after the tester's frame it arrives.
struct ScriptedReply {
  std::chrono::milliseconds after{};
  Bytes frame{};
};

/// What the ECU does when the tester sends it `frame`.
struct Turn {
  Bytes frame{};
  std::vector<ScriptedReply> replies{};
};

/// Something that the tester did, or got.
struct BusEvent {
  enum class Kind : std::uint8_t { kSent, kReceived, kBreak };
  Kind kind = Kind::kSent;
  /// When it was over.
  Duration at{};
  Bytes frame{};
  /// `kSent`: with whom, nothing before the first `Select`.
  std::optional<Exchange> exchange{};
  /// `kBreak`: how long the line was low.
  std::chrono::milliseconds low{};
};

/// A bus in simulated time with an ECU that follows a script: turn by turn, it waits for a frame
/// and sends replies. A frame that is not the one of the next turn is recorded and not answered, so
/// that what a runner sends beyond its document changes nothing for the rest.
///
/// Frames take no time on this bus; a look at what has arrived takes 1 ms, so that a runner that
/// looks again and again sees time pass.
class ScriptedEcu : public Bus {
 public:
  /// `arrived` is there before the tester does anything. After `most_time` the bus fails.
  ScriptedEcu(std::vector<Turn> script, std::vector<Bytes> arrived,
              std::chrono::milliseconds most_time);

  void Select(const Exchange& exchange) override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override;
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] Duration Now() const override { return now_; }

  [[nodiscard]] const std::vector<BusEvent>& events() const { return events_; }
  /// Whether the bus has failed because the run did not end.
  [[nodiscard]] bool has_run_out() const { return has_run_out_; }
  /// How many turns were taken.
  [[nodiscard]] std::size_t turns() const { return next_; }

 private:
  void CountCall();

  std::vector<Turn> script_;
  std::size_t next_ = 0;
  std::multimap<Duration, Bytes> in_flight_;
  std::optional<Exchange> exchange_;
  std::vector<BusEvent> events_;
  Duration now_;
  Duration end_;
  std::size_t calls_ = 0;
  bool has_run_out_ = false;
};

}  // namespace quillmark::host
