// SPDX-License-Identifier: MIT
#include "host/tool/link_options.h"

#include <fmt/format.h>

#include <CLI/Validators.hpp>
#include <functional>
#include <string>
#include <vector>

#include "host/tool/choice.h"
#include "host/tool/number.h"

namespace quillmark::host {
namespace {

constexpr std::int32_t kDefaultReceiveId = 0x73A;
constexpr std::int32_t kDefaultSendId = 0x632;
constexpr std::int32_t kFirstGatewayAddress = 0x6E;
constexpr std::int32_t kDefaultKLineAddress = 0x11;
constexpr NumberRange kIdentifierRange = {1, 0x1FFFFFFF};
constexpr const char* kFlowControl = "--flow-control";
constexpr NumberRange kBitRateRange = {1, 100'000'000};

bool IsGatewayAddress(std::int32_t address) {
  return address == kFirstGatewayAddress || address == kSecondGatewayAddress;
}

void AddPair(CLI::App& app, const std::string& name, const std::string& metavariables,
             const std::string& help,
             std::function<void(const std::string& first, const std::string& second)> store) {
  app.add_option_function<std::vector<std::string>>(
         name,
         [store = std::move(store)](const std::vector<std::string>& values) {
           store(values[0], values[1]);
         },
         help)
      ->type_name(metavariables)
      ->expected(2)
      // What follows may be the image.
      ->allow_extra_args(false);
}

}  // namespace

std::int32_t LinkOptions::ReceiveId() const { return receive_id.value_or(kDefaultReceiveId); }

std::int32_t LinkOptions::SendId() const { return send_id.value_or(kDefaultSendId); }

std::int32_t LinkOptions::Address() const {
  return address.value_or(form == TransportForm::kGateway ? kFirstGatewayAddress
                                                          : kDefaultKLineAddress);
}

WireSpeed LinkOptions::Speed() const {
  WireSpeed speed;
  if (bit_rate) {
    (form == TransportForm::kKLine ? speed.k_line_baud : speed.can_bit_rate) = *bit_rate;
  }
  return speed;
}

std::uint32_t LinkOptions::BitRate() const {
  return form == TransportForm::kKLine ? Speed().k_line_baud : Speed().can_bit_rate;
}

void AddLinkOptions(CLI::App& app, LinkOptions& options) {
  AddChoice<TransportForm>(
      app, "--form",
      {{NameOf(TransportForm::kPlainCan), TransportForm::kPlainCan},
       {NameOf(TransportForm::kGateway), TransportForm::kGateway},
       {NameOf(TransportForm::kKLine), TransportForm::kKLine}},
      [&options](TransportForm form) {
        options.form = form;
        options.form_given = true;
      },
      "how messages travel: can (ISO 15765-2), through a gateway, or kline (ISO 14230-2); default "
      "can");
  AddPair(app, "--ids", "RECEIVE SEND",
          "CAN identifiers of form can, extended above 0x7FF; default 0x73A 0x632",
          [&options](const std::string& receive, const std::string& send) {
            options.receive_id =
                static_cast<std::int32_t>(ParseNumber("--ids", receive, kIdentifierRange));
            options.send_id =
                static_cast<std::int32_t>(ParseNumber("--ids", send, kIdentifierRange));
          });
  AddNumber(app, "--address", options.address, kByteRange,
            "address of the ECU; gateway: 0x6E (default) or 0x7A, kline: any other, default 0x11");
  AddPair(app, kFlowControl, "auto|BS STMIN",
          "ISO 15765-2 block size and separation time in ms that the ECU asks for; auto, the "
          "default: 1 0, and a download adapts to the ECU",
          [&options](const std::string& block_size, const std::string& separation_time) {
            options.flow_control_is_fixed = block_size != kAutoFlowControl;
            options.block_size = LinkOptions{}.block_size;
            options.separation_time = LinkOptions{}.separation_time;
            if (options.flow_control_is_fixed) {
              options.block_size =
                  static_cast<std::int32_t>(ParseNumber(kFlowControl, block_size, kByteRange));
              options.separation_time =
                  static_cast<std::int32_t>(ParseNumber(kFlowControl, separation_time, kByteRange));
            }
          });
  AddNumber(app, "--bitrate", options.bit_rate, kBitRateRange,
            "bits per second on a simulated wire; default 500000, kline 10400");
}

void CheckLinkOptions(const LinkOptions& options) {
  if (options.form != TransportForm::kPlainCan && options.receive_id) {
    throw CLI::ValidationError("--ids", "only for --form can");
  }
  if (options.ReceiveId() == options.SendId()) {
    throw CLI::ValidationError(
        "--ids", fmt::format("expected two identifiers, found 0x{:03X} twice", options.SendId()));
  }
  if (options.form == TransportForm::kPlainCan && options.address) {
    throw CLI::ValidationError("--address", "only for --form gateway and --form kline");
  }
  const bool for_gateway = options.form == TransportForm::kGateway;
  if (options.address && IsGatewayAddress(*options.address) != for_gateway) {
    throw CLI::ValidationError("--address",
                               fmt::format("expected {}, found 0x{:02X}",
                                           for_gateway ? "0x6E or 0x7A for --form gateway"
                                                       : "any but 0x6E and 0x7A for --form kline",
                                           *options.address));
  }
}

}  // namespace quillmark::host
