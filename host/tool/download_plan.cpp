// SPDX-License-Identifier: MIT
#include "host/tool/download_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <span>
#include <system_error>
#include <utility>

#include "host/files/output_file.h"
#include "host/programmer/memory_ranges.h"
#include "host/programmer/transfer.h"
#include "host/services/count_text.h"
#include "host/tool/exit_code.h"
#include "host/tool/interrupt.h"
#include "host/tool/text.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

Exchange ExchangeOf(const LinkOptions& link) {
  return {link.form, static_cast<std::uint32_t>(link.ReceiveId()),
          static_cast<std::uint32_t>(link.SendId())};
}

std::shared_ptr<DiagOnCANReprog> ReprogFor(const std::shared_ptr<Platform>& platform,
                                           const LinkOptions& link) {
  auto reprog = CreateDiagOnCANReprog(platform);
  Configure(*reprog, link);
  return reprog;
}

/// A part of a download, which a worker computes while this object lives.
class PartOfDownload {
 public:
  PartOfDownload(const std::shared_ptr<PortablePlatform>& platform, const TransferOptions& transfer,
                 const LinkOptions& link, std::span<const ImageSegment> segments)
      : transfer_(Transfer::Download(ReprogFor(platform, link), transfer.memory,
                                     ToMemoryImage(segments, *platform), transfer.fill,
                                     transfer.alignment, transfer.block)) {}

  /// Null after the last.
  [[nodiscard]] std::shared_ptr<DOMDocument> NextDocument() {
    constexpr std::chrono::milliseconds kInterruptCheck{50};
    for (;;) {
      if (Interrupted()) {
        throw ToolError(ExitCode::kInterrupted, "interrupted before anything was sent");
      }
      if (auto document = transfer_.Next(kInterruptCheck)) {
        return document;
      }
      if (transfer_.error()) {
        throw Error(*transfer_.error());
      }
      if (transfer_.state() != Transfer::State::kRunning) {
        return nullptr;
      }
    }
  }

  [[nodiscard]] std::uint64_t covered() const { return transfer_.covered(); }

 private:
  Transfer transfer_;
};

/// The parts of a download, of which the next is prepared while one is computed and looked at.
class PartsOfDownload {
 public:
  PartsOfDownload(const TransferOptions& transfer, const LinkOptions& link,
                  const ImageSegments& segments)
      : transfer_(transfer), link_(link), rest_(segments) {
    PrepareNext();
  }
  PartsOfDownload(const PartsOfDownload&) = delete;
  PartsOfDownload& operator=(const PartsOfDownload&) = delete;
  PartsOfDownload(PartsOfDownload&&) = delete;
  PartsOfDownload& operator=(PartsOfDownload&&) = delete;
  ~PartsOfDownload() {
    next_ = {};
    platform_->WaitForWorkers();
  }

  /// Null after the last.
  [[nodiscard]] std::unique_ptr<PartOfDownload> Next() {
    if (!next_.valid()) {
      return nullptr;
    }
    auto part = next_.get();
    PrepareNext();
    return part;
  }

 private:
  void PrepareNext() {
    if (rest_.empty()) {
      return;
    }
    const auto part = rest_.first(std::min(rest_.size(), kSegmentsAtOnce));
    next_ = std::async(std::launch::async, [this, part] {
      return std::make_unique<PartOfDownload>(platform_, transfer_, link_, part);
    });
    rest_ = rest_.subspan(part.size());
  }

  const TransferOptions& transfer_;
  const LinkOptions& link_;
  std::span<const ImageSegment> rest_;
  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::future<std::unique_ptr<PartOfDownload>> next_;
};

}  // namespace

DownloadPlan PlanDownload(const TransferOptions& transfer, const LinkOptions& link,
                          const ImageSegments& segments, const std::string& folder) {
  DownloadPlan plan{.image_bytes = SizeOf(segments), .wire = {ExchangeOf(link), link.Speed()}};
  std::uint64_t covered = 0;
  PartsOfDownload parts(transfer, link, segments);
  while (const auto part = parts.Next()) {
    while (const auto document = part->NextDocument()) {
      ++plan.documents;
      plan.wire.Add(*document);
      if (!folder.empty()) {
        WriteFile(std::filesystem::path(folder) / fmt::format("download-{:04}.xml", plan.documents),
                  document->xml());
      }
    }
    covered += part->covered();
  }
  if (covered != plan.image_bytes) {
    throw ToolError(ExitCode::kInternal,
                    fmt::format("the documents cover {} of {}", WithThousands(covered),
                                BytesText(plan.image_bytes)));
  }
  return plan;
}

std::uint32_t BitRateOf(const LinkOptions& link) {
  const WireSpeed speed = link.Speed();
  return link.form == TransportForm::kKLine ? speed.k_line_baud : speed.can_bit_rate;
}

void CreateFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw ToolError(ExitCode::kCannotCreate,
                    fmt::format("{}: cannot create: {}", folder, error.message()));
  }
}

}  // namespace quillmark::host
