// SPDX-License-Identifier: MIT
// The process of a station: how it begins, what it shows, and how it ends.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/host/station/http_client.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/process_end.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int kKilled = 1000;

class StationCommand : public ToolTest {
 protected:
  [[nodiscard]] std::string Bays(const std::string& more = R"("bus": "sim:")") const {
    return folder_.Write("bays.json", R"({"bays": [{"bay": "left", )" + more + "}]}");
  }

  /// The arguments of a station with one bay.
  [[nodiscard]] std::vector<std::string> Arguments(
      const std::string& bays, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments{"station",
                                       "--bays",
                                       bays,
                                       "--records",
                                       folder_.Path("records.sqlite"),
                                       "--artifacts",
                                       folder_.Path("runs")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  /// A station that listens.
  [[nodiscard]] std::unique_ptr<ToolProcess> Start(
      const std::string& bays, const std::vector<std::string>& more = {}) const {
    auto process =
        std::make_unique<ToolProcess>(Arguments(bays, more), "/dev/null", folder_.Path("stderr"));
    EXPECT_TRUE(process->ReadUntil("ends the station\n")) << folder_.Read("stderr");
    return process;
  }

  [[nodiscard]] static std::string UrlOf(const ToolProcess& process) {
    const std::string& output = process.output();
    const std::size_t begin = output.find("http");
    return output.substr(begin, output.find('\n', begin) - begin);
  }

  /// Waits until the state of the bays has a text in it, for as long as it takes.
  static void Await(const HttpClient& client, std::string_view text) {
    while (client.Get("/api/state").find(text) == std::string::npos) {
      std::this_thread::sleep_for(5ms);
    }
  }

  /// A flash of 200,000 bytes, which takes minutes in real time, after the answer to its question.
  static void BeginFlash(const HttpClient& client) {
    EXPECT_THAT(client.Post("/api/bays/0/image?name=a.bin&base=0", Pattern(200'000)),
                StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(client.Post("/api/bays/0/flash?image=1"), StartsWith("HTTP/1.1 200"));
    Await(client, R"("question":{)");
    EXPECT_THAT(client.Post("/api/bays/0/answer?question=1&answer=yes"),
                StartsWith("HTTP/1.1 200"));
  }
};

TEST_F(StationCommand, EndsWithCtrlC) {
  const auto process = Start(Bays());
  EXPECT_THAT(UrlOf(*process), MatchesRegex("http://127.0.0.1:[0-9]+/#token=[0-9a-f]{32}"));
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 0);
  EXPECT_THAT(process->output(), HasSubstr("\ndone      the station has ended\n"));
  EXPECT_EQ(folder_.Read("stderr"), "");
}

TEST_F(StationCommand, EndsAFlashAtItsNextSafePointWithCtrlC) {
  const auto process = Start(Bays(R"("bus": "sim:?time=real")"));
  const HttpClient client(UrlOf(*process));
  BeginFlash(client);
  Await(client, R"("phase":"download")");
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 0);
  EXPECT_THAT(process->output(),
              AllOf(HasSubstr("\nstopping  the bay at work, at the next safe point\n"),
                    HasSubstr("\ndone      the station has ended\n")));
  EXPECT_THAT(Run({"history", "--records", folder_.Path("records.sqlite")}).out,
              HasSubstr("cancelled"));
}

TEST_F(StationCommand, EndsAtOnceWithTheThirdCtrlCAndSaysWhatItLeaves) {
  // Its key command does not end with the first.
  const auto process =
      Start(Bays(R"("bus": "sim:", "key-command": "echo $$ >)" + folder_.Path("pid") +
                 R"(; trap '' TERM; while :; do sleep 0.1; done #")"));
  BeginFlash(HttpClient(UrlOf(*process)));
  while (!std::filesystem::exists(folder_.Path("pid"))) {
    std::this_thread::sleep_for(5ms);
  }
  InterruptThreeTimes(*process);
  EXPECT_EQ(process->Wait(), kKilled + SIGTERM);
  EXPECT_THAT(folder_.Read("stderr"),
              HasSubstr("\nquillmark: ended at once; nothing was erased or written"));
  ExpectEndOfProcess(std::stoi(folder_.Read("pid")));
  EXPECT_THAT(Run({"history", "--records", folder_.Path("records.sqlite")}).out,
              HasSubstr("unfinished"));
}

TEST_F(StationCommand, OpensTheBrowserWithAFileOfTheUsersOwnAndRemovesIt) {
  const std::string browser = folder_.Write(
      "xdg-open", "#!/bin/sh\nfolder=$(dirname \"$1\")\nstat -c '%a %n' \"$folder\" >" +
                      folder_.Path("folder") + "\ncp \"$1\" " + folder_.Path("part") + "\nmv " +
                      folder_.Path("part") + " " + folder_.Path("page") + "\n");
  ::chmod(browser.c_str(), 0700);
  const std::string path = ::getenv("PATH");
  ::setenv("PATH", (folder_.Path("") + ":" + path).c_str(), 1);
  const auto process = Start(Bays(), {"--open"});
  ::setenv("PATH", path.c_str(), 1);
  while (!std::filesystem::exists(folder_.Path("page"))) {
    std::this_thread::sleep_for(5ms);
  }
  EXPECT_THAT(folder_.Read("page"), HasSubstr(UrlOf(*process)));
  const std::string folder = folder_.Read("folder");
  EXPECT_THAT(folder, StartsWith("700 /"));
  const std::string place = folder.substr(4, folder.size() - 5);
  EXPECT_TRUE(std::filesystem::exists(place));
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(place));
}

TEST_F(StationCommand, SaysThatNoBrowserTookTheAddress) {
  const std::string path = ::getenv("PATH");
  ::setenv("PATH", folder_.Path("").c_str(), 1);
  const auto process = Start(Bays(), {"--open"});
  ::setenv("PATH", path.c_str(), 1);
  while (folder_.Read("stderr").find("no browser took the address") == std::string::npos) {
    std::this_thread::sleep_for(5ms);
  }
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 0);
}

TEST_F(StationCommand, DoesNotServeWhereNobodyLearnsItsAddress) {
  ToolProcess full(Arguments(Bays()), "/dev/null", folder_.Path("stderr"));
  full.CloseOutput();
  EXPECT_EQ(full.Wait(), 74);
  EXPECT_THAT(folder_.Read("stderr"),
              HasSubstr("cannot write to standard output, so nobody would know the address"));
}

TEST_F(StationCommand, GoesOnWhenNobodyReadsItsOutputAnyMore) {
  const auto process = Start(Bays());
  process->CloseOutput();
  const HttpClient client(UrlOf(*process));
  EXPECT_THAT(client.Get("/api/state"), StartsWith("HTTP/1.1 200"));
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 74);
}

