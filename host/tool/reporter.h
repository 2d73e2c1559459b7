// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "host/tool/exit_code.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// What a command tells machines; docs/traces.md lists the members of each.
enum class EventKind : std::uint8_t {
  kSettings,        ///< with what program, bus and settings a command works
  kImage,           ///< what a file holds
  kImages,          ///< what several files hold together
  kPlan,            ///< what would be sent
  kProgress,        ///< how far a phase is
  kAdapter,         ///< what the adapter says of itself
  kIdentification,  ///< what the ECU says of itself
  kKeyCommand,      ///< a line of what the key command writes to its standard error
  kSuspended,       ///< the tool stood still while a session was open
  kBattery,         ///< the voltage of the battery before the erase
  kAboutToErase,    ///< the last word before the erase
  kReadBack,        ///< what a verification has read back
  kBackup,          ///< what the ECU held is in a file
  kDocument,        ///< a document was run; in logs alone
  kDevice,          ///< something that may be an adapter
  kReady,           ///< where a simulator listens
  kRun,             ///< what is recorded of a run
  kRule,            ///< what came of the tests of a rule for runners
  kDone,            ///< what the command did
  kError,           ///< the last line of a command that fails
};

/// The names of all of them, in their order.
inline constexpr std::array<std::string_view, 20> kEventNames{
    "settings",  "image",    "images",         "plan",
    "progress",  "adapter",  "identification", "key-command",
    "suspended", "battery",  "about-to-erase", "read-back",
    "backup",    "document", "device",         "ready",
    "run",       "rule",     "done",           "error"};

/// What a command tells about its work, to people or to machines.
class Reporter {
 public:
  Reporter() = default;
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;
  Reporter(Reporter&&) = delete;
  Reporter& operator=(Reporter&&) = delete;
  virtual ~Reporter() = default;

  /// A line for people.
  virtual void Line(const std::string& text) = 0;
  /// What a user should know although the work goes on; apart from the other lines.
  virtual void Warning(const std::string& text) = 0;
  /// A line of JSON for machines: `{"event":NAME, …}`.
  virtual void Event(EventKind kind, const Json& members) = 0;
  /// Whether an event is reported at all, for one that takes long to put together.
  [[nodiscard]] virtual bool TakesEvents() const = 0;
  /// How far the work is.
  virtual void OnProgress(const Progress& progress) = 0;
  /// The work has ended, successfully or not: nothing more of it is drawn.
  virtual void EndProgress() = 0;
};

enum class ReportStyle : std::uint8_t {
  kPlain,     ///< a line for each phase and each tenth of its bytes
  kTerminal,  ///< a bar for each phase, redrawn in place
  kJson,      ///< a line of JSON for each event
};

inline constexpr std::size_t kUsualColumns = 80;

/// A reporter on `out`, which outlives it and is flushed after each line; warnings go to the
/// standard error. `columns` tells the width of the terminal, which may change, whenever something
/// is drawn. Every event has the members `common`.
[[nodiscard]] std::unique_ptr<Reporter> MakeReporter(
    ReportStyle style, std::ostream& out,
    std::function<std::size_t()> columns = [] { return kUsualColumns; },
    const Json& common = Json::object());

}  // namespace quillmark::host
