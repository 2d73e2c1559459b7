// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "quillmark/host/bus.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::fuzz {

/// What `CANIDs` and `FlowControl` decide, implemented a second time.
class Settings {
 public:
  /// The number of the error; 0 if there is none.
  std::int32_t CANIDs(std::int32_t RCANId, std::int32_t XCANId) {
    if (RCANId == 0 && (XCANId < 0 || XCANId > 255)) {
      return 6;
    }
    configured_ = true;
    addressed_ = RCANId == 0;
    if (!addressed_) {
      identifiers_ = {RCANId, XCANId};
      return 0;
    }
    address_ = static_cast<std::uint8_t>(XCANId);
    if (address_ != 0x6E && address_ != 0x7A) {
      k_form_ = true;
      addressed_ = false;
    }
    return 0;
  }

  std::int32_t FlowControl(std::int32_t BS, std::int32_t STMin) {
    if (STMin < 0 || STMin > 255) {
      return STMin < 0 ? 4009 : 4010;
    }
    if (BS < 0 || BS > 255) {
      return BS < 0 ? 4011 : 4012;
    }
    block_size_ = BS;
    separation_time_ = STMin;
    return 0;
  }

  [[nodiscard]] bool configured() const { return configured_; }
  [[nodiscard]] bool addressed() const { return addressed_; }
  [[nodiscard]] host::TransportForm Form() const {
    if (k_form_) {
      return host::TransportForm::kKLine;
    }
    return addressed_ ? host::TransportForm::kGateway : host::TransportForm::kPlainCan;
  }
  [[nodiscard]] std::size_t MostBytes() const {
    return Form() == host::TransportForm::kPlainCan ? 4095 : 255;
  }

  /// Nothing if the identifiers are not valid on CAN.
  [[nodiscard]] std::optional<host::Exchange> Exchange() const {
    constexpr std::int32_t kLastIdentifier = 0x1FFFFFFF;
    const auto valid = [](std::int32_t id) { return id >= 0 && id <= kLastIdentifier; };
    switch (Form()) {
      case host::TransportForm::kKLine:
        return host::Exchange{.form = Form()};
      case host::TransportForm::kGateway:
        return host::Exchange{Form(), 3, address_ == 0x6E ? 13U : 14U};
      default:
        if (!valid(identifiers_[0]) || !valid(identifiers_[1])) {
          return std::nullopt;
        }
        return host::Exchange{Form(), static_cast<std::uint32_t>(identifiers_[0]),
                              static_cast<std::uint32_t>(identifiers_[1])};
    }
  }

  [[nodiscard]] host::EcuOptions Ecu() const {
    host::EcuOptions options;
    options.form = Form();
    options.address = address_;
    options.block_size = static_cast<std::uint8_t>(block_size_);
    options.separation_time = static_cast<std::uint8_t>(separation_time_);
    return options;
  }

 private:
  bool configured_ = false;
  bool k_form_ = false;
  bool addressed_ = false;
  std::array<std::int32_t, 2> identifiers_{};
  std::uint8_t address_ = 0;
  std::int32_t block_size_ = 1;
  std::int32_t separation_time_ = 0;
};

}  // namespace quillmark::fuzz
