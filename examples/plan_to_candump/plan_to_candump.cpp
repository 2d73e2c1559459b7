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

#include "host/bus/wire_time.h"
#include "host/runner/request_document.h"
#include "host/trace/trace_writer.h"
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
host::Duration WriteFrames(host::TraceWriter& log, const host::RequestDocument& document,
                           host::Duration time) {
  for (const host::Step& step : document.steps) {
    switch (step.kind) {
      case host::StepKind::kSend:
        time += host::WireTime(document.exchange, step.frame.size(), {});
        log.Write({.at = time, .exchange = document.exchange, .data = step.frame});
        break;
      case host::StepKind::kReceive:
        time += host::WireTime(document.exchange, kCanFrameSize, {});
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
      const auto document = ReadDocument(*platform, argv[i]);
      time = WriteFrames(log, host::ReadRequestDocument(*document, host::TransportForm::kPlainCan),
                         time);
    }
  } catch (const std::exception& error) {
    std::cerr << "plan_to_candump: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
