// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A bus that hands out prepared frames and records what is done with it, a line each.
class ScriptedBus : public Bus {
 public:
  void Select(const Exchange& exchange) override {
    log.push_back("select " + std::to_string(exchange.receive) + " " +
                  std::to_string(exchange.send));
  }
  void Send(ByteView frame) override {
    if (fails_to_send) {
      throw BusError("the adapter is gone");
    }
    log.push_back("send " + HexOf(frame));
    now_ += std::chrono::milliseconds(1);
    if (!doubts.empty()) {
      throw DoubtfulFrame(doubts);
    }
  }
  std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    log.push_back("receive " + std::to_string(timeout.count()));
    const bool only_what_has_arrived = timeout.count() == 0;
    if (only_what_has_arrived) {
      return Next(arrived);
    }
    const auto pause = std::find(pauses_after.begin(), pauses_after.end(), given_);
    if (frames.empty() || pause != pauses_after.end()) {
      if (pause != pauses_after.end()) {
        pauses_after.erase(pause);
      }
      now_ += timeout;
      return std::nullopt;
    }
    now_ += answer_time;
    ++given_;
    for (const auto& [number, frame] : after) {
      if (number == given_) {
        arrived.push_back(frame);
      }
    }
    return Next(frames);
  }
  void Wait(std::chrono::milliseconds time) override {
    log.push_back("wait " + std::to_string(time.count()));
    now_ += time;
  }
  void Break(std::chrono::milliseconds low) override {
    log.push_back("break " + std::to_string(low.count()));
    now_ += low;
  }
  [[nodiscard]] Duration Now() const override { return now_; }

  /// What comes to a tester that waits for it, and what has arrived before a frame is sent.
  std::deque<std::string> frames;
  std::deque<std::string> arrived;
  /// Frames that arrive, unawaited, right after so many were given.
  std::vector<std::pair<int, std::string>> after;
  /// After so many frames there is silence once.
  std::vector<int> pauses_after;
  /// What the bus says of every frame that it sends; empty where it is sure.
  std::string doubts;
  std::vector<std::string> log;
  bool fails_to_send = false;
  std::chrono::milliseconds answer_time{10};

 private:
  static std::optional<Bytes> Next(std::deque<std::string>& frames) {
    if (frames.empty()) {
      return std::nullopt;
    }
    const Bytes frame = BytesOfHex(frames.front()).value();
    frames.pop_front();
    return frame;
  }

  int given_ = 0;
  Duration now_{std::chrono::seconds(100)};
};

}  // namespace quillmark::host