TEST_F(StationCommand, RefusesTwoBaysOnOneAdapter) {
  const std::string bays =
      Bays(R"("bus": "slcan:/dev/ttyACM0"}, {"bay": "right", "bus": "slcan:/dev/../dev/ttyACM0")");
  const ToolResult result = Run(Arguments(bays));
  EXPECT_EQ(result.status, 65);
  EXPECT_THAT(result.err, HasSubstr("bay right: expected a bus of its own, found "
                                    "slcan:/dev/../dev/ttyACM0, which bay left has\n"));
}

TEST_F(StationCommand, SaysWhatIsWrongWithTheFileOfBays) {
  const auto refusal = [this](const std::string& content) {
    const ToolResult result = Run(Arguments(folder_.Write("bays.json", content)));
    EXPECT_EQ(result.status, 65);
    return result.err;
  };
  const std::string file = folder_.Path("bays.json");
  EXPECT_THAT(refusal("-"), HasSubstr("quillmark: " + file + ": $: expected JSON"));
  EXPECT_THAT(refusal(R"({"bays": []})"), HasSubstr(file + ": $.bays: "));
  EXPECT_THAT(refusal(R"({"bays": [{"bay": "left", "bus": "sim:", "p2": "soon"}]})"),
              HasSubstr(file + ": $.bays[0].p2: "));
  EXPECT_EQ(Run(Arguments(folder_.Path("none"))).status, 66);
  EXPECT_EQ(Run({"station"}).status, 64);
}

class SecureStationCommand : public StationCommand {
 protected:
  SecureStationCommand() {
    MakeCertificate(folder_, "good", "IP:127.0.0.1");
    Password("correct horse battery\n");
  }

  void Password(const std::string& text, ::mode_t mode = 0600) const {
    (void)folder_.Write("password", text);
    ::chmod(folder_.Path("password").c_str(), mode);
  }

  /// To listen on every address.
  [[nodiscard]] std::vector<std::string> Secure() const {
    return {"--listen",        "0.0.0.0",
            "--certificate",   folder_.Path("good.crt"),
            "--key",           folder_.Path("good.key"),
            "--password-file", folder_.Path("password")};
  }

