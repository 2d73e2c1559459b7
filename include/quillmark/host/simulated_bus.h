// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// How fast the wires are, in bits per second; neither may be 0.
struct WireSpeed {
  std::uint32_t can_bit_rate = 500'000;  ///< of the CAN bus
  std::uint32_t k_line_baud = 10'400;    ///< of the K line
};

/// The time that a frame of `size` bytes occupies the wire of its exchange, rounded up. Raises
/// std::invalid_argument for a speed of 0.
///
/// CAN frames count with the largest possible number of stuff bits and with the gap that follows
/// them; a gateway's frames have 11-bit identifiers. A byte on a K line takes 10 bits.
[[nodiscard]] QUILLMARK_API Duration WireTime(const Exchange& exchange, std::size_t size,
                                              const WireSpeed& speed);

/// What sits at the other end of a simulated wire. It has no clock of its own: it is given the
/// time.
class QUILLMARK_API SimulatedNode {
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
  /// When the node's next frame is ready; nothing if it has none to send.
  [[nodiscard]] virtual std::optional<Duration> NextDue() const = 0;
  /// Returns the frame that `NextDue` announced, once its time has come.
  virtual Bytes TakeFrame(Duration now) = 0;
};

/// A frame on its way.
struct FrameOnWire {
  /// Who sent it. A fault injector cannot change it.
  Direction direction = Direction::kToEcu;
  /// When its last bit arrives.
  Duration at{};
  /// Of a CAN frame 1 to 8 bytes, of a K line a whole message.
  Bytes data{};
};

/// A wire between a tester and a simulated node. Every frame occupies it for its time at the chosen
/// speed. The owner advances the clock of the wire: a simulated bus as fast as it can compute, a
/// simulator in a process of its own in real time.
class QUILLMARK_API SimulatedWire {
 public:
  /// Sees every frame as it arrives at its receiver.
  using Observer = std::function<void(const Exchange&, const FrameOnWire&)>;

  /// Decides what becomes of a frame on the wire: returning no frame loses it, two frames double
  /// it, other bytes damage it, and a later `at` delays it, so that another one may overtake it.
  /// Raising BusError removes the tester's adapter; it passes through the wire.
  using FaultInjector = std::function<std::vector<FrameOnWire>(const FrameOnWire&)>;

  /// `node` must outlive the wire. Raises std::invalid_argument for a speed of 0.
  SimulatedWire(SimulatedNode& node, const WireSpeed& speed);

  /// Replaces the observer; an empty one sees nothing.
  void OnFrame(Observer observer) { observer_ = std::move(observer); }
  /// Replaces the injector; with an empty one every frame arrives.
  void InjectFaults(FaultInjector injector) { injector_ = std::move(injector); }

  /// Makes `exchange` the one that all following frames belong to.
  void Select(const Exchange& exchange) { exchange_ = exchange; }
  /// The one that was selected last.
  [[nodiscard]] const Exchange& exchange() const { return exchange_; }

  /// The tester sends a frame as soon as the wire is free. Returns when its last bit will arrive.
  Duration Send(ByteView frame);
  /// The same for a frame whose last bit is known to arrive at `end`.
  void SendEndingAt(ByteView frame, Duration end);
  /// The tester has held the line low for `low`, until now.
  void Break(Duration low) { node_.OnBreak(low, clock_); }

  /// When something happens next; nothing if all is quiet.
  [[nodiscard]] std::optional<Duration> NextEvent() const;
  /// When the next frame arrives at the tester, as far as that is known; nothing if none is to
  /// come. A frame that the node has not sent yet counts as a full CAN frame, or as one byte of a K
  /// line; nobody knows whether it will be one. For a clock in real time, which so wakes up only
  /// when the tester has something to read: to learn what the node will answer, a frame that
  /// nothing can overtake is handed to it at once, with the time of its arrival.
  [[nodiscard]] std::optional<Duration> NextArrival();
  /// Processes everything that happens until `time`.
  void AdvanceTo(Duration time);
  /// The time of the wire, which begins at 0.
  [[nodiscard]] Duration Now() const { return clock_; }

  /// The next frame that arrived at the tester; nothing if none is left.
  [[nodiscard]] std::optional<Bytes> TakeReceived();

 private:
  void Transmit(Direction direction, Bytes data);
  void PutOnWire(FrameOnWire frame);
  [[nodiscard]] bool NothingComesBefore(const FrameOnWire& frame) const;
  void RunEvent(Duration at);
  void Arrive(const FrameOnWire& frame);

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

/// Faults on a simulated wire, by the number of a frame. Frames are counted from 1, in both
/// directions, as they are put on the wire.
struct WireFaults {
  /// This frame is lost.
  std::optional<std::uint64_t> lost_frame{};
  /// Every frame whose number is a multiple of this is lost; at least 1.
  std::optional<std::uint64_t> lost_every{};
  /// All bits of the middle byte of this frame are inverted.
  std::optional<std::uint64_t> flipped_frame{};
  /// From this frame on nothing arrives: the ECU has stopped.
  std::optional<std::uint64_t> silent_from{};
  /// When this frame is put on the wire, the tester's adapter disappears.
  std::optional<std::uint64_t> unplugged_at{};
};

/// Injects these faults into a wire. Raises std::invalid_argument for a `lost_every` of 0.
[[nodiscard]] QUILLMARK_API SimulatedWire::FaultInjector InjectorOf(const WireFaults& faults);

/// A bus in simulated time: a run takes only the time to compute it. A rate derived from `Now` is
/// what a real wire could carry.
class QUILLMARK_API SimulatedBus : public Bus {
 public:
  using Observer = SimulatedWire::Observer;            ///< sees every frame
  using FaultInjector = SimulatedWire::FaultInjector;  ///< decides what becomes of a frame

  /// `node` must outlive the bus. Raises std::invalid_argument for a speed of 0.
  explicit SimulatedBus(SimulatedNode& node, const WireSpeed& speed = {}) : wire_(node, speed) {}

  /// As `SimulatedWire::OnFrame`.
  void OnFrame(Observer observer) { wire_.OnFrame(std::move(observer)); }
  /// As `SimulatedWire::InjectFaults`; a BusError of the injector comes out of the call in
  /// progress.
  void InjectFaults(FaultInjector injector) { wire_.InjectFaults(std::move(injector)); }

  void Select(const Exchange& exchange) override { wire_.Select(exchange); }
  void Send(ByteView frame) override { wire_.AdvanceTo(wire_.Send(frame)); }
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override { wire_.AdvanceTo(Now() + time); }
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] Duration Now() const override { return wire_.Now(); }

 private:
  SimulatedWire wire_;
};

}  // namespace quillmark::host
