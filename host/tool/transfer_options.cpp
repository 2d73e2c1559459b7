// SPDX-License-Identifier: MIT
#include "host/tool/transfer_options.h"

#include <fmt/format.h>

#include <limits>
#include <optional>

#include "host/tool/exit_code.h"
#include "host/tool/number.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

constexpr std::uint64_t kLastAddress = 0xFFFFFF;
constexpr std::int32_t kLargestBlock = 255;
constexpr std::int32_t kLargestBlockInOneMessage = 247;
constexpr NumberRange kBaseRange = {0, std::numeric_limits<std::uint32_t>::max()};
constexpr NumberRange kAlignmentRange = {1, std::numeric_limits<std::int32_t>::max()};

void RequireUsable(const NamedImage& image) {
  const ImageSegments& segments = image.content.segments;
  if (segments.empty()) {
    throw ToolError(ExitCode::kData,
                    fmt::format("{}: expected an image with data, found none", image.file));
  }
  for (const ImageSegment& segment : segments) {
    const std::uint64_t last = segment.address + std::uint64_t{segment.bytes.size()} - 1;
    if (last > kLastAddress) {
      throw ToolError(
          ExitCode::kData,
          fmt::format("{}: segment {:08X} to {:08X} lies beyond {:06X}, the last address "
                      "that an ECU can be told",
                      image.file, segment.address, last, kLastAddress),
          "give the image the addresses that the ECU knows, such as with srec_cat -offset, or "
          "leave out what belongs elsewhere; nothing was sent");
    }
  }
}

}  // namespace

void AddMemoryOption(CLI::App& app, std::uint8_t& memory) {
  AddNumber(app, "--rl", memory, kByteRange, "memory of the ECU by its identifier; default 0");
}

void AddTransferOptions(CLI::App& app, TransferOptions& options) {
  AddImageOptions(app, options);
  AddCuttingOptions(app, options);
}

void AddImageOptions(CLI::App& app, TransferOptions& options) {
  app.add_option(
         "IMAGE", options.files,
         "Intel HEX, Motorola S-record or raw binary; several make one image, and must agree "
         "where they overlap")
      ->required()
      ->take_all();
  app.add_option_function<std::vector<std::string>>(
         "--base",
         [&options](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) {
             options.bases.push_back(
                 static_cast<std::uint32_t>(ParseNumber("--base", text, kBaseRange)));
           }
         },
         "address where a raw binary begins; once for each raw binary, in their order")
      ->type_name("NUMBER")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
}

void AddCuttingOptions(CLI::App& app, TransferOptions& options) {
  AddMemoryOption(app, options.memory);
  AddNumber(app, "--fill", options.fill, kByteRange,
            "byte that an erased memory holds, left out of the transfer; default 0xFF");
  AddNumber(app, "--align", options.alignment, kAlignmentRange,
            "fill is left out in units of this many bytes; default 16");
  AddNumber(app, "--block", options.block, {1, kLargestBlock},
            "maximum data bytes per request, at most 247 in gateway and kline; default 128");
}

void CheckTransferOptions(const TransferOptions& options, const LinkOptions& link) {
  if (link.form != TransportForm::kPlainCan && options.block > kLargestBlockInOneMessage) {
    throw CLI::ValidationError(
        "--block", fmt::format("expected at most {} for --form gateway and --form kline, found {}",
                               kLargestBlockInOneMessage, options.block));
  }
}

Images ImagesOf(const std::vector<NamedContent>& files) {
  Images images;
  std::vector<ImagePart> parts;
  images.files.reserve(files.size());
  for (const auto& [file, content, base] : files) {
    images.files.push_back({file, ReadImage(content, Utf8Path(file), base)});
    RequireUsable(images.files.back());
    parts.push_back({images.files.back().file, images.files.back().content.segments});
  }
  images.segments = JoinImages(parts);
  return images;
}

Images ReadImagesOf(const TransferOptions& options) {
  std::vector<NamedContent> files;
  files.reserve(options.files.size());
  auto base = options.bases.begin();
  for (const std::string& file : options.files) {
    files.push_back({file, ReadFile(Utf8Path(file), kLargestImageFile), std::nullopt});
    const bool takes_base = options.files.size() == 1 || !HasAddresses(files.back().content);
    if (takes_base && base != options.bases.end()) {
      files.back().base = *base++;
    }
  }
  Images images = ImagesOf(files);
  if (base != options.bases.end()) {
    throw MisplacedBase(
        fmt::format("expected --base once for each raw binary, found it {} times "
                    "for {} of them",
                    options.bases.size(), base - options.bases.begin()));
  }
  return images;
}

std::vector<NamedPath> InputsOf(const TransferOptions& options, const std::string& profile) {
  std::vector<NamedPath> inputs = {{"--profile", profile}};
  for (const std::string& file : options.files) {
    inputs.push_back({"IMAGE", file});
  }
  return inputs;
}

void Apply(const TransferOptions& transfer, ProgrammerConfig& config) {
  config.memory = transfer.memory;
  config.fill_byte = transfer.fill;
  config.alignment = transfer.alignment;
  config.max_block = transfer.block;
}

DownloadPlan PlanOf(const ProgrammerConfig& config, const WireSpeed& speed,
                    const ImageSegments& segments, const PlanCallbacks& callbacks) {
  auto plan = PlanDownload(config, speed, segments, callbacks);
  if (!plan) {
    throw ToolError(ExitCode::kInterrupted, "interrupted before anything was sent");
  }
  return *std::move(plan);
}

}  // namespace quillmark::host
