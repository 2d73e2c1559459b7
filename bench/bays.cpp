// SPDX-License-Identifier: MIT
// Many bays at once against one alone, in real time: over pseudo-terminals, each with its simulator
// in a process of its own, and on wires in this process. Prints a table; takes a minute.
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/station/bay.h"
#include "host/tool/paced_bus.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::size_t kImageBytes = 100'000;

double ProcessorTime(int who) {
  rusage usage{};
  ::getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double ThreadTime() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// A simulated wire that adds the processor time that it takes to `cost`.
class MeasuredWire : public Bus {
 public:
  explicit MeasuredWire(std::atomic<double>& cost) : cost_(cost), bus_(ecu_) {}

  void Select(const Exchange& exchange) override { bus_.Select(exchange); }
  void Send(ByteView frame) override {
    Measure([&] { bus_.Send(frame); });
  }
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    std::optional<Bytes> frame;
    Measure([&] { frame = bus_.Receive(timeout); });
    return frame;
  }
  void Wait(std::chrono::milliseconds time) override {
    Measure([&] { bus_.Wait(time); });
  }
  void Break(std::chrono::milliseconds low) override {
    Measure([&] { bus_.Break(low); });
  }
  [[nodiscard]] Duration Now() const override { return bus_.Now(); }

 private:
  template <typename Work>
  void Measure(Work work) {
    // The clock of a thread takes longer than most calls: few are measured for all.
    constexpr unsigned kOneOf = 16;
    const bool is_measured = ++calls_ % kOneOf == 0;
    const double began = is_measured ? ThreadTime() : 0;
    work();
    if (is_measured) {
      cost_ += kOneOf * (ThreadTime() - began);
    }
  }

  std::atomic<double>& cost_;
  SimulatedEcu ecu_{EcuOptions{}};
  SimulatedBus bus_;
  unsigned calls_ = 0;
};

/// When the download of a bay began and ended.
class Stopwatch : public Reporter {
 public:
  void Line(const std::string& /*text*/) override {}
  void Warning(const std::string& /*text*/) override {}
  void Event(EventKind /*kind*/, const Json& /*members*/) override {}
  [[nodiscard]] bool TakesEvents() const override { return false; }
  void EndProgress() override {}
  void OnProgress(const Progress& progress) override {
    if (progress.phase == Phase::kDownload && began_ == Clock::time_point{}) {
      began_ = Clock::now();
    }
    if (progress.phase == Phase::kDownload && progress.bytes_done == progress.bytes_total) {
      ended_ = Clock::now();
    }
  }

  [[nodiscard]] double seconds() const { return Seconds(ended_ - began_).count(); }

 private:
  Clock::time_point began_;
  Clock::time_point ended_;
};

/// `quillmark simulate` as a process of its own.
class SimulatorProcess {
 public:
  SimulatorProcess() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
      throw std::runtime_error("there is no pipe");
    }
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::execl(QUILLMARK_TOOL, "quillmark", "simulate", "--bus", "slcan", "--json", nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    std::FILE* const output = ::fdopen(ends[0], "r");
    std::array<char, 1000> line{};
    if (output == nullptr || std::fgets(line.data(), line.size(), output) == nullptr) {
      throw std::runtime_error("the simulator does not start");
    }
    std::fclose(output);
    bus_ = Json::parse(line.data()).at("bus").get<std::string>();
  }
  SimulatorProcess(const SimulatorProcess&) = delete;
  SimulatorProcess& operator=(const SimulatorProcess&) = delete;
  SimulatorProcess(SimulatorProcess&&) = delete;
  SimulatorProcess& operator=(SimulatorProcess&&) = delete;
  ~SimulatorProcess() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
  }

  [[nodiscard]] const std::string& bus() const { return bus_; }

 private:
  pid_t process_ = 0;
  std::string bus_;
};

struct Measured {
  double median = 0;
  double slowest = 0;
  double testers = 0;     ///< processor time by time
  double simulators = 0;  ///< the same
};

std::shared_ptr<const Images> Image() {
  std::string content(kImageBytes, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) {
    content[i] = static_cast<char>(i * 7 + 1);
  }
  return std::make_shared<Images>(ImagesOf({{"image.bin", content, 0x1000}}));
}

