// SPDX-License-Identifier: MIT
#include "campaign/scenario.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quillmark::campaign {
namespace {

/// Numbers that follow from a seed, the same with every standard library (SplitMix64).
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}

  [[nodiscard]] std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t value = state_;
    value = (value ^ value >> 30U) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27U) * 0x94D049BB133111EBU;
    return value ^ value >> 31U;
  }

  /// 0 to `count` - 1.
  [[nodiscard]] std::uint32_t Below(std::uint32_t count) {
    return static_cast<std::uint32_t>(Next() % count);
  }

  [[nodiscard]] bool OneIn(std::uint32_t count) { return Below(count) == 0; }

  /// 0 to 2 to the power of `bits` - 1, small numbers far more often than large ones.
  [[nodiscard]] std::uint32_t MostlySmall(std::uint32_t bits) {
    return Below(1U << Below(bits + 1));
  }

  template <typename Type, std::size_t kSize>
  [[nodiscard]] const Type& Pick(const std::array<Type, kSize>& values) {
    return values[Below(kSize)];
  }

 private:
  std::uint64_t state_;
};

using host::Bytes;
using host::Phase;
using host::TransportForm;

constexpr std::uint8_t kErased = 0xFF;
constexpr std::uint8_t kEraseRoutine = 0x81;
constexpr std::uint8_t kLogZone = 0x83;
/// Of a transient delay, in ms: half as long again as the tester waits.
constexpr std::uint32_t kLongestDelay = 1500;

std::uint8_t AnyByteBut(Dice& dice, std::uint8_t excluded) {
  const auto byte = static_cast<std::uint8_t>(dice.Below(255));
  return byte < excluded ? byte : static_cast<std::uint8_t>(byte + 1);
}

Bytes RandomBytes(Dice& dice, std::size_t count) {
  Bytes bytes(count);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(dice.Next()); });
  return bytes;
}

std::uint8_t KLineAddress(Dice& dice) {
  const auto address = static_cast<std::uint8_t>(dice.Below(256));
  return address == 0x6E || address == 0x7A ? 0x11 : address;
}

void ChooseAddressing(Dice& dice, std::optional<TransportForm> form, Scenario& scenario) {
  constexpr std::array kForms = {TransportForm::kPlainCan, TransportForm::kGateway,
                                 TransportForm::kKLine};
  scenario.ecu.form = scenario.config.form = form ? *form : dice.Pick(kForms);
  if (scenario.ecu.form == TransportForm::kPlainCan) {
    const std::uint32_t identifiers = dice.OneIn(4) ? 0x1FFFFFFF : 0x7FF;
    scenario.ecu.reply_id = 1 + dice.Below(identifiers);
    scenario.ecu.request_id = 1 + dice.Below(identifiers - 1);
    scenario.ecu.request_id += scenario.ecu.request_id >= scenario.ecu.reply_id ? 1 : 0;
  } else if (scenario.ecu.form == TransportForm::kGateway) {
    scenario.ecu.address = dice.OneIn(2) ? 0x6E : 0x7A;
    scenario.ecu.gateway_line = scenario.ecu.address == 0x6E ? 13 : 14;
  } else {
    scenario.ecu.address = KLineAddress(dice);
  }
  scenario.config.receive_id = static_cast<std::int32_t>(scenario.ecu.reply_id);
  scenario.config.send_id = static_cast<std::int32_t>(scenario.ecu.request_id);
  scenario.config.address = scenario.ecu.address;
}

void ChooseParameters(Dice& dice, Scenario& scenario) {
  constexpr std::array kBlockSizes = {0, 1, 1, 2, 8, 255};
  constexpr std::array kSeparationTimes = {0, 0, 0, 1, 5, 20};
  constexpr std::array kAlignments = {1, 2, 4, 16, 16, 64, 1000};
  host::ProgrammerConfig& config = scenario.config;
  host::EcuOptions& ecu = scenario.ecu;

  config.block_size = dice.Pick(kBlockSizes);
  config.separation_time = dice.Pick(kSeparationTimes);
  ecu.block_size = static_cast<std::uint8_t>(config.block_size);
  ecu.separation_time = static_cast<std::uint8_t>(config.separation_time);

  config.memory = AnyByteBut(dice, kLogZone);
  ecu.areas = {{.identifier = config.memory, .content = static_cast<std::uint8_t>(dice.Next())}};
  config.check_routine = AnyByteBut(dice, kEraseRoutine);
  ecu.check_routine = config.check_routine;
  ecu.timing.erase_time = std::chrono::milliseconds(100 * dice.Below(4));
  ecu.timing.check_time = std::chrono::milliseconds(100 * dice.Below(3));
  ecu.history.resize(2 + dice.Below(7));
  ecu.first_seed = static_cast<std::uint32_t>(dice.Next()) | 1U;

  config.alignment = dice.Pick(kAlignments);
  const std::uint32_t most = config.form == TransportForm::kPlainCan ? 255 : 247;
  config.max_block = static_cast<std::int32_t>(1 + dice.Below(most));
  if (dice.OneIn(2)) {
    config.log_record = RandomBytes(dice, 48);
  }
  config.key = host::SimulatedKey;
  scenario.verify = !dice.OneIn(4);
  scenario.backup = dice.OneIn(3);
  ecu.write_once = dice.OneIn(2);
  config.repetition.most = dice.OneIn(2) ? 0 : config.repetition.most;
}

/// Random bytes with stretches of fill.
Bytes Content(Dice& dice, std::uint32_t size) {
  Bytes bytes = RandomBytes(dice, size);
  for (std::uint32_t stretches = dice.Below(3); stretches > 0; --stretches) {
    const std::uint32_t start = dice.Below(size);
    const std::uint32_t count = std::min(size - start, dice.MostlySmall(12));
    std::fill_n(bytes.begin() + start, count, kErased);
  }
  return bytes;
}

