// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillmark {

/// How a message reaches the ECU and which frames carry it.
enum class TransportForm : std::uint8_t {
  kPlainCan,  ///< CAN identifiers, ISO 15765-2 framing
  kGateway,   ///< an ECU address behind a CAN gateway
  kKLine,     ///< an ECU address on a K line, ISO 14230-2 framing
};

/// What `CANIDs` decides.
struct Addressing {
  bool gateway_form = false;
  bool k_form = false;
  std::int32_t line = 0;     ///< text of the `i` element
  std::int32_t channel = 0;  ///< attribute `i` of the `x` element
  std::uint8_t ecu_address = 0;
  std::uint8_t tester_address = 0;

  /// K line form takes precedence over gateway form: both flags are set if a gateway address
  /// follows a K line address.
  [[nodiscard]] TransportForm Form() const {
    if (k_form) {
      return TransportForm::kKLine;
    }
    return gateway_form ? TransportForm::kGateway : TransportForm::kPlainCan;
  }
};

}  // namespace quillmark
