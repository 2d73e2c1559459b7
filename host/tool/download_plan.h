// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "host/image/image_file.h"
#include "host/tool/link_options.h"
#include "host/tool/transfer_options.h"
#include "host/tool/wire_plan.h"

namespace quillmark::host {

/// What a download would send.
struct DownloadPlan {
  std::uint64_t image_bytes = 0;
  std::uint64_t documents = 0;
  WirePlan wire;

  [[nodiscard]] std::uint64_t fill_bytes() const { return image_bytes - wire.data_bytes(); }
};

/// Computes a download without a bus. Writes its documents as download-0001.xml and on into
/// `folder`, which exists; if it is empty, writes nothing. Raises ToolError.
[[nodiscard]] DownloadPlan PlanDownload(const TransferOptions& transfer, const LinkOptions& link,
                                        const ImageSegments& segments, const std::string& folder);

/// The bit rate of the form's wire.
[[nodiscard]] std::uint32_t BitRateOf(const LinkOptions& link);

/// Raises ToolError (cannot create).
void CreateFolder(const std::string& folder);

}  // namespace quillmark::host
