// SPDX-License-Identifier: MIT
#include "host/bus/wire_faults.h"

namespace quillmark::host {
namespace {

/// Counts the frames of one wire.
class CountingInjector {
 public:
  explicit CountingInjector(const WireFaults& faults) : faults_(faults) {}

  std::vector<FrameOnWire> operator()(const FrameOnWire& frame) {
    ++number_;
    if (faults_.unplugged_at && number_ >= *faults_.unplugged_at) {
      throw BusError("the device is gone");
    }
    const bool silent = faults_.silent_from && number_ >= *faults_.silent_from;
    if (silent || number_ == faults_.lost_frame) {
      return {};
    }
    return {number_ == faults_.flipped_frame ? Flipped(frame) : frame};
  }

 private:
  static FrameOnWire Flipped(FrameOnWire frame) {
    std::uint8_t& byte = frame.data.at(frame.data.size() / 2);
    byte = static_cast<std::uint8_t>(~byte);
    return frame;
  }

  WireFaults faults_;
  std::uint64_t number_ = 0;
};

}  // namespace

SimulatedWire::FaultInjector InjectorOf(const WireFaults& faults) {
  return CountingInjector(faults);
}

}  // namespace quillmark::host
