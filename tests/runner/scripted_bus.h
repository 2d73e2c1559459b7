// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "host/bus/bus.h"

namespace quillmark::host {

/// A bus that hands out prepared frames and records what is done with it, a line each.
class ScriptedBus : public Bus {
 public:
  void Select(const Exchange& exchange) override {
    log.push_back("select " + std::to_string(exchange.receive) + " " +
                  std::to_string(exchange.send));
  }
  void DiscardReceived() override { log.emplace_back("discard"); }
  void Send(ByteView frame) override {
    if (fails_to_send) {
      throw BusError("the adapter is gone");
    }
    log.push_back("send " + HexOf(frame));
    now_ += std::chrono::milliseconds(1);
  }
  std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    log.push_back("receive " + std::to_string(timeout.count()));
    if (frames.empty()) {
      now_ += timeout;
      return std::nullopt;
    }
    now_ += answer_time;
    const Bytes frame = BytesOfHex(frames.front()).value();
    frames.pop_front();
    return frame;
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

  std::deque<std::string> frames;
  std::vector<std::string> log;
  bool fails_to_send = false;
  std::chrono::milliseconds answer_time{10};

 private:
  Duration now_{std::chrono::seconds(100)};
};

}  // namespace quillmark::host
