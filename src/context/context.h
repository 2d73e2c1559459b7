// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/guards.h"
#include "base/hex.h"
#include "context/addressing.h"
#include "context/request_template.h"
#include "quillmark/platform.h"

namespace quillmark {

/// The ISO 15765-2 flow control that multi-frame requests expect from the ECU.
struct FlowControlSettings {
  std::int32_t block_size = 1;       ///< consecutive frames between two flow-control frames
  std::int32_t separation_time = 0;  ///< milliseconds; 0: no wait elements
  Bytes prefix = {0x30, 0x01};       ///< what a flow-control frame must begin with
};

inline constexpr std::size_t kCANFrameSize = 8;
using CANFrame = std::array<std::uint8_t, kCANFrameSize>;

/// The frames in which plain CAN requests are built. They live as long as the configuration: D4.
struct FrameBuffers {
  CANFrame frame{};
  CANFrame consecutive{};
};

/// The reprogramming context: how to reach one ECU, and the document from which every request
/// document is copied. Knows the three transport forms and no service.
///
/// Used by one thread at a time. A failing call changes nothing.
class Context {
 public:
  /// Raises 91 without a platform.
  explicit Context(std::shared_ptr<Platform> platform);

  /// From now on documents are free-threaded; takes effect at the next `CANIDs`.
  void SetFreeThreaded() { free_threaded_ = true; }

  void CANIDs(std::int32_t RCANId, std::int32_t XCANId);
  void FlowControl(std::int32_t BS, std::int32_t STMin);

  [[nodiscard]] Platform& GetPlatform() const { return *platform_; }
  [[nodiscard]] const Addressing& GetAddressing() const { return addressing_; }
  [[nodiscard]] TransportForm Form() const { return addressing_.Form(); }
  [[nodiscard]] const FlowControlSettings& GetFlowControl() const { return flow_control_; }

  /// Raises 91 before `CANIDs`.
  [[nodiscard]] DOMDocument& RequestTemplate() const { return Require(request_template_); }

  /// The arguments with which a worker replays this object's last `CANIDs`.
  struct Identifiers {
    std::int32_t receive;
    std::int32_t send;
  };
  /// Raises 91 before `CANIDs`.
  [[nodiscard]] Identifiers ConfiguredIdentifiers() const;

  [[nodiscard]] const FrameBuffers& Buffers() const { return buffers_; }
  void KeepBuffers(const FrameBuffers& buffers) noexcept { buffers_ = buffers; }

 private:
  std::shared_ptr<Platform> platform_;
  bool free_threaded_ = false;
  Addressing addressing_;
  std::optional<Identifiers> identifiers_;
  FlowControlSettings flow_control_;
  std::shared_ptr<DOMDocument> request_template_;
  FrameBuffers buffers_;
};

}  // namespace quillmark
