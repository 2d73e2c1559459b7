// SPDX-License-Identifier: MIT
#include "campaign/workbench.h"

#include <algorithm>
#include <iomanip>
#include <utility>

#include "host/ecu/flash_memory.h"

namespace quillmark::campaign {
namespace {

using host::ByteView;
using host::Duration;

/// Longer than a session, a pending answer or a delayed frame can last.
constexpr std::chrono::seconds kPause{120};

host::EcuOptions WithBadCells(const Scenario& scenario) {
  host::EcuOptions options = scenario.ecu;
  for (const Fault& fault : scenario.faults) {
    if (fault.kind == FaultKind::kBadCell || fault.kind == FaultKind::kUnseenBadCell) {
      options.misbehaviour.bad_cells.insert(fault.detail);
    }
    options.misbehaviour.blind_check |= fault.kind == FaultKind::kUnseenBadCell;
  }
  return options;
}

}  // namespace

Workbench::Workbench(const Scenario& scenario)
    : scenario_(scenario),
      ecu_(std::make_unique<host::SimulatedEcu>(WithBadCells(scenario))),
      bus_(*this),
      programmer_(platform_, bus_, ConfigWithHook()) {
  for (const Segment& segment : scenario.image) {
    const std::shared_ptr<ByteString> bytes = platform_->CreateByteString();
    bytes->SetHex(host::HexOf(segment.bytes));
    bytes->SetStartAddress(static_cast<std::int32_t>(segment.address));
    image_->AddSegment(*bytes);
  }
  programmer_.OnProgress(
      [this](const host::Progress& progress) { injection_->OnProgress(progress); });
  programmer_.OnStopRequested([this] { return injection_->StopRequested(); });
  bus_.InjectFaults([this](const host::FrameOnWire& frame) { return injection_->OnFrame(frame); });
}

Outcome Workbench::FlashWithFaults() {
  Outcome outcome = Flash(scenario_.faults);
  const std::vector<FaultKind> cells = BadCells();
  outcome.faults.insert(outcome.faults.end(), cells.begin(), cells.end());
  return outcome;
}

Outcome Workbench::FlashAgain() {
  injection_.emplace(std::vector<Fault>{}, FaultInjection::Surroundings{});
  bus_.Wait(kPause);
  ecu_->RefuseNext(std::nullopt);
  while (bus_.Receive(std::chrono::milliseconds(0))) {
    // Whoever opens a bus finds no frames from before.
  }
  if (!BadCells().empty()) {
    ecu_ = std::make_unique<host::SimulatedEcu>(scenario_.ecu);
  }
  return Flash({});
}

void Workbench::ShowFrames(std::ostream& out) {
  bus_.OnFrame([&out](const host::Exchange&, const host::FrameOnWire& frame) {
    const std::chrono::duration<double, std::milli> at = frame.at;
    out << std::fixed << std::setprecision(3) << std::setw(12) << at.count()
        << (frame.direction == host::Direction::kToEcu ? " > " : " < ") << host::HexOf(frame.data)
        << '\n';
  });
}

host::ProgrammerConfig Workbench::ConfigWithHook() {
  host::ProgrammerConfig config = scenario_.config;
  config.key = [this](const host::Bytes& seed) -> std::optional<host::Bytes> {
    if (!injection_->OnKey()) {
      bus_.Wait(std::chrono::seconds(1));
      return std::nullopt;
    }
    return host::SimulatedKey(seed);
  };
  return config;
}

Outcome Workbench::Flash(std::vector<Fault> faults) {
  injection_.emplace(std::move(faults),
                     FaultInjection::Surroundings{
                         .form = scenario_.ecu.form,
                         .address = scenario_.ecu.address,
                         .reset_ecu = [this] { ecu_->Reset(bus_.Now()); },
                         .refuse_next = [this](std::uint8_t code) { ecu_->RefuseNext(code); }});
  const std::uint64_t changes = ecu_->memory_changes();
  Outcome outcome;
  TryFlash(outcome);
  outcome.phase = injection_->phase();
  outcome.faults = injection_->happened();
  outcome.memory_is_right = MemoryIsRight();
  outcome.memory_was_changed = ecu_->memory_changes() != changes;
  return outcome;
}

void Workbench::TryFlash(Outcome& outcome) {
  host::Programmer::ProgramOptions options{.verify = scenario_.verify};
  if (scenario_.backup) {
    options.backup = [&](const MemoryImage& memory) { KeepBackup(memory, outcome); };
  }
  try {
    programmer_.Program(image_, options);
    outcome.succeeded = true;
  } catch (const host::ProgrammingError& error) {
    outcome.failure = error.failure();
    outcome.message = error.what();
  } catch (const HostFailure& error) {
    outcome.host_failed = true;
    outcome.message = error.what();
  }
}

/// An upload's segments are those of its replies, so the bytes of all are put together.
void Workbench::KeepBackup(const MemoryImage& memory, Outcome& outcome) {
  injection_->OnBackup();
  std::string kept;
  for (const auto& segment : memory.Segments()) {
    kept += segment->Hex();
  }
  std::string held;
  for (const Segment& segment : scenario_.image) {
    held += host::HexOf(ecu_->ReadMemory(segment.address, segment.bytes.size()));
  }
  outcome.backup_was_kept = true;
  outcome.backup_is_right = kept == held;
}

bool Workbench::MemoryIsRight() const {
  return std::all_of(scenario_.image.begin(), scenario_.image.end(), [&](const Segment& segment) {
    return ecu_->ReadMemory(segment.address, segment.bytes.size()) == segment.bytes;
  });
}

/// A cell that should stay erased is not a fault.
std::vector<FaultKind> Workbench::BadCells() const {
  std::vector<FaultKind> cells;
  for (const Fault& fault : scenario_.faults) {
    for (const Segment& segment : scenario_.image) {
      const std::uint32_t at = fault.detail - segment.address;
      const bool concerned =
          fault.kind == FaultKind::kBadCell || fault.kind == FaultKind::kUnseenBadCell;
      if (concerned && at < segment.bytes.size() &&
          segment.bytes[at] != host::FlashMemory::kErased) {
        cells.push_back(fault.kind);
      }
    }
  }
  return cells;
}

bool Workbench::Hears(const host::Exchange& exchange) const { return ecu_->Hears(exchange); }

void Workbench::OnFrame(ByteView frame, Duration now) { ecu_->OnFrame(frame, now); }

void Workbench::OnBreak(Duration low, Duration now) { ecu_->OnBreak(low, now); }

std::optional<Duration> Workbench::NextDue() const { return ecu_->NextDue(); }

host::Bytes Workbench::TakeFrame(Duration now) { return ecu_->TakeFrame(now); }

}  // namespace quillmark::campaign
