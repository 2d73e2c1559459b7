// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/tool/link_options.h"
#include "host/tool/reporter.h"
#include "host/tool/session_options.h"
#include "host/tool/transfer_options.h"

namespace quillmark::host {

/// An option of the command line without its dashes, and its value.
struct Setting {
  std::string name;
  std::string value;

  friend bool operator==(const Setting&, const Setting&) = default;
};

/// How one kind of ECU is reached and flashed. As a file it has a line `NAME = VALUE` for each
/// setting; empty lines and lines that begin with # are left out.
using Profile = std::vector<Setting>;

/// Adds --profile, which gives each option that the command line does not give its value in a
/// profile, and stores the path of that in `path`. Parsing raises ToolError (no input, data) for
/// one that cannot be used.
void AddProfileOption(CLI::App& app, std::string& path);

/// Adds what a command with a session has: --profile, and the options of the link and the session,
/// which must suit the bus. Both are stored in the arguments, which must outlive the parsing.
void AddEcuOptions(CLI::App& app, LinkOptions& link, SessionOptions& session);

/// The settings that are in effect, given or not, as far as they apply to the form.
[[nodiscard]] Profile ProfileOf(const LinkOptions& link, const SessionOptions& session);
[[nodiscard]] Profile ProfileOf(const TransferOptions& transfer);
[[nodiscard]] Profile ProfileOf(const FlashOptions& flash);
[[nodiscard]] Setting MemorySetting(std::uint8_t memory);

/// Tells with what a command works: this program, the bus, and the settings. People are told of
/// those that are not `defaults`. A key command is not shown, since it may hold a secret.
void ReportSettings(Reporter& reporter, const SessionOptions& session, const Profile& settings,
                    const Profile& defaults);

/// The same for the options of a command, whose settings `SettingsOf` gives.
template <typename Options>
void ReportSettings(Reporter& reporter, const Options& options) {
  Options defaults;
  defaults.link.form = options.link.form;
  ReportSettings(reporter, options.session, SettingsOf(options), SettingsOf(defaults));
}

}  // namespace quillmark::host
