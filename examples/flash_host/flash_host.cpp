// SPDX-License-Identifier: MIT
// A host on the host library: it flashes an image file into a simulated ECU with a block checksum
// of its own, and reads it back. Ctrl-C stops it, or the second argument, at a percentage of the
// download.
//
//     flash_host IMAGE [STOP-AT-PERCENT]
#include <csignal>
#include <iostream>

#include "quillmark/host/image_file.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/quillmark.h"

namespace {

using namespace quillmark;

volatile std::sig_atomic_t stop = 0;

std::uint16_t OwnChecksum(host::ByteView block) {
  return static_cast<std::uint16_t>(0xFFFF - host::SumOf(block));
}

void Flash(const char* path, std::uint64_t stop_at_percent) {
  host::EcuOptions options{.checksum = OwnChecksum};
  options.misbehaviour.pending = {{0x34, 1}};  // "response pending" before it accepts a block
  host::SimulatedEcu ecu(options);
  host::SimulatedBus bus(ecu);  // or host::OpenBus(host::ParseBusUri("socketcan:can0"))
  const auto platform = CreatePortablePlatform();
  host::Programmer programmer(platform, bus, host::ConfigFor(options));
  programmer.OnStopRequested([] { return stop != 0; });
  programmer.OnProgress([&](const host::Progress& progress) {
    const auto [done, total] = std::pair(progress.bytes_done, progress.bytes_total);
    std::cout << host::NameOf(progress.phase) << ' ' << done << " of " << total << std::endl;
    if (progress.phase == host::Phase::kDownload && done * 100 >= total * stop_at_percent) {
      stop = 1;
    }
  });
  const auto image = host::ImageOf(host::ReadImageFile(path, std::nullopt).segments, *platform);
  const host::ProgramResult result = programmer.Program(image, {.verify = true});
  std::cout << result.verified_bytes << " bytes read back and found equal\n";
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGINT, [](int) { stop = 1; });
  try {
    Flash(argc > 1 ? argv[1] : "", argc > 2 ? std::stoull(argv[2]) : 101);
  } catch (const host::ProgrammingError& error) {
    std::cerr << error.what() << "\nECU: " << host::EcuStateText(error.failure())
              << "\nnext: " << host::AdviceText(error.failure()) << '\n';
    return error.failure().cause == host::Cause::kCancelled ? 130 : 1;
  } catch (const std::exception& error) {
    std::cerr << "flash_host: " << error.what() << '\n';
    return 1;
  }
}
