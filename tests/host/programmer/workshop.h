// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quillmark/portable_platform.h"
#include "tests/host/programmer/workshop_options.h"

namespace quillmark::host {

/// A simulated ECU on a simulated bus and a programmer that is configured for it.
struct Workshop {
  explicit Workshop(TransportForm form) : options(EcuOptionsFor(form)), config(ConfigFor(form)) {}

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

  /// What a call of the programmer failed with; nothing if it did not fail.
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

}  // namespace quillmark::host
