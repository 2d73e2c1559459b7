// SPDX-License-Identifier: MIT
#include "context/message_table.h"

#include <array>
#include <cstddef>
#include <string>

#include "base/hex.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

constexpr std::int32_t kFirstNumber = error_number::kNotReprogrammable;

/// By number. 4002 is empty and never raised (D21).
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

std::string TextOf(std::int32_t number) {
  return std::string(kMessages.at(static_cast<std::size_t>(number - kFirstNumber)));
}

}  // namespace

void RaiseMessage(std::int32_t number, std::string_view detail) {
  throw Error(number, TextOf(number).append(detail));
}

void RaiseRoutineMessage(std::uint8_t routine, std::string_view detail) {
  constexpr std::string_view kPlaceholder = "{0}";
  std::string text = TextOf(error_number::kRoutineFailed);
  text.replace(text.find(kPlaceholder), kPlaceholder.size(), ShortHexOf(routine));
  throw Error(error_number::kRoutineFailed, text.append(detail));
}

}  // namespace quillmark
