// SPDX-License-Identifier: MIT
#include "host/ecu/records.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "host/ecu/negative_response.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kIdentification = 0x80;
constexpr std::uint8_t kFirstHistory = 0xF0;

/// The identifiers F0 and F1 name entry 0; from FE and FF on downwards, two each, they name 1 to 7.
std::size_t EntryOf(std::uint8_t identifier) {
  const std::size_t pair = (identifier - std::size_t{kFirstHistory}) / 2;
  return pair == 0 ? 0 : Records::kMostEntries - pair;
}

Bytes TextRecord(std::string text) {
  text.resize(Records::kRecordSize, ' ');
  return {text.begin(), text.end()};
}

void CheckSize(const Bytes& record) {
  if (record.size() != Records::kRecordSize) {
    throw std::invalid_argument("an ECU's records have 24 bytes each");
  }
}

}  // namespace

std::vector<HistoryEntry> SimulatedHistory() {
  std::vector<HistoryEntry> entries;
  for (int entry = 0; entry < static_cast<int>(Records::kMostEntries); ++entry) {
    const std::string number = std::to_string(entry);
    entries.push_back({TextRecord("HISTORY " + number), TextRecord("REPROGRAMMING " + number)});
  }
  return entries;
}

Records::Records(const EcuOptions& options)
    : identification_(options.identification),
      history_(options.history.begin(), options.history.end()) {
  CheckSize(identification_);
  for (const HistoryEntry& entry : history_) {
    CheckSize(entry.history);
    CheckSize(entry.reprogramming);
  }
  if (history_.size() > kMostEntries) {
    throw std::invalid_argument("an ECU keeps at most eight history entries");
  }
}

const Bytes& Records::Read(std::uint8_t identifier) const {
  if (identifier == kIdentification) {
    return identification_;
  }
  if (identifier < kFirstHistory || EntryOf(identifier) >= history_.size()) {
    throw Refusal(ResponseCode::kRequestOutOfRange);
  }
  const HistoryEntry& entry = history_[EntryOf(identifier)];
  return identifier % 2 == 0 ? entry.history : entry.reprogramming;
}

void Records::Log(ByteView record) {
  const ByteView history = record.first(kRecordSize);
  const ByteView reprogramming = record.subspan(kRecordSize, kRecordSize);
  history_.push_front(
      {Bytes(history.begin(), history.end()), Bytes(reprogramming.begin(), reprogramming.end())});
  history_.resize(std::min(history_.size(), kMostEntries));
}

}  // namespace quillmark::host
