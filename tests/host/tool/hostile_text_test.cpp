// SPDX-License-Identifier: MIT
// Text of files, ECUs, programs and command lines with control characters in it, given to every
// command: none of them reaches the terminal.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using Arguments = std::vector<std::string>;

/// A title for the window, a coloured text in three encodings, DEL, a right-to-left override, bytes
/// that are not UTF-8, a letter whose second byte is a control character elsewhere, a line of its
/// own.
const std::string kHostile =
    "\x1B]0;a\x07\x1B[31mb\xC2\x9B"
    "31mc\x9B"
    "31md\x7F\xE2\x80\xAE\xC3(\xF0\x9F\xED\xA0\x80\xC3\x9B\rx\nforged";
/// The same as a text in JSON.
const std::string kHostileJson =
    R"(\u001b]0;a\u0007\u001b[31mb\u009b31mc\u007f\u202e\u00db\rx\nforged)";

/// The same as characters that a file in XML may hold.
const std::string kHostileXml =
    "b\xC2\x9B"
    "31mc\xE2\x80\xAE\xC3\x9B&#xD;x\nforged";

const std::vector<std::string> kLetters = {"\xC3\x9B", "\xEF\xBF\xBD"};

/// Why a terminal may do more with the text than show it; empty if it does not.
std::string HarmIn(const std::string& text, bool utf8) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<std::uint8_t>(text[at]);
    const std::string place = fmt::format("byte {:02X} at {} of: {}", byte, at, text);
    if ((byte < 0x20 && byte != '\n') || byte == 0x7F) {
      return place;
    }
    if (byte < 0x80) {
      continue;
    }
    // The letter that is given, and what JSON has instead of bytes that are not UTF-8.
    const auto letter = std::find_if(kLetters.begin(), kLetters.end(), [&](const auto& known) {
      return text.compare(at, known.size(), known) == 0;
    });
    if (!utf8 || letter == kLetters.end()) {
      return place;
    }
    at += letter->size() - 1;
  }
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("forged")) {
      return "a line of its own: " + text;
    }
  }
  return "";
}

/// What a terminal was told beside the tool's own redrawing of a line.
std::string WithoutOwnControls(std::string text) {
  for (const std::string control : {"\r\n", "\r"}) {
    for (std::size_t at = text.find(control); at != std::string::npos; at = text.find(control)) {
      text.replace(at, control.size(), control == "\r\n" ? "\n" : "");
    }
  }
  return text;
}

class HostileText : public ToolTest, public ::testing::WithParamInterface<const char*> {
 protected:
  HostileText() { ::setenv("LC_ALL", GetParam(), 1); }
  ~HostileText() override { ::unsetenv("LC_ALL"); }

  /// On pipes, with a line of JSON for each event, and on a terminal.
  void ExpectHarmless(const Arguments& arguments, const std::string& input = "") {
    ExpectHarmlessOnPipes(arguments, input);
    Arguments with_events = arguments;
    with_events.push_back("--json");
    ExpectHarmlessOnPipes(with_events, input);
    ToolProcess terminal(arguments, folder_.Write("stdin", input), folder_.Path("stderr"),
                         ToolProcess::Output::kTerminal);
    terminal.Wait();
    EXPECT_EQ(HarmIn(WithoutOwnControls(terminal.output()), IsUtf8()), "");
  }

  void ExpectHarmlessOnPipes(const Arguments& arguments, const std::string& input) {
    const ToolResult result = Run(arguments, input);
    EXPECT_NE(result.out + result.err, "");
    EXPECT_LT(result.status, 1000);
    EXPECT_NE(result.status, 70) << result.err;
    EXPECT_EQ(HarmIn(result.out, IsUtf8()), "");
    EXPECT_EQ(HarmIn(result.err, IsUtf8()), "");
  }

  /// A file with a hostile name.
  [[nodiscard]] std::string Hostile(const std::string& content, const std::string& extension = "") {
    return folder_.Write(kHostile + extension, content);
  }

