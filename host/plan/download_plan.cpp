// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <span>
#include <stdexcept>

#include "host/plan/wire_plan.h"
#include "host/programmer/image_parts.h"
#include "host/programmer/session.h"
#include "quillmark/host/plan.h"
#include "quillmark/host/text.h"
#include "quillmark/host/transfer.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

Exchange ExchangeOf(const ProgrammerConfig& config) {
  return {config.form, static_cast<std::uint32_t>(config.receive_id),
          static_cast<std::uint32_t>(config.send_id)};
}

std::shared_ptr<DiagOnCANReprog> ReprogFor(const std::shared_ptr<Platform>& platform,
                                           const ProgrammerConfig& config) {
  auto reprog = CreateDiagOnCANReprog(platform);
  Configure(*reprog, config);
  return reprog;
}

/// A part of a download, which a worker computes while this object lives.
class PartOfDownload {
 public:
  PartOfDownload(const std::shared_ptr<PortablePlatform>& platform, const ProgrammerConfig& config,
                 std::span<const ImageSegment> segments)
      : transfer_(Transfer::Download(ReprogFor(platform, config), config.memory,
                                     ImageOf(segments, *platform), config.fill_byte,
                                     config.alignment, config.max_block)) {}

  /// Null after the last, and where nothing comes for a while: `ended` tells the two apart.
  [[nodiscard]] std::shared_ptr<DOMDocument> NextDocument() {
    constexpr std::chrono::milliseconds kStopCheck{50};
    auto document = transfer_.Next(kStopCheck);
    if (transfer_.error()) {
      throw Error(*transfer_.error());
    }
    return document;
  }

  [[nodiscard]] bool ended() const { return transfer_.state() != Transfer::State::kRunning; }
  [[nodiscard]] std::uint64_t covered() const { return transfer_.covered(); }

 private:
  Transfer transfer_;
};

/// The parts of a download, of which the next is prepared while one is computed and looked at.
class PartsOfDownload {
 public:
  PartsOfDownload(const ProgrammerConfig& config, const ImageSegments& segments)
      : config_(config), rest_(segments) {
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
      return std::make_unique<PartOfDownload>(platform_, config_, part);
    });
    rest_ = rest_.subspan(part.size());
  }

  const ProgrammerConfig& config_;
  std::span<const ImageSegment> rest_;
  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::future<std::unique_ptr<PartOfDownload>> next_;
};

}  // namespace

std::optional<DownloadPlan> PlanDownload(const ProgrammerConfig& config, const WireSpeed& speed,
                                         const ImageSegments& segments,
                                         const PlanCallbacks& callbacks) {
  DownloadPlan plan{.image_bytes = SizeOf(segments)};
  WirePlan wire(ExchangeOf(config), speed, plan);
  std::uint64_t covered = 0;
  PartsOfDownload parts(config, segments);
  while (const auto part = parts.Next()) {
    for (;;) {
      if (callbacks.stop_requested && callbacks.stop_requested()) {
        return std::nullopt;
      }
      const auto document = part->NextDocument();
      if (document == nullptr) {
        if (part->ended()) {
          break;
        }
        continue;
      }
      ++plan.documents;
      wire.Add(*document);
      if (callbacks.on_document) {
        callbacks.on_document(*document, plan.documents);
      }
    }
    covered += part->covered();
  }
  if (covered != plan.image_bytes) {
    throw std::logic_error(fmt::format("the documents cover {} of {}", WithThousands(covered),
                                       BytesText(plan.image_bytes)));
  }
  return plan;
}

}  // namespace quillmark::host
