// SPDX-License-Identifier: MIT
#include "host/report/page_data.h"

#include <algorithm>
#include <array>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/decode/exchanges.h"
#include "host/report/memory_picture.h"
#include "host/report/packed_writer.h"
#include "quillmark/host/report.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

/// Texts that occur often, each stored once.
class TextTable {
 public:
  std::size_t IndexOf(const std::string& text) {
    const auto [known, is_new] = indices_.try_emplace(text, texts_.size());
    if (is_new) {
      texts_.push_back(text);
    }
    return known->second;
  }

  [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }

 private:
  std::unordered_map<std::string, std::size_t> indices_;
  std::vector<std::string> texts_;
};

int IsToEcu(Direction direction) { return direction == Direction::kToEcu ? 1 : 0; }

/// A column after the other, since what is alike packs well: times, messages, kinds, places and
/// sizes, what frames their service bytes, and these.
Bytes FramesOf(const Decoding& decoding) {
  std::array<PackedWriter, 8> columns;
  auto& [times, messages, kinds, places, payload_sizes, sizes, framing, payloads] = columns;
  Duration last_time{};
  std::size_t last_message = 0;
  for (const DecodedFrame& frame : decoding.frames) {
    // Times of a log may repeat but not go back.
    const Duration time = std::max(frame.at, last_time);
    times.Number(static_cast<std::uint64_t>((time - last_time).count()));
    messages.Signed(static_cast<std::int64_t>(frame.role.message) -
                    static_cast<std::int64_t>(last_message));
    kinds.Number(2 * static_cast<std::uint64_t>(frame.role.kind) +
                 static_cast<std::uint64_t>(IsToEcu(frame.direction)));
    places.Number(frame.role.payload_at);
    payload_sizes.Number(frame.role.payload_size);
    sizes.Number(frame.data.size());
    const ByteView data = frame.data;
    framing.Append(data.first(frame.role.payload_at));
    payloads.Append(data.subspan(frame.role.payload_at, frame.role.payload_size));
    framing.Append(data.subspan(frame.role.payload_at + frame.role.payload_size));
    last_time = time;
    last_message = frame.role.message;
  }
  PackedWriter joined;
  for (const PackedWriter& column : columns) {
    joined.Append(column.bytes());
  }
  return joined.bytes();
}

Json MessagesOf(const Decoding& decoding, TextTable& texts) {
  std::vector<std::size_t> text;
  std::vector<int> to_ecu;
  for (const DecodedMessage& message : decoding.messages) {
    text.push_back(texts.IndexOf(TextOf(message)));
    to_ecu.push_back(IsToEcu(message.message.direction));
  }
  return {{"text", text}, {"toEcu", to_ecu}};
}

Json ExchangeColumnsOf(const Decoding& decoding, const std::vector<DecodedExchange>& exchanges,
                       TextTable& names) {
  std::vector<std::size_t> messages;
  std::vector<int> outcome;
  std::vector<std::size_t> pending;
  std::vector<int> repeat;
  std::vector<std::size_t> name;
  std::vector<std::uint32_t> address;
  std::vector<std::uint32_t> size;
  for (const DecodedExchange& exchange : exchanges) {
    const Description& request = decoding.messages[exchange.first_message].description;
    const AddressRange memory = request.memory.value_or(AddressRange{});
    messages.push_back(exchange.messages);
    outcome.push_back(static_cast<int>(exchange.outcome));
    pending.push_back(exchange.pending);
    repeat.push_back(exchange.is_repeat ? 1 : 0);
    name.push_back(names.IndexOf(request.name.empty() ? "unknown" : request.name));
    address.push_back(memory.start);
    size.push_back(memory.count);
  }
  return {{"messages", messages}, {"outcome", outcome}, {"pending", pending}, {"repeat", repeat},
          {"name", name},         {"address", address}, {"size", size}};
}

/// A phase with what was transferred in it.
struct PhaseSums {
  std::string name;
  Duration began{};
  Duration ended{};
  std::uint64_t bytes = 0;
  Duration wire{};
};

