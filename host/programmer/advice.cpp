// SPDX-License-Identifier: MIT
#include <string_view>

#include "quillmark/host/programmer.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kInvalidKey = 0x35;
constexpr std::uint8_t kExceededNumberOfAttempts = 0x36;
constexpr std::uint8_t kRequiredTimeDelayNotExpired = 0x37;

std::string MemoryText(const Failure& failure) {
  switch (failure.memory) {
    case EcuMemory::kUntouched:
      return "as before, nothing was erased or written";
    case EcuMemory::kPerhapsErased:
      return "perhaps erased: the erase was begun and its end was not seen";
    case EcuMemory::kPartlyWritten:
      return "erased, " + std::to_string(failure.written_bytes) + " of " +
             std::to_string(failure.image_bytes) +
             " bytes are written and confirmed: it holds no whole program";
    case EcuMemory::kWritten:
      return "written to the end, but its check routine has not found it right";
    case EcuMemory::kChecked:
      break;
  }
  return failure.cause == Cause::kDifference
             ? "written, and its check routine is content, but it is not what the image says"
             : "written to the end and found right by its check routine";
}

/// What to do about the ECU's refusal of a key; empty for another code.
std::string_view KeyAdvice(std::uint8_t response_code) {
  switch (response_code) {
    case kInvalidKey:
      return "find out the right key before another try: the ECU counts wrong keys and closes its "
             "security access after a few";
    case kExceededNumberOfAttempts:
      return "the ECU got too many wrong keys and has closed its security access for a while: "
             "leave it switched on, wait for its delay (seconds to minutes), find out the right "
             "key, then try once; no further key was sent";
    case kRequiredTimeDelayNotExpired:
      return "the ECU still waits out its delay after wrong keys: leave it switched on, wait until "
             "the delay has passed (seconds to minutes), then try once with the right key; no key "
             "was sent";
    default:
      return "";
  }
}

/// What to look at first; empty if nothing is known to be wrong.
std::string_view CauseAdvice(Cause cause) {
  switch (cause) {
    case Cause::kSilence:
      return "look at supply, ignition, wiring and the ECU's identifiers or address";
    case Cause::kUnexpectedReply:
      return "look at what the ECU answered";
    case Cause::kStillBusy:
      return "give the ECU time, or switch it off and on";
    case Cause::kBus:
      return "look at the adapter and its cable, plug it in again";
    case Cause::kKey:
      return "look at what computes the key: no key was sent";
    case Cause::kDifference:
      return "look at the addresses that differ and at the fill byte";
    case Cause::kComponent:
    case Cause::kIncomplete:
      return "this is no fault of the ECU: keep the image and report it";
    default:
      return "";
  }
}

std::string_view MemoryAdvice(const Failure& failure) {
  if (failure.memory == EcuMemory::kUntouched) {
    return "try again";
  }
  if (failure.memory == EcuMemory::kChecked && failure.cause != Cause::kDifference) {
    return "the program is complete; flash again if what was left out is needed";
  }
  return "keep the ECU powered and flash the whole image again, which erases it anew; until then "
         "it has no program to run";
}

/// What must be kept meanwhile; empty if there is nothing.
std::string BackupAdvice(const Failure& failure) {
  return failure.backup.empty() ? ""
                                : "; what the memory held before is in " + failure.backup +
                                      ": keep that file, and flash again without a backup";
}

}  // namespace

std::string StepText(const Failure& failure) {
  std::string text(NameOf(failure.phase));
  if (failure.service) {
    text += ", service " + HexOf(Bytes{*failure.service});
  }
  if (failure.document_step != 0) {
    text += ", step " + std::to_string(failure.document_step) + " of the document";
  }
  return text;
}

std::string EcuStateText(const Failure& failure) {
  return MemoryText(failure) + (failure.session_open
                                    ? "; its session may still be open and ends by itself"
                                    : "; no session is open");
}

std::string AdviceText(const Failure& failure) {
  const std::string_view for_key = failure.phase == Phase::kUnlock && failure.response_code
                                       ? KeyAdvice(*failure.response_code)
                                       : "";
  if (!for_key.empty()) {
    return std::string(for_key);
  }
  const std::string_view for_cause = CauseAdvice(failure.cause);
  std::string text(for_cause);
  return text + (text.empty() ? "" : "; then ") + std::string(MemoryAdvice(failure)) +
         BackupAdvice(failure);
}

}  // namespace quillmark::host
