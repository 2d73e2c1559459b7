// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/image_file.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {

/// What a download would send.
struct DownloadPlan {
  std::uint64_t image_bytes = 0;  ///< the bytes of the image, including fill
  std::uint64_t documents = 0;    ///< the documents that a runner would run
  /// Where its requests go, in their order, and the data bytes in them.
  std::vector<AddressRange> blocks{};
  /// The data bytes of all requests together.
  std::uint64_t sent_bytes = 0;
  /// Of all frames both ways and of all waits; the ECU's own time comes on top.
  Duration wire_time{};

  /// The bytes of the image that are left out.
  [[nodiscard]] std::uint64_t fill_bytes() const { return image_bytes - sent_bytes; }
};

/// What a plan tells while it is computed. Exceptions end the plan and pass through.
struct PlanCallbacks {
  /// Called with each document and its number, counted from 1.
  std::function<void(const DOMDocument& document, std::uint64_t number)> on_document{};
  /// Asked at least every tenth of a second; true ends the plan.
  std::function<bool()> stop_requested{};
};

/// Computes a download without a bus; nothing where it was stopped. Of `config`, it uses what says
/// how the ECU is reached, and how the image is cut. Raises the errors of `ComputeDownload`, and
/// std::invalid_argument for a speed of 0.
[[nodiscard]] QUILLMARK_API std::optional<DownloadPlan> PlanDownload(
    const ProgrammerConfig& config, const WireSpeed& speed, const ImageSegments& segments,
    const PlanCallbacks& callbacks = {});

}  // namespace quillmark::host
