// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/ecu/can_transport.h"
#include "host/ecu/gateway_transport.h"
#include "host/ecu/k_line_transport.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::fuzz {

/// The simulated ECU's own transport decoders with services controlled by a fuzzer: it records each
/// request that it understood and gives the reply that it is told to give.
class ScriptedEcu : public host::SimulatedNode, private host::MessageHandler {
 public:
  using Reply = std::function<host::Bytes(const host::Bytes& request)>;

  ScriptedEcu(const host::EcuOptions& options, const host::Exchange& exchange, Reply reply)
      : exchange_(exchange), reply_(std::move(reply)), transport_(MakeTransport(options)) {}

  /// What was understood since the last call of this.
  [[nodiscard]] std::vector<host::Bytes> TakeRequests() { return std::exchange(requests_, {}); }

  [[nodiscard]] bool Hears(const host::Exchange& exchange) const override {
    return exchange == exchange_;
  }
  void OnFrame(host::ByteView frame, host::Duration now) override {
    transport_->OnFrame(frame, now);
  }
  void OnBreak(host::Duration low, host::Duration now) override { transport_->OnBreak(low, now); }
  [[nodiscard]] std::optional<host::Duration> NextDue() const override {
    return transport_->NextDue();
  }
  host::Bytes TakeFrame(host::Duration now) override { return transport_->TakeFrame(now); }

 private:
  std::vector<host::TimedMessage> OnRequest(host::ByteView request, host::Duration now) override {
    requests_.emplace_back(request.begin(), request.end());
    return {{now, reply_(requests_.back())}};
  }
  [[nodiscard]] bool InSession(host::Duration /*now*/) const override { return true; }

  std::unique_ptr<host::EcuTransport> MakeTransport(const host::EcuOptions& options) {
    host::MessageHandler& services = *this;
    switch (options.form) {
      case host::TransportForm::kPlainCan:
        return std::make_unique<host::CanTransport>(options, services);
      case host::TransportForm::kGateway:
        return std::make_unique<host::GatewayTransport>(options, services);
      default:
        return std::make_unique<host::KLineTransport>(options, services);
    }
  }

  host::Exchange exchange_;
  Reply reply_;
  std::vector<host::Bytes> requests_;
  std::unique_ptr<host::EcuTransport> transport_;
};

}  // namespace quillmark::fuzz
