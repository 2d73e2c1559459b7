#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/ecu/simulated_ecu.h"
#include "host/programmer/programmer.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {

/// Bytes that are no fill: 1, 2, … 251, 1, ….
inline Bytes Pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i % 251 + 1);
  }
  return bytes;
}

/// A simulated ECU on a simulated bus and a programmer that is configured for it.
struct Workshop {
  static EcuOptions OptionsFor(TransportForm form) {
    EcuOptions options;
    options.form = form;
    options.address = form == TransportForm::kGateway ? 0x6E : 0x11;
    return options;
  }

  static ProgrammerConfig ConfigFor(TransportForm form) {
    ProgrammerConfig config;
    config.form = form;
    config.receive_id = 1850;
    config.send_id = 1586;
    config.address = form == TransportForm::kGateway ? 0x6E : 0x11;
    config.check_routine = 0x02;
    config.log_record = Bytes(24, 'h');
    config.log_record->resize(48, 'r');
    config.key = SimulatedKey;
    return config;
  }

  explicit Workshop(TransportForm form) : options(OptionsFor(form)), config(ConfigFor(form)) {}

  /// Once `options` and `config` are as they should be.
  void Open() {
    ecu = std::make_unique<SimulatedEcu>(options);
    bus = std::make_unique<SimulatedBus>(*ecu);
    programmer = std::make_unique<Programmer>(platform, *bus, config);
  }

  void AddSegment(std::int32_t address, const Bytes& bytes) {
    const std::shared_ptr<ByteString> segment = platform->CreateByteString();
    segment->SetHex(HexOf(bytes));
    segment->SetStartAddress(address);
    image->AddSegment(*segment);
  }

  /// What a call of the programmer failed with; nothing where it did not fail.
  template <typename Call>
  std::optional<Failure> FailureOf(Call&& call) {
    try {
      call();
    } catch (const ProgrammingError& error) {
      message = error.what();
      return error.failure();
    }
    return std::nullopt;
  }
  std::optional<Failure> FailureOfProgram(bool verify = false) {
    return FailureOf([&] { programmer->Program(image, {.verify = verify}); });
  }

  std::shared_ptr<PortablePlatform> platform = CreatePortablePlatform();
  std::shared_ptr<MemoryImage> image = platform->CreateMemoryImage();
  EcuOptions options;
  ProgrammerConfig config;
  std::unique_ptr<SimulatedEcu> ecu;
  std::unique_ptr<SimulatedBus> bus;
  std::unique_ptr<Programmer> programmer;
  std::string message;
};

inline std::string NameOfForm(TransportForm form) {
  switch (form) {
    case TransportForm::kPlainCan:
      return "PlainCan";
    case TransportForm::kGateway:
      return "Gateway";
    default:
      return "KLine";
  }
}

}  // namespace quillmark::host
