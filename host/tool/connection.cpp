// SPDX-License-Identifier: MIT
#include "host/tool/connection.h"

#include <CLI/Error.hpp>
#include <stdexcept>
#include <utility>

#include "host/adapters/open_bus.h"
#include "host/bus/simulated_bus.h"
#include "host/tool/exit_code.h"
#include "host/tool/interrupt.h"
#include "host/tool/key_command.h"
#include "host/tool/simulated_ecu_options.h"
#include "host/tool/text.h"

namespace quillmark::host {

ProgrammerConfig MakeConfig(const LinkOptions& link, const SessionOptions& session) {
  ProgrammerConfig config;
  config.form = link.form;
  config.receive_id = link.ReceiveId();
  config.send_id = link.SendId();
  config.address = link.Address();
  config.block_size = link.block_size;
  config.separation_time = link.separation_time;
  config.timing = session.timing;
  config.tester_present_interval = session.tester_present_interval;
  if (!session.key_command.empty()) {
    config.key = MakeKeyCommand(session.key_command);
  }
  return config;
}

Connection::Connection(const LinkOptions& link, const SessionOptions& session,
                       const ProgrammerConfig& config, const BusTap& tap)
    : platform_(CreatePortablePlatform()),
      ecu_is_simulated_(session.bus.kind == BusKind::kSimulated) {
  ProgrammerConfig with_key = config;
  if (!with_key.key) {
    with_key.key = [this](const Bytes& seed) { return KeyOfSimulatedEcu(seed); };
  }
  try {
    OpenBus(link, session, config);
    tapped_bus_ = tap ? tap(*bus_) : nullptr;
    programmer_ = std::make_unique<Programmer>(platform_, tapped_bus_ ? *tapped_bus_ : *bus_,
                                               std::move(with_key));
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(error.what());
  }
  programmer_->OnStopRequested(Interrupted);
  programmer_->OnIdentified([this](const Identification& identification) {
    ecu_is_simulated_ =
        ecu_is_simulated_ || RecordText(identification.record).starts_with("SIMULATED ECU ");
  });
}

void Connection::OpenBus(const LinkOptions& link, const SessionOptions& session,
                         const ProgrammerConfig& config) {
  if (session.bus.kind != BusKind::kSimulated) {
    bus_ = host::OpenBus(session.bus);
    return;
  }
  ecu_ = std::make_unique<SimulatedEcu>(
      SimulatedEcuFor(link, config.memory, config.check_routine, session.faults));
  auto bus = std::make_unique<SimulatedBus>(*ecu_, link.Speed());
  bus->InjectFaults(InjectorOf(session.faults.wire));
  bus_ = std::move(bus);
}

Bytes Connection::KeyOfSimulatedEcu(const Bytes& seed) const {
  if (!ecu_is_simulated_) {
    throw ToolError(ExitCode::kUnavailable,
                    "this is no simulated ECU, its key comes from --key-command");
  }
  return SimulatedKey(seed);
}

Connection::~Connection() { platform_->WaitForWorkers(); }

}  // namespace quillmark::host
