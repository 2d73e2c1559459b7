// SPDX-License-Identifier: MIT
#include "host/bus/pass_thru_api.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "quillmark/host/bytes.h"

namespace quillmark::host::pass_thru {
namespace {

constexpr std::array<std::string_view, kLastStatus + 1> kStatusNames{
    "STATUS_NOERROR",           "ERR_NOT_SUPPORTED",
    "ERR_INVALID_CHANNEL_ID",   "ERR_INVALID_PROTOCOL_ID",
    "ERR_NULL_PARAMETER",       "ERR_INVALID_IOCTL_VALUE",
    "ERR_INVALID_FLAGS",        "ERR_FAILED",
    "ERR_DEVICE_NOT_CONNECTED", "ERR_TIMEOUT",
    "ERR_INVALID_MSG",          "ERR_INVALID_TIME_INTERVAL",
    "ERR_EXCEEDED_LIMIT",       "ERR_INVALID_MSG_ID",
    "ERR_DEVICE_IN_USE",        "ERR_INVALID_IOCTL_ID",
    "ERR_BUFFER_EMPTY",         "ERR_BUFFER_FULL",
    "ERR_BUFFER_OVERFLOW",      "ERR_PIN_INVALID",
    "ERR_CHANNEL_IN_USE",       "ERR_MSG_PROTOCOL_ID",
    "ERR_INVALID_FILTER_ID",    "ERR_NO_FLOW_CONTROL",
    "ERR_NOT_UNIQUE",           "ERR_INVALID_BAUDRATE",
    "ERR_INVALID_DEVICE_ID",
};

constexpr std::array<std::pair<std::uint32_t, std::string_view>, 10> kParameterNames{{
    {kDataRate, "DATA_RATE"},
    {kLoopback, "LOOPBACK"},
    {kP1Max, "P1_MAX"},
    {kP3Min, "P3_MIN"},
    {kP4Min, "P4_MIN"},
    {kIdleTime, "TIDLE"},
    {kLowTime, "TINIL"},
    {kWakeUpTime, "TWUP"},
    {kParity, "PARITY"},
    {kDataBits, "DATA_BITS"},
}};

std::string HexOfNumber(std::uint32_t number) {
  std::string text =
      HexOf(Bytes{static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
                  static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)});
  return "0x" + text.substr(std::min(text.find_first_not_of('0'), text.size() - 1));
}

}  // namespace

std::string NameOfStatus(std::uint32_t status) {
  return status <= kLastStatus ? std::string(kStatusNames.at(status))
                               : "status " + HexOfNumber(status);
}

std::string NameOfParameter(std::uint32_t parameter) {
  const auto* const name = std::find_if(kParameterNames.begin(), kParameterNames.end(),
                                        [&](const auto& each) { return each.first == parameter; });
  return name == kParameterNames.end() ? "parameter " + HexOfNumber(parameter)
                                       : std::string(name->second);
}

}  // namespace quillmark::host::pass_thru
