// SPDX-License-Identifier: MIT
// The table of events in docs/traces.md against the events that come.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "host/tool/exit_code.h"
#include "host/tool/reporter.h"
#include "tests/host/pass_thru/simulator_library.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using Words = std::set<std::string>;

struct Row {
  std::string event;
  /// The commands that print it in backticks, "all" or "logs only".
  std::string from;
  Words members;

  [[nodiscard]] bool IsOf(const std::string& command) const {
    return from.find('`' + command + '`') != std::string::npos || from == " all " ||
           from == " logs only ";
  }
};

/// The texts in backticks, without options.
Words CodeIn(const std::string& text) {
  Words words;
  for (std::size_t at = text.find('`'); at != std::string::npos; at = text.find('`', at)) {
    const std::size_t end = text.find('`', at + 1);
    if (text[at + 1] != '-') {
      words.insert(text.substr(at + 1, end - at - 1));
    }
    at = end + 1;
  }
  return words;
}

std::vector<Row> RowsOfThePage() {
  std::ifstream page(QUILLMARK_TRACES_PAGE);
  std::string line;
  while (std::getline(page, line) && !line.starts_with("| event |")) {
  }
  std::getline(page, line);
  std::vector<Row> rows;
  while (std::getline(page, line) && line.starts_with('|')) {
    std::istringstream cells(line.substr(1));
    std::string event;
    std::string from;
    std::string members;
    std::getline(std::getline(std::getline(cells, event, '|'), from, '|'), members, '|');
    rows.push_back({*CodeIn(event).begin(), from, CodeIn(members)});
  }
  return rows;
}

/// The keys of a value, of what it holds as well.
void AddKeys(const nlohmann::json& value, Words& keys) {
  if (!value.is_structured()) {
    return;
  }
  for (const auto& [key, inner] : value.items()) {
    if (value.is_object()) {
      keys.insert(key);
    }
    AddKeys(inner, keys);
  }
}

class EventTable : public ToolTest {
 protected:
  /// Runs a command and remembers its events.
  void Observe(const std::string& command, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {command, "--json"});
    Remember(command, Run(arguments).out);
  }

  /// A simulator, and a flash of it that is stopped for longer than its session is left alone.
  void ObserveTwoProcesses() {
    ToolProcess simulator({"simulate", "--bus", "slcan", "--json"}, "/dev/null",
                          folder_.Path("stderr"));
    ASSERT_TRUE(simulator.ReadUntil("\n"));
    const auto ready = nlohmann::json::parse(simulator.output());
    ToolProcess flash({"flash", folder_.Write("a.bin", Pattern(20'000)), "--base", "0", "--bus",
                       ready["bus"], "--tester-present", "100", "--yes", "--json"},
                      "/dev/null", folder_.Path("stderr"));
    ASSERT_TRUE(flash.ReadUntil("\"phase\":\"download\""));
    flash.Signal(SIGSTOP);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    flash.Signal(SIGCONT);
    flash.Wait();
    Remember("flash", flash.output());
    simulator.Signal(SIGTERM);
    EXPECT_EQ(simulator.Wait(), 0);
    Remember("simulate", simulator.output());
  }

  /// Two bays, of which one fails. Each event has its bay, but for the last one of the job.
  void ObserveJob(const std::string& image) {
    const nlohmann::json images = {{{"file", image}}};
    const nlohmann::json job = {
        {"bays",
         {{{"bay", "a"}, {"images", images}, {"verify", true}},
          {{"bay", "b"}, {"images", images}, {"expect-ecu", "another ECU"}}}}};
    const ToolResult result = Run({"flash", "--job", folder_.Write("job.json", job.dump()), "--yes",
                                   "--artifacts", folder_.Path("bays"), "--json"});
    std::istringstream lines(result.out);
    std::map<std::string, std::size_t> events_by_bay;
    std::string of_a_run;
    for (std::string line; std::getline(lines, line);) {
      nlohmann::json event = nlohmann::json::parse(line);
      ++events_by_bay[event.value("bay", event.value("event", ""))];
      event.erase("bay");
      of_a_run += event.dump() + '\n';
    }
    EXPECT_GT(events_by_bay["a"], 10U);
    EXPECT_GT(events_by_bay["b"], 2U);
    EXPECT_EQ(events_by_bay["error"], 1U);
    EXPECT_EQ(events_by_bay.size(), 3U);
    Remember("flash", of_a_run);
    Remember("flash", folder_.Read("bays/a/log.jsonl"));
    Remember("flash", folder_.Read("bays/b/log.jsonl"));
  }

  /// A station that is ended at once.
  void ObserveStation() {
    const std::string bays = folder_.Write("bays.json", R"({"bays": [{"bay": "a"}]})");
    ToolProcess station({"station", "--bays", bays, "--records", folder_.Path("records"),
                         "--artifacts", folder_.Path("runs"), "--json"},
                        "/dev/null", folder_.Path("stderr"));
    ASSERT_TRUE(station.ReadUntil("\n"));
    station.Signal(SIGTERM);
    EXPECT_EQ(station.Wait(), 0);
    Remember("station", station.output());
  }

  /// A pass-thru adapter, in the list and at work.
  void ObserveAdapters() {
    const PassThruSimulator simulator(folder_);
    const std::string library = PassThruSimulator::Library(32);
    std::filesystem::create_directory(folder_.Path(".passthru"));
    static_cast<void>(
        folder_.Write(".passthru/a.json", R"({"NAME":"a","VENDOR":"b","FUNCTION_LIB":"/c.so"})"));
    ::setenv("HOME", folder_.Path("").c_str(), 1);
    Observe("devices", {});
    Observe("identify", {"--bus", "j2534:" + library});
    Observe("flash", {folder_.Path("a.s19"), "--bus", "j2534:" + library});
  }

  void Remember(const std::string& command, const std::string& lines) {
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
      nlohmann::json event = nlohmann::json::parse(line);
      const std::string name = event["event"];
      event.erase("event");
      event.erase("at");
      AddKeys(event, seen_[{name, command}]);
    }
  }

  /// Members by event and command.
  std::map<std::pair<std::string, std::string>, Words> seen_;
};

