// SPDX-License-Identifier: MIT
// Whole flashes by the tool on the simulated bus: the share of a core that one bus takes.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/inputs.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRepetitions = 7;
constexpr double kBoundOnShare = 0.1;  ///< percent

/// 1 MiB without fill bytes in a file, for as long as the object lives.
class ImageFile {
 public:
  ImageFile()
      : path_(fs::temp_directory_path() / ("image-" + std::to_string(::getpid()) + ".bin")) {
    const std::vector<std::uint8_t> bytes = MakeImage(kMiB, Filling::kDense);
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
  }
  ImageFile(const ImageFile&) = delete;
  ImageFile& operator=(const ImageFile&) = delete;
  ~ImageFile() { fs::remove(path_); }

  [[nodiscard]] std::string path() const { return path_.string(); }

 private:
  fs::path path_;
};

struct ClosePipe {
  void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

/// What a command prints, which has to begin with an event.
std::string OutputOf(const std::string& command) {
  const std::unique_ptr<std::FILE, ClosePipe> pipe(::popen(("exec " + command).c_str(), "r"));
  std::string output;
  for (int c = 0; pipe != nullptr && (c = std::fgetc(pipe.get())) != EOF;) {
    output += static_cast<char>(c);
  }
  return output;
}

/// The bus time of the last event.
double BusSeconds(const std::string& events) {
  constexpr std::string_view kSeconds = "\"seconds\":";
  const std::size_t at = events.rfind(kSeconds);
  if (at == std::string::npos || events.find("\"event\":\"done\"") == std::string::npos) {
    throw std::runtime_error("the flash failed: " + events);
  }
  return std::strtod(events.c_str() + at + kSeconds.size(), nullptr);
}

/// Processor time of all processes that have ended and were waited for.
double SecondsOfChildren() {
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void RunFlash(const std::string& name, const ImageFile& image, const std::string& options,
              bool is_bound) {
  const std::string command =
      std::string(QUILLMARK_TOOL " flash --json --base 0 ") + options + " " + image.path();
  std::vector<double> processor;
  double bus = 0;
  for (std::size_t turn = 0; turn < kRepetitions; ++turn) {
    const double before = SecondsOfChildren();
    bus = BusSeconds(OutputOf(command));
    processor.push_back(SecondsOfChildren() - before);
  }
  std::nth_element(processor.begin(), processor.begin() + kRepetitions / 2, processor.end());
  const double median = processor[kRepetitions / 2];
  const double share = 100 * median / bus;
  PrintRow({name, Duration(median), Duration(bus), Number(share) + " %",
            is_bound ? AtMost(kBoundOnShare, share) + " (%)" : "", Number(bus / median)});
}

}  // namespace

void RunFlashes(bool /*quick*/) {
  PrintHeader("Whole flashes of 1 MiB by the tool on the simulated bus, its ECU included",
              {"row", "processor time", "bus time", "processor / bus", "bound",
               "buses that one core keeps at wire speed"});
  const ImageFile image;
  RunFlash("CAN, 500 kbit/s, block size 1", image, "--form can", true);
  RunFlash("CAN through a gateway, 500 kbit/s", image, "--form gateway", false);
  RunFlash("K line, 10400 baud", image, "--form kline", false);
}

}  // namespace quillmark::bench