std::vector<PhaseSums> PhasesOf(const Artifacts& artifacts, const Decoding& decoding) {
  std::vector<PhaseSums> phases;
  for (const PhaseTimes& phase : artifacts.result.phases) {
    phases.push_back({.name = phase.name, .began = phase.began, .ended = phase.ended});
  }
  if (phases.empty() && !decoding.frames.empty()) {
    phases.push_back({.name = "everything", .ended = decoding.frames.back().at + Duration(1)});
  }
  return phases;
}

/// The phase that a moment belongs to: the last one that has begun.
PhaseSums* PhaseAt(std::vector<PhaseSums>& phases, Duration at) {
  const auto next =
      std::upper_bound(phases.begin(), phases.end(), at,
                       [](Duration time, const PhaseSums& phase) { return time < phase.began; });
  return next == phases.begin() ? nullptr : &*std::prev(next);
}

void AddWireTime(std::uint32_t bit_rate, const Decoding& decoding, std::vector<PhaseSums>& phases) {
  const WireSpeed speed{.can_bit_rate = bit_rate, .k_line_baud = bit_rate};
  for (const DecodedFrame& frame : decoding.frames) {
    if (PhaseSums* const phase = PhaseAt(phases, frame.at)) {
      phase->wire += WireTime(decoding.exchange, frame.data.size(), speed);
    }
  }
}

void AddBytes(const Decoding& decoding, const std::vector<DecodedExchange>& exchanges,
              std::vector<PhaseSums>& phases) {
  for (const DecodedExchange& exchange : exchanges) {
    const DecodedMessage& request = decoding.messages[exchange.first_message];
    PhaseSums* const phase = PhaseAt(phases, request.began);
    const bool moved = exchange.outcome == ExchangeOutcome::kAnswered && request.description.memory;
    if (phase != nullptr && moved) {
      phase->bytes += request.description.memory->count;
    }
  }
}

Json ToJson(const std::vector<PhaseSums>& phases) {
  Json list = Json::array();
  for (const PhaseSums& phase : phases) {
    list.push_back({{"name", phase.name},
                    {"began", SecondsOf(phase.began)},
                    {"ended", SecondsOf(phase.ended)},
                    {"bytes", phase.bytes},
                    {"wire", SecondsOf(phase.wire)}});
  }
  return list;
}

Json ToJson(const MemoryPicture& picture) {
  Json list = Json::array();
  for (const MemoryStretch& stretch : picture.Stretches()) {
    list.push_back({stretch.start, stretch.count, NameOf(stretch.state)});
  }
  return list;
}

}  // namespace

PageData PageDataOf(const Artifacts& artifacts) {
  const Decoding decoding = Decode(artifacts.trace);
  const std::vector<DecodedExchange> exchanges = ExchangesOf(decoding);
  std::vector<PhaseSums> phases = PhasesOf(artifacts, decoding);
  AddBytes(decoding, exchanges, phases);
  if (artifacts.plan.bit_rate) {
    AddWireTime(*artifacts.plan.bit_rate, decoding, phases);
  }
  const Duration end = std::max(phases.empty() ? Duration() : phases.back().ended,
                                decoding.frames.empty() ? Duration() : decoding.frames.back().at);
  TextTable texts;
  TextTable names;
  Json data;
  data["warnings"] = artifacts.warnings;
  data["advice"] = OutcomeOf(artifacts).advice;
  data["facts"] = FactsOf(artifacts, decoding);
  data["duration"] = SecondsOf(end);
  data["memory"] = ToJson(PictureOf(artifacts.plan, decoding, exchanges));
  data["phases"] = ToJson(phases);
  data["messages"] = MessagesOf(decoding, texts);
  data["exchanges"] = ExchangeColumnsOf(decoding, exchanges, names);
  data["texts"] = texts.texts();
  data["names"] = names.texts();
  data["frames"] = decoding.frames.size();
  return {.columns = std::move(data), .frames = FramesOf(decoding)};
}

}  // namespace quillmark::host
