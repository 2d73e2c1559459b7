#include "host/tool/connection.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <stdexcept>

#include "host/tool/interrupt.h"
#include "host/tool/key_command.h"
#include "host/tool/sim_fault.h"

namespace quillmark::host {
namespace {

constexpr const char* kSimulatedBus = "sim:";
constexpr std::int32_t kSecondGatewayAddress = 0x7A;
constexpr std::uint32_t kSecondGatewayLine = 14;

EcuOptions SimulatedEcuFor(const ProgrammerConfig& config, const SessionOptions& session) {
  EcuOptions options;
  options.form = config.form;
  options.request_id = static_cast<std::uint32_t>(config.send_id);
  options.reply_id = static_cast<std::uint32_t>(config.receive_id);
  options.address = static_cast<std::uint8_t>(config.address);
  if (config.address == kSecondGatewayAddress) {
    options.gateway_line = kSecondGatewayLine;
  }
  options.block_size = static_cast<std::uint8_t>(config.block_size);
  options.separation_time = static_cast<std::uint8_t>(config.separation_time);
  options.areas.front().identifier = config.memory;
  options.check_routine = config.check_routine;
  AddSimFaults(session.sim_faults, options.misbehaviour);
  return options;
}

}  // namespace

ProgrammerConfig MakeConfig(const LinkOptions& link, const SessionOptions& session) {
  ProgrammerConfig config;
  config.form = link.form;
  config.receive_id = link.ReceiveId();
  config.send_id = link.SendId();
  config.address = link.Address();
  config.block_size = link.block_size;
  config.separation_time = link.separation_time;
  config.key = session.key_command.empty() ? SimulatedKey : MakeKeyCommand(session.key_command);
  return config;
}

Connection::Connection(const LinkOptions& link, const SessionOptions& session,
                       const ProgrammerConfig& config, const BusTap& tap)
    : platform_(CreatePortablePlatform()) {
  if (session.bus != kSimulatedBus) {
    throw CLI::ValidationError(
        "--bus", fmt::format("expected \"{}\", found \"{}\"", kSimulatedBus, session.bus));
  }
  try {
    ecu_ = std::make_unique<SimulatedEcu>(SimulatedEcuFor(config, session));
    bus_ = std::make_unique<SimulatedBus>(*ecu_, link.Speed());
    tapped_bus_ = tap ? tap(*bus_) : nullptr;
    programmer_ =
        std::make_unique<Programmer>(platform_, tapped_bus_ ? *tapped_bus_ : *bus_, config);
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(error.what());
  }
  programmer_->OnStopRequested(Interrupted);
}

Connection::~Connection() { platform_->WaitForWorkers(); }

}  // namespace quillmark::host
