// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>
#include <sstream>

#include "host/tool/command.h"
#include "host/tool/printable_output.h"
#include "host/tool/profile.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

struct ProfileCommandOptions {
  LinkOptions link;
  SessionOptions session;
  TransferOptions transfer;
  FlashOptions flash;
};

/// Whether a profile with this value, as it leaves the tool, gives it back.
bool CanBeShown(const std::string& value) {
  std::ostringstream shown;
  {
    const PrintableOutput output(shown, CharsetOfEnvironment());
    shown << value << std::flush;
  }
  return shown.str() == value && WithoutBlanks(value) == value &&
         value.find('\n') == std::string::npos;
}

void Run(const ProfileCommandOptions& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CheckTransferOptions(options.transfer, options.link);
  Profile profile = ProfileOf(options.link, options.session);
  for (const Setting& setting : ProfileOf(options.transfer)) {
    profile.push_back(setting);
  }
  for (const Setting& setting : ProfileOf(options.flash)) {
    profile.push_back(setting);
  }
  for (const Setting& setting : profile) {
    if (!CanBeShown(setting.value)) {
      throw CLI::ValidationError(
          "--" + setting.name,
          "expected one line of text for a profile, without blanks around "
          "it and with characters of the locale; write the rest into a script");
    }
  }
  for (const Setting& setting : profile) {
    reporter.Line(fmt::format("{} = {}", setting.name, setting.value));
  }
}

}  // namespace

void AddProfileCommand(CLI::App& app, Command& command) {
  CLI::App& profile = *app.add_subcommand(
      "profile", "print the settings in effect as a profile, for --profile of other commands");
  const auto options = std::make_shared<ProfileCommandOptions>();
  AddEcuOptions(profile, options->link, options->session);
  AddCuttingOptions(profile, options->transfer);
  AddRoutineOption(profile, options->flash.check_routine);
  AddVoltageOption(profile, options->flash.least_millivolts);
  profile.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
