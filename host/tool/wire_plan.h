// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/bus/bus.h"
#include "host/bus/wire_time.h"
#include "host/runner/message_reader.h"
#include "host/services/description.h"
#include "quillmark/dom.h"

namespace quillmark::host {

/// What the documents of a download will put on the wire.
class WirePlan {
 public:
  WirePlan(const Exchange& exchange, const WireSpeed& speed) : exchange_(exchange), speed_(speed) {}

  /// Adds a document of the component that has not been run. Raises Error 13 if it has no steps.
  void Add(const DOMDocument& document);

  /// Download requests, and the data bytes in them.
  [[nodiscard]] std::uint64_t blocks() const { return memory_.size(); }
  [[nodiscard]] std::uint64_t data_bytes() const { return data_bytes_; }
  /// Where these requests go, in their order.
  [[nodiscard]] const std::vector<AddressedBytes>& memory() const { return memory_; }
  /// Of all frames both ways and of all waits; the ECU's own time comes on top.
  [[nodiscard]] Duration wire_time() const { return wire_time_; }

 private:
  void AddSent(ByteView frame, RequestReader& reader);
  void AddPauses(const IXMLDOMNode& steps, std::string_view name);
  void AddRequest(ByteView request);

  Exchange exchange_;
  WireSpeed speed_;
  std::vector<AddressedBytes> memory_;
  std::uint64_t data_bytes_ = 0;
  Duration wire_time_{};
};

}  // namespace quillmark::host
