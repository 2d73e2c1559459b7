// SPDX-License-Identifier: MIT
#include "quillmark/host/simulated_ecu.h"

#include "host/ecu/application.h"
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

ProgrammerConfig ConfigFor(const EcuOptions& ecu) {
  ProgrammerConfig config;
  config.form = ecu.form;
  config.receive_id = static_cast<std::int32_t>(ecu.reply_id);
  config.send_id = static_cast<std::int32_t>(ecu.request_id);
  config.address = ecu.address;
  config.memory = ecu.areas.empty() ? std::uint8_t{0} : ecu.areas.front().identifier;
  config.check_routine = ecu.check_routine;
  config.key = ecu.key;
  config.checksum = ecu.checksum;
  return config;
}

class SimulatedEcu::Parts {
 public:
  explicit Parts(const EcuOptions& options)
      : options_(options),
        exchange_(ExchangeOf(options)),
        application_(options),
        transport_(MakeTransport(options, application_)) {}

  void Reset(Duration now) {
    application_.Reset();
    transport_ = MakeTransport(options_, application_);
    booted_at_ = now + options_.timing.boot_time;
  }

  /// Neither before it has booted nor while it is silent does an ECU react to anything.
  [[nodiscard]] bool Deaf(Duration now) const {
    return options_.misbehaviour.silent || (booted_at_ && now < *booted_at_);
  }

  [[nodiscard]] const Exchange& exchange() const { return exchange_; }
  [[nodiscard]] Application& application() { return application_; }
  [[nodiscard]] EcuTransport& transport() { return *transport_; }

 private:
  EcuOptions options_;
  Exchange exchange_;
  Application application_;
  std::unique_ptr<EcuTransport> transport_;
  std::optional<Duration> booted_at_;
};

SimulatedEcu::SimulatedEcu(const EcuOptions& options) : parts_(std::make_unique<Parts>(options)) {}

SimulatedEcu::~SimulatedEcu() = default;

Bytes SimulatedEcu::ReadMemory(std::uint32_t address, std::size_t count) const {
  return parts_->application().flash().Read(address, count);
}

std::uint64_t SimulatedEcu::memory_changes() const {
  return parts_->application().flash().changes();
}

std::uint32_t SimulatedEcu::blocks_written() const {
  return parts_->application().blocks_written();
}

const std::deque<HistoryEntry>& SimulatedEcu::history() const {
  return parts_->application().records().history();
}

bool SimulatedEcu::InSession(Duration now) const { return parts_->application().InSession(now); }

void SimulatedEcu::Reset(Duration now) { parts_->Reset(now); }

void SimulatedEcu::RefuseNext(std::optional<std::uint8_t> code) {
  parts_->application().RefuseNext(code);
}

const Exchange& SimulatedEcu::exchange() const { return parts_->exchange(); }

bool SimulatedEcu::Hears(const Exchange& exchange) const { return exchange == parts_->exchange(); }

void SimulatedEcu::OnFrame(ByteView frame, Duration now) {
  if (!parts_->Deaf(now)) {
    parts_->transport().OnFrame(frame, now);
  }
}

void SimulatedEcu::OnBreak(Duration low, Duration now) {
  if (!parts_->Deaf(now)) {
    parts_->transport().OnBreak(low, now);
  }
}

std::optional<Duration> SimulatedEcu::NextDue() const { return parts_->transport().NextDue(); }

Bytes SimulatedEcu::TakeFrame(Duration now) { return parts_->transport().TakeFrame(now); }

}  // namespace quillmark::host
