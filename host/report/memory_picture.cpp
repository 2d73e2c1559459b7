// SPDX-License-Identifier: MIT
#include "host/report/memory_picture.h"

#include <array>
#include <iterator>
#include <optional>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kRoutine = 0x31;
constexpr std::uint8_t kDownload = 0x34;
constexpr std::uint8_t kUpload = 0x35;

/// Follows a flash through its exchanges.
class FlashPainter {
 public:
  explicit FlashPainter(const CommandPlan& plan) : blocks_(plan.blocks), fill_byte_(plan.fill) {
    for (const AddressRange& segment : plan.segments) {
      picture_.Paint(segment.start, segment.count, MemoryState::kFill);
    }
    PaintBlocks(MemoryState::kPlanned);
  }

  void Add(const Decoding& decoding, const DecodedExchange& exchange) {
    const DecodedMessage& request = decoding.messages[exchange.first_message];
    const bool is_answered = exchange.outcome == ExchangeOutcome::kAnswered;
    switch (request.description.service) {
      case kRoutine:
        if (is_answered && IsStartOfErase(request.message.bytes)) {
          PaintBlocks(MemoryState::kErased);
          written_.clear();
        }
        break;
      case kDownload:
        AddDownload(request, is_answered);
        break;
      case kUpload:
        AddUpload(request, is_answered ? AnswerOf(decoding, exchange) : nullptr);
        break;
      default:
        break;
    }
  }

  [[nodiscard]] const MemoryPicture& picture() const { return picture_; }

 private:
  void PaintBlocks(MemoryState state) {
    for (const AddressRange& block : blocks_) {
      picture_.Paint(block.start, block.count, state);
    }
  }

  static bool IsStartOfErase(const Bytes& request) {
    constexpr std::size_t kEraseRequest = 5;
    return request.size() == kEraseRequest && request[1] == 0x81;
  }

  void AddDownload(const DecodedMessage& request, bool is_answered) {
    const auto& memory = request.description.memory;
    if (!memory) {
      return;
    }
    picture_.Paint(memory->start, memory->count,
                   is_answered ? MemoryState::kWritten : MemoryState::kFailed);
    if (is_answered) {
      written_[memory->start] = DataOf(request);
    }
  }

  static Bytes DataOf(const DecodedMessage& message) {
    const Bytes& bytes = message.message.bytes;
    const std::size_t at = message.description.data_at;
    const std::size_t end = at + message.description.memory->count;
    return at == 0 || end > bytes.size() ? Bytes{}
                                         : Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                                 bytes.begin() + static_cast<std::ptrdiff_t>(end));
  }

  /// Before the erase an upload is a backup and says nothing about what is written.
  void AddUpload(const DecodedMessage& request, const DecodedMessage* answer) {
    const auto& memory = request.description.memory;
    if (!memory || written_.empty()) {
      return;
    }
    const Bytes found =
        answer != nullptr && answer->description.memory == memory ? DataOf(*answer) : Bytes{};
    if (found.size() != memory->count) {
      picture_.Paint(memory->start, memory->count, MemoryState::kFailed);
      return;
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
      PaintByte(memory->start + static_cast<std::uint32_t>(i), found[i]);
    }
  }

  void PaintByte(std::uint32_t address, std::uint8_t found) {
    const MemoryState state = picture_.StateAt(address);
    if (state == MemoryState::kOutside) {
      return;
    }
    if (found != ExpectedAt(address)) {
      picture_.Paint(address, 1, MemoryState::kFailed);
    } else if (state == MemoryState::kWritten) {
      picture_.Paint(address, 1, MemoryState::kVerified);
    }
  }

  [[nodiscard]] std::uint8_t ExpectedAt(std::uint32_t address) const {
    const auto next = written_.upper_bound(address);
    if (next == written_.begin()) {
      return fill_byte_;
    }
    const auto& [start, data] = *std::prev(next);
    return address - start < data.size() ? data[address - start] : fill_byte_;
  }

  MemoryPicture picture_;
  const std::vector<AddressRange>& blocks_;
  std::uint8_t fill_byte_;
  /// The data of accepted blocks by address.
  std::map<std::uint32_t, Bytes> written_;
};

MemoryPicture PictureOfRead(const CommandPlan& plan, const Decoding& decoding,
                            const std::vector<DecodedExchange>& exchanges) {
  MemoryPicture picture;
  // Of a verification it is the image that is read.
  for (const std::vector<AddressRange>* ranges : {&plan.ranges, &plan.segments}) {
    for (const AddressRange& range : *ranges) {
      picture.Paint(range.start, range.count, MemoryState::kPlanned);
    }
  }
  for (const DecodedExchange& exchange : exchanges) {
    const Description& request = decoding.messages[exchange.first_message].description;
    if (request.service == kUpload && request.memory) {
      const bool is_answered = exchange.outcome == ExchangeOutcome::kAnswered;
      picture.Paint(request.memory->start, request.memory->count,
                    is_answered ? MemoryState::kRead : MemoryState::kFailed);
    }
  }
  return picture;
}

}  // namespace

std::string_view NameOf(MemoryState state) {
  constexpr std::array<std::string_view, 8> kNames{"outside", "planned",  "fill", "erased",
                                                   "written", "verified", "read", "failed"};
  return kNames.at(static_cast<std::size_t>(state));
}

void MemoryPicture::Paint(std::uint32_t start, std::uint32_t count, MemoryState state) {
  if (count == 0) {
    return;
  }
  const std::uint64_t end = std::uint64_t{start} + count;
  const MemoryState behind = StateAt(end);
  begins_.erase(begins_.lower_bound(start), begins_.upper_bound(end));
  begins_[start] = state;
  begins_[end] = behind;
}

MemoryState MemoryPicture::StateAt(std::uint64_t address) const {
  return std::prev(begins_.upper_bound(address))->second;
}

std::vector<MemoryStretch> MemoryPicture::Stretches() const {
  std::vector<MemoryStretch> stretches;
  for (auto begin = begins_.begin(); std::next(begin) != begins_.end(); ++begin) {
    const auto& [start, state] = *begin;
    const std::uint64_t count = std::next(begin)->first - start;
    const bool goes_on = !stretches.empty() && stretches.back().state == state &&
                         stretches.back().start + stretches.back().count == start;
    if (goes_on) {
      stretches.back().count += count;
    } else if (state != MemoryState::kOutside) {
      stretches.push_back({start, count, state});
    }
  }
  return stretches;
}

MemoryPicture PictureOf(const CommandPlan& plan, const Decoding& decoding,
                        const std::vector<DecodedExchange>& exchanges) {
  if (plan.command == PlannedCommand::kRead || plan.command == PlannedCommand::kVerify) {
    return PictureOfRead(plan, decoding, exchanges);
  }
  FlashPainter painter(plan);
  for (const DecodedExchange& exchange : exchanges) {
    painter.Add(decoding, exchange);
  }
  return painter.picture();
}

}  // namespace quillmark::host
