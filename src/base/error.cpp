// SPDX-License-Identifier: MIT
#include "quillmark/error.h"

#include <utility>

#include "quillmark/version.h"

namespace quillmark {

Error::Error(std::int32_t number) : Error(number, DefaultDescription(number)) {}

Error::Error(std::int32_t number, std::string description)
    : number_(number), description_(std::move(description)) {}

std::string Error::DefaultDescription(std::int32_t number) {
  switch (number) {
    case error_number::kOverflow:
      return "Overflow";
    case error_number::kOutOfMemory:
      return "Out of memory";
    case error_number::kSubscriptOutOfRange:
      return "Subscript out of range";
    case error_number::kDivisionByZero:
      return "Division by zero";
    case error_number::kTypeMismatch:
      return "Type mismatch";
    case error_number::kObjectNotSet:
      return "Object variable or With block variable not set";
    default:
      return "Application-defined or object-defined error";
  }
}

const char* Version() noexcept { return QUILLMARK_VERSION; }

}  // namespace quillmark
