// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <string_view>

#include "host/services/parameters.h"
#include "host/services/response_code.h"
#include "quillmark/host/decode.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kDownload = 0x34;
constexpr std::uint8_t kUpload = 0x35;

std::string NoParameters(ByteView /*message*/) { return {}; }

struct Service {
  std::uint8_t identifier;
  std::string_view name;
  std::string (*parameters)(ByteView message);
};

constexpr std::array kServices{
    Service{0x10, "start diagnostic session", SessionParameters},
    Service{0x21, "read data by local identifier", RecordParameters},
    Service{0x27, "security access", SecurityParameters},
    Service{0x31, "start routine by local identifier", RoutineParameters},
    Service{kDownload, "request download", DownloadParameters},
    Service{kUpload, "request upload", UploadParameters},
    Service{0x3E, "tester present", NoParameters},
    Service{0x81, "start communication", KeyByteParameters},
    Service{0x82, "stop communication", NoParameters},
};

const Service* Find(std::uint8_t identifier) {
  const auto* const found = std::find_if(
      kServices.begin(), kServices.end(),
      [identifier](const Service& service) { return service.identifier == identifier; });
  return found == kServices.end() ? nullptr : found;
}

std::string NameOfService(std::uint8_t identifier) {
  const Service* const service = Find(identifier);
  return service != nullptr ? std::string(service->name) : "service " + HexOf(Bytes{identifier});
}

Description DescribeNegative(ByteView message) {
  Description description{.kind = MessageKind::kNegative};
  if (message.size() >= 2) {
    description.service = message[1];
    description.name = NameOfService(message[1]);
  }
  if (message.size() >= 3) {
    const bool is_pending = message[2] == kResponsePending;
    description.kind = is_pending ? MessageKind::kPending : MessageKind::kNegative;
    description.parameters = ResponseCodeText(message[2]);
  }
  return description;
}

std::optional<AddressRange> AddressIn(ByteView message) {
  if (message.size() < kBlockHeader) {
    return std::nullopt;
  }
  return AddressRange{.start = message[2] * 0x10000U + message[3] * 0x100U + message[4],
                      .count = message[5]};
}

/// Addresses are those of the request, and of an upload's response, which repeats them.
void AddMemory(ByteView message, Description& description) {
  const bool is_request = description.kind == MessageKind::kRequest;
  if (description.service == kDownload && is_request) {
    description.memory = DownloadIn(message);
  } else if (description.service == kUpload) {
    description.memory = AddressIn(message);
  }
  const bool carries_data = is_request == (description.service == kDownload);
  description.data_at = description.memory && carries_data ? kBlockHeader : 0;
}

}  // namespace

Description Describe(ByteView message) {
  if (message.empty()) {
    return {};
  }
  if (message[0] == kNegativeResponse) {
    return DescribeNegative(message);
  }
  const bool is_response = (message[0] & kResponseBit) != 0;
  Description description{.kind = is_response ? MessageKind::kPositive : MessageKind::kRequest};
  description.service =
      is_response ? static_cast<std::uint8_t>(message[0] - kResponseBit) : message[0];
  description.name = NameOfService(description.service);
  if (const Service* const service = Find(description.service)) {
    description.parameters = service->parameters(message);
  }
  AddMemory(message, description);
  return description;
}

std::optional<AddressRange> DownloadIn(ByteView request) {
  const bool is_download = !request.empty() && request[0] == kDownload;
  return is_download && !IsForLogZone(request) ? AddressIn(request) : std::nullopt;
}

std::string TextOf(const Description& description) {
  std::string text = description.name;
  switch (description.kind) {
    case MessageKind::kRequest:
      break;
    case MessageKind::kPositive:
      text += ", positive";
      break;
    case MessageKind::kNegative:
      text += " refused";
      break;
    case MessageKind::kPending:
      text += " not answered yet";
      break;
  }
  return description.parameters.empty() ? text : text + ": " + description.parameters;
}

}  // namespace quillmark::host
