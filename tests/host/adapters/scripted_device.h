// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "quillmark/host/simulator.h"

namespace quillmark::host::testing {

/// A wait that is used up only when the connection is broken.
inline constexpr std::chrono::milliseconds kPlenty{20'000};

inline std::string TextOf(ByteView bytes) { return {bytes.begin(), bytes.end()}; }
inline Bytes BytesOfText(const std::string& text) { return {text.begin(), text.end()}; }

/// A device behind a real pseudo-terminal that answers as a test says, on a thread of its own.
class ScriptedDevice {
 public:
  /// Gets what the other side wrote, as it came; returns what to write back.
  using Answer = std::function<Bytes(const Bytes& heard)>;

  explicit ScriptedDevice(Answer answer)
      : answer_(std::move(answer)), thread_([this] { Serve(); }) {}
  ScriptedDevice(const ScriptedDevice&) = delete;
  ScriptedDevice& operator=(const ScriptedDevice&) = delete;
  ScriptedDevice(ScriptedDevice&&) = delete;
  ScriptedDevice& operator=(ScriptedDevice&&) = delete;
  ~ScriptedDevice() { Unplug(); }

  [[nodiscard]] const std::string& device() const { return device_; }

  /// Writes something by itself.
  void Say(const Bytes& bytes) const { terminal_->Write(bytes); }

  /// Hangs up.
  void Unplug() {
    stopped_ = true;
    if (thread_.joinable()) {
      thread_.join();
    }
    terminal_.reset();
  }

 private:
  void Serve() const {
    while (!stopped_) {
      const Bytes heard = terminal_->Read(std::chrono::milliseconds(20));
      if (!heard.empty()) {
        terminal_->Write(answer_(heard));
      }
    }
  }

  std::unique_ptr<PseudoTerminal> terminal_ = std::make_unique<PseudoTerminal>();
  std::string device_ = terminal_->device();
  Answer answer_;
  std::atomic<bool> stopped_ = false;
  std::thread thread_;
};

/// What `operation` raises as BusError; empty if it raises nothing.
template <typename Operation>
std::string BusErrorOf(Operation&& operation) {
  try {
    operation();
  } catch (const BusError& error) {
    return error.what();
  }
  return "";
}

}  // namespace quillmark::host::testing
