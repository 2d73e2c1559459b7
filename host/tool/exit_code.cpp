// SPDX-License-Identifier: MIT
#include "host/tool/exit_code.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <new>
#include <string_view>

#include "quillmark/error.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"
#include "quillmark/host/image_file.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {
namespace {

struct CauseInfo {
  std::string_view name;
  ExitCode code;
};

CauseInfo Describe(Cause cause) {
  switch (cause) {
    case Cause::kArgument:
      return {"argument", ExitCode::kData};
    case Cause::kSilence:
      return {"silence", ExitCode::kUnavailable};
    case Cause::kUnexpectedReply:
      return {"unexpected-reply", ExitCode::kProtocol};
    case Cause::kStillBusy:
      return {"still-busy", ExitCode::kProtocol};
    case Cause::kBus:
      return {"bus", ExitCode::kInputOutput};
    case Cause::kComponent:
      return {"component", ExitCode::kInternal};
    case Cause::kKey:
      return {"key", ExitCode::kUnavailable};
    case Cause::kIncomplete:
      return {"incomplete", ExitCode::kInternal};
    case Cause::kDifference:
      return {"difference", ExitCode::kDifference};
    case Cause::kCancelled:
      break;
  }
  return {"cancelled", ExitCode::kInterrupted};
}

Json ToJson(const Difference& difference) {
  return {{"address", difference.address},
          {"expected", difference.expected},
          {"found", difference.found ? Json(*difference.found) : Json()}};
}

Json DetailsOf(const Failure& failure, const CauseInfo& cause) {
  Json details = {{"phase", NameOf(failure.phase)}, {"cause", cause.name}};
  if (failure.number != 0) {
    details["number"] = failure.number;
  }
  if (failure.address) {
    details["address"] = *failure.address;
  }
  if (failure.response_code) {
    details["response_code"] = *failure.response_code;
  }
  if (failure.phase != Phase::kPrepare) {
    details["step"] = StepText(failure);
    details["ecu_state"] = EcuStateText(failure);
    details["next"] = AdviceText(failure);
    details["repeated"] = failure.repeated;
    details["passed_over"] = failure.passed_over;
  }
  if (!failure.backup.empty()) {
    details["backup"] = failure.backup;
  }
  if (!failure.differences.empty()) {
    details["different_bytes"] = failure.different_bytes;
    details["differences"] = Json::array();
    for (const Difference& difference : failure.differences) {
      details["differences"].push_back(ToJson(difference));
    }
  }
  return details;
}

std::vector<std::string> LinesOf(const Failure& failure) {
  if (failure.phase == Phase::kPrepare) {
    return {};
  }
  return {"step      " + StepText(failure), "ecu       " + EcuStateText(failure),
          "next      " + AdviceText(failure)};
}

/// What to do about a failure before any session, by how the tool ends; empty if the message says
/// all.
std::string NextStep(ExitCode code) {
  switch (code) {
    case ExitCode::kData:
      return "look at the file, or get a whole copy of it; nothing was sent";
    case ExitCode::kNoInput:
      return "look at the path, and whether you may read what is there";
    case ExitCode::kCannotCreate:
      return "name a file in a folder that exists and that you may write to";
    default:
      return "";
  }
}

FailureReport ReportOf(ExitCode code, const std::string& message, const std::string& next) {
  if (next.empty()) {
    return {code, message};
  }
  return {code, message, {"next      " + next}, {{"next", next}}};
}

FailureReport ReportOf(const ProgrammingError& error, bool was_stopped) {
  Failure failure = error.failure();
  if (was_stopped) {
    failure.cause = Cause::kCancelled;
  }
  const CauseInfo info = Describe(failure.cause);
  return {info.code, error.what(), LinesOf(failure), DetailsOf(failure, info)};
}

}  // namespace

const std::vector<ExitCodeMeaning>& ExitCodeMeanings() {
  static const std::vector<ExitCodeMeaning> kMeanings = {
      {ExitCode::kDone, "done"},
      {ExitCode::kDifference,
       "memory differs from the image (verify, flash --verify), or a runner breaks a rule "
       "(conformance)"},
      {ExitCode::kUsage, "wrong usage"},
      {ExitCode::kData,
       "an image file is damaged, empty, contradicts another, or has addresses beyond 24 bits; a "
       "profile is damaged"},
      {ExitCode::kNoInput, "an input file cannot be read"},
      {ExitCode::kUnavailable,
       "the ECU does not answer or is not the expected one, or the key command or the runner under "
       "test fails"},
      {ExitCode::kInternal, "internal error"},
      {ExitCode::kCannotCreate, "an output file cannot be created"},
      {ExitCode::kInputOutput,
       "the bus failed, or a file could not be written, which the message names"},
      {ExitCode::kProtocol, "the ECU refused a request, answered wrongly or stayed busy"},
      {ExitCode::kInterrupted, "interrupted or not confirmed; the session with the ECU was closed"},
  };
  return kMeanings;
}

std::string ExitCodeHelp() {
  std::string help = "Exit status:";
  for (const ExitCodeMeaning& exit : ExitCodeMeanings()) {
    help += fmt::format("\n  {:3}  {}", static_cast<int>(exit.code), exit.meaning);
  }
  return help;
}

FailureReport ReportCurrentException(bool was_stopped) {
  try {
    throw;
  } catch (const ProgrammingError& error) {
    return ReportOf(error, was_stopped);
  } catch (const CLI::Error& error) {
    return {ExitCode::kUsage, error.what()};
  } catch (const ToolError& error) {
    return ReportOf(error.code(), error.what(),
                    error.next().empty() ? NextStep(error.code()) : error.next());
  } catch (const DamagedImage& error) {
    return ReportOf(ExitCode::kData, error.what(), NextStep(ExitCode::kData));
  } catch (const NotAnImage& error) {
    return ReportOf(ExitCode::kData, error.what(),
                    "use the objcopy of the ECU's compiler; nothing was sent");
  } catch (const FileTooLarge& error) {
    return ReportOf(ExitCode::kNoInput, error.what(),
                    "name another file; input without an end, as of a device, is not read");
  } catch (const CannotReadFile& error) {
    return ReportOf(ExitCode::kNoInput, error.what(), NextStep(ExitCode::kNoInput));
  } catch (const RefusedFolder& error) {
    return ReportOf(ExitCode::kCannotCreate, error.what(), error.advice());
  } catch (const CannotCreateFile& error) {
    return ReportOf(ExitCode::kCannotCreate, error.what(), NextStep(ExitCode::kCannotCreate));
  } catch (const CannotWriteFile& error) {
    return ReportOf(ExitCode::kInputOutput, error.what(),
                    error.error() == EACCES ? "close what has the file open, or name another file"
                                            : "make room on the disk, or name a file elsewhere");
  } catch (const MisplacedBase& error) {
    return ReportOf(ExitCode::kUsage, error.what(),
                    "give --base once for each raw binary, in their order, and for no other file");
  } catch (const BusError& error) {
    return ReportOf(
        ExitCode::kInputOutput, error.what(),
        "look at the adapter, its cable, the name of the device, and whether you may use it");
  } catch (const Error& error) {
    return {ExitCode::kInternal, fmt::format("error {}: {}", error.Number(), error.Description())};
  } catch (const std::bad_alloc&) {
    return {ExitCode::kInternal, "out of memory"};
  } catch (const std::exception& error) {
    return {ExitCode::kInternal, error.what()};
  }
}

}  // namespace quillmark::host
