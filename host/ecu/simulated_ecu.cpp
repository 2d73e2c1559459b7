// SPDX-License-Identifier: MIT
#include "host/ecu/simulated_ecu.h"

#include "host/ecu/can_transport.h"
#include "host/ecu/gateway_transport.h"
#include "host/ecu/k_line_transport.h"

namespace quillmark::host {
namespace {

/// As a tester addresses the ECU.
Exchange ExchangeOf(const EcuOptions& options) {
  switch (options.form) {
    case TransportForm::kPlainCan:
      return {options.form, options.reply_id, options.request_id};
    case TransportForm::kGateway:
      return {options.form, options.gateway_channel, options.gateway_line};
    default:
      return {options.form, 0, 0};
  }
}

std::unique_ptr<EcuTransport> MakeTransport(const EcuOptions& options, MessageHandler& handler) {
  switch (options.form) {
    case TransportForm::kPlainCan:
      return std::make_unique<CanTransport>(options, handler);
    case TransportForm::kGateway:
      return std::make_unique<GatewayTransport>(options, handler);
    default:
      return std::make_unique<KLineTransport>(options, handler);
  }
}

}  // namespace

SimulatedEcu::SimulatedEcu(const EcuOptions& options)
    : options_(options),
      exchange_(ExchangeOf(options)),
      application_(options),
      transport_(MakeTransport(options, application_)) {}

void SimulatedEcu::Reset(Duration now) {
  application_.Reset();
  transport_ = MakeTransport(options_, application_);
  booted_at_ = now + options_.timing.boot_time;
}

bool SimulatedEcu::Hears(const Exchange& exchange) const { return exchange == exchange_; }

void SimulatedEcu::OnFrame(ByteView frame, Duration now) {
  if (!Deaf(now)) {
    transport_->OnFrame(frame, now);
  }
}

void SimulatedEcu::OnBreak(Duration low, Duration now) {
  if (!Deaf(now)) {
    transport_->OnBreak(low, now);
  }
}

std::optional<Duration> SimulatedEcu::NextDue() const { return transport_->NextDue(); }

Bytes SimulatedEcu::TakeFrame(Duration now) { return transport_->TakeFrame(now); }

bool SimulatedEcu::Deaf(Duration now) const {
  return options_.misbehaviour.silent || (booted_at_ && now < *booted_at_);
}

}  // namespace quillmark::host