/// A failure about which everything is known.
nlohmann::json DetailsOfAFullFailure() {
  Failure failure;
  failure.phase = Phase::kDownload;
  failure.cause = Cause::kDifference;
  failure.number = 1;
  failure.address = 0x1000;
  failure.response_code = 0x77;
  failure.backup = "old.hex";
  failure.different_bytes = 1;
  failure.differences = {{.address = 0x1000, .expected = 1, .found = 2}};
  try {
    throw ProgrammingError(failure);
  } catch (...) {
    return ReportCurrentException(false).details;
  }
}

TEST_F(EventTable, HasEveryEventWithItsMembers) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  Observe("plan", {image});
  Observe("flash", {image, "--verify", "--backup", folder_.Path("old.hex"), "--artifacts",
                    folder_.Path("done")});
  Observe("flash", {image, "--fault", "bad-checksum@2", "--artifacts", folder_.Path("failed")});
  Observe("flash", {});
  Observe("read", {"--range", "0:4", "-o", folder_.Path("m.hex")});
  Observe("identify", {});
  Observe("plan", {image, image});
  Observe("verify", {folder_.Write("same.bin", std::string(4, '\x5A')), "--base", "0"});
  Observe("flash", {image, "--key-command", "echo no key >&2; true"});
  Observe("history", {});
  Observe("conformance", {"--form", "kline", QUILLMARK_LINE_RUNNER});
  Observe("conformance", {"--form", "kline", "--", "sh", "-c",
                          "while read line; do echo done ${line#* * * }; done"});
  ObserveJob(image);
  ObserveTwoProcesses();
  ObserveStation();
  ObserveAdapters();
  Remember("flash", folder_.Read("done/log.jsonl"));
  Remember("flash", folder_.Read("failed/log.jsonl"));
  AddKeys(DetailsOfAFullFailure(), seen_[{"error", "flash"}]);

  Words listed;
  std::size_t found = 0;
  for (const Row& row : RowsOfThePage()) {
    SCOPED_TRACE(row.event + " from" + row.from);
    listed.insert(row.event);
    Words members;
    for (const auto& [key, keys] : seen_) {
      if (key.first == row.event && row.IsOf(key.second)) {
        ++found;
        members.insert(keys.begin(), keys.end());
      }
    }
    EXPECT_EQ(members, row.members);
  }
  EXPECT_EQ(found, seen_.size()) << "an event from a command that its row does not name";
  EXPECT_EQ(listed, Words(kEventNames.begin(), kEventNames.end()));
}

}  // namespace
}  // namespace quillmark::host::testing
