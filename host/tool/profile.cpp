// SPDX-License-Identifier: MIT
#include "host/tool/profile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/Error.hpp>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>

#include "host/files/input_file.h"
#include "host/report/artifacts.h"
#include "host/tool/exit_code.h"
#include "host/tool/text.h"
#include "quillmark/version.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestProfile = 65536;
constexpr std::string_view kKeyCommand = "key-command";
constexpr std::array<std::string_view, 16> kNames{
    "form",        "ids",  "address", "flow-control", "expect-ecu",     "key-command",
    "key-timeout", "p2",   "p2-star", "max-pending",  "tester-present", "rl",
    "routine",     "fill", "align",   "block"};

struct Entry {
  std::size_t line;
  Setting setting;
};

[[noreturn]] void RaiseDamaged(const fs::path& path, std::size_t line, const std::string& reason) {
  throw ToolError(ExitCode::kData, fmt::format("{}:{}: {}", path.string(), line, reason),
                  "quillmark profile prints one; nothing was sent");
}

fs::path ProfileFolder() {
  const char* const configuration = std::getenv("XDG_CONFIG_HOME");
  if (configuration != nullptr && fs::path(configuration).is_absolute()) {
    return fs::path(configuration) / "quillmark" / "profiles";
  }
  const char* const home = std::getenv("HOME");
  return fs::path(home == nullptr ? "/" : home) / ".config" / "quillmark" / "profiles";
}

/// A word without a slash is the name of a profile, so that nothing in the current folder is taken
/// for one: a profile may name a command to run.
fs::path PathOf(const std::string& profile) {
  return profile.find('/') == std::string::npos ? ProfileFolder() / profile : fs::path(profile);
}

std::string ReadText(const fs::path& path) {
  try {
    return ReadFile(path, kLargestProfile);
  } catch (const CannotReadFile& error) {
    throw ToolError(ExitCode::kNoInput, error.what(),
                    fmt::format("a name is looked up in {}; write a file with its folder, ./FILE",
                                ProfileFolder().string()));
  }
}

Setting SettingOf(const fs::path& path, std::size_t line, std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    RaiseDamaged(path, line, fmt::format("expected NAME = VALUE, found \"{}\"", text));
  }
  const Setting setting{std::string(WithoutBlanks(text.substr(0, equals))),
                        std::string(WithoutBlanks(text.substr(equals + 1)))};
  if (setting.value.empty()) {
    RaiseDamaged(path, line, fmt::format("expected a value of {}, found none", setting.name));
  }
  if (std::find(kNames.begin(), kNames.end(), setting.name) == kNames.end()) {
    RaiseDamaged(
        path, line,
        fmt::format("expected one of {}, found \"{}\"", fmt::join(kNames, ", "), setting.name));
  }
  return setting;
}

std::vector<Entry> ReadProfile(const fs::path& path) {
  std::istringstream lines(ReadText(path));
  std::vector<Entry> entries;
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    const std::string_view text = WithoutBlanks(line);
    if (text.empty() || text.front() == '#') {
      continue;
    }
    const Setting setting = SettingOf(path, number, text);
    const auto same = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
      return entry.setting.name == setting.name;
    });
    if (same != entries.end()) {
      RaiseDamaged(path, number, fmt::format("{} is in line {} already", setting.name, same->line));
    }
    entries.push_back({number, setting});
  }
  return entries;
}

std::vector<std::string> WordsOf(const std::string& value) {
  if (value == kAutoFlowControl) {
    return {value, value};
  }
  std::istringstream words(value);
  return {std::istream_iterator<std::string>(words), {}};
}

void Apply(CLI::App& app, const fs::path& path, const Entry& entry) {
  CLI::Option* const option = app.get_option_no_throw("--" + entry.setting.name);
  if (option == nullptr || option->count() > 0) {
    return;
  }
  try {
    option->add_result(option->get_items_expected_max() > 1
                           ? WordsOf(entry.setting.value)
                           : std::vector<std::string>{entry.setting.value});
    option->run_callback();
  } catch (const CLI::Error& error) {
    RaiseDamaged(path, entry.line, error.what());
  }
}

std::string Milliseconds(std::chrono::milliseconds time) { return std::to_string(time.count()); }

