// SPDX-License-Identifier: MIT
#include "host/tool/connection.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/tool/exit_code.h"
#include "host/tool/image_report.h"
#include "host/tool/interrupt.h"
#include "host/tool/key_command.h"
#include "host/tool/paced_bus.h"
#include "quillmark/host/open_bus.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

/// Raises ToolError (unavailable) for another ECU than the expected one; none is expected if that
/// is empty.
void RequireEcu(const Bytes& expected, const Bytes& record) {
  const ByteView found = WithoutPadding(record);
  if (!expected.empty() &&
      !std::equal(expected.begin(), expected.end(), found.begin(), found.end())) {
    throw ToolError(ExitCode::kUnavailable,
                    fmt::format("expected the ECU {}, found {}; nothing was changed",
                                ExpectedEcuText(expected), ExpectedEcuText(found)),
                    "look at which ECU is connected, and at --expect-ecu");
  }
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
  config.adapts_flow_control = !link.flow_control_is_fixed;
  config.timing = session.timing;
  config.repetition = session.repetition;
  config.tester_present_interval = session.tester_present_interval;
  return config;
}

Connection::Connection(const LinkOptions& link, const SessionOptions& session,
                       const ProgrammerConfig& config, const Surroundings& surroundings,
                       const BusTap& tap)
    : surroundings_(surroundings),
      reporter_(surroundings.reporter),
      platform_(CreatePortablePlatform()),
      ecu_is_simulated_(session.bus.kind == BusKind::kSimulated),
      tester_present_interval_(session.tester_present_interval) {
  ProgrammerConfig with_key = config;
  with_key.key = MakeKey(session);
  try {
    OpenBus(link, session, config);
    ReportAdapter();
    tapped_bus_ = tap ? tap(*bus_) : nullptr;
    programmer_ = std::make_unique<Programmer>(platform_, tapped_bus_ ? *tapped_bus_ : *bus_,
                                               std::move(with_key));
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(error.what());
  }
  programmer_->OnReadBack([this](const MemoryImage& memory) {
    const std::string digest = Sha256Of(memory);
    reporter_.Line(fmt::format("read back SHA-256 {}", digest));
    reporter_.Event(EventKind::kReadBack, {{"sha256", digest}});
  });
  programmer_->OnStopRequested([this] {
    LookForSuspension();
    return surroundings_.stop_requested();
  });
  programmer_->OnWarning([this](const std::string& text) { reporter_.Warning(text); });
  programmer_->OnIdentified(
      [this, expected = session.expected_ecu](const Identification& identification) {
        if (on_identified_) {
          on_identified_(identification);
        }
        RequireEcu(expected, identification.record);
        ecu_is_simulated_ =
            ecu_is_simulated_ || RecordText(identification.record).starts_with("SIMULATED ECU ");
      });
}

void Connection::OpenBus(const LinkOptions& link, const SessionOptions& session,
                         const ProgrammerConfig& config) {
  if (session.bus.kind != BusKind::kSimulated) {
    bus_ = surroundings_.open_bus(session.bus);
    return;
  }
  ecu_ = std::make_unique<SimulatedEcu>(
      SimulatedEcuFor(link, config.memory, config.check_routine, session.faults));
  auto bus = std::make_unique<SimulatedBus>(*ecu_, link.Speed());
  if (session.has_faults) {
    bus->InjectFaults(InjectorOf(session.faults.wire));
  }
  bus_ = std::move(bus);
  if (session.bus.takes_real_time) {
    bus_ = std::make_unique<PacedBus>(std::move(bus_));
  }
}

void Connection::ReportAdapter() {
  const AdapterVersions versions = bus_->Versions();
  if (versions.firmware.empty() && versions.library.empty() && versions.api.empty()) {
    return;
  }
  reporter_.Line(fmt::format("adapter   firmware {}, library {}, API {}", versions.firmware,
                             versions.library, versions.api));
  reporter_.Event(
      EventKind::kAdapter,
      {{"firmware", versions.firmware}, {"library", versions.library}, {"api", versions.api}});
}

KeyFunction Connection::MakeKey(const SessionOptions& session) {
  if (session.key_command.empty()) {
    return [this](const Bytes& seed) { return KeyOfSimulatedEcu(seed); };
  }
  return MakeKeyCommand(session.key_command, session.key_timeout, [this](const std::string& line) {
    reporter_.Line("key       " + line);
    reporter_.Event(EventKind::kKeyCommand, {{"text", line}});
  });
}

void Connection::ShowProgress() {
  programmer_->OnProgress([this](const Progress& progress) {
    if (surroundings_.on_memory) {
      surroundings_.on_memory(progress.memory);
    }
    reporter_.OnProgress(progress);
  });
}

void Connection::LookForSuspension() {
  const auto before = last_look_;
  const auto now = std::chrono::steady_clock::now();
  const auto went_on = LastEndOfSuspension();
  // After a suspension the signal may reach its handler, on another thread, only after this.
  looks_again_ = !looks_again_ && now - before > tester_present_interval_ && went_on <= before;
  if (looks_again_) {
    return;
  }
  last_look_ = now;
  // While simulated time stands still, no session ends.
  if (ecu_ || went_on - before <= tester_present_interval_) {
    return;
  }
  const auto time = std::chrono::duration_cast<Duration>(went_on - before);
  reporter_.Line(
      fmt::format("suspended for {} without tester present: the ECU may have ended the session",
                  TimeText(time)));
  reporter_.Event(EventKind::kSuspended, {{"seconds", SecondsOf(time)}});
}

Bytes Connection::KeyOfSimulatedEcu(const Bytes& seed) const {
  if (!ecu_is_simulated_) {
    throw ToolError(ExitCode::kUnavailable,
                    "this is no simulated ECU, its key comes from --key-command");
  }
  return SimulatedKey(seed);
}

Connection::~Connection() {
  LookForSuspension();
  platform_->WaitForWorkers();
}

}  // namespace quillmark::host
