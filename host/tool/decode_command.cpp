// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/command.h"
#include "host/tool/number.h"
#include "quillmark/error.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/files.h"
#include "quillmark/host/trace.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

constexpr std::uint64_t kLargestDocument = 0x10000000;

struct DecodeCommandOptions {
  std::string file;
  std::optional<Exchange> exchange;
  bool frames = false;
};

std::uint32_t ParseIdentifier(const std::string& text) {
  return static_cast<std::uint32_t>(ParseNumber("--ids", text, {1, 0x1FFFFFFF}));
}

std::ifstream Opened(const std::string& path) {
  errno = 0;
  std::ifstream file(Utf8Path(path), std::ios::binary);
  if (!file || file.peek() == std::ifstream::traits_type::eof()) {
    throw CannotReadFile(Utf8Path(path), errno,
                         errno != 0 ? std::strerror(errno) : "the file is empty");
  }
  if (std::filesystem::is_regular_file(Utf8Path(path)) &&
      std::filesystem::file_size(Utf8Path(path)) > kLargestTrace) {
    throw FileTooLarge(Utf8Path(path), kLargestTrace);
  }
  return file;
}

/// A document does not say whether a gateway or an ECU is meant; the gateway's numbers do.
TransportForm FormOf(const DOMDocument& document) {
  const auto root = document.documentElement();
  if (root && root->nodeName() == "k") {
    return TransportForm::kKLine;
  }
  const auto gateway = document.selectSingleNode("/can/x/i");
  const auto x = std::dynamic_pointer_cast<IXMLDOMElement>(document.selectSingleNode("/can/x"));
  const bool has_gateway_numbers = x && gateway && x->getAttribute("i").value_or("") == "3" &&
                                   (gateway->text() == "13" || gateway->text() == "14");
  return has_gateway_numbers ? TransportForm::kGateway : TransportForm::kPlainCan;
}

void ListDocumentFile(std::istream& file, const DecodeCommandOptions& options,
                      ListingDetail detail) {
  const std::string text = ReadRest(file, Utf8Path(options.file), kLargestDocument);
  const auto document = CreatePortablePlatform()->CreateDOMDocument();
  try {
    document->loadXML(text);
    ListDocument(std::cout, *document, FormOf(*document), detail);
  } catch (const Error& error) {
    throw ToolError(ExitCode::kData,
                    fmt::format("{}: expected a document: {}", options.file, error.Description()));
  }
}

void ListTraceFile(std::istream& file, const DecodeCommandOptions& options, ListingDetail detail) {
  Trace trace;
  try {
    trace = ReadTrace(file, options.exchange);
  } catch (const DamagedTrace& error) {
    throw ToolError(ExitCode::kData, fmt::format("{}: {}", options.file, error.what()));
  }
  if (trace.damage.empty() || !trace.entries.empty()) {
    ListTrace(std::cout, Decode(trace), detail);
  }
  if (!trace.damage.empty()) {
    throw ToolError(ExitCode::kData, fmt::format("{}: {}", options.file, trace.damage),
                    trace.entries.empty() ? "" : "what comes before this line is listed");
  }
}

void Run(const DecodeCommandOptions& options) {
  std::ifstream file = Opened(options.file);
  const ListingDetail detail = options.frames ? ListingDetail::kFrames : ListingDetail::kMessages;
  if (file.peek() == '<') {
    ListDocumentFile(file, options, detail);
  } else {
    ListTraceFile(file, options, detail);
  }
}

}  // namespace

void AddDecodeCommand(CLI::App& app, Command& command) {
  CLI::App& decode =
      *app.add_subcommand("decode", "explain a document or a trace, message by message");
  const auto options = std::make_shared<DecodeCommandOptions>();
  decode
      .add_option("FILE", options->file,
                  "a request or reply document, a candump log, an ASC file or a K line trace")
      ->required();
  decode.add_flag("--frames", options->frames, "list the frames of each message as well");
  decode
      .add_option_function<std::vector<std::string>>(
          "--ids",
          [options](const std::vector<std::string>& ids) {
            options->exchange = {TransportForm::kPlainCan, ParseIdentifier(ids[0]),
                                 ParseIdentifier(ids[1])};
          },
          "identifiers of the frames in a CAN trace; default the first two in it")
      ->type_name("RECEIVE SEND")
      ->expected(2)
      ->allow_extra_args(false);
  decode.callback(
      [options, &command] { command.run = [options](Reporter& /*reporter*/) { Run(*options); }; });
}

}  // namespace quillmark::host
