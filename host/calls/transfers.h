// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "host/calls/call_table.h"

namespace quillmark::host {

/// Each starts a transfer, waits until its worker has ended, and returns the list of what its
/// events carried.
void RunComputeDownload(const CallContext& context, Arguments& arguments,
                        std::optional<Json>& result);
void RunComputeUpload(const CallContext& context, Arguments& arguments,
                      std::optional<Json>& result);

}  // namespace quillmark::host
