// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>

#include "host/tool/command.h"
#include "host/tool/connection.h"
#include "host/tool/interrupt.h"
#include "host/tool/link_options.h"
#include "host/tool/profile.h"
#include "host/tool/session_options.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

struct IdentifyCommandOptions {
  LinkOptions link;
  SessionOptions session;
};

void ReportLines(Reporter& reporter, const Identification& identification) {
  reporter.Line(fmt::format("identification  {}", RecordText(identification.record)));
  if (identification.entries.empty()) {
    reporter.Line("no history");
    return;
  }
  std::size_t width = std::string_view("history").size();
  for (const auto& entry : identification.entries) {
    width = std::max(width, RecordText(entry.history).size());
  }
  reporter.Line(fmt::format("entry  {:<{}}  reprogramming", "history", width));
  std::size_t number = 0;
  for (const auto& entry : identification.entries) {
    reporter.Line(fmt::format("{:>5}  {:<{}}  {}", number++, RecordText(entry.history), width,
                              RecordText(entry.reprogramming)));
  }
}

Json HexOrNull(const Bytes& record) { return record.empty() ? Json() : Json(HexOf(record)); }

void ReportEvent(Reporter& reporter, const Identification& identification) {
  Json entries = Json::array();
  for (const auto& entry : identification.entries) {
    entries.push_back(
        {{"history", HexOrNull(entry.history)}, {"reprogramming", HexOrNull(entry.reprogramming)}});
  }
  reporter.Event(EventKind::kIdentification,
                 {{"record", HexOrNull(identification.record)}, {"entries", entries}});
}

void Run(const IdentifyCommandOptions& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CatchInterrupts();
  Connection connection(options.link, options.session, MakeConfig(options.link, options.session),
                        reporter);
  const Identification identification = connection.programmer().Identify();
  ReportLines(reporter, identification);
  if (options.link.form == TransportForm::kKLine) {
    reporter.Line("on a K line no more of the history can be read");
  }
  ReportEvent(reporter, identification);
}

}  // namespace

void AddIdentifyCommand(CLI::App& app, Command& command) {
  CLI::App& identify =
      *app.add_subcommand("identify", "print the identification and the history of the ECU");
  const auto options = std::make_shared<IdentifyCommandOptions>();
  AddEcuOptions(identify, options->link, options->session);
  AddJsonOption(identify, command);
  identify.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