/// More than one transfer document now and then; few blocks where blocks are small.
std::uint32_t SegmentSize(Dice& dice, std::int32_t max_block) {
  constexpr std::int32_t kBlocks = 24;
  if (max_block >= 128 && dice.OneIn(100)) {
    return 33'000 + dice.Below(40'000);
  }
  return 1 + std::min(dice.MostlySmall(12), static_cast<std::uint32_t>(max_block * kBlocks));
}

void ChooseImage(Dice& dice, Scenario& scenario) {
  std::uint32_t address = dice.OneIn(8) ? 0 : dice.Below(0xE00000);
  for (std::uint32_t left = 1 + dice.Below(3); left > 0; --left) {
    scenario.image.push_back(
        {address, Content(dice, SegmentSize(dice, scenario.config.max_block))});
    address +=
        static_cast<std::uint32_t>(scenario.image.back().bytes.size()) + dice.MostlySmall(16);
  }
  // If all bytes are fill, nothing is downloaded, and the ECU refuses to check it.
  std::uint8_t& first = scenario.image.front().bytes.front();
  first = first == kErased ? 0 : first;
  if (dice.OneIn(16)) {
    Segment& last = scenario.image.back();
    last.address = 0x1000000 - static_cast<std::uint32_t>(last.bytes.size());
  }
}

/// A cell whose value is not that of an erased one, if there is any.
std::uint32_t CellToWrite(Dice& dice, const std::vector<Segment>& image) {
  const Segment& segment = image[dice.Below(static_cast<std::uint32_t>(image.size()))];
  const auto size = static_cast<std::uint32_t>(segment.bytes.size());
  std::uint32_t at = dice.Below(size);
  for (std::uint32_t tries = size; tries > 0 && segment.bytes[at] == kErased; --tries) {
    at = (at + 1) % size;
  }
  return segment.address + at;
}

Fault ChooseFault(Dice& dice, const Scenario& scenario) {
  constexpr std::array kPhases = {
      Phase::kIdentify, Phase::kUnlock, Phase::kBackup, Phase::kErase,   Phase::kDownload,
      Phase::kDownload, Phase::kCheck,  Phase::kVerify, Phase::kLogZone, Phase::kClose};
  Fault fault;
  fault.kind = static_cast<FaultKind>(dice.Below(kFaultKinds));
  fault.phase = dice.Pick(kPhases);
  const bool long_phase = fault.phase == Phase::kIdentify || fault.phase == Phase::kBackup ||
                          fault.phase == Phase::kDownload || fault.phase == Phase::kVerify;
  fault.chance = dice.MostlySmall(long_phase ? 9 : 3);
  fault.detail = static_cast<std::uint32_t>(dice.Next());
  if (fault.kind == FaultKind::kBadCell || fault.kind == FaultKind::kUnseenBadCell) {
    fault.detail = CellToWrite(dice, scenario.image);
  } else if (fault.kind == FaultKind::kThrowingBackup) {
    fault.phase = Phase::kBackup;
    fault.chance = 0;
  }
  return fault;
}

}  // namespace

std::string TextOf(TransportForm form) {
  switch (form) {
    case TransportForm::kPlainCan:
      return "plain CAN";
    case TransportForm::kGateway:
      return "gateway";
    default:
      return "K line";
  }
}

Scenario ScenarioOf(std::uint64_t seed, std::optional<TransportForm> form) {
  Dice dice(seed);
  Scenario scenario;
  ChooseAddressing(dice, form, scenario);
  ChooseParameters(dice, scenario);
  ChooseImage(dice, scenario);
  for (std::uint32_t left = dice.OneIn(10) ? 0 : 1 + dice.Below(3); left > 0; --left) {
    scenario.faults.push_back(ChooseFault(dice, scenario));
  }
  return scenario;
}

void ChooseTransientFaults(std::uint64_t seed, std::uint32_t most,
                           const std::function<std::uint32_t(FaultKind)>& chances,
                           Scenario& scenario) {
  Dice dice(~seed);
  std::vector<FaultKind> kinds;
  for (const FaultKind kind : TransientKindsOf(scenario.ecu.form)) {
    if (chances(kind) > 0) {
      kinds.push_back(kind);
    }
  }
  scenario.faults.clear();
  for (std::uint32_t left = 1 + dice.Below(most); left > 0; --left) {
    Fault fault;
    fault.kind = kinds[dice.Below(static_cast<std::uint32_t>(kinds.size()))];
    fault.chance = dice.Below(chances(fault.kind));
    fault.detail = static_cast<std::uint32_t>(dice.Next());
    if (fault.kind == FaultKind::kDelayedFrame) {
      fault.detail %= kLongestDelay;
    }
    scenario.faults.push_back(fault);
  }
}

std::string Describe(const Scenario& scenario) {
  const host::ProgrammerConfig& config = scenario.config;
  std::string text =
      TextOf(config.form) + ", block size " + std::to_string(config.block_size) +
      ", separation time " + std::to_string(config.separation_time) + ", alignment " +
      std::to_string(config.alignment) + ", max block " + std::to_string(config.max_block) +
      (scenario.verify ? ", verified" : ", not verified") +
      (scenario.backup ? ", with a backup" : "") + (scenario.ecu.write_once ? ", write-once" : "") +
      ", repeated up to " + std::to_string(config.repetition.most) + " times\n";
  for (const Segment& segment : scenario.image) {
    text += "segment at " + std::to_string(segment.address) + " of " +
            std::to_string(segment.bytes.size()) + " bytes\n";
  }
  for (const Fault& fault : scenario.faults) {
    text += Describe(fault) + '\n';
  }
  return text;
}

}  // namespace quillmark::campaign
