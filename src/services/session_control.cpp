// SPDX-License-Identifier: MIT
#include <array>
#include <cstdint>

#include "base/hex.h"
#include "context/request.h"
#include "services/services.h"

namespace quillmark::services {
namespace {

/// Break and wait before the first message on a K line, in milliseconds.
constexpr std::int32_t kWakeUpTime = 25;

/// The records of the history in the order in which they are read: the first two entries, then the
/// others, starting with the latest; for each entry the history record and the reprogramming
/// record.
constexpr std::array<std::uint8_t, 16> kHistoryIdentifiers = {
    0xF0, 0xF1, 0xFE, 0xFF, 0xFC, 0xFD, 0xFA, 0xFB, 0xF8, 0xF9, 0xF6, 0xF7, 0xF4, 0xF5, 0xF2, 0xF3};
constexpr std::uint8_t kIdentification = 0x80;

void AddReadRecord(Request& document, std::uint8_t identifier) {
  document.AddStep(Octets(0x21, identifier), Octets(0x61, identifier), kRecordReplyLength);
}

}  // namespace

std::shared_ptr<DOMDocument> StartDiag(Context& context) {
  const TransportForm form = context.Form();
  const bool plain_can = form == TransportForm::kPlainCan;

  Request document(context);
  if (form == TransportForm::kKLine) {
    document.AddWakeUp(kWakeUpTime);
  }
  if (plain_can) {
    document.AddStep(Octets(0x10, 0xC0), Octets(0x50, 0xC0), 2);
  } else {
    document.AddStep(Octets(0x81), Octets(0xC1), 3);
  }
  AddReadRecord(document, kIdentification);
  if (plain_can) {
    document.AddStep(Octets(0x10, 0x85), Octets(0x50, 0x85), 2);
  }
  for (const std::uint8_t identifier : kHistoryIdentifiers) {
    AddReadRecord(document, identifier);
  }
  if (form == TransportForm::kGateway) {
    document.AddStep(Octets(0x82), Octets(0xC2), 1);
  }
  return document.Finish();
}

std::shared_ptr<DOMDocument> TesterPresent(Context& context) {
  return SingleStepRequest(context, Octets(0x3E), Octets(0x7E), 1);
}

std::shared_ptr<DOMDocument> stopcomm(Context& context) {
  if (context.Form() == TransportForm::kPlainCan) {
    return SingleStepRequest(context, Octets(0x10, 0x81), Octets(0x50, 0x81), 2);
  }
  return SingleStepRequest(context, Octets(0x82), Octets(0xC2), 1);
}

}  // namespace quillmark::services
