// SPDX-License-Identifier: MIT
#include "host/ecu/programming_services.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "host/ecu/negative_response.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kEraseRoutine = 0x81;
constexpr std::uint8_t kLogZone = 0x83;

constexpr std::uint8_t kStartRoutine = 0x00;
constexpr std::uint8_t kAskStatus = 0x01;
constexpr std::uint8_t kRunning = 0x01;
constexpr std::uint8_t kFinished = 0x02;
constexpr std::uint8_t kFinishedAndFailed = 0x03;

/// Service, area, three address bytes, count.
constexpr std::size_t kBlockHeader = 6;
constexpr std::size_t kBlockChecksum = 2;

std::uint32_t AddressOf(ByteView block) {
  return std::uint32_t{block[2]} << 16U | std::uint32_t{block[3]} << 8U | block[4];
}

const EcuOptions& Checked(const EcuOptions& options) {
  const auto is_log_zone = [](const FlashAreaOptions& area) { return area.identifier == kLogZone; };
  if (options.check_routine == kEraseRoutine ||
      std::any_of(options.areas.begin(), options.areas.end(), is_log_zone)) {
    throw std::invalid_argument("81 is the erase routine and 83 the log zone");
  }
  return options;
}

}  // namespace

ProgrammingServices::ProgrammingServices(const EcuOptions& options, Records& records)
    : check_identifier_(Checked(options).check_routine),
      erase_time_(options.timing.erase_time),
      check_time_(options.timing.check_time),
      blind_check_(options.misbehaviour.blind_check),
      write_once_(options.write_once),
      bad_checksum_at_block_(options.misbehaviour.bad_checksum_at_block),
      checksum_(options.checksum),
      records_(records),
      flash_(options.areas, options.misbehaviour.bad_cells),
      downloaded_(options.areas, {}) {}

Bytes ProgrammingServices::OnRoutine(ByteView request, Duration now) {
  constexpr std::size_t kEraseRequest = 5;
  constexpr std::size_t kOtherRequest = 3;
  const bool is_erase = request.size() >= 2 && request[1] == kEraseRoutine;
  if (is_erase && request.size() == kEraseRequest) {
    return StartErase(request, now);
  }
  if (request.size() != kOtherRequest) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
  if (!is_erase && request[1] != check_identifier_) {
    throw Refusal(ResponseCode::kRequestOutOfRange);
  }
  if (request[2] == kAskStatus) {
    return Poll(request[1], is_erase ? erase_ : check_, now);
  }
  if (is_erase || request[2] != kStartRoutine) {
    throw Refusal(ResponseCode::kSubFunctionNotSupported);
  }
  return StartCheck(now);
}

Bytes ProgrammingServices::StartErase(ByteView request, Duration now) {
  const std::uint8_t area = request[2];
  if (!flash_.HasArea(area) || request[3] != 0xF0 || request[4] != 0x5A) {
    throw Refusal(ResponseCode::kRequestOutOfRange);
  }
  RequireIdle(now);
  std::erase_if(ranges_, [&](const Range& range) { return flash_.AreaOf(range.start, 1) == area; });
  std::erase_if(written_, [&](const auto& block) { return flash_.AreaOf(block.first, 1) == area; });
  flash_.Erase(area);
  downloaded_.Erase(area);
  erase_ = Routine{now + erase_time_, false};
  check_.reset();
  return {0x71, kEraseRoutine, kRunning};
}

Bytes ProgrammingServices::StartCheck(Duration now) {
  RequireIdle(now);
  if (ranges_.empty()) {
    throw Refusal(ResponseCode::kConditionsNotCorrect);
  }
  check_ = Routine{now + check_time_, !blind_check_ && !FlashHoldsWhatWasDownloaded()};
  return {0x71, check_identifier_, kRunning};
}

Bytes ProgrammingServices::Poll(std::uint8_t identifier, const std::optional<Routine>& routine,
                                Duration now) {
  if (!routine) {
    throw Refusal(ResponseCode::kConditionsNotCorrect);
  }
  if (now < routine->ends_at) {
    return {0x71, identifier, kRunning};
  }
  return {0x71, identifier, routine->failed ? kFinishedAndFailed : kFinished};
}

