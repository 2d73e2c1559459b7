// SPDX-License-Identifier: MIT
// The file of a job: whatever it holds, it is refused with a text that begins with a place in it,
// or its bays have names of their own that are names of folders, and each has images. What the
// options of a bay do not take is refused in the same way.
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "fuzz/support/law.h"
#include "host/station/job.h"
#include "host/tool/exit_code.h"

namespace quillmark::fuzz {
namespace {

using namespace host;

void RequireBay(const JobBay& bay, std::set<std::string>& names) {
  Law(names.insert(bay.name).second, "each bay has a name of its own");
  Law(!bay.name.empty() && bay.name.front() != '.' && bay.name.find('/') == std::string::npos,
      "a name is that of a folder");
  Law(!bay.images.empty(), "each bay has images");
  for (const JobBay::Option& option : bay.options) {
    Law(option.place.starts_with("$."), "each option has a place");
    if (option.name == "profile") {
      return;  // it would be read
    }
  }
  const FlashSettings settings = SettingsOf(bay, "");
  Law(settings.transfer.files.size() == bay.images.size(), "each image is in the settings");
  Law(!settings.flash.yes, "no file answers a question");
}

void Run(std::string_view text) {
  try {
    std::set<std::string> names;
    for (const JobBay& bay : ParseJob(text)) {
      RequireBay(bay, names);
    }
  } catch (const ToolError& error) {
    Law(std::string_view(error.what()).starts_with('$'), "a refusal names its place");
    Law(error.code() == ExitCode::kData && !error.next().empty(), "a refusal says what to do");
  }
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillmark::fuzz::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
