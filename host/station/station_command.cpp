// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "host/station/job.h"
#include "host/station/station.h"
#include "host/tool/child_process.h"
#include "host/tool/command.h"
#include "host/tool/exit_code.h"
#include "host/tool/interrupt.h"
#include "host/tool/number.h"
#include "host/tool/run_recorder.h"
#include "host/tool/surroundings.h"
#include "host/tool/terminal.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::uint64_t kLargestFile = 1 << 20;

struct StationOptions {
  std::string bays;
  std::vector<std::string> profiles;
  std::string listen = "127.0.0.1";
  std::uint16_t port = 0;
  bool open = false;
  bool no_open = false;
  std::string artifacts;
  RecordsOptions records;
};

std::vector<JobBay> BaysOfProfiles(const std::vector<std::string>& profiles) {
  std::vector<JobBay> bays;
  std::map<std::string, int> names;
  for (const std::string& profile : profiles) {
    JobBay bay;
    bay.name = Utf8Path(profile).stem().string();
    const int count = ++names[bay.name];
    if (count > 1) {
      bay.name += fmt::format(" {}", count);
    }
    bay.options.push_back({"profile", {profile}, "--profile"});
    bays.push_back(std::move(bay));
  }
  return bays;
}

std::vector<StationBay> BaysOf(const StationOptions& options) {
  if (options.bays.empty() && options.profiles.empty()) {
    throw CLI::ValidationError(
        "--bays", "expected a file of bays, or profiles with --profile, found neither");
  }
  const fs::path file = Utf8Path(options.bays);
  const std::vector<JobBay> described =
      options.bays.empty() ? BaysOfProfiles(options.profiles)
                           : ParseJob(ReadFile(file, kLargestFile), JobFor::kStation);
  std::vector<StationBay> bays;
  for (const JobBay& each : described) {
    StationBay bay{each.name, SettingsOf(each, file.parent_path())};
    bay.settings.transfer.files.clear();
    bay.settings.transfer.bases.clear();
    bay.settings.recording.records = options.records;
    bays.push_back(std::move(bay));
  }
  return bays;
}

/// Where flashes leave their artifacts; empty if the environment names no folder of the user.
fs::path ArtifactsOf(const StationOptions& options) {
  if (!options.artifacts.empty()) {
    return fs::absolute(Utf8Path(options.artifacts));
  }
  const fs::path state = UserFolder("XDG_STATE_HOME", ".local/state");
  return state.empty() ? state : state / "quillmark" / "runs";
}

/// A page that leads to the station, for the browser: as an argument of a program, the address and
/// its secret would be seen by everybody on this machine.
class Doorway {
 public:
  explicit Doorway(const std::string& url) {
    std::string name = (fs::temp_directory_path() / "quillmark-XXXXXX").string();
    // A folder that is the user's alone.
    if (::mkdtemp(name.data()) == nullptr) {
      return;
    }
    folder_ = name;
    WriteFile(
        folder_ / "station.html",
        fmt::format("<!doctype html><meta http-equiv=\"refresh\" content=\"0;url={}\">\n", url));
  }
  Doorway(const Doorway&) = delete;
  Doorway& operator=(const Doorway&) = delete;
  Doorway(Doorway&&) = delete;
  Doorway& operator=(Doorway&&) = delete;
  ~Doorway() {
    std::error_code ignored;
    if (!folder_.empty()) {
      fs::remove_all(folder_, ignored);
    }
  }

  /// Opens it in the browser, beside what the station does: some systems wait for the browser.
  void Open() {
    std::packaged_task<bool()> open(
        [file = (folder_ / "station.html").string()] { return OpenOnDesktop(file); });
    opened_ = open.get_future();
    std::thread(std::move(open)).detach();
  }

  /// Whether it has just turned out that no browser has it.
  [[nodiscard]] bool HasFailed() {
    return opened_.valid() && opened_.wait_for(0s) == std::future_status::ready && !opened_.get();
  }

 private:
  fs::path folder_;
  std::future<bool> opened_;
};

void Serve(Station& station, Doorway& doorway, Reporter& reporter) {
  const auto show_what_is_left = [&] { SetLeftBehind(LeftBehindOf(station.memory())); };
  while (!Interrupted()) {
    show_what_is_left();
    if (doorway.HasFailed()) {
      reporter.Warning("no browser took the address; open it by hand");
    }
    std::this_thread::sleep_for(100ms);
  }
  station.Stop();
  if (const std::size_t busy = station.busy(); busy > 0) {
    reporter.Line(fmt::format("stopping  {} at work, at the next safe point",
                              busy == 1 ? "the bay" : fmt::format("the {} bays", busy)));
  }
  while (station.busy() > 0) {
    show_what_is_left();
    std::this_thread::sleep_for(20ms);
  }
}

void Run(const StationOptions& options, Reporter& reporter) {
  std::vector<StationBay> bays = BaysOf(options);
  const std::size_t count = bays.size();
  CatchInterrupts();
  std::optional<Station> station;
  try {
    station.emplace(Station::Settings{.address = options.listen,
                                      .port = options.port,
                                      .records = FileOf(options.records),
                                      .server = options.records.server,
                                      .artifacts = ArtifactsOf(options)},
                    std::move(bays));
  } catch (const CannotListen& error) {
    throw ToolError(ExitCode::kUnavailable, error.what(),
                    "name another with --port, or 0 for any that is free");
  }
  reporter.Line(fmt::format("station   {}", station->url()));
  reporter.Line(fmt::format("bays      {}", count));
  reporter.Line("try       open the address in a browser on this machine; Ctrl-C ends the station");
  reporter.Event(EventKind::kReady, {{"url", station->url()}, {"bays", count}});
  Doorway doorway(station->url());
  if (options.open || (!options.no_open && IsTerminal(StandardStream::kOutput))) {
    doorway.Open();
  }
  Serve(*station, doorway, reporter);
  reporter.Line("done      the station has ended");
}

}  // namespace

void AddStationCommand(CLI::App& app, Command& command) {
  CLI::App& station = *app.add_subcommand(
      "station", "serve a page for the browser of this machine, to flash several ECUs from");
  const auto options = std::make_shared<StationOptions>();
  CLI::Option* const bays =
      station
          .add_option("--bays", options->bays,
                      "the bays, a file as that of flash --job; images in it are left out")
          ->type_name("FILE");
  station.add_option("--profile", options->profiles, "a bay for each of these profiles")
      ->type_name("NAME")
      ->excludes(bays);
  station
      .add_option("--listen", options->listen,
                  "a loopback address; default 127.0.0.1. No other machine can be let in")
      ->type_name("ADDRESS");
  AddNumber(station, "--port", options->port, {0, 65535}, "default 0, any that is free");
  CLI::Option* const open =
      station.add_flag("--open", options->open, "open the page in the browser");
  station
      .add_flag("--no-open", options->no_open,
                "do not open it; without both, a station on a terminal does")
      ->excludes(open);
  station
      .add_option("--artifacts", options->artifacts,
                  "each flash leaves a folder in this one, for its report; default quillmark/runs "
                  "in $XDG_STATE_HOME or ~/.local/state")
      ->type_name("DIR");
  AddRecordsOptions(station, options->records);
  AddJsonOption(station, command);
  station.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
