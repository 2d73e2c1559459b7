// SPDX-License-Identifier: MIT
#include "host/calls/transfers.h"

#include <cstdint>
#include <utility>

namespace quillmark::host {
namespace {

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

}  // namespace

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

}  // namespace quillmark::host