Bytes ProgrammingServices::OnDownload(ByteView request, Duration now) {
  if (request.size() <= kBlockHeader + kBlockChecksum ||
      request.size() != kBlockHeader + request[5] + kBlockChecksum) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
  const ByteView stored = request.last(kBlockChecksum);
  if (checksum_(request.first(request.size() - kBlockChecksum)) != (stored[0] << 8U | stored[1])) {
    throw Refusal(ResponseCode::kBlockChecksumError);
  }
  const ByteView data = request.subspan(kBlockHeader, request[5]);
  if (request[1] == kLogZone) {
    WriteLogRecord(AddressOf(request), data);
  } else {
    WriteBlock(request[1], AddressOf(request), data, now);
  }
  return {0x74, 0x02};
}

void ProgrammingServices::WriteBlock(std::uint8_t area, std::uint32_t address, ByteView data,
                                     Duration now) {
  if (flash_.AreaOf(address, data.size()) != area) {
    throw Refusal(ResponseCode::kRequestOutOfRange);
  }
  RequireIdle(now);
  if (++blocks_received_ == bad_checksum_at_block_) {
    throw Refusal(ResponseCode::kBlockChecksumError);
  }
  if (!TakesAValue(address, data.size())) {
    throw Refusal(ResponseCode::kProgrammingFailure);
  }
  flash_.Write(address, data);
  downloaded_.Write(address, data);
  ranges_.push_back({address, data.size()});
  written_[address] = address + static_cast<std::uint32_t>(data.size());
  ++blocks_;
}

void ProgrammingServices::WriteLogRecord(std::uint32_t address, ByteView data) {
  if (address != 0 || data.size() != Records::kLogRecordSize) {
    throw Refusal(ResponseCode::kRequestOutOfRange);
  }
  records_.Log(data);
}

Bytes ProgrammingServices::OnUpload(ByteView request, Duration now) const {
  if (request.size() != kBlockHeader) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
  if (request[1] != 0x80) {
    throw Refusal(ResponseCode::kSubFunctionNotSupported);
  }
  const std::optional<std::uint8_t> area = flash_.AreaOf(AddressOf(request), request[5]);
  if (!area) {
    throw Refusal(ResponseCode::kRequestOutOfRange);
  }
  RequireIdle(now);
  const Bytes data = flash_.Read(AddressOf(request), request[5]);
  Bytes reply{0x75, *area, request[2], request[3], request[4], request[5]};
  reply.insert(reply.end(), data.begin(), data.end());
  const std::uint16_t checksum = checksum_(reply);
  reply.push_back(static_cast<std::uint8_t>(checksum >> 8U));
  reply.push_back(static_cast<std::uint8_t>(checksum & 0xFFU));
  return reply;
}

void ProgrammingServices::StopRoutines() {
  erase_.reset();
  check_.reset();
}

void ProgrammingServices::Reset() {
  StopRoutines();
  ranges_.clear();
}

void ProgrammingServices::RequireIdle(Duration now) const {
  const auto busy = [now](const std::optional<Routine>& routine) {
    return routine && now < routine->ends_at;
  };
  if (busy(erase_) || busy(check_)) {
    throw Refusal(ResponseCode::kBusyRepeatRequest);
  }
}

bool ProgrammingServices::TakesAValue(std::uint32_t address, std::size_t count) const {
  const auto next = written_.upper_bound(address);
  const bool overlaps = (next != written_.begin() && std::prev(next)->second > address) ||
                        (next != written_.end() && next->first < address + count);
  return flash_.IsErased(address, count) && !(write_once_ && overlaps);
}

bool ProgrammingServices::FlashHoldsWhatWasDownloaded() const {
  return std::all_of(ranges_.begin(), ranges_.end(), [&](const Range& range) {
    return flash_.Read(range.start, range.count) == downloaded_.Read(range.start, range.count);
  });
}

}  // namespace quillmark::host
