// SPDX-License-Identifier: MIT
#include "host/station/job.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>

#include "host/tool/exit_code.h"
#include "host/tool/number.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestJob = 1 << 20;
constexpr std::size_t kMostBays = 256;
constexpr std::size_t kMostImages = 64;
constexpr std::size_t kMostFaults = 64;
constexpr std::size_t kLongestName = 64;
constexpr std::size_t kLongestText = 4096;
constexpr std::size_t kDeepest = 16;
constexpr std::size_t kLongestFound = 60;

/// What a member of a bay may be.
enum class Kind : std::uint8_t {
  kText,
  kFile,
  kProfile,
  kNumber,  ///< also as text, such as "0x11"
  kPair,    ///< two numbers
  kAutoPair,
  kTexts,
  kFlag,
};

struct Member {
  std::string_view name;
  Kind kind;
};

/// Beside "bay" and "images". All are options of flash.
constexpr std::array<Member, 25> kMembers{{{"profile", Kind::kProfile},
                                           {"bus", Kind::kText},
                                           {"form", Kind::kText},
                                           {"ids", Kind::kPair},
                                           {"address", Kind::kNumber},
                                           {"flow-control", Kind::kAutoPair},
                                           {"bitrate", Kind::kNumber},
                                           {"expect-ecu", Kind::kText},
                                           {"key-command", Kind::kText},
                                           {"key-timeout", Kind::kNumber},
                                           {"p2", Kind::kNumber},
                                           {"p2-star", Kind::kNumber},
                                           {"max-pending", Kind::kNumber},
                                           {"repeat", Kind::kNumber},
                                           {"max-wait-frames", Kind::kNumber},
                                           {"tester-present", Kind::kNumber},
                                           {"rl", Kind::kNumber},
                                           {"routine", Kind::kNumber},
                                           {"fill", Kind::kNumber},
                                           {"align", Kind::kNumber},
                                           {"block", Kind::kNumber},
                                           {"log-record", Kind::kText},
                                           {"min-voltage", Kind::kNumber},
                                           {"verify", Kind::kFlag},
                                           {"fault", Kind::kTexts}}};
/// What each bay has of its own.
constexpr std::array<std::string_view, 3> kOwnMembers{"bay", "bus", "backup"};

[[noreturn]] void Refuse(const std::string& place, const std::string& what) {
  throw ToolError(ExitCode::kData, place + ": " + what,
                  "correct the job; job.schema.json says what one holds; nothing was sent");
}

[[noreturn]] void RefuseFound(const std::string& place, std::string_view expected,
                              std::string_view found) {
  Refuse(place, fmt::format("expected {}, found {}", expected, found.substr(0, kLongestFound)));
}

[[noreturn]] void RefuseValue(const std::string& place, std::string_view expected,
                              const Json& found) {
  RefuseFound(place, expected,
              found.is_object()  ? "an object"
              : found.is_array() ? "an array"
                                 : found.dump());
}

/// Where a parser is, and the members that it has seen there.
class Position {
 public:
  /// Raises ToolError for a member that is there twice, and for what lies too deep.
  void Take(Json::parse_event_t event, const Json& parsed) {
    using Parse = Json::parse_event_t;
    if (event == Parse::object_start || event == Parse::array_start) {
      levels_.push_back({event == Parse::array_start, 0, {}, {}});
      if (levels_.size() > kDeepest) {
        Refuse("$", fmt::format("expected at most {} objects and arrays in one another, found more",
                                kDeepest));
      }
    } else if (event == Parse::key) {
      Level& level = levels_.back();
      level.key = parsed.get<std::string>();
      if (!level.keys.insert(level.key).second) {
        Refuse(Text(), "expected this member once, found it twice");
      }
    } else {
      if (event != Parse::value) {
        levels_.pop_back();
      }
      if (!levels_.empty()) {
        ++levels_.back().index;
      }
    }
  }

 private:
  struct Level {
    bool is_array;
    std::size_t index;
    std::string key;
    std::set<std::string> keys;
  };

  [[nodiscard]] std::string Text() const {
    std::string text = "$";
    for (const Level& level : levels_) {
      text += level.is_array ? fmt::format("[{}]", level.index)
                             : "." + level.key.substr(0, kLongestFound);
    }
    return text;
  }

