// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>

#include "host/tool/command.h"
#include "host/tool/profile.h"

namespace quillmark::host {
namespace {

struct ProfileCommandOptions {
  LinkOptions link;
  SessionOptions session;
  TransferOptions transfer;
  std::uint8_t check_routine = FlashOptions{}.check_routine;
};

void Run(const ProfileCommandOptions& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CheckTransferOptions(options.transfer, options.link);
  Profile profile = ProfileOf(options.link, options.session);
  for (const Setting& setting : ProfileOf(options.transfer)) {
    profile.push_back(setting);
  }
  profile.push_back(RoutineSetting(options.check_routine));
  for (const Setting& setting : profile) {
    if (setting.value.find('\n') != std::string::npos) {
      throw CLI::ValidationError("--" + setting.name,
                                 "expected one line for a profile, found more");
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
  AddProfileOption(profile);
  AddLinkOptions(profile, options->link);
  AddSessionOptions(profile, options->session);
  AddCuttingOptions(profile, options->transfer);
  AddRoutineOption(profile, options->check_routine);
  profile.callback([options, &command] {
    FitToBus(options->link, options->session);
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
