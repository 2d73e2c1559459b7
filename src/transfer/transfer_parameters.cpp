// SPDX-License-Identifier: MIT
#include "transfer/transfer_parameters.h"

#include <variant>

#include "base/checked.h"
#include "base/guards.h"
#include "quillmark/error.h"
#include "transfer/transfer_documents.h"

namespace quillmark::transfer {
namespace {

const Parameter& ParameterAt(ParameterList parameters, std::size_t index) {
  if (index >= parameters.size()) {
    throw Error(error_number::kSubscriptOutOfRange);
  }
  return parameters[index];
}

std::uint8_t ByteParameter(ParameterList parameters, std::size_t index) {
  return checked::ToByte(LongParameter(parameters, index));
}

std::shared_ptr<DOMDocument> DocumentParameter(ParameterList parameters, std::size_t index) {
  const Parameter& parameter = ParameterAt(parameters, index);
  const auto* const document = std::get_if<const std::shared_ptr<DOMDocument>*>(&parameter);
  if (document == nullptr) {
    throw Error(error_number::kTypeMismatch);
  }
  return NotNull(Require(*document));
}

}  // namespace

std::int32_t LongParameter(ParameterList parameters, std::size_t index) {
  const Parameter& parameter = ParameterAt(parameters, index);
  if (const auto* const value = std::get_if<const std::int32_t*>(&parameter)) {
    return Require(*value);
  }
  if (const auto* const value = std::get_if<const std::uint8_t*>(&parameter)) {
    return Require(*value);
  }
  throw Error(error_number::kTypeMismatch);
}

TransferParameters ReadParameters(ParameterList parameters) {
  TransferParameters read;
  read.document = DocumentParameter(parameters, 2);
  read.root_name = Require(read.document->documentElement()).nodeName();
  const bool is_image = read.root_name == kImageRoot;
  if (is_image || read.root_name == kMapRoot) {
    read.RL = ByteParameter(parameters, 3);
  }
  if (is_image) {
    read.FillByte = ByteParameter(parameters, 4);
    read.IMod = LongParameter(parameters, 5);
    read.MaxSize = LongParameter(parameters, 6);
    read.BS = LongParameter(parameters, 7);
    read.STMin = LongParameter(parameters, 8);
  }
  return read;
}

}  // namespace quillmark::transfer