  [[nodiscard]] std::string Refusal(const std::vector<std::string>& more, int status = 65) {
    const ToolResult result = Run(Arguments(Bays(), more));
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_THAT(result.err, HasSubstr("\nnext      "));
    return result.err;
  }
};

TEST_F(SecureStationCommand, NothingThatItShowsWritesOrStartsHasItsSecrets) {
  ::setenv("QUILLMARK_STATION_PASSWORD", "of the environment", 1);
  std::vector<std::string> options = Secure();
  options.resize(options.size() - 2);
  const auto process = Start(Bays(R"("bus": "sim:", "key-command": "env >)" +
                                  folder_.Path("environment") + R"(; exit 1 #")"),
                             options);
  ::unsetenv("QUILLMARK_STATION_PASSWORD");
  const HttpClient client(UrlOf(*process), "of the environment");
  BeginFlash(client);
  Await(client, R"("outcome":{)");
  process->Signal(SIGINT);
  EXPECT_EQ(process->Wait(), 0);
  EXPECT_THAT(process->output(), Not(HasSubstr("token")));
  std::string everything = process->output() + folder_.Read("stderr") +
                           folder_.Read("environment") + folder_.Read("records.sqlite");
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder_.Path("runs"))) {
    if (file.is_regular_file()) {
      everything += folder_.Read(std::filesystem::relative(file.path(), folder_.Path("")).string());
    }
  }
  EXPECT_THAT(everything, HasSubstr("PATH="));
  EXPECT_THAT(everything, Not(HasSubstr("of the environment")));
  EXPECT_THAT(everything, Not(HasSubstr("PRIVATE KEY")));
}

TEST_F(SecureStationCommand, TakesThePasswordOfAFile) {
  for (const char* const text : {"correct horse battery", "correct horse battery\r\n"}) {
    Password(text);
    const auto process = Start(Bays(), Secure());
    const HttpClient client(UrlOf(*process), "correct horse battery");
    EXPECT_THAT(client.Get("/api/state"), StartsWith("HTTP/1.1 200"));
  }
}

TEST_F(SecureStationCommand, RefusesAPasswordThatIsGuessedOrCannotBeTyped) {
  for (const char* const text : {"", "elevenchars", "elevench\xC3\xA4rs\n"}) {
    Password(text);
    EXPECT_THAT(Refusal(Secure()), HasSubstr("expected a password of 12 to 1000 characters"));
  }
  Password("two lines that\nare long enough\n");
  EXPECT_THAT(Refusal(Secure()), HasSubstr("found one with a control character"));
}

TEST_F(SecureStationCommand, RefusesSecretsThatOthersCanRead) {
  Password("correct horse battery\n", 0604);
  EXPECT_THAT(Refusal(Secure()), AllOf(HasSubstr("--password-file "), HasSubstr("the mode 604")));
  Password("correct horse battery\n");
  ::chmod(folder_.Path("good.key").c_str(), 0644);
  EXPECT_THAT(Refusal(Secure()), AllOf(HasSubstr("--key "), HasSubstr("the mode 644")));
}

TEST_F(SecureStationCommand, SaysWhatItNeedsForOtherMachines) {
  EXPECT_THAT(Refusal({"--listen", "0.0.0.0"}, 69), HasSubstr("found no certificate"));
  std::vector<std::string> options = Secure();
  options.resize(options.size() - 2);
  EXPECT_THAT(Refusal(options, 69), HasSubstr("found no password"));
  options.resize(options.size() - 2);
  EXPECT_THAT(Refusal(options, 64), HasSubstr("--certificate requires --key"));
  EXPECT_THAT(Refusal({"--listen", "bench.example"}, 69), HasSubstr("expected an IP address"));
}

TEST_F(SecureStationCommand, UsesTlsOnLoopbackWithTheTokenAsBefore) {
  std::vector<std::string> options = Secure();
  options[1] = "127.0.0.1";
  options.resize(options.size() - 2);
  const auto process = Start(Bays(), options);
  EXPECT_THAT(UrlOf(*process), MatchesRegex("https://127.0.0.1:[0-9]+/#token=[0-9a-f]{32}"));
  EXPECT_THAT(HttpClient(UrlOf(*process)).Get("/api/state"), StartsWith("HTTP/1.1 200"));
}

}  // namespace
}  // namespace quillmark::host::testing
