// SPDX-License-Identifier: MIT
#include <memory>

#include "host/tool/command.h"
#include "host/tool/ecu_run.h"
#include "host/tool/profile.h"
#include "host/tool/surroundings.h"

namespace quillmark::host {

void AddIdentifyCommand(CLI::App& app, Command& command) {
  CLI::App& identify =
      *app.add_subcommand("identify", "print the identification and the history of the ECU");
  struct Options {
    LinkOptions link;
    SessionOptions session;
  };
  const auto options = std::make_shared<Options>();
  AddEcuOptions(identify, options->link, options->session);
  AddJsonOption(identify, command);
  identify.callback([options, &command] {
    command.run = [options](Reporter& reporter) {
      static_cast<void>(Identify(options->link, options->session, SurroundingsOfProcess(reporter)));
    };
  });
}

}  // namespace quillmark::host
