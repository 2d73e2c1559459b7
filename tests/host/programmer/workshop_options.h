// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// Bytes that are not fill: 1, 2, … 251, 1, ….
inline Bytes Pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i % 251 + 1);
  }
  return bytes;
}

/// An ECU and the configuration that fits it.
inline EcuOptions EcuOptionsFor(TransportForm form) {
  EcuOptions options;
  options.form = form;
  options.address = form == TransportForm::kGateway ? 0x6E : 0x11;
  return options;
}

inline ProgrammerConfig ConfigFor(TransportForm form) {
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