  std::vector<Level> levels_;
};

Json ParseJson(std::string_view text) {
  Position position;
  try {
    return Json::parse(text, [&position](int /*depth*/, Json::parse_event_t event, Json& parsed) {
      position.Take(event, parsed);
      return true;
    });
  } catch (const Json::exception& error) {
    const std::string_view what = error.what();
    Refuse("$", fmt::format("expected JSON, found a {}", what.substr(what.find("] ") + 2)));
  }
}

const Json& Require(const Json& object, const std::string& place, const char* name,
                    const char* expected) {
  const auto found = object.find(name);
  if (found == object.end()) {
    Refuse(place, fmt::format("expected the member \"{}\", {}, found none", name, expected));
  }
  return *found;
}

void RequireObject(const Json& value, const std::string& place) {
  if (!value.is_object()) {
    RefuseValue(place, "an object", value);
  }
}

const Json& RequireArray(const Json& value, const std::string& place, std::size_t most) {
  const std::string expected = fmt::format("an array of 1 to {} elements", most);
  if (!value.is_array()) {
    RefuseValue(place, expected, value);
  }
  if (value.empty() || value.size() > most) {
    RefuseFound(place, expected, fmt::format("one of {}", value.size()));
  }
  return value;
}

/// What an editor shows, on one line.
std::string TextOf(const Json& value, const std::string& place) {
  if (!value.is_string()) {
    RefuseValue(place, "a text", value);
  }
  const auto& text = value.get_ref<const std::string&>();
  if (text.empty() || text.size() > kLongestText) {
    RefuseFound(place, fmt::format("a text of 1 to {} bytes", kLongestText),
                fmt::format("one of {}", text.size()));
  }
  if (std::any_of(text.begin(), text.end(),
                  [](char byte) { return (byte >= 0 && byte < ' ') || byte == '\x7F'; })) {
    RefuseValue(place, "a text without control characters", value);
  }
  return text;
}

std::string NumberOf(const Json& value, const std::string& place) {
  if (!value.is_number() && !value.is_string()) {
    RefuseValue(place, "a number, or one as a text such as \"0x10\"", value);
  }
  return value.is_string() ? TextOf(value, place) : value.dump();
}

std::vector<std::string> PairOf(const Json& value, const std::string& place) {
  if (!value.is_array() || value.size() != 2) {
    RefuseValue(place, "an array of two numbers", value);
  }
  return {NumberOf(value[0], place + "[0]"), NumberOf(value[1], place + "[1]")};
}

std::vector<std::string> WordsOf(const Json& value, Kind kind, const std::string& place) {
  switch (kind) {
    case Kind::kText:
    case Kind::kFile:
    case Kind::kProfile:
      return {TextOf(value, place)};
    case Kind::kNumber:
      return {NumberOf(value, place)};
    case Kind::kAutoPair:
      if (value == kAutoFlowControl) {
        return {std::string(kAutoFlowControl), std::string(kAutoFlowControl)};
      }
      return PairOf(value, place);
    case Kind::kPair:
      return PairOf(value, place);
    case Kind::kTexts:
      break;
    case Kind::kFlag:
      if (!value.is_boolean()) {
        RefuseValue(place, "true or false", value);
      }
      return value.get<bool>() ? std::vector<std::string>{"true"} : std::vector<std::string>{};
  }
  std::vector<std::string> words;
  for (const Json& each : RequireArray(value, place, kMostFaults)) {
    words.push_back(TextOf(each, fmt::format("{}[{}]", place, words.size())));
  }
  return words;
}

const Member* FindMember(std::string_view name) {
  static constexpr Member kBackup{"backup", Kind::kFile};
  if (name == kBackup.name) {
    return &kBackup;
  }
  const auto found = std::find_if(kMembers.begin(), kMembers.end(),
                                  [name](const Member& each) { return each.name == name; });
  return found == kMembers.end() ? nullptr : &*found;
}

std::string NamesOfMembers(const std::vector<std::string_view>& more) {
  std::vector<std::string_view> names = more;
  for (const Member& member : kMembers) {
    if (std::find(names.begin(), names.end(), member.name) == names.end()) {
      names.push_back(member.name);
    }
  }
  return fmt::format("one of {}", fmt::join(names, ", "));
}