FlashSettings SettingsFor(const std::string& bus) {
  FlashSettings settings;
  settings.session.bus = ParseBusUri(bus);
  settings.session.bus_uri = bus;
  settings.session.timing.p2 = 5000ms;
  settings.flash.yes = true;
  settings.recording.records.none = true;
  return settings;
}

/// Flashes as many bays at once as there are buses. `cost` is of the wires in this process.
Measured Flash(const std::vector<std::string>& buses, std::atomic<double>* cost) {
  const auto image = Image();
  std::vector<std::unique_ptr<Stopwatch>> watches;
  std::vector<std::unique_ptr<Bay>> bays;
  for (const std::string& bus : buses) {
    watches.push_back(std::make_unique<Stopwatch>());
    Bay::Listeners listeners{.on_change = {}, .reporter = watches.back().get(), .open_bus = {}};
    if (cost != nullptr) {
      listeners.open_bus = [cost](const BusUri&) {
        return std::make_unique<PacedBus>(std::make_unique<MeasuredWire>(*cost));
      };
    }
    bays.push_back(std::make_unique<Bay>(std::to_string(bays.size()), SettingsFor(bus), listeners));
  }
  const double processor_before = ProcessorTime(RUSAGE_SELF);
  const Clock::time_point began = Clock::now();
  for (const auto& bay : bays) {
    bay->StartFlash(std::make_shared<FlashRun>(bay->settings(), image));
  }
  std::vector<double> times;
  for (std::size_t i = 0; i < bays.size(); ++i) {
    bays[i]->Wait();
    const BayState state = bays[i]->State();
    if (state.outcome->code != ExitCode::kDone) {
      throw std::runtime_error(state.outcome->message);
    }
    times.push_back(watches[i]->seconds());
  }
  const double seconds = Seconds(Clock::now() - began).count();
  std::sort(times.begin(), times.end());
  const double wires = cost == nullptr ? 0 : cost->load();
  return {times[times.size() / 2], times.back(),
          (ProcessorTime(RUSAGE_SELF) - processor_before - wires) / seconds, wires / seconds};
}

Measured OverPseudoTerminals(std::size_t count) {
  const double before = ProcessorTime(RUSAGE_CHILDREN);
  const Clock::time_point began = Clock::now();
  Measured measured;
  {
    std::vector<std::unique_ptr<SimulatorProcess>> simulators;
    std::vector<std::string> buses;
    for (std::size_t i = 0; i < count; ++i) {
      simulators.push_back(std::make_unique<SimulatorProcess>());
      buses.push_back(simulators.back()->bus());
    }
    measured = Flash(buses, nullptr);
  }
  measured.simulators =
      (ProcessorTime(RUSAGE_CHILDREN) - before) / Seconds(Clock::now() - began).count();
  return measured;
}

Measured OnWiresInThisProcess(std::size_t count) {
  std::atomic<double> cost = 0;
  // Any adapter: the wire takes its place.
  return Flash(std::vector<std::string>(count, "slcan:none"), &cost);
}

void PrintRow(const char* where, std::size_t count, const Measured& measured, double alone) {
  fmt::print("| {} | {} | {:.2f} s | {:+.1f} % | {:+.1f} % | {:.2f} | {:.2f} |\n", where, count,
             measured.median, (measured.median / alone - 1) * 100,
             (measured.slowest / alone - 1) * 100, measured.testers, measured.simulators);
  std::fflush(stdout);
}

void PrintRows(const char* where, Measured (*measure)(std::size_t), std::size_t count) {
  const Measured alone = measure(1);
  PrintRow(where, 1, alone, alone.median);
  PrintRow(where, count, measure(count), alone.median);
}

void PrintTable() {
  std::array<double, 1> load{};
  ::getloadavg(load.data(), 1);
  fmt::print("{} bytes in plain CAN, 500 kbit/s, block size 1; {} cores, load {:.1f} before\n\n",
             kImageBytes, std::thread::hardware_concurrency(), load[0]);
  fmt::print(
      "| wire | bays | download, median | to one alone | slowest to one alone | cores of the "
      "bays | cores of their simulators |\n| --- | ---: | ---: | ---: | ---: | ---: | ---: |\n");
  PrintRows("pseudo-terminals", OverPseudoTerminals, 16);
  PrintRows("in this process", OnWiresInThisProcess, 64);
}

}  // namespace
}  // namespace quillmark::host

int main() {
  try {
    quillmark::host::PrintTable();
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "bench_bays: {}\n", error.what());
    return 1;
  }
}
