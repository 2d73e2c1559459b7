// SPDX-License-Identifier: MIT
#include "quillmark/host/console.h"

#include <fmt/format.h>

#include <exception>
#include <new>
#include <optional>
#include <utility>

#include "host/calls/call_table.h"
#include "host/calls/json_value.h"
#include "quillmark/error.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

constexpr std::int32_t kWrongNumberOfArguments = 450;
constexpr std::string_view kExpectedLine =
    R"(expected a JSON object such as {"call":"CANIDs","args":[1850,1586]})";
constexpr std::string_view kBlanks = " \t\r";

Json Parse(std::string_view line) {
  try {
    return Json::parse(line);
  } catch (const Json::parse_error& error) {
    throw Error(error_number::kTypeMismatch,
                fmt::format("{}, found a syntax error at byte {}", kExpectedLine, error.byte));
  } catch (const Json::out_of_range&) {
    throw Error(error_number::kOverflow,
                fmt::format("{}, found a number that no double can hold", kExpectedLine));
  }
}

std::string NameOfCall(const Json& request) {
  if (!request.is_object()) {
    throw Error(error_number::kTypeMismatch,
                fmt::format("{}, found {}", kExpectedLine, Describe(request)));
  }
  const auto name = request.find("call");
  if (name == request.end() || !name->is_string()) {
    throw Error(error_number::kTypeMismatch,
                fmt::format("{}, found {} as \"call\"", kExpectedLine,
                            name == request.end() ? "nothing" : Describe(*name)));
  }
  return name->get<std::string>();
}

std::string DescribeParameters(const Call& call) {
  const std::size_t count = call.parameters.size();
  if (call.takes_cancel_at) {
    return fmt::format("{} or {} arguments ({}, {{\"cancel_at\":K}})", count, count + 1,
                       fmt::join(call.parameters, ", "));
  }
  if (count == 0) {
    return "no arguments";
  }
  return fmt::format("{} argument{} ({})", count, count == 1 ? "" : "s",
                     fmt::join(call.parameters, ", "));
}

const Json& ArgumentsOf(const Json& request, const Call& call) {
  static const Json none = Json::array();
  const auto found = request.find("args");
  const Json& values = found == request.end() ? none : *found;
  if (!values.is_array()) {
    throw Error(
        error_number::kTypeMismatch,
        fmt::format("{}: expected a list as \"args\", found {}", call.name, Describe(values)));
  }
  const std::size_t required = call.parameters.size();
  const std::size_t allowed = required + (call.takes_cancel_at ? 1 : 0);
  if (values.size() < required || values.size() > allowed) {
    throw Error(kWrongNumberOfArguments, fmt::format("{}: expected {}, found {}", call.name,
                                                     DescribeParameters(call), values.size()));
  }
  return values;
}

// The exception in flight as the error that its line reports.
Error CurrentError() {
  try {
    throw;
  } catch (const Error& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return Error(error_number::kOutOfMemory);
  } catch (const std::exception& error) {
    return {PortablePlatform::kUnexpectedFailure, error.what()};
  }
}

}  // namespace

Console::Console(ConsoleEnvironment environment)
    : environment_(std::move(environment)), object_(environment_.create_object()) {}

std::string Console::Answer(std::string_view line) {
  Json answer = {{"call", nullptr}};
  std::optional<Json> result;
  std::optional<Error> error;
  try {
    const Json request = Parse(line);
    const std::string name = NameOfCall(request);
    answer["call"] = name;
    const Call& call = CallNamed(name);
    const Json& values = ArgumentsOf(request, call);
    Arguments arguments(call.name, call.parameters, values, *environment_.platform);
    call.run({environment_, object_}, arguments, result);
  } catch (...) {
    error = CurrentError();
  }
  if (result) {
    answer["result"] = *std::move(result);
  }
  if (error) {
    answer["error"] = ToJson(*error);
  }
  return answer.dump(-1, ' ', false, Json::error_handler_t::replace);
}

bool RunConsole(std::istream& in, std::ostream& out, ConsoleEnvironment environment) {
  Console console(std::move(environment));
  std::string line;
  while (out && std::getline(in, line)) {
    if (line.find_first_not_of(kBlanks) != std::string::npos) {
      out << console.Answer(line) << '\n' << std::flush;
    }
  }
  return out.good() && in.eof() && !in.bad();
}

}  // namespace quillmark::host
