// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// Where the ECU is.
enum class BusKind : std::uint8_t {
  kSimulated,  ///< `sim:` an ECU simulated in this process
  kSlcan,      ///< `slcan:DEVICE` a serial CAN adapter
  kSocketCan,  ///< `socketcan:INTERFACE` a CAN interface of the kernel
  kKLine,      ///< `kline:DEVICE` a serial K line adapter
  kPassThru,   ///< `j2534:NAME` or `j2534:PATH` an adapter behind a SAE J2534 library
};

/// A parsed target URI.
struct BusUri {
  /// Its scheme.
  BusKind kind = BusKind::kSimulated;
  /// The serial device, the interface, the pass-thru library or its name; empty for `sim:`.
  std::string device{};
  /// The transport form that the bus carries; of `sim:`, which carries all, plain CAN.
  TransportForm form = TransportForm::kPlainCan;
  /// `slcan`: of the CAN bus, one of those that the protocol defines. `j2534`: of the bus; default
  /// 10400 on a K line.
  std::uint32_t bit_rate = 500'000;
  /// `slcan` (default 115200) and `kline` (default 10400): of the serial port.
  std::uint32_t baud = 0;
  /// `slcan`: whether the adapter confirms commands.
  bool confirms = true;
  /// `j2534`: how many bits the library has for an `unsigned long`, 32 or 64.
  std::uint32_t width = 32;
  /// `kline`, and `j2534` with a K line, as the next two, which are the timing of ISO 14230-2: the
  /// longest pause between two bytes of the ECU. On the line that is 20 ms, the default of `j2534`;
  /// the rest is for a serial adapter.
  std::chrono::milliseconds p1{100};
  /// The shortest pause between the ECU's reply and the next request.
  std::chrono::milliseconds p3{55};
  /// The pause between two bytes of the tester.
  std::chrono::milliseconds p4{5};
  /// `sim:`: whether what happens on the bus takes as long as on a real one; otherwise only as long
  /// as it takes to compute.
  bool takes_real_time = false;

  friend bool operator==(const BusUri&, const BusUri&) = default;
};

/// What is wrong with a URI, with the valid forms.
class QUILLMARK_API BusUriError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// The forms of a URI, for --help and for messages.
inline constexpr std::string_view kBusUriForms =
    "sim:, slcan:DEVICE?bitrate=500000, socketcan:can0, kline:DEVICE?baud=10400 or "
    "j2534:NAME?protocol=can&bitrate=500000";

/// Reads a URI. Raises BusUriError.
[[nodiscard]] QUILLMARK_API BusUri ParseBusUri(std::string_view text);

/// Opens the adapter that a URI names. Raises BusError if it cannot be opened, and
/// std::invalid_argument for `sim:`, which has none.
[[nodiscard]] QUILLMARK_API std::unique_ptr<Bus> OpenBus(const BusUri& uri);

}  // namespace quillmark::host
