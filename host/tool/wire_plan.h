// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "host/bus/bus.h"
#include "host/bus/wire_time.h"
#include "host/services/description.h"
#include "quillmark/dom.h"

namespace quillmark::host {

/// What the documents of a download will put on the wire.
class WirePlan {
 public:
  WirePlan(TransportForm form, const WireSpeed& speed) : form_(form), speed_(speed) {}

  /// Adds a document that has not been run. Raises Error 13 if it is not a request document.
  void Add(const DOMDocument& document);

  /// Download requests, and the data bytes in them.
  [[nodiscard]] std::uint64_t blocks() const { return memory_.size(); }
  [[nodiscard]] std::uint64_t data_bytes() const { return data_bytes_; }
  /// Where these requests go, in their order.
  [[nodiscard]] const std::vector<AddressedBytes>& memory() const { return memory_; }
  /// Of all frames both ways and of all waits; the ECU's own time comes on top.
  [[nodiscard]] Duration wire_time() const { return wire_time_; }

 private:
  void AddRequest(ByteView request);

  TransportForm form_;
  WireSpeed speed_;
  std::vector<AddressedBytes> memory_;
  std::uint64_t data_bytes_ = 0;
  Duration wire_time_{};
};

}  // namespace quillmark::host
