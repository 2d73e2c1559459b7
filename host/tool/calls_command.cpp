// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "host/tool/command.h"
#include "quillmark/host/console.h"
#include "quillmark/host/files.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

constexpr const char* kFooter =
    "Each line of input is a call: {\"call\":NAME,\"args\":[...]}. NAME is a member of the class, "
    "or new.\n"
    "Each line of output is its answer: {\"call\":NAME,\"result\":...} or\n"
    "{\"call\":NAME,\"error\":{\"number\":N,\"description\":TEXT}}.\n"
    "Numbers are JSON numbers, byte strings hexadecimal text, documents XML text, an image\n"
    "[{\"at\":N,\"hex\":TEXT},...], a map [{\"start\":N,\"count\":N},...]. A transfer gives the "
    "list\n"
    "of its documents; its last argument may be {\"cancel_at\":K}.";

void RunOn(std::istream& in) {
  const auto platform = CreatePortablePlatform();
  const bool complete = RunConsole(in, std::cout,
                                   {[platform] { return CreateDiagOnCANReprog(platform); },
                                    platform, [platform] { platform->WaitForWorkers(); }});
  if (!complete && std::cout) {
    throw ToolError(ExitCode::kInputOutput, "calls: reading failed");
  }
}

void RunOnFile(const std::string& file) {
  if (std::filesystem::is_directory(Utf8Path(file))) {
    throw ToolError(ExitCode::kNoInput, fmt::format("{}: is a directory", file));
  }
  errno = 0;
  std::ifstream in(Utf8Path(file), std::ios::binary);
  if (!in) {
    throw ToolError(ExitCode::kNoInput, fmt::format("{}: {}", file, std::strerror(errno)));
  }
  RunOn(in);
}

}  // namespace

void AddCallsCommand(CLI::App& app, Command& command) {
  CLI::App& calls = *app.add_subcommand("calls", "call one object of the library, line by line");
  calls.footer(kFooter);
  const auto file = std::make_shared<std::string>();
  calls.add_option("FILE", *file, "file with the calls; default standard input");
  calls.callback([file, &command] {
    command.run = [file](Reporter& /*reporter*/) {
      if (file->empty() || *file == "-") {
        RunOn(std::cin);
      } else {
        RunOnFile(*file);
      }
    };
  });
}

}  // namespace quillmark::host
