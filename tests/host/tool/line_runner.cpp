// SPDX-License-Identifier: MIT
// line_runner: our runner, as a program that `quillmark conformance` tests over its standard input
// and output.
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

#include "quillmark/host/runner.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

std::string Ask(const std::string& line) {
  std::cout << line << std::endl;
  std::string answer;
  if (!std::getline(std::cin, answer) || answer.starts_with("error")) {
    throw BusError(answer);
  }
  return answer;
}

/// What follows the first word.
std::string RestOf(const std::string& line) { return line.substr(line.find(' ') + 1); }

class LineBus : public Bus {
 public:
  void Select(const Exchange& exchange) override {
    Ask("select " + std::to_string(exchange.receive) + ' ' + std::to_string(exchange.send));
  }
  void Send(ByteView frame) override { Ask("send " + HexOf(frame)); }
  std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    const std::string answer = Ask("receive " + std::to_string(timeout.count()));
    return answer == "silence" ? std::nullopt : BytesOfHex(RestOf(answer));
  }
  void Wait(std::chrono::milliseconds time) override {
    Ask("wait " + std::to_string(time.count()));
  }
  void Break(std::chrono::milliseconds low) override {
    Ask("break " + std::to_string(low.count()));
  }
  [[nodiscard]] Duration Now() const override {
    return std::chrono::milliseconds(std::stoll(RestOf(Ask("now"))));
  }
};

void Run(const std::string& line) {
  std::istringstream words(line);
  std::string run;
  std::string form;
  int tries = 0;
  words >> run >> form >> tries >> std::ws;
  std::string text;
  std::getline(words, text);
  const auto document = CreatePortablePlatform()->CreateDOMDocument();
  document->loadXML(text);
  LineBus bus;
  Runner runner(bus, TransportFormOfName(form).value());
  runner.OnStopRequested([] { return Ask("stop") == "yes"; });
  runner.OnTryDone([tries](const RequestTry& request_try) {
    const bool may_repeat = request_try.status == RunStatus::kSilence && request_try.number < tries;
    return may_repeat ? NextMove::kRepeat : NextMove::kGoOn;
  });
  try {
    static_cast<void>(runner.Run(*document));
  } catch (const std::exception&) {
    // A document that was run before is refused.
  }
  std::string result = document->xml();
  std::erase_if(result, [](char character) { return character == '\r' || character == '\n'; });
  std::cout << "done " << result << std::endl;
}

}  // namespace
}  // namespace quillmark::host

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    quillmark::host::Run(line);
  }
  return EXIT_SUCCESS;
}
