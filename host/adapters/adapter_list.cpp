// SPDX-License-Identifier: MIT
#include "quillmark/host/adapter_list.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>

#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

// More than any honest folder has.
constexpr std::size_t kMostFiles = 200;
constexpr std::uint64_t kLargestDescription = 65'536;
#if defined(_WIN32)
constexpr std::string_view kSeparators = "/\\";
#else
constexpr std::string_view kSeparators = "/";
#endif
constexpr std::size_t kLongestName = 200;
constexpr std::size_t kLongestPath = 4096;
/// The type of a network interface that is a CAN bus (ARPHRD_CAN).
constexpr std::string_view kCanInterfaceType = "280";

/// A pass-thru library that is registered on this machine.
struct PassThruEntry {
  std::string name;
  std::string vendor;
  /// Its file.
  std::string library;
};

/// The paths in a folder, sorted; none if it cannot be read. At most `kMostFiles`.
std::vector<fs::path> EntriesOf(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code unreadable;
  for (fs::directory_iterator entry(folder, unreadable), end;
       !unreadable && entry != end && entries.size() < kMostFiles; entry.increment(unreadable)) {
    entries.push_back(entry->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

/// Text for a line of its own.
bool IsPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char each) {
    return static_cast<unsigned char>(each) < ' ' || each == '\x7F';
  });
}

/// Raises std::runtime_error with what is wrong.
std::string TextIn(const nlohmann::json& object, const char* name, std::size_t longest) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_string()) {
    throw std::runtime_error(std::string("expected a text ") + name);
  }
  auto text = found->get<std::string>();
  if (text.empty() || text.size() > longest || !IsPlain(text)) {
    throw std::runtime_error(std::string(name) + " must have 1 to " + std::to_string(longest) +
                             " bytes, without control characters");
  }
  return text;
}

PassThruEntry ReadEntry(const fs::path& file) {
  if (!fs::is_regular_file(file)) {
    throw std::runtime_error("expected a regular file");
  }
  const nlohmann::json object =
      nlohmann::json::parse(ReadFile(file, kLargestDescription), nullptr, false);
  if (!object.is_object()) {
    throw std::runtime_error("expected a JSON object with FUNCTION_LIB, NAME and VENDOR");
  }
  PassThruEntry entry{.name = TextIn(object, "NAME", kLongestName),
                      .vendor = TextIn(object, "VENDOR", kLongestName),
                      .library = TextIn(object, "FUNCTION_LIB", kLongestPath)};
  if (entry.library.find('/') == std::string::npos) {
    throw std::runtime_error("FUNCTION_LIB must be a path, found \"" + entry.library + '"');
  }
  return entry;
}

std::vector<PassThruEntry> ReadPassThruEntries(const fs::path& folder,
                                               std::vector<std::string>& warnings) {
  std::vector<PassThruEntry> entries;
  for (const fs::path& file : EntriesOf(folder)) {
    if (file.extension() != ".json") {
      continue;
    }
    try {
      entries.push_back(ReadEntry(file));
    } catch (const std::exception& error) {
      const std::string reason = error.what();
      const bool has_name = reason.starts_with(file.string());
      warnings.push_back(has_name ? reason : file.string() + ": " + reason);
    }
  }
  return entries;
}

AdapterEntry AdapterOf(const PassThruEntry& entry) {
  // What a URI cannot hold, or what means a path, is no name for one.
  const bool is_name = entry.name.find_first_of("?/") == std::string::npos;
  return {.kind = AdapterEntry::Kind::kPassThru,
          .description = entry.name + ", " + entry.vendor + ", " + entry.library,
          .uris = {"j2534:" + (is_name ? entry.name : entry.library)}};
}

bool IsSerialName(const std::string& name) {
  return name.starts_with("ttyUSB") || name.starts_with("ttyACM");
}

AdapterEntry EntryOfPort(const fs::path& path, const std::string& description) {
  return {.kind = AdapterEntry::Kind::kSerialPort,
          .description = description,
          .uris = {"slcan:" + path.string(), "kline:" + path.string()}};
}

/// By the names that stay when a port is plugged in elsewhere, where there are such.
void ListSerialPorts(const fs::path& devices, std::vector<AdapterEntry>& adapters) {
  std::set<std::string> named;
  for (const fs::path& link : EntriesOf(devices / "serial" / "by-id")) {
    std::error_code dangling;
    const fs::path device = fs::canonical(link, dangling);
    if (!dangling) {
      named.insert(device.filename().string());
      adapters.push_back(EntryOfPort(
          link, "serial port " + device.filename().string() + ", " + link.filename().string()));
    }
  }
  for (const fs::path& device : EntriesOf(devices)) {
    const std::string name = device.filename().string();
    if (IsSerialName(name) && !named.contains(name)) {
      adapters.push_back(EntryOfPort(device, "serial port " + name));
    }
  }
}

/// The only line of a short file of the kernel; empty if there is none.
std::string LineOf(const fs::path& file) {
  try {
    const std::string text = ReadFile(file, kLargestDescription);
    return text.substr(0, text.find('\n'));
  } catch (const CannotReadFile&) {
    return {};
  }
}

void ListCanInterfaces(const fs::path& networks, std::vector<AdapterEntry>& adapters) {
  for (const fs::path& network : EntriesOf(networks)) {
    if (LineOf(network / "type") != kCanInterfaceType) {
      continue;
    }
    const std::string name = network.filename().string();
    const std::string state = LineOf(network / "operstate");
    adapters.push_back(
        {.kind = AdapterEntry::Kind::kCanInterface,
         .description = "CAN interface " + name + (state.empty() ? "" : ", its state is " + state),
         .uris = {"socketcan:" + name}});
  }
}

}  // namespace

AdapterPlaces::AdapterPlaces() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') {
    pass_thru = fs::path(home) / ".passthru";
  }
}

AdapterList ListAdapters(const AdapterPlaces& places) {
  AdapterList list;
  for (const PassThruEntry& entry : ReadPassThruEntries(places.pass_thru, list.warnings)) {
    list.adapters.push_back(AdapterOf(entry));
  }
  ListSerialPorts(places.devices, list.adapters);
  ListCanInterfaces(places.networks, list.adapters);
  return list;
}

std::string FindPassThruLibrary(const std::string& device, const AdapterPlaces& places) {
  if (device.find_first_of(kSeparators) != std::string::npos) {
    return device;
  }
  std::vector<std::string> ignored;
  std::string known;
  for (const PassThruEntry& entry : ReadPassThruEntries(places.pass_thru, ignored)) {
    if (entry.name == device) {
      return entry.library;
    }
    known += (known.empty() ? "" : ", ") + ('"' + entry.name + '"');
  }
  throw BusError("there is no pass-thru adapter \"" + device + "\" in " +
                 (places.pass_thru.empty() ? "~/.passthru" : places.pass_thru.string()) + "; " +
                 (known.empty() ? "there is none at all" : "there are " + known) +
                 "; the path of a library does as well");
}

}  // namespace quillmark::host