  /// The artifacts of a failed flash; every text in them is hostile.
  [[nodiscard]] std::string HostileArtifacts() {
    const std::string folder = folder_.Path("artifacts");
    std::filesystem::create_directory(folder);
    const std::string text = '"' + kHostileJson + '"';
    static_cast<void>(folder_.Write(
        "artifacts/plan.json",
        R"({"command":"flash","form":"can","receive":1850,"send":1586,"bit_rate":500000,"fill":255,)"
        R"("blocks":[[4096,2]],"image":{"bytes":2,"segments":[[4096,2]],"files":[)" +
            text + R"(],"sha256":)" + text + R"(},"version":)" + text + R"(,"bus":)" + text +
            R"(,"started":)" + text + "}"));
    static_cast<void>(folder_.Write(
        "artifacts/result.json", R"({"outcome":"failed","exit":76,"seconds":1,"message":)" + text +
                                     R"(,"ecu":)" + text + R"(,"next":)" + text +
                                     R"(,"ecu_state":)" + text + "}"));
    static_cast<void>(folder_.Write("artifacts/trace.log", "(1.0) can0 632#023E01\n"));
    static_cast<void>(folder_.Write("artifacts/log.jsonl", R"({"event":)" + text + "}\n"));
    return folder;
  }

  [[nodiscard]] static bool IsUtf8() { return std::string(GetParam()) != "C"; }

  std::string image_ = folder_.Write("a.s19", kTwoSegments);
};

/// The command lines to try. Each command of the tool is there, with a stranger's text in whatever
/// it reads.
std::map<std::string, std::vector<Arguments>> Commands(const TemporaryFolder& folder,
                                                       const std::string& image) {
  const std::string away = folder.Path("none/" + kHostile);
  const std::string says = "printf '" + kHostile + "'; true";
  return {
      {"flash",
       {{image, kHostile},
        {away},
        {image, "--" + kHostile},
        {image, "--bus", kHostile},
        {image, "--bus", "slcan:/dev/" + kHostile},
        {image, "--bus", "socketcan:" + kHostile},
        {image, "--bus", "kline:" + away + "?" + kHostile},
        {image, "--form", kHostile},
        {image, "--fault", kHostile},
        {image, "--rl", kHostile},
        {image, "--log-record", kHostile},
        {image, "--key-command", says},
        {image, "--key-command", "false " + kHostile},
        {image, "--backup", away},
        {image, "--trace", away + ".log"},
        {image, "--trace", folder.Path(kHostile)},
        {image, "--artifacts", image + "/" + kHostile}}},
      {"verify",
       {{image, "--profile", away}, {image, "--expect-ecu", kHostile}, {away, "--" + kHostile}}},
      {"profile",
       {{"--profile", kHostile},
        {"--profile", folder.Write("name", kHostile)},
        {"--profile", folder.Write("value", "p2 = " + kHostile)},
        {"--key-command", kHostile}}},
      {"read",
       {{"--range", kHostile, "-o", folder.Path("m")},
        {"--range", "0:2", "-o", away},
        {"--range", "0:2", "-o", folder.Path(kHostile)},
        {"--range", "0:2", "-o", folder.Path("m"), "--bus", kHostile}}},
      {"identify", {{"--bus", kHostile}, {kHostile}, {"--ids", kHostile, kHostile}}},
      {"plan", {{away}, {image, "-o", image + "/" + kHostile}, {image, "--block", kHostile}}},
      {"calls", {{away}, {kHostile, kHostile}}},
      {"decode", {{away}, {image, "--ids", kHostile, "2"}, {folder.Path("")}}},
      {"report", {{away, "-o", folder.Path("r.html")}, {image, kHostile}}},
      {"history",
       {{"--records", away},
        {"--records", image},
        {"--since", kHostile},
        {"--outcome", kHostile},
        {"--search", kHostile, kHostile}}},
      {"simulate", {{"--bus", kHostile}, {"--bus", "slcan", "--memory", away + "/x"}}},
      {"devices", {{kHostile}}},
      {"conformance", {{kHostile}, {"--form", kHostile, "true"}, {"echo", kHostile}}},
      {"station",
       {{"--bays", away},
        {"--bays", image},
        {"--bays", folder.Write("bays", R"({"bays": [{"bay": ")" + kHostileJson + R"("}]})")},
        {"--profile", kHostile},
        {"--profile", folder.Write("empty", ""), "--listen", kHostile},
        {kHostile}}}};
}

