// SPDX-License-Identifier: MIT
// A host that shows how far it is and can be stopped: by Ctrl-C, or by itself at some percentage of
// the download, to see what a stop does. It flashes an image file into a simulated ECU.
//
//     progress IMAGE [STOP-AT-PERCENT]
#include <csignal>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "quillmark/host/image_file.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/quillmark.h"

namespace {

using namespace quillmark;

// All that a signal handler may touch. The programmer asks for it before each request.
volatile std::sig_atomic_t stop = 0;

// Prints each phase once, and a phase that moves bytes again at each quarter.
class ProgressLines {
 public:
  explicit ProgressLines(std::optional<std::uint64_t> stop_at) : stop_at_(stop_at) {}

  void Show(const host::Progress& progress) {
    const std::uint64_t percent =
        progress.bytes_total == 0 ? 0 : progress.bytes_done * 100 / progress.bytes_total;
    if (progress.phase == host::Phase::kDownload && stop_at_ && percent >= *stop_at_) {
      stop = 1;
    }
    if (progress.phase == phase_ && percent / 25 == quarter_) {
      return;
    }
    phase_ = progress.phase;
    quarter_ = percent / 25;
    std::cout << host::NameOf(progress.phase);
    if (progress.bytes_total != 0) {
      std::cout << ' ' << percent << " %";
    }
    std::cout << std::endl;  // flushed: someone waits for it
  }

 private:
  std::optional<std::uint64_t> stop_at_;
  host::Phase phase_ = host::Phase::kPrepare;
  std::uint64_t quarter_ = 0;
};

host::ProgrammerConfig ConfigFor(const host::EcuOptions& ecu) {
  host::ProgrammerConfig config;
  config.receive_id = static_cast<std::int32_t>(ecu.reply_id);
  config.send_id = static_cast<std::int32_t>(ecu.request_id);
  config.check_routine = ecu.check_routine;
  config.key = host::SimulatedKey;
  return config;
}

std::shared_ptr<MemoryImage> ReadImage(Platform& platform, const std::string& path) {
  auto image = platform.CreateMemoryImage();
  for (const host::ImageSegment& segment : host::ReadImageFile(path, std::nullopt).segments) {
    const auto bytes = platform.CreateByteString();
    bytes->SetBytes(segment.bytes);
    bytes->SetStartAddress(static_cast<std::int32_t>(segment.address));
    image->AddSegment(*bytes);
  }
  return image;
}

void Flash(const std::string& path, std::optional<std::uint64_t> stop_at) {
  const host::EcuOptions options;
  host::SimulatedEcu ecu(options);
  host::SimulatedBus bus(ecu);
  const auto platform = CreatePortablePlatform();
  host::Programmer programmer(platform, bus, ConfigFor(options));

  ProgressLines lines(stop_at);
  programmer.OnProgress([&](const host::Progress& progress) { lines.Show(progress); });
  programmer.OnStopRequested([] { return stop != 0; });
  const host::ProgramResult result = programmer.Program(ReadImage(*platform, path), {});
  std::cout << "done: " << result.image_bytes << " bytes\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::cerr << "usage: progress IMAGE [STOP-AT-PERCENT]\n";
    return 64;
  }
  std::signal(SIGINT, [](int) { stop = 1; });
  try {
    Flash(argv[1], argc == 3 ? std::optional(std::stoull(argv[2])) : std::nullopt);
  } catch (const host::ProgrammingError& error) {
    // The session has been closed as far as the ECU still answered.
    std::cerr << error.what() << "\nECU: " << host::EcuStateText(error.failure())
              << "\nnext: " << host::AdviceText(error.failure()) << '\n';
    return error.failure().cause == host::Cause::kCancelled ? 130 : 1;
  } catch (const std::exception& error) {
    std::cerr << "progress: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
