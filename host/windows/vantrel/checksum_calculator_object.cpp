// SPDX-License-Identifier: MIT
#include "host/windows/vantrel/checksum_calculator_object.h"

#include <array>

#include "host/windows/vantrel/byte_string_object.h"

namespace quillmark::vantrel {
namespace {

enum : DISPID { kReset = 1, kAdd, kStoreInto };

constexpr std::array<com::Member, 3> kMembers = {
    {{L"Reset", kReset}, {L"Add", kAdd, 1}, {L"StoreInto", kStoreInto, 1}}};

}  // namespace

std::span<const com::Member> ChecksumCalculatorObject::Members() const { return kMembers; }

com::Variant ChecksumCalculatorObject::Get(DISPID id, const com::Arguments& arguments) {
  if (id == kReset) {
    calculator_->Reset();
    return {};
  }
  const ByteStringArgument bytes(arguments.Object(0));
  if (id == kAdd) {
    calculator_->Add(*bytes);
  } else {
    calculator_->StoreInto(*bytes);
    bytes.WriteBack();
  }
  return {};
}

}  // namespace quillmark::vantrel
