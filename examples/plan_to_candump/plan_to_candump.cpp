// SPDX-License-Identifier: MIT
// Turns a plan into a candump log: the frames that a tester would send, each at the time at which
// it could be on the wire if the ECU lost no time. What an ECU answers is not known before a run,
// so it is not in the log.
//
//     quillmark plan IMAGE -o FOLDER
//     plan_to_candump FOLDER/download-*.xml >plan.log
//
// The log is for reading, for `quillmark decode` and for comparison with the trace of a run.
// Playing it back flashes nothing: nobody would wait for the ECU's flow control.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/trace.h"
#include "quillmark/quillmark.h"

namespace {

using namespace quillmark;

constexpr std::size_t kCanFrameSize = 8;

std::shared_ptr<DOMDocument> ReadDocument(Platform& platform, const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error(path + ": cannot be read");
  }
  auto document = platform.CreateDOMDocument();
  document->loadXML(std::string(std::istreambuf_iterator<char>(in), {}));
  return document;
}

// Writes the frames of one document and returns the time at which the next one begins.
host::Duration WriteFrames(host::TraceWriter& log, const RequestDocument& document,
                           host::Duration time) {
  const host::Exchange exchange{.receive = document.receive_identifier,
                                .send = document.send_identifier};
  for (const Step& step : document.steps) {
    switch (step.kind) {
      case StepKind::kSend:
        time += host::WireTime(exchange, step.frame.size(), {});
        log.Write({.at = time, .exchange = exchange, .data = step.frame});
        break;
      case StepKind::kReceive:
        time += host::WireTime(exchange, kCanFrameSize, {});
        break;
      default:
        time += step.time;
    }
  }
  return time;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: plan_to_candump DOCUMENT...\n";
    return 64;
  }
  try {
    const auto platform = CreatePortablePlatform();
    host::TraceWriter log(std::cout, host::TraceFormat::kCandump, {});
    host::Duration time{};
    for (int i = 1; i < argc; ++i) {
      time = WriteFrames(log, ReadRequestDocument(*ReadDocument(*platform, argv[i])), time);
    }
    if (!std::cout.flush()) {
      throw std::runtime_error("cannot write to standard output");
    }
  } catch (const std::exception& error) {
    std::cerr << "plan_to_candump: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
