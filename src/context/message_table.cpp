// SPDX-License-Identifier: MIT
#include "context/message_table.h"

#include <array>
#include <cstddef>
#include <string>

#include "base/hex.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

constexpr std::array<std::string_view, 13> kMessages = {
    "Ecu is not reprogrammable",
    "SA#1 error ",
    "",
    "Start erase error ",
    "Erase error ",
    "Download error ",
    "Start routine {0}H error ",
    "Upload error",
    "Write log zone error ",
    "Diag On CAN STmin can't be negative.",
    "Diag On CAN STmin can't exceed 255.",
    "Diag On CAN BS can't be negative.",
    "Diag On CAN BS can't exceed 255.",
};

std::int32_t NumberOf(Message message) {
  return error_number::kFirstMessage + static_cast<std::int32_t>(message);
}

std::string_view TextOf(Message message) { return kMessages.at(static_cast<std::size_t>(message)); }

}  // namespace

void RaiseMessage(Message message, std::string_view detail) {
  throw Error(NumberOf(message), std::string(TextOf(message)).append(detail));
}

void RaiseRoutineMessage(std::uint8_t routine, std::string_view detail) {
  constexpr std::string_view kPlaceholder = "{0}";
  std::string text(TextOf(Message::kStartRoutine));
  text.replace(text.find(kPlaceholder), kPlaceholder.size(), ShortHexOf(routine));
  throw Error(NumberOf(Message::kStartRoutine), text.append(detail));
}

}  // namespace quillmark
