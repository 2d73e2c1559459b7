// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "quillmark/host/bus.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {

/// One of the two addresses behind the gateway, on a line of its own.
inline constexpr std::int32_t kSecondGatewayAddress = 0x7A;

/// In place of the two numbers of a flow control.
inline constexpr std::string_view kAutoFlowControl = "auto";

/// How the ECU is reached.
struct LinkOptions {
  TransportForm form = TransportForm::kPlainCan;
  bool form_given = false;
  std::optional<std::int32_t> receive_id;
  std::optional<std::int32_t> send_id;
  std::optional<std::int32_t> address;
  std::int32_t block_size = 1;
  std::int32_t separation_time = 0;
  /// Whether these two were given. Otherwise a download adapts to what the ECU asks for.
  bool flow_control_is_fixed = false;
  std::optional<std::uint32_t> bit_rate;

  /// What was given, otherwise the default of the form.
  [[nodiscard]] std::int32_t ReceiveId() const;
  [[nodiscard]] std::int32_t SendId() const;
  [[nodiscard]] std::int32_t Address() const;
  [[nodiscard]] WireSpeed Speed() const;
  /// Of the wire of the form.
  [[nodiscard]] std::uint32_t BitRate() const;
};

void AddLinkOptions(CLI::App& app, LinkOptions& options);

/// Raises CLI::ValidationError for options that do not go together.
void CheckLinkOptions(const LinkOptions& options);

}  // namespace quillmark::host