std::uint32_t BaseOf(const Json& value, const std::string& place) {
  try {
    return static_cast<std::uint32_t>(ParseNumber("base", NumberOf(value, place), kAddressRange));
  } catch (const CLI::ValidationError& error) {
    Refuse(place, std::string(error.what()).substr(std::string_view("base: ").size()));
  }
}

std::vector<JobBay::Image> ImagesIn(const Json& value, const std::string& place) {
  std::vector<JobBay::Image> images;
  for (const Json& each : RequireArray(value, place, kMostImages)) {
    const std::string here = fmt::format("{}[{}]", place, images.size());
    RequireObject(each, here);
    for (const auto& [name, ignored] : each.items()) {
      if (name != "file" && name != "base") {
        RefuseFound(here, "one of file, base", '"' + name + '"');
      }
    }
    JobBay::Image image{TextOf(Require(each, here, "file", "a text"), here + ".file"), {}};
    if (each.contains("base")) {
      image.base = BaseOf(each["base"], here + ".base");
    }
    images.push_back(std::move(image));
  }
  return images;
}

/// What a bay takes from "defaults", or has of its own.
void TakeMembers(const Json& object, const std::string& place, JobBay& bay) {
  for (const auto& [name, value] : object.items()) {
    const std::string here = fmt::format("{}.{}", place, name.substr(0, kLongestFound));
    if (name == "bay") {
      continue;
    }
    if (name == "images") {
      bay.images = ImagesIn(value, here);
      continue;
    }
    const Member* const member = FindMember(name);
    if (member == nullptr) {
      RefuseFound(place, NamesOfMembers({"bay", "images", "backup"}), '"' + name + '"');
    }
    std::erase_if(bay.options,
                  [&name = name](const JobBay::Option& option) { return option.name == name; });
    bay.options.push_back({name, WordsOf(value, member->kind, here), here});
  }
}

void CheckDefaults(const Json& defaults) {
  RequireObject(defaults, "$.defaults");
  for (const std::string_view own : kOwnMembers) {
    if (defaults.contains(own)) {
      Refuse("$.defaults",
             fmt::format("expected \"{}\" in each bay by itself, found it here", own));
    }
  }
}

std::string NameOfBay(const Json& value, const std::string& place) {
  const std::string name = TextOf(value, place);
  const auto is_usual = [](char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z') || byte == '-' || byte == '_' || byte == '.';
  };
  if (name.size() > kLongestName || name.front() == '.' ||
      !std::all_of(name.begin(), name.end(), is_usual)) {
    RefuseValue(
        place,
        fmt::format("a name of 1 to {} letters, digits, \"-\", \"_\" and \".\", which is not "
                    "the first",
                    kLongestName),
        value);
  }
  return name;
}

/// A folder may be the same for both letters.
std::string InLowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return text;
}

JobBay BayOf(const Json& value, const Json& defaults, const std::string& place, JobFor use) {
  RequireObject(value, place);
  JobBay bay;
  bay.place = place;
  bay.name = NameOfBay(Require(value, place, "bay", "a name"), place + ".bay");
  TakeMembers(defaults, "$.defaults", bay);
  TakeMembers(value, place, bay);
  if (bay.images.empty() && use == JobFor::kFlash) {
    Refuse(place, "expected the member \"images\" here or in $.defaults, found none");
  }
  return bay;
}

