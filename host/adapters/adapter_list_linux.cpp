// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "host/adapters/registered_adapters.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestDescription = 65'536;
/// The type of a network interface that is a CAN bus (ARPHRD_CAN).
constexpr std::string_view kCanInterfaceType = "280";

/// The paths in a folder, sorted; none if it cannot be read. At most `kMostAdapters`.
std::vector<fs::path> EntriesOf(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code unreadable;
  for (fs::directory_iterator entry(folder, unreadable), end;
       !unreadable && entry != end && entries.size() < kMostAdapters; entry.increment(unreadable)) {
    entries.push_back(entry->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

/// Raises std::runtime_error with what is wrong.
std::string TextIn(const nlohmann::json& object, const char* name, std::size_t longest) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_string()) {
    throw std::runtime_error(std::string("expected a text ") + name);
  }
  auto text = found->get<std::string>();
  RequireLine(name, text, longest);
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
  PassThruEntry entry{.name = TextIn(object, "NAME", kLongestAdapterName),
                      .vendor = TextIn(object, "VENDOR", kLongestAdapterName),
                      .library = TextIn(object, "FUNCTION_LIB", kLongestLibraryPath)};
  if (entry.library.find('/') == std::string::npos) {
    throw std::runtime_error("FUNCTION_LIB must be a path, found \"" + entry.library + '"');
  }
  return entry;
}

bool IsSerialName(const std::string& name) {
  return name.starts_with("ttyUSB") || name.starts_with("ttyACM");
}

/// By the names that stay when a port is plugged in elsewhere, where there are such.
void ListSerialPorts(const fs::path& devices, std::vector<AdapterEntry>& adapters) {
  std::set<std::string> named;
  for (const fs::path& link : EntriesOf(devices / "serial" / "by-id")) {
    std::error_code dangling;
    const fs::path device = fs::canonical(link, dangling);
    if (!dangling) {
      named.insert(device.filename().string());
      adapters.push_back(EntryOfPort(link.string(), "serial port " + device.filename().string() +
                                                        ", " + link.filename().string()));
    }
  }
  for (const fs::path& device : EntriesOf(devices)) {
    const std::string name = device.filename().string();
    if (IsSerialName(name) && !named.contains(name)) {
      adapters.push_back(EntryOfPort(device.string(), "serial port " + name));
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

AdapterPlaces::AdapterPlaces() : devices("/dev"), networks("/sys/class/net") {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') {
    pass_thru = fs::path(home) / ".passthru";
  }
}

std::vector<PassThruEntry> ReadPassThruEntries(const AdapterPlaces& places,
                                               std::vector<std::string>& warnings) {
  std::vector<PassThruEntry> entries;
  for (const fs::path& file : EntriesOf(places.pass_thru)) {
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

std::string PlaceOfPassThruEntries(const AdapterPlaces& places) {
  return places.pass_thru.empty() ? "~/.passthru" : places.pass_thru.string();
}

std::vector<AdapterEntry> ReadPorts(const AdapterPlaces& places) {
  std::vector<AdapterEntry> adapters;
  ListSerialPorts(places.devices, adapters);
  ListCanInterfaces(places.networks, adapters);
  return adapters;
}

}  // namespace quillmark::host
