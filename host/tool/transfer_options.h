// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/link_options.h"
#include "host/tool/outputs.h"
#include "quillmark/host/image_file.h"
#include "quillmark/host/plan.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// Which images go where, and how they are cut.
struct TransferOptions {
  std::vector<std::string> files;
  /// Of the raw binaries among them, in their order.
  std::vector<std::uint32_t> bases;
  std::uint8_t memory = 0;
  std::uint8_t fill = 0xFF;
  std::int32_t alignment = 16;
  std::int32_t block = 128;
};

void AddTransferOptions(CLI::App& app, TransferOptions& options);

/// Adds the images alone, or all but the images.
void AddImageOptions(CLI::App& app, TransferOptions& options);
void AddCuttingOptions(CLI::App& app, TransferOptions& options);

/// Adds --rl alone.
void AddMemoryOption(CLI::App& app, std::uint8_t& memory);

/// Raises CLI::ValidationError for a block that does not fit a message of the form.
void CheckTransferOptions(const TransferOptions& options, const LinkOptions& link);

struct NamedImage {
  std::string file;
  ImageFile content;
};

/// The images of a command, and what they come to together.
struct Images {
  std::vector<NamedImage> files;
  ImageSegments segments;
};

/// The bytes of an image file, under the name that messages have for it.
struct NamedContent {
  std::string file;
  std::string content;
  std::optional<std::uint32_t> base;  ///< where a raw binary begins
};

/// The images, each with data and with addresses of 24 bits. Raises ToolError (data) for others,
/// and what ReadImage and JoinImages raise.
[[nodiscard]] Images ImagesOf(const std::vector<NamedContent>& files);

/// The images that the options name. Also raises CannotReadFile.
[[nodiscard]] Images ReadImagesOf(const TransferOptions& options);

/// What a command reads, for CheckOutputs: the images, and the profile if that is not empty.
[[nodiscard]] std::vector<NamedPath> InputsOf(const TransferOptions& options,
                                              const std::string& profile);

/// Tells a programmer where an image goes and how it is cut.
void Apply(const TransferOptions& transfer, ProgrammerConfig& config);

/// What a download would send. Raises ToolError where it is stopped.
[[nodiscard]] DownloadPlan PlanOf(const ProgrammerConfig& config, const WireSpeed& speed,
                                  const ImageSegments& segments, const PlanCallbacks& callbacks);

}  // namespace quillmark::host