TEST_P(HostileText, OfACommandLineIsShownHarmlesslyByEveryCommand) {
  const auto commands = Commands(folder_, image_);
  const std::string listed = Run({}).err;
  const std::string begin = "one of ";
  std::istringstream names(listed.substr(listed.find(begin) + begin.size()));
  std::size_t count = 0;
  for (std::string name; names >> name && name != "found"; ++count) {
    name.pop_back();
    const auto command = commands.find(name);
    ASSERT_NE(command, commands.end()) << name;
    for (Arguments arguments : command->second) {
      SCOPED_TRACE(::testing::PrintToString(arguments));
      arguments.insert(arguments.begin(), name);
      ExpectHarmless(arguments);
    }
  }
  EXPECT_EQ(count, commands.size());
  ExpectHarmless({kHostile});
}

TEST_P(HostileText, OfFilesIsShownHarmlessly) {
  for (const std::string& content :
       std::vector<std::string>{"S1" + kHostile, ':' + kHostile,
                                "S0" + kHostile + "\n" + kTwoSegments, std::string(kTwoSegments)}) {
    const std::string image = Hostile(content, ".s19");
    ExpectHarmless({"plan", image});
    ExpectHarmless({"flash", image});
  }
  for (const std::string& content : std::vector<std::string>{
           kHostile, "(1.0) can0 " + kHostile, "(1.0) " + kHostile + " 632#023E01\n",
           "# quillmark K line trace 1\n" + kHostile, "base hex\n1.0 1 " + kHostile + " Rx d 0\n",
           "<" + kHostile, "<x" + kHostileXml + "/>",
           "<can><x i=\"" + kHostileXml + "\"><i>1</i></x></can>",
           "<can><x i=\"1850\"><i>1586</i><r><c>00</c><e>" + kHostileXml + "</e></r></x></can>"}) {
    SCOPED_TRACE(content);
    ExpectHarmless({"decode", Hostile(content)});
    ExpectHarmless({"decode", Hostile(content), "--frames"});
  }
}

TEST_P(HostileText, OfCallsIsShownHarmlessly) {
  for (const std::string& call : std::vector<std::string>{
           R"({"call":")" + kHostileJson + "\"}",
           R"({"call":"startdownload","args":[")" + kHostileJson + "\"]}",
           R"({"call":"checkdownload","args":["<x>)" + kHostileJson + "\"]}", kHostile}) {
    ExpectHarmless({"calls"}, call);
    ExpectHarmless({"calls", Hostile(call)});
  }
}

TEST_P(HostileText, OfArtifactsIsShownHarmlessly) {
  ExpectHarmless({"report", HostileArtifacts(), "-o", folder_.Path("r.html")});
  ExpectHarmless({"report", HostileArtifacts(), "-o", folder_.Path(kHostile)});
  const std::string text = '"' + kHostileJson + '"';
  for (const std::string member : {"command", "form", "receive", "blocks"}) {
    static_cast<void>(folder_.Write("artifacts/plan.json", "{\"" + member + "\":" + text + "}"));
    ExpectHarmless({"report", folder_.Path("artifacts"), "-o", folder_.Path("r.html")});
  }
}

TEST_P(HostileText, OfAnEcuOrAKeyCommandIsShownHarmlessly) {
  const std::string key = folder_.Write("key", "#!/bin/sh\nprintf '" + kHostile + "'\n");
  ExpectHarmless({"flash", image_, "--key-command", "sh " + key});
  ExpectHarmless({"identify", "--fault", "negative@21:9B"});
}

INSTANTIATE_TEST_SUITE_P(Locales, HostileText, ::testing::Values("C", "C.UTF-8"),
                         [](const auto& locale) { return locale.index == 0 ? "Ascii" : "Utf8"; });

}  // namespace
}  // namespace quillmark::host::testing
