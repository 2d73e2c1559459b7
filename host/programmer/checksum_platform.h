// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "quillmark/host/bytes.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// A portable platform of its own whose checksum calculators, those of its workers too, use
/// `checksum`.
[[nodiscard]] std::shared_ptr<Platform> CreateChecksumPlatform(BlockChecksum checksum);

}  // namespace quillmark::host
