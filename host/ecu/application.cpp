// SPDX-License-Identifier: MIT
#include "host/ecu/application.h"

#include <utility>

#include "host/ecu/negative_response.h"

namespace quillmark::host {
namespace {

namespace service {
constexpr std::uint8_t kSessionControl = 0x10;
constexpr std::uint8_t kReadRecord = 0x21;
constexpr std::uint8_t kSecurityAccess = 0x27;
constexpr std::uint8_t kRoutine = 0x31;
constexpr std::uint8_t kDownload = 0x34;
constexpr std::uint8_t kUpload = 0x35;
constexpr std::uint8_t kTesterPresent = 0x3E;
constexpr std::uint8_t kStartCommunication = 0x81;
constexpr std::uint8_t kStopCommunication = 0x82;
}  // namespace service

Bytes NegativeResponse(std::uint8_t service, ResponseCode code) {
  return {0x7F, service, static_cast<std::uint8_t>(code)};
}

void RequireSize(ByteView request, std::size_t size) {
  if (request.size() != size) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
}

}  // namespace

Application::Application(const EcuOptions& options)
    : form_(options.form),
      timing_(options.timing),
      pending_(options.misbehaviour.pending),
      busy_(options.misbehaviour.busy),
      refused_(options.misbehaviour.refused),
      records_(options),
      security_(options),
      programming_(options, records_) {}

std::vector<TimedMessage> Application::OnRequest(ByteView request, Duration now) {
  if (!InSession(now)) {
    Enter(Session::kDefault);
  }
  const bool hears_all = form_ == TransportForm::kPlainCan || session_ != Session::kDefault;
  if (!hears_all && request[0] != service::kStartCommunication) {
    return {};
  }
  return Schedule(request[0], ReplyTo(request, now), now);
}

bool Application::InSession(Duration now) const {
  return session_ != Session::kDefault && now <= lapses_at_;
}

void Application::Reset() {
  Enter(Session::kDefault);
  programming_.Reset();
}

Bytes Application::ReplyTo(ByteView request, Duration now) {
  try {
    RefuseIfToldTo(request[0]);
    return PositiveReplyTo(request, now);
  } catch (const Refusal& refusal) {
    return NegativeResponse(request[0], refusal.code());
  }
}

void Application::RefuseIfToldTo(std::uint8_t service) {
  if (const auto code = std::exchange(refuse_next_, std::nullopt)) {
    throw Refusal(static_cast<ResponseCode>(*code));
  }
  if (const auto refused = refused_.find(service); refused != refused_.end()) {
    throw Refusal(static_cast<ResponseCode>(refused->second));
  }
  if (const auto busy = busy_.find(service); busy != busy_.end() && busy->second > 0) {
    --busy->second;
    throw Refusal(ResponseCode::kBusyRepeatRequest);
  }
}

Bytes Application::PositiveReplyTo(ByteView request, Duration now) {
  switch (request[0]) {
    case service::kSessionControl:
      return OnSessionControl(request);
    case service::kStartCommunication:
    case service::kStopCommunication:
      return OnCommunication(request);
    case service::kTesterPresent:
      return OnTesterPresent(request);
    case service::kReadRecord:
      return OnReadRecord(request);
    case service::kSecurityAccess:
      Require(Session::kProgramming);
      return security_.OnRequest(request, now);
    case service::kRoutine:
    case service::kDownload:
    case service::kUpload:
      return OnProgramming(request, now);
    default:
      throw Refusal(ResponseCode::kServiceNotSupported);
  }
}

Bytes Application::OnSessionControl(ByteView request) {
  if (form_ != TransportForm::kPlainCan) {
    throw Refusal(ResponseCode::kServiceNotSupported);
  }
  RequireSize(request, 2);
  switch (request[1]) {
    case 0x81:
      Enter(Session::kDefault);
      break;
    case 0xC0:
      Enter(Session::kDiagnostic);
      break;
    case 0x85:
      Enter(Session::kProgramming);
      break;
    default:
      throw Refusal(ResponseCode::kSubFunctionNotSupported);
  }
  return {0x50, request[1]};
}

Bytes Application::OnCommunication(ByteView request) {
  if (form_ == TransportForm::kPlainCan) {
    throw Refusal(ResponseCode::kServiceNotSupported);
  }
  RequireSize(request, 1);
  if (request[0] == service::kStopCommunication) {
    Enter(Session::kDefault);
    return {0xC2};
  }
  Enter(Session::kProgramming);
  // Key bytes: length in the format byte or in a byte of its own, header with both addresses.
  return {0xC1, 0x6B, 0x8F};
}

Bytes Application::OnTesterPresent(ByteView request) const {
  RequireSize(request, 1);
  return {0x7E};
}

Bytes Application::OnReadRecord(ByteView request) const {
  Require(Session::kDiagnostic);
  RequireSize(request, 2);
  const Bytes& record = records_.Read(request[1]);
  Bytes reply{0x61, request[1]};
  reply.insert(reply.end(), record.begin(), record.end());
  return reply;
}

Bytes Application::OnProgramming(ByteView request, Duration now) {
  Require(Session::kProgramming);
  if (!security_.unlocked()) {
    throw Refusal(ResponseCode::kSecurityAccessDenied);
  }
  switch (request[0]) {
    case service::kRoutine:
      return programming_.OnRoutine(request, now);
    case service::kDownload:
      return programming_.OnDownload(request, now);
    default:
      return programming_.OnUpload(request, now);
  }
}

std::vector<TimedMessage> Application::Schedule(std::uint8_t service, Bytes reply, Duration now) {
  const bool on_k_line = form_ == TransportForm::kKLine;
  Duration due = now + (on_k_line ? timing_.k_line_answer_delay : timing_.answer_delay);
  std::vector<TimedMessage> replies;
  const auto pending = pending_.find(service);
  for (int left = pending == pending_.end() ? 0 : pending->second; left > 0; --left) {
    replies.push_back({due, NegativeResponse(service, ResponseCode::kResponsePending)});
    due += timing_.pending_interval;
  }
  replies.push_back({due, std::move(reply)});
  lapses_at_ = due + timing_.session_timeout;
  return replies;
}

void Application::Enter(Session session) {
  session_ = session;
  security_.Lock();
  programming_.StopRoutines();
}

void Application::Require(Session session) const {
  if (session_ < session) {
    throw Refusal(ResponseCode::kServiceNotSupportedInSession);
  }
}

}  // namespace quillmark::host
