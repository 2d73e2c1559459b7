#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "host/bus/bus.h"
#include "host/bus/wire_time.h"

namespace quillmark::host {

/// What sits at the other end of a simulated wire. It has no clock of its own: it is told the time.
class SimulatedNode {
 public:
  SimulatedNode() = default;
  SimulatedNode(const SimulatedNode&) = delete;
  SimulatedNode& operator=(const SimulatedNode&) = delete;
  SimulatedNode(SimulatedNode&&) = delete;
  SimulatedNode& operator=(SimulatedNode&&) = delete;
  virtual ~SimulatedNode() = default;

  /// Whether frames of this exchange reach the node.
  [[nodiscard]] virtual bool Hears(const Exchange& exchange) const = 0;
  /// A frame has arrived, at `now`.
  virtual void OnFrame(ByteView frame, Duration now) = 0;
  /// A K line break of length `low` has ended, at `now`.
  virtual void OnBreak(Duration low, Duration now) = 0;
  /// When the node's next frame is ready; nothing where it has none to send.
  [[nodiscard]] virtual std::optional<Duration> NextDue() const = 0;
  /// Hands over the frame that `NextDue` announced, once its time has come.
  virtual Bytes TakeFrame(Duration now) = 0;
};

/// A frame on its way.
struct FrameOnWire {
  Direction direction = Direction::kToEcu;
  /// When its last bit arrives.
  Duration at{};
  Bytes data;
};

/// A bus in simulated time: a run takes as long as it takes to compute. Every frame occupies the
/// wire for its time at the chosen speed, so a rate read off `Now` is what a real wire could carry.
class SimulatedBus : public Bus {
 public:
  /// Sees every frame as it arrives at its receiver.
  using Observer = std::function<void(const Exchange&, const FrameOnWire&)>;

  /// Decides what becomes of a frame on the wire: no frame loses it, two double it, other bytes
  /// damage it, a later `at` delays it (and may let another one overtake it).
  using FaultInjector = std::function<std::vector<FrameOnWire>(const FrameOnWire&)>;

  /// `node` must outlive the bus. Raises std::invalid_argument for a speed of 0.
  explicit SimulatedBus(SimulatedNode& node, const WireSpeed& speed = {});

  void OnFrame(Observer observer) { observer_ = std::move(observer); }
  void InjectFaults(FaultInjector injector) { injector_ = std::move(injector); }

  void Select(const Exchange& exchange) override;
  void DiscardReceived() override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override;
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] Duration Now() const override { return clock_; }

 private:
  void Transmit(Direction direction, Bytes data);
  [[nodiscard]] std::optional<Duration> NextEvent() const;
  void RunEvent(Duration at);
  void Arrive(const FrameOnWire& frame);
  void AdvanceTo(Duration time);

  SimulatedNode& node_;
  WireSpeed speed_;
  Observer observer_;
  FaultInjector injector_;
  Exchange exchange_;
  Duration clock_{};
  Duration wire_free_at_{};
  std::multimap<Duration, FrameOnWire> in_flight_;
  std::deque<Bytes> received_;
};

}  // namespace quillmark::host
