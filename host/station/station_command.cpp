// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iostream>
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
#include "host/station/tls_identity.h"
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

constexpr const char* kPasswordVariable = "QUILLMARK_STATION_PASSWORD";
constexpr std::uint64_t kLongestPassword = 1000;
constexpr std::ptrdiff_t kShortestPassword = 12;

struct StationOptions {
  std::string bays;
  std::vector<std::string> profiles;
  std::string listen = "127.0.0.1";
  std::uint16_t port = 0;
  std::string certificate;
  std::string key;
  std::string password_file;
  bool open = false;
  bool no_open = false;
  std::string artifacts;
  RecordsOptions records;
};

std::vector<std::pair<JobBay, FlashSettings>> BaysOfProfiles(
    const std::vector<std::string>& profiles) {
  std::vector<std::pair<JobBay, FlashSettings>> bays;
  std::map<std::string, int> names;
  for (const std::string& profile : profiles) {
    JobBay bay;
    bay.name = Utf8Path(profile).stem().string();
    const int count = ++names[bay.name];
    if (count > 1) {
      bay.name += fmt::format(" {}", count);
    }
    bay.options.push_back({"profile", {profile}, "--profile"});
    FlashSettings settings = SettingsOf(bay, "");
    bays.emplace_back(std::move(bay), std::move(settings));
  }
  return bays;
}

std::vector<StationBay> BaysOf(const StationOptions& options) {
  if (options.bays.empty() && options.profiles.empty()) {
    throw CLI::ValidationError(
        "--bays", "expected a file of bays, or profiles with --profile, found neither");
  }
  auto described = options.bays.empty() ? BaysOfProfiles(options.profiles)
                                        : ReadJob(options.bays, JobFor::kStation);
  RequireBusesOfTheirOwn(described);
  std::vector<StationBay> bays;
  for (auto& [job, settings] : described) {
    StationBay bay{job.name, std::move(settings)};
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

/// As ssh and PostgreSQL have it: a group may read a file that is root's.
void RequirePrivate(const std::string& file, const char* option) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) {
    return;  // reading it says why
  }
  const bool is_open_to_group = (status.st_mode & S_IRWXG) != 0 && status.st_uid != 0;
  if ((status.st_mode & S_IRWXO) == 0 && !is_open_to_group) {
    return;
  }
  throw ToolError(ExitCode::kData,
                  fmt::format("{} {}: expected a file that only you can read, found one with the "
                              "mode {:03o}",
                              option, file, status.st_mode & 0777U),
                  fmt::format("take the rights of others away: chmod 600 {}", file));
}

std::string PasswordOf(const StationOptions& options) {
  if (!options.password_file.empty()) {
    RequirePrivate(options.password_file, "--password-file");
    std::string line = ReadFile(Utf8Path(options.password_file), kLongestPassword);
    for (const char end : {'\n', '\r'}) {
      if (line.ends_with(end)) {
        line.pop_back();
      }
    }
    return line;
  }
  const char* const value = ::getenv(kPasswordVariable);  // NOLINT(concurrency-mt-unsafe)
  std::string password = value == nullptr ? "" : value;
  // What the station starts, such as key commands and the browser, does not inherit it.
  ::unsetenv(kPasswordVariable);  // NOLINT(concurrency-mt-unsafe)
  return password;
}

/// Raises ToolError for what nobody could type, and for what can be guessed.
void RequireGood(const std::string& password) {
  const auto characters = std::count_if(password.begin(), password.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
  });
  const bool is_line = std::none_of(password.begin(), password.end(), [](char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
  });
  if (is_line && characters >= kShortestPassword && password.size() <= kLongestPassword) {
    return;
  }
  throw ToolError(ExitCode::kData,
                  fmt::format("expected a password of {} to {} characters on one line, found {}",
                              kShortestPassword, kLongestPassword,
                              is_line ? fmt::format("{} characters", characters)
                                      : "one with a control character"),
                  "choose four words, or let \"openssl rand -base64 15\" make one");
}

/// With what the station meets other machines. Without a certificate there is no password, and it
/// listens to this machine alone.
void Secure(Station::Settings& settings, const StationOptions& options) {
  if (options.certificate.empty()) {
    return;
  }
  settings.identity =
      std::make_shared<const TlsIdentity>(Utf8Path(options.certificate), Utf8Path(options.key));
  RequirePrivate(options.key, "--key");
  settings.password = PasswordOf(options);
  if (!settings.password.empty() || !options.password_file.empty()) {
    RequireGood(settings.password);
  }
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
  Station::Settings settings{.address = options.listen,
                             .port = options.port,
                             .records = FileOf(options.records),
                             .server = options.records.server,
                             .artifacts = ArtifactsOf(options)};
  Secure(settings, options);
  const auto identity = settings.identity;
  const bool asks = !settings.password.empty();
  std::optional<Station> station;
  try {
    station.emplace(std::move(settings), std::move(bays));
  } catch (const CannotListen& error) {
    throw ToolError(ExitCode::kUnavailable, error.what(), error.next());
  }
  reporter.Line(fmt::format("station   {}", station->url()));
  if (identity) {
    reporter.Line(fmt::format("names     {}; the certificate is valid until {}",
                              fmt::join(identity->names(), ", "), identity->last_day()));
  }
  reporter.Line(fmt::format("bays      {}", count));
  reporter.Line(fmt::format("try       open the address in a browser{}; Ctrl-C ends the station",
                            asks ? ", which asks for the password" : " on this machine"));
  reporter.Event(EventKind::kReady, {{"url", station->url()}, {"bays", count}});
  if (!std::cout.flush()) {
    throw ToolError(
        ExitCode::kInputOutput,
        "cannot write to standard output, so nobody would know the address of the page");
  }
  Doorway doorway(station->url());
  if (options.open || (!options.no_open && IsTerminal(StandardStream::kOutput))) {
    doorway.Open();
  }
  Serve(*station, doorway, reporter);
  reporter.Line("done      the station has ended");
}

}  // namespace

void AddStationCommand(CLI::App& app, Command& command) {
  CLI::App& station =
      *app.add_subcommand("station", "serve a page for the browser, to flash several ECUs from");
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
                  "an address of this machine; default 127.0.0.1. One that other machines reach "
                  "needs a certificate and a password")
      ->type_name("ADDRESS");
  AddNumber(station, "--port", options->port, {0, 65535}, "default 0, any that is free");
  CLI::Option* const certificate =
      station
          .add_option("--certificate", options->certificate,
                      "serve with TLS, with this certificate and those of its issuers, in PEM form")
          ->type_name("FILE");
  CLI::Option* const key =
      station
          .add_option("--key", options->key,
                      "the private key of the certificate, in PEM form, not encrypted; a file that "
                      "only you can read")
          ->type_name("FILE")
          ->needs(certificate);
  certificate->needs(key);
  station
      .add_option("--password-file", options->password_file,
                  fmt::format("the password that the page asks for, on one line, {} characters or "
                              "more; a file that only you can read. Default: ${}",
                              kShortestPassword, kPasswordVariable))
      ->type_name("FILE")
      ->needs(certificate);
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
