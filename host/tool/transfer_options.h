// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "host/image/image_file.h"
#include "host/tool/link_options.h"
#include "quillmark/memory_image.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// Which image goes where, and how it is cut.
struct TransferOptions {
  std::string file;
  std::optional<std::uint32_t> base;
  std::uint8_t memory = 0;
  std::uint8_t fill = 0xFF;
  std::int32_t alignment = 16;
  std::int32_t block = 128;
};

void AddTransferOptions(CLI::App& app, TransferOptions& options);

/// Adds the image alone, or all but the image.
void AddImageOptions(CLI::App& app, TransferOptions& options);
void AddCuttingOptions(CLI::App& app, TransferOptions& options);

/// Adds --rl alone.
void AddMemoryOption(CLI::App& app, std::uint8_t& memory);

/// Raises CLI::ValidationError for a block that does not fit a message of the form.
void CheckTransferOptions(const TransferOptions& options, const LinkOptions& link);

/// The image, which has data and addresses of 24 bits. Raises ToolError (data) for another, and
/// what ReadImageFile raises.
[[nodiscard]] ImageFile ReadImageOf(const TransferOptions& options);

[[nodiscard]] std::shared_ptr<MemoryImage> ToMemoryImage(std::span<const ImageSegment> segments,
                                                         Platform& platform);

/// Number of bytes in all segments.
[[nodiscard]] std::uint64_t SizeOf(const ImageSegments& segments);

}  // namespace quillmark::host
