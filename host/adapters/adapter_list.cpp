// SPDX-License-Identifier: MIT
#include "quillmark/host/adapter_list.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "host/adapters/registered_adapters.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {
namespace {

#if defined(_WIN32)
constexpr std::string_view kSeparators = "/\\";
#else
constexpr std::string_view kSeparators = "/";
#endif

using PassThruEntries = std::vector<PassThruEntry>;

/// The first of a name among those that fit, or among those that do not; null if there is none.
const PassThruEntry* FindEntry(const PassThruEntries& entries, const std::string& name, bool fits) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const PassThruEntry& each) {
    return each.name == name && each.fits == fits;
  });
  return found == entries.end() ? nullptr : &*found;
}

/// By its name where that finds this library again, else by its path.
std::string DeviceOf(const PassThruEntries& entries, const PassThruEntry& entry) {
  // What a URI cannot hold, or what means a path, is no name for one.
  const bool is_name = entry.name.find_first_of(kSeparators) == std::string::npos &&
                       entry.name.find('?') == std::string::npos;
  const bool is_found = FindEntry(entries, entry.name, entry.fits) == &entry;
  return is_name && is_found ? entry.name : entry.library;
}

AdapterEntry AdapterOf(const PassThruEntries& entries, const PassThruEntry& entry) {
  AdapterEntry adapter{.kind = AdapterEntry::Kind::kPassThru};
  for (const std::string& part : {entry.name, entry.vendor, entry.library, entry.remark}) {
    adapter.description += (adapter.description.empty() || part.empty() ? "" : ", ") + part;
  }
  const std::string uri = "j2534:" + DeviceOf(entries, entry);
  for (const std::string& protocol : entry.protocols) {
    adapter.uris.push_back(uri);
    adapter.uris.back().append("?protocol=").append(protocol);
  }
  if (adapter.uris.empty()) {
    adapter.uris.push_back(uri);
  }
  return adapter;
}

/// Text for a line of its own.
bool IsPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char each) {
    return static_cast<unsigned char>(each) < ' ' || each == '\x7F';
  });
}

}  // namespace

void RequireLine(const char* name, const std::string& text, std::size_t longest) {
  if (text.empty() || text.size() > longest || !IsPlain(text)) {
    throw std::runtime_error(std::string(name) + " must have 1 to " + std::to_string(longest) +
                             " bytes, without control characters");
  }
}

AdapterEntry EntryOfPort(const std::string& device, const std::string& description) {
  return {.kind = AdapterEntry::Kind::kSerialPort,
          .description = description,
          .uris = {"slcan:" + device, "kline:" + device}};
}

AdapterList ListAdapters(const AdapterPlaces& places) {
  AdapterList list;
  const PassThruEntries entries = ReadPassThruEntries(places, list.warnings);
  for (const PassThruEntry& entry : entries) {
    list.adapters.push_back(AdapterOf(entries, entry));
  }
  const std::vector<AdapterEntry> ports = ReadPorts(places);
  list.adapters.insert(list.adapters.end(), ports.begin(), ports.end());
  return list;
}

std::string FindPassThruLibrary(const std::string& device, const AdapterPlaces& places) {
  if (device.find_first_of(kSeparators) != std::string::npos) {
    return device;
  }
  std::vector<std::string> ignored;
  const PassThruEntries entries = ReadPassThruEntries(places, ignored);
  for (const bool fits : {true, false}) {
    if (const PassThruEntry* const entry = FindEntry(entries, device, fits)) {
      return entry->library;
    }
  }
  std::string known;
  for (const PassThruEntry& entry : entries) {
    const std::string quoted = '"' + entry.name + '"';
    if (known.find(quoted) == std::string::npos) {
      known += (known.empty() ? "" : ", ") + quoted;
    }
  }
  throw BusError("there is no pass-thru adapter \"" + device + "\" in " +
                 PlaceOfPassThruEntries(places) + "; " +
                 (known.empty() ? "there is none at all" : "there are " + known) +
                 "; the path of a library does as well");
}

}  // namespace quillmark::host