/// The words of a command line, last first.
std::vector<std::string> CommandLineOf(const JobBay& bay, const fs::path& folder) {
  std::vector<std::string> arguments;
  for (const JobBay::Option& option : bay.options) {
    const std::string name = "--" + option.name;
    const Kind kind = FindMember(option.name)->kind;
    if (kind == Kind::kFlag) {
      if (!option.words.empty()) {
        arguments.push_back(name);
      }
    } else if (kind == Kind::kPair || kind == Kind::kAutoPair) {
      arguments.insert(arguments.end(), {name, option.words[0], option.words[1]});
    } else {
      for (const std::string& word : option.words) {
        const bool is_below =
            kind == Kind::kFile || (kind == Kind::kProfile && Utf8Path(word).has_parent_path());
        arguments.push_back(
            fmt::format("{}={}", name, is_below ? (folder / Utf8Path(word)).string() : word));
      }
    }
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

/// What the parser says of an option, at its place in the file.
[[noreturn]] void RefuseOption(const JobBay& bay, const std::string& what) {
  for (const JobBay::Option& option : bay.options) {
    const std::string beginning = "--" + option.name + ": ";
    if (what.starts_with(beginning)) {
      Refuse(option.place, what.substr(beginning.size()));
    }
  }
  Refuse(bay.place, what);
}

}  // namespace

std::vector<JobBay> ParseJob(std::string_view text, JobFor use) {
  const Json job = ParseJson(text);
  RequireObject(job, "$");
  for (const auto& [name, ignored] : job.items()) {
    if (name != "defaults" && name != "bays" && name != "$schema") {
      RefuseFound("$", "one of defaults, bays, $schema", '"' + name + '"');
    }
  }
  const Json defaults = job.contains("defaults") ? job["defaults"] : Json::object();
  CheckDefaults(defaults);
  std::vector<JobBay> bays;
  std::map<std::string, std::string> places;
  for (const Json& each :
       RequireArray(Require(job, "$", "bays", "an array"), "$.bays", kMostBays)) {
    bays.push_back(BayOf(each, defaults, fmt::format("$.bays[{}]", bays.size()), use));
    const auto& [name, place] = std::pair(bays.back().name, bays.back().place);
    const auto [other, is_new] = places.emplace(InLowerCase(name), place);
    if (!is_new) {
      Refuse(place + ".bay", fmt::format("expected a name of its own, found that of {}: \"{}\"",
                                         other->second, name));
    }
  }
  return bays;
}

FlashSettings SettingsOf(const JobBay& bay, const fs::path& folder) {
  FlashSettings settings;
  CLI::App app;
  AddEcuFlashOptions(app, settings);
  std::vector<std::string> arguments = CommandLineOf(bay, folder);
  try {
    app.parse(arguments);
    for (const JobBay::Image& image : bay.images) {
      settings.transfer.files.push_back((folder / Utf8Path(image.file)).string());
    }
    CheckLinkOptions(settings.link);
    CheckTransferOptions(settings.transfer, settings.link);
  } catch (const CLI::Error& error) {
    RefuseOption(bay, error.what());
  }
  return settings;
}

std::vector<std::pair<JobBay, FlashSettings>> ReadJob(const std::string& file, JobFor use) {
  const fs::path path = Utf8Path(file);
  const std::string text = ReadFile(path, kLargestJob);
  std::vector<std::pair<JobBay, FlashSettings>> bays;
  try {
    for (JobBay& bay : ParseJob(text, use)) {
      FlashSettings settings = SettingsOf(bay, path.parent_path());
      bays.emplace_back(std::move(bay), std::move(settings));
    }
  } catch (const ToolError& error) {
    // A profile names itself.
    if (!std::string_view(error.what()).starts_with('$')) {
      throw;
    }
    throw ToolError(error.code(), fmt::format("{}: {}", file, error.what()), error.next());
  }
  return bays;
}

void RequireBusesOfTheirOwn(const std::vector<std::pair<JobBay, FlashSettings>>& bays) {
  std::map<std::pair<BusKind, fs::path>, std::string> owners;
  for (const auto& [bay, settings] : bays) {
    const SessionOptions& session = settings.session;
    if (session.bus.kind == BusKind::kSimulated) {
      continue;
    }
    // One device under two names is one bus.
    std::error_code ignored;
    const fs::path device = Utf8Path(session.bus.device);
    const fs::path place =
        device.has_parent_path() ? fs::weakly_canonical(device, ignored) : device;
    const auto [other, is_first] =
        owners.emplace(std::pair(session.bus.kind, place.empty() ? device : place), bay.name);
    if (!is_first) {
      throw ToolError(ExitCode::kData,
                      fmt::format("bay {}: expected a bus of its own, found {}, which bay {} has",
                                  bay.name, session.bus_uri, other->second),
                      "give each bay another adapter, or flash the ECUs of one bus one after the "
                      "other; nothing was sent");
    }
  }
}

}  // namespace quillmark::host
