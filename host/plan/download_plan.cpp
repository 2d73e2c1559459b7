// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/programmer/image_parts.h"
#include "host/programmer/session.h"
#include "host/runner/message_reader.h"
#include "quillmark/dom.h"
#include "quillmark/error.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/plan.h"
#include "quillmark/host/text.h"
#include "quillmark/host/transfer.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

/// Adds up what the documents of a download will put on the wire.
class WirePlan {
 public:
  /// `plan` must outlive this.
  WirePlan(const Exchange& exchange, const WireSpeed& speed, DownloadPlan& plan)
      : exchange_(exchange), speed_(speed), plan_(plan) {}

  /// Adds a document of the component that has not been run. Raises Error 13 if it has no steps.
  void Add(const DOMDocument& document);

 private:
  void AddSent(ByteView frame, RequestReader& reader);
  void AddPauses(const IXMLDOMNode& steps, std::string_view name);
  void AddRequest(ByteView request);

  Exchange exchange_;
  WireSpeed speed_;
  DownloadPlan& plan_;
};

constexpr std::size_t kCanFrameSize = 8;
constexpr std::size_t kAcknowledgementSize = 1;

[[noreturn]] void Refuse(const std::string& what) {
  throw Error(error_number::kTypeMismatch, "not a request document: " + what);
}

// A document says how the ECU's frame begins: in plain CAN form it is padded, a gateway's
// acknowledgement may be anything, and the reply to a block is known to its end.
std::size_t SizeOfReply(std::string_view expected, TransportForm form) {
  if (form == TransportForm::kPlainCan) {
    return kCanFrameSize;
  }
  return expected.empty() ? kAcknowledgementSize : expected.size() / 2;
}

std::shared_ptr<IXMLDOMNode> ParentOfSteps(const DOMDocument& document, TransportForm form) {
  auto steps = document.selectSingleNode(form == TransportForm::kKLine ? "/k" : "/can/x");
  if (!steps) {
    Refuse("it has no steps");
  }
  return steps;
}

// Times add up in any order, and so each kind of step is read for itself, without a node object for
// each of thousands.
void WirePlan::Add(const DOMDocument& document) {
  const auto steps = ParentOfSteps(document, exchange_.form);
  RequestReader reader(exchange_.form);
  steps->readChildTexts("s", "d", [&](const ChildText& frame) {
    const std::optional<Bytes> bytes = BytesOfHex(frame.text);
    if (!bytes || bytes->empty()) {
      Refuse("a frame to send is no hex text");
    }
    AddSent(*bytes, reader);
  });
  AddRequest(reader.Request());
  steps->readChildTexts("r", "c", [this](const ChildText& expected) {
    plan_.wire_time += WireTime(exchange_, SizeOfReply(expected.text, exchange_.form), speed_);
  });
  AddPauses(*steps, "w");
  AddPauses(*steps, "bk");
}

void WirePlan::AddSent(ByteView frame, RequestReader& reader) {
  if (reader.BeginsRequest(frame)) {
    AddRequest(reader.Request());
  }
  reader.OnSent(frame);
  plan_.wire_time += WireTime(exchange_, frame.size(), speed_);
}

void WirePlan::AddPauses(const IXMLDOMNode& steps, std::string_view name) {
  const auto pauses = steps.selectNodes(name);
  for (std::size_t i = 0; i < pauses->length(); ++i) {
    plan_.wire_time += std::chrono::milliseconds(std::stol(pauses->item(i)->text()));
  }
}

void WirePlan::AddRequest(ByteView request) {
  if (const std::optional<AddressRange> memory = DownloadIn(request)) {
    plan_.blocks.push_back(*memory);
    plan_.sent_bytes += memory->count;
  }
}

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
