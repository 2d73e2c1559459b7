// SPDX-License-Identifier: MIT
#include "host/calls/call_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "host/calls/json_value.h"
#include "quillmark/error.h"

namespace quillmark::host {
namespace {

// Runs a member that has arguments and a result and nothing else.
template <auto kMember>
struct Plain;

template <typename Result, typename... Parameters,
          Result (DiagOnCANReprog::*kMember)(Parameters...)>
struct Plain<kMember> {
  static void Run(const CallContext& context, [[maybe_unused]] Arguments& arguments,
                  std::optional<Json>& result) {
    // Braces, because they evaluate from left to right.
    const std::tuple<std::decay_t<Parameters>...> values{
        arguments.Take<std::decay_t<Parameters>>()...};
    const auto call = [&](const auto&... value) -> Result {
      return ((*context.object).*kMember)(value...);
    };
    if constexpr (std::is_void_v<Result>) {
      std::apply(call, values);
      result = nullptr;
    } else {
      result = ToJson(std::apply(call, values));
    }
  }
};

void RunNew(const CallContext& context, Arguments& /*arguments*/, std::optional<Json>& result) {
  context.object = context.environment.create_object();
  result = nullptr;
}

void RunGetHisto(const CallContext& context, Arguments& arguments, std::optional<Json>& result) {
  const auto root = arguments.Take<std::shared_ptr<DOMDocument>>();
  ByteStringArray histo;
  ByteStringArray reprog;
  std::shared_ptr<ByteString> ident;
  const auto store = [&] {
    result = {{"RepIdent", ToJson(ident)},
              {"RepHisto", HistoryToJson(histo)},
              {"RepReprog", HistoryToJson(reprog)}};
  };
  try {
    context.object->gethisto(root, histo, reprog, ident);
  } catch (const Error&) {
    store();
    throw;
  }
  store();
}

void RunCheckUpload(const CallContext& context, Arguments& arguments, std::optional<Json>& result) {
  const auto root = arguments.Take<std::shared_ptr<DOMDocument>>();
  const auto image = arguments.Take<std::shared_ptr<MemoryImage>>();
  context.object->checkupload(root, image);
  result = ToJson(image);
}

template <auto kMember>
Call PlainCall(std::string_view name, std::vector<std::string_view> parameters) {
  return {name, std::move(parameters), false, &Plain<kMember>::Run};
}

struct Events {
  Json nodes = Json::array();
  std::int32_t count = 0;
};

// Fills `events` on the worker's thread. They may be read after waiting for the workers.
DiagOnCANReprog::XMLReadyHandler Collect(std::shared_ptr<Events> events,
                                         std::optional<std::int32_t> cancel_at) {
  return [events = std::move(events), cancel_at](const std::shared_ptr<IXMLDOMNode>& node,
                                                 bool& cancel) {
    events->nodes.push_back(node == nullptr ? Json() : Json(node->xml()));
    if (++events->count != cancel_at) {
      cancel = false;
    }
  };
}

template <typename Start>
Json EventsOf(const CallContext& context, std::optional<std::int32_t> cancel_at, Start start) {
  const auto events = std::make_shared<Events>();
  context.object->OnXMLReady(Collect(events, cancel_at));
  start(*context.object);
  context.environment.wait_for_workers();
  return std::move(events->nodes);
}

// Each starts a transfer, waits until its worker has ended, and returns the list of what its events
// carried.
void RunComputeDownload(const CallContext& context, Arguments& arguments,
                        std::optional<Json>& result) {
  const auto rl = arguments.Take<std::uint8_t>();
  const auto image = arguments.Take<std::shared_ptr<MemoryImage>>();
  const auto fill_byte = arguments.Take<std::uint8_t>();
  const auto modulus = arguments.Take<std::int32_t>();
  const auto max_size = arguments.Take<std::int32_t>();
  result = EventsOf(context, arguments.TakeCancelAt(), [&](DiagOnCANReprog& object) {
    object.ComputeDownload(rl, image, fill_byte, modulus, max_size);
  });
}

void RunComputeUpload(const CallContext& context, Arguments& arguments,
                      std::optional<Json>& result) {
  const auto map = arguments.Take<std::shared_ptr<MemoryMap>>();
  const auto rl = arguments.Take<std::uint8_t>();
  result = EventsOf(context, arguments.TakeCancelAt(),
                    [&](DiagOnCANReprog& object) { object.ComputeUpload(map, rl); });
}

std::vector<Call> MakeCalls() {
  using D = DiagOnCANReprog;
  return {
      {"new", {}, false, &RunNew},
      PlainCall<&D::CANIDs>("CANIDs", {"RCANId", "XCANId"}),
      PlainCall<&D::StartDiag>("StartDiag", {}),
      {"gethisto", {"root"}, false, &RunGetHisto},
      PlainCall<&D::readseed>("readseed", {}),
      PlainCall<&D::getseed>("getseed", {"root"}),
      PlainCall<&D::dounlock>("dounlock", {"key"}),
      PlainCall<&D::checkunlock>("checkunlock", {"root"}),
      PlainCall<&D::starterase>("starterase", {"RL"}),
      PlainCall<&D::checkstarterase>("checkstarterase", {"root"}),
      PlainCall<&D::checkerase>("checkerase", {}),
      PlainCall<&D::checkcheckerase>("checkcheckerase", {"root"}),
      PlainCall<&D::checkdownload>("checkdownload", {"root"}),
      PlainCall<&D::startroutine>("startroutine", {"Routine"}),
      PlainCall<&D::checkstartroutine>("checkstartroutine", {"root", "Routine"}),
      PlainCall<&D::routinestatus>("routinestatus", {"Routine"}),
      PlainCall<&D::checkroutine>("checkroutine", {"root", "Routine"}),
      PlainCall<&D::writelogzone>("writelogzone", {"Histo"}),
      PlainCall<&D::checkwritelogzone>("checkwritelogzone", {"root"}),
      {"checkupload", {"root", "Image"}, false, &RunCheckUpload},
      PlainCall<&D::stopcomm>("stopcomm", {}),
      {"ComputeDownload",
       {"RL", "Image", "FillByte", "IMod", "MaxSize"},
       true,
       &RunComputeDownload},
      {"ComputeUpload", {"Map", "RL"}, true, &RunComputeUpload},
      PlainCall<&D::TesterPresent>("TesterPresent", {}),
      PlainCall<&D::FlowControl>("FlowControl", {"BS", "STMin"}),
  };
}

std::string AllNames() {
  std::string names;
  for (const Call& call : AllCalls()) {
    names += names.empty() ? "" : ", ";
    names += call.name;
  }
  return names;
}

}  // namespace

const std::vector<Call>& AllCalls() {
  static const std::vector<Call> calls = MakeCalls();
  return calls;
}

const Call& CallNamed(std::string_view name) {
  const auto& calls = AllCalls();
  const auto call = std::find_if(calls.begin(), calls.end(),
                                 [&](const Call& candidate) { return candidate.name == name; });
  if (call == calls.end()) {
    throw Error(error_number::kUnknownMember,
                fmt::format("unknown call \"{}\": expected one of {}", name, AllNames()));
  }
  return *call;
}

}  // namespace quillmark::host
