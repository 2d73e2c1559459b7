// SPDX-License-Identifier: MIT
#include "host/tool/profile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/Error.hpp>
#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>

#include "host/tool/exit_code.h"
#include "host/tool/terminal.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"
#include "quillmark/version.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestProfile = 65536;
/// Some editors begin a text with it.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kKeyCommand = "key-command";
constexpr std::size_t kLongestQuoted = 60;
constexpr std::array<std::string_view, 19> kNames{
    "form",           "ids", "address", "flow-control", "expect-ecu", "key-command",
    "key-timeout",    "p2",  "p2-star", "max-pending",  "repeat",     "max-wait-frames",
    "tester-present", "rl",  "routine", "fill",         "align",      "block",
    "min-voltage"};

struct Entry {
  std::size_t line;
  Setting setting;
};

[[noreturn]] void RaiseDamaged(const fs::path& path, std::size_t line, const std::string& reason) {
  throw ToolError(ExitCode::kData, fmt::format("{}:{}: {}", path.string(), line, reason),
                  "quillmark profile prints one; nothing was sent");
}

/// For messages: a line of a file that is no profile may be long.
std::string_view Beginning(std::string_view text) { return text.substr(0, kLongestQuoted); }

/// Raises ToolError (no input) where nothing says which it is.
fs::path ProfileFolder() {
#if defined(_WIN32)
  const fs::path configuration = Utf8Path(EnvironmentVariable("APPDATA"));
  const char* const missing = "an absolute path in APPDATA";
#else
  const fs::path configuration = UserFolder("XDG_CONFIG_HOME", ".config");
  const char* const missing = "an absolute path in HOME or XDG_CONFIG_HOME";
#endif
  if (!configuration.is_absolute()) {
    throw ToolError(ExitCode::kNoInput,
                    fmt::format("expected {} for the folder of profiles, found none", missing),
                    "write a profile of this folder as ./NAME; nothing was sent");
  }
  return configuration / "quillmark" / "profiles";
}

/// Nothing in the current folder is taken for a profile by mistake: it may name a command to run.
bool IsName(const std::string& profile) { return !Utf8Path(profile).has_parent_path(); }

fs::path PathOf(const std::string& profile) {
  return IsName(profile) ? ProfileFolder() / Utf8Path(profile) : Utf8Path(profile);
}

std::string ReadText(const std::string& profile) {
  try {
    const std::string text = ReadFile(PathOf(profile), kLargestProfile);
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
  } catch (const CannotReadFile& error) {
    throw ToolError(ExitCode::kNoInput, error.what(),
                    IsName(profile) ? fmt::format("a name is looked up in {}; write a file of this "
                                                  "folder as ./{}",
                                                  ProfileFolder().string(), profile)
                                    : "quillmark profile prints a profile; nothing was sent");
  }
}

Setting SettingOf(const fs::path& path, std::size_t line, std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    RaiseDamaged(path, line, fmt::format("expected NAME = VALUE, found \"{}\"", Beginning(text)));
  }
  const Setting setting{std::string(WithoutBlanks(text.substr(0, equals))),
                        std::string(WithoutBlanks(text.substr(equals + 1)))};
  if (setting.value.empty()) {
    RaiseDamaged(path, line, fmt::format("expected a value of {}, found none", setting.name));
  }
  if (std::find(kNames.begin(), kNames.end(), setting.name) == kNames.end()) {
    RaiseDamaged(path, line,
                 fmt::format("expected one of {}, found \"{}\"", fmt::join(kNames, ", "),
                             Beginning(setting.name)));
  }
  return setting;
}

/// A command with a character that no editor shows is none that somebody has looked at.
void RequireText(const fs::path& path, std::size_t line, std::string_view text) {
  const auto is_control = [](char byte) {
    return (byte >= 0 && byte < ' ' && byte != '\t') || byte == '\x7F';
  };
  if (const auto found = std::find_if(text.begin(), text.end(), is_control); found != text.end()) {
    RaiseDamaged(path, line,
                 fmt::format("expected text, found the control character 0x{:02X}",
                             static_cast<unsigned char>(*found)));
  }
}

std::vector<Entry> ReadProfile(const std::string& profile) {
  const fs::path path = PathOf(profile);
  std::istringstream lines(ReadText(profile));
  std::vector<Entry> entries;
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    const std::string_view text = WithoutBlanks(line);
    RequireText(path, number, text);
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
  } catch (const CLI::ArgumentMismatch&) {
    RaiseDamaged(path, entry.line,
                 fmt::format("--{}: expected {}, found \"{}\"", entry.setting.name,
                             option->get_type_name(), Beginning(entry.setting.value)));
  } catch (const CLI::Error& error) {
    RaiseDamaged(path, entry.line, error.what());
  }
}

/// Adds --profile. What is returned applies the profile once the command line is read.
std::function<void()> ApplicationOfProfile(CLI::App& app, std::string& path) {
  const auto profile = std::make_shared<std::string>();
  app.add_option("--profile", *profile,
                 "settings of an ECU that the command line does not give: a file, written with its "
                 "folder, or a name in the user's folder of profiles; see quillmark profile")
      ->type_name("FILE");
  return [&app, &path, profile] {
    if (profile->empty()) {
      return;
    }
    path = PathOf(*profile).string();
    for (const Entry& entry : ReadProfile(*profile)) {
      Apply(app, path, entry);
    }
  };
}

std::string Milliseconds(std::chrono::milliseconds time) { return std::to_string(time.count()); }

std::string IdentifierText(std::int32_t identifier) { return fmt::format("0x{:03X}", identifier); }

std::string FlowControlText(const LinkOptions& link) {
  return link.flow_control_is_fixed ? fmt::format("{} {}", link.block_size, link.separation_time)
                                    : std::string(kAutoFlowControl);
}

std::string ByteText(std::int32_t byte) { return fmt::format("0x{:02X}", byte); }

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

void AddProfileOption(CLI::App& app, std::string& path) {
  app.parse_complete_callback(ApplicationOfProfile(app, path));
}

void AddEcuOptions(CLI::App& app, LinkOptions& link, SessionOptions& session) {
  app.parse_complete_callback(
      [apply = ApplicationOfProfile(app, session.profile), &link, &session] {
        apply();
        FitToBus(link, session);
      });
  AddLinkOptions(app, link);
  AddSessionOptions(app, session);
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
  profile.push_back({"repeat", std::to_string(session.repetition.most)});
  profile.push_back({"max-wait-frames", std::to_string(session.timing.max_wait_frames)});
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

Profile ProfileOf(const FlashOptions& flash) {
  Profile profile{{"routine", ByteText(flash.check_routine)}};
  if (flash.least_millivolts) {
    profile.push_back({"min-voltage", fmt::format("{:g}", *flash.least_millivolts / 1e3)});
  }
  return profile;
}

Setting MemorySetting(std::uint8_t memory) { return {"rl", ByteText(memory)}; }

void ReportSettings(Reporter& reporter, const SessionOptions& session, const Profile& settings,
                    const Profile& defaults) {
  reporter.Line(fmt::format("tool      quillmark {} on {}, form {}", Version(), session.bus_uri,
                            settings.front().value));
  reporter.Line(fmt::format("settings  {}", TextOf(settings, defaults)));
  reporter.Event(
      EventKind::kSettings,
      {{"version", Version()}, {"bus", session.bus_uri}, {"settings", LinesOf(settings)}});
}

}  // namespace quillmark::host
