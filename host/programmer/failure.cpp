// SPDX-License-Identifier: MIT
#include "host/programmer/failure.h"

#include <array>
#include <utility>

#include "host/services/response_code.h"
#include "quillmark/host/decode.h"

namespace quillmark::host {
namespace {

/// Of a request that names one: download, upload. The log zone is not an address of memory.
std::optional<std::uint32_t> AddressOf(const Bytes& request) {
  constexpr std::uint8_t kDownload = 0x34;
  constexpr std::uint8_t kUpload = 0x35;
  constexpr std::uint8_t kLogZone = 0x83;
  if (request.size() < 5 || (request[0] != kDownload && request[0] != kUpload) ||
      (request[0] == kDownload && request[1] == kLogZone)) {
    return std::nullopt;
  }
  return std::uint32_t{request[2]} << 16U | std::uint32_t{request[3]} << 8U | request[4];
}

Cause CauseOf(RunStatus status) {
  switch (status) {
    case RunStatus::kSilence:
      return Cause::kSilence;
    case RunStatus::kPendingTooLong:
      return Cause::kStillBusy;
    case RunStatus::kBusError:
      return Cause::kBus;
    case RunStatus::kStopped:
      return Cause::kCancelled;
    default:
      return Cause::kUnexpectedReply;
  }
}

std::string CodeText(const RunOutcome& outcome) {
  return outcome.response_code ? ResponseCodeText(*outcome.response_code) : "";
}

/// "31 02 00 (routine control: start routine 02)".
std::string WordsOf(const Bytes& message) {
  return HexOf(message) + " (" + TextOf(Describe(message)) + ")";
}

std::string MismatchText(const RunOutcome& outcome) {
  if (outcome.answer.empty() || outcome.expected.empty()) {
    return outcome.reason;
  }
  return "received " + WordsOf(outcome.answer) + ", expected " + WordsOf(outcome.expected);
}

std::string FlowControlText(const FlowControl& asked) {
  const std::string block_size = std::to_string(asked.block_size);
  const std::string code = std::to_string(asked.separation_time);
  const bool is_in_microseconds = asked.separation_time >= 0xF1 && asked.separation_time <= 0xF9;
  const std::string time = is_in_microseconds
                               ? std::to_string(100 * (asked.separation_time - 0xF0)) + " us"
                               : code + " ms";
  return "the ECU asks for block size " + block_size + ", separation time " + time +
         ": --flow-control " + block_size + " " + code;
}

std::string BusText(const std::string& reason) { return "the bus failed (" + reason + ")"; }

std::string TextOf(const RunOutcome& outcome, const std::optional<Error>& error) {
  switch (outcome.status) {
    case RunStatus::kSilence:
      return "the ECU does not answer (" + outcome.reason + ")";
    case RunStatus::kPendingTooLong:
      return "the ECU stays busy (" + outcome.reason + ")";
    case RunStatus::kBusError:
      return BusText(outcome.reason);
    case RunStatus::kStopped:
      return !outcome.stopped_within
                 ? "cancelled"
                 : "cancelled while the ECU did not answer " + WordsOf(outcome.request);
    case RunStatus::kFlowControl:
      return FlowControlText(outcome.flow_control.value());
    case RunStatus::kLateRefusal:
      return "the ECU refused a request that it seemed to have answered (" + outcome.reason +
             "); negative response " + CodeText(outcome);
    default:
      break;
  }
  std::string text = error ? error->Description() : outcome.reason;
  if (outcome.response_code) {
    text += "; negative response " + CodeText(outcome);
  } else if (error && outcome.status == RunStatus::kUnexpectedFrame) {
    text += "; " + MismatchText(outcome);
  } else if (error && !outcome.complete()) {
    text += "; " + outcome.reason;
  }
  return text;
}

std::string MessageOf(const Failure& failure) {
  std::string message(NameOf(failure.phase));
  if (failure.address) {
    message += " at " + AddressText(*failure.address);
  }
  message += ": " + failure.text;
  if (failure.number != 0) {
    message += " (error " + std::to_string(failure.number) + ")";
  }
  return message;
}

}  // namespace

std::string_view NameOf(Phase phase) {
  constexpr std::array<std::string_view, 11> kNames{"prepare", "identify", "unlock", "backup",
                                                    "erase",   "download", "check",  "upload",
                                                    "verify",  "log zone", "close"};
  return kNames.at(static_cast<std::size_t>(phase));
}

ProgrammingError::ProgrammingError(Failure failure)
    : failure_(std::move(failure)), message_(MessageOf(failure_)) {}

Failure ExchangeFailure(Phase phase, const RunOutcome& outcome, const std::optional<Error>& error) {
  Failure failure;
  failure.phase = phase;
  failure.cause = CauseOf(outcome.status);
  failure.number = error && failure.cause != Cause::kCancelled ? error->Number() : 0;
  failure.text = TextOf(outcome, error);
  failure.address = AddressOf(outcome.request);
  failure.response_code = outcome.response_code;
  failure.document_step = outcome.step;
  if (!outcome.request.empty()) {
    failure.service = outcome.request.front();
  }
  return failure;
}

Failure BusFailure(Phase phase, const std::string& reason) {
  Failure failure;
  failure.phase = phase;
  failure.cause = Cause::kBus;
  failure.text = BusText(reason);
  return failure;
}

bool Identification::Refusal::MeansNoRecord() const {
  constexpr std::uint8_t kSubFunctionNotSupported = 0x12;
  constexpr std::uint8_t kRequestOutOfRange = 0x31;
  return response_code == kSubFunctionNotSupported || response_code == kRequestOutOfRange;
}

std::string HistoryEndText(const Identification::Refusal& refused) {
  return "the history is not complete: the ECU refused record " + HexOf(Bytes{refused.record}) +
         " with " + ResponseCodeText(refused.response_code);
}

std::string AddressText(std::uint32_t address) {
  return "0x" +
         HexOf(Bytes{static_cast<std::uint8_t>(address >> 16U),
                     static_cast<std::uint8_t>(address >> 8U), static_cast<std::uint8_t>(address)});
}

}  // namespace quillmark::host
