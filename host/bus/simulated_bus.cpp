// SPDX-License-Identifier: MIT
#include "quillmark/host/simulated_bus.h"

#include <stdexcept>

namespace quillmark::host {
namespace {

constexpr std::uint32_t kLastStandardIdentifier = 0x7FF;

std::uint64_t CanFrameBits(bool extended, std::uint64_t size) {
  const std::uint64_t data_bits = 8 * size;
  const std::uint64_t all_but_data = extended ? 67 : 47;
  const std::uint64_t stuffed_header = extended ? 54 : 34;
  return all_but_data + data_bits + (stuffed_header + data_bits - 1) / 4;
}

Duration TimeOf(std::uint64_t bits, std::uint32_t bits_a_second) {
  if (bits_a_second == 0) {
    throw std::invalid_argument("the bit rate of a bus cannot be 0");
  }
  return Duration((bits * 1'000'000 + bits_a_second - 1) / bits_a_second);
}

}  // namespace

Duration WireTime(const Exchange& exchange, std::size_t size, const WireSpeed& speed) {
  if (exchange.form == TransportForm::kKLine) {
    return TimeOf(10 * std::uint64_t{size}, speed.k_line_baud);
  }
  const bool extended =
      exchange.form == TransportForm::kPlainCan &&
      (exchange.receive > kLastStandardIdentifier || exchange.send > kLastStandardIdentifier);
  return TimeOf(CanFrameBits(extended, size), speed.can_bit_rate);
}

std::optional<Bytes> SimulatedBus::Receive(std::chrono::milliseconds timeout) {
  const Duration deadline = Now() + timeout;
  for (;;) {
    if (std::optional<Bytes> frame = wire_.TakeReceived()) {
      return frame;
    }
    const std::optional<Duration> event = wire_.NextEvent();
    if (!event || *event > deadline) {
      wire_.AdvanceTo(deadline);
      return std::nullopt;
    }
    wire_.AdvanceTo(*event);
  }
}

void SimulatedBus::Break(std::chrono::milliseconds low) {
  if (wire_.exchange().form != TransportForm::kKLine) {
    throw BusError("a CAN bus knows no break");
  }
  Wait(low);
  wire_.Break(low);
}

}  // namespace quillmark::host