std::string IdentifierText(std::int32_t identifier) { return fmt::format("0x{:03X}", identifier); }

std::string FlowControlText(const LinkOptions& link) {
  return link.flow_control_is_fixed ? fmt::format("{} {}", link.block_size, link.separation_time)
                                    : std::string(kAutoFlowControl);
}

std::string ByteText(std::int32_t byte) { return fmt::format("0x{:02X}", byte); }

std::string ExpectedEcuText(const Bytes& ecu) {
  const std::string text = RecordText(ecu);
  const bool reads_back = Bytes(text.begin(), text.end()) == ecu && WithoutBlanks(text) == text &&
                          !text.starts_with(kHexPrefix);
  return reads_back ? text : std::string(kHexPrefix) + HexOf(ecu);
}

/// The lines of a profile.
Json LinesOf(const Profile& settings) {
  Json lines = Json::array();
  for (const Setting& setting : settings) {
    lines.push_back(fmt::format("{} = {}", setting.name,
                                setting.name == kKeyCommand ? "(given)" : setting.value));
  }
  return lines;
}

std::string TextOf(const Profile& settings, const Profile& defaults) {
  std::vector<std::string> words;
  for (const Setting& setting : settings) {
    if (std::find(defaults.begin(), defaults.end(), setting) == defaults.end()) {
      words.push_back(setting.name == kKeyCommand ? "a key command"
                                                  : setting.name + ' ' + setting.value);
    }
  }
  return words.empty() ? "defaults" : fmt::format("{}", fmt::join(words, ", "));
}

}  // namespace

void AddProfileOption(CLI::App& app) {
  const auto profile = std::make_shared<std::string>();
  app.add_option("--profile", *profile,
                 "settings of an ECU that the command line does not give: a file, written with its "
                 "folder, or a name in the user's folder of profiles; see quillmark profile")
      ->type_name("FILE|NAME");
  app.parse_complete_callback([&app, profile] {
    if (profile->empty()) {
      return;
    }
    const fs::path path = PathOf(*profile);
    for (const Entry& entry : ReadProfile(path)) {
      Apply(app, path, entry);
    }
  });
}

Profile ProfileOf(const LinkOptions& link, const SessionOptions& session) {
  Profile profile{{"form", std::string(NameOf(link.form))}};
  if (link.form == TransportForm::kPlainCan) {
    profile.push_back(
        {"ids", IdentifierText(link.ReceiveId()) + ' ' + IdentifierText(link.SendId())});
    profile.push_back({"flow-control", FlowControlText(link)});
  } else {
    profile.push_back({"address", ByteText(link.Address())});
  }
  profile.push_back({"p2", Milliseconds(session.timing.p2)});
  profile.push_back({"p2-star", Milliseconds(session.timing.p2_star)});
  profile.push_back({"max-pending", std::to_string(session.timing.max_pending)});
  profile.push_back({"tester-present", Milliseconds(session.tester_present_interval)});
  if (!session.expected_ecu.empty()) {
    profile.push_back({"expect-ecu", ExpectedEcuText(session.expected_ecu)});
  }
  if (!session.key_command.empty()) {
    profile.push_back({std::string(kKeyCommand), session.key_command});
  }
  profile.push_back({"key-timeout", Milliseconds(session.key_timeout)});
  return profile;
}

Profile ProfileOf(const TransferOptions& transfer) {
  return {MemorySetting(transfer.memory),
          {"fill", ByteText(transfer.fill)},
          {"align", std::to_string(transfer.alignment)},
          {"block", std::to_string(transfer.block)}};
}

Setting MemorySetting(std::uint8_t memory) { return {"rl", ByteText(memory)}; }

Setting RoutineSetting(std::uint8_t routine) { return {"routine", ByteText(routine)}; }

void ReportSettings(Reporter& reporter, const SessionOptions& session, const Profile& settings,
                    const Profile& defaults) {
  reporter.Line(fmt::format("tool      quillmark {} on {}, form {}", Version(),
                            session.bus_uri, settings.front().value));
  reporter.Line(fmt::format("settings  {}", TextOf(settings, defaults)));
  reporter.Event(
      EventKind::kSettings,
      {{"version", Version()}, {"bus", session.bus_uri}, {"settings", LinesOf(settings)}});
}

}  // namespace quillmark::host
