// SPDX-License-Identifier: MIT
#include "host/report/outcome.h"

#include <fmt/format.h>

#include "host/services/count_text.h"

namespace quillmark::host {
namespace {

std::string Capital(const Json& plan) { return plan.at("command") == "read" ? "Read" : "Flash"; }

std::string DoneLine(const Json& plan, const Json& result) {
  const double seconds = result.value("seconds", 0.0);
  if (plan.at("command") == "read") {
    return fmt::format("Read {} in {:.1f} s", BytesText(result.value("bytes", std::uint64_t{0})),
                       seconds);
  }
  const auto verified = result.value("verified_bytes", std::uint64_t{0});
  return fmt::format("Flashed {} in {:.1f} s, {}",
                     BytesText(result.value("sent_bytes", std::uint64_t{0})), seconds,
                     verified > 0 ? BytesText(verified) + " read back and found equal"
                                  : "the ECU's check routine found the memory right");
}

std::string FormText(const Json& plan) {
  const std::string form = plan.at("form");
  const auto rate = plan.at("bit_rate").get<std::uint64_t>();
  if (form == NameOf(TransportForm::kKLine)) {
    return fmt::format("K line, {} baud", WithThousands(rate));
  }
  if (form == NameOf(TransportForm::kGateway)) {
    return fmt::format("CAN gateway, {} bit/s", WithThousands(rate));
  }
  return fmt::format("CAN, {} bit/s, requests on {:X}, replies on {:X}", WithThousands(rate),
                     plan.at("send").get<std::uint32_t>(), plan.at("receive").get<std::uint32_t>());
}

/// A run leaves no result, or one that says so, until it has ended.
bool IsUnfinished(const Json& result) {
  return result.is_null() || result.at("outcome") == "unfinished";
}

}  // namespace

Outcome OutcomeOf(const Artifacts& artifacts) {
  if (IsUnfinished(artifacts.result)) {
    return {"unfinished",
            Capital(artifacts.plan) + " not finished: the tool was ended before it could say how",
            "The ECU may be in the middle of anything. Power it down and up and start again."};
  }
  const Json& result = artifacts.result;
  const std::string state = result.at("outcome");
  if (state == "done") {
    return {state, DoneLine(artifacts.plan, result), ""};
  }
  std::string advice = result.value("ecu_state", "");
  if (result.contains("next")) {
    advice += (advice.empty() ? "" : ". ") + result["next"].get<std::string>();
  }
  const std::string verb = state == "cancelled" ? " interrupted: " : " failed: ";
  return {state, Capital(artifacts.plan) + verb + result.at("message").get<std::string>(), advice};
}

std::vector<std::pair<std::string, std::string>> FactsOf(const Artifacts& artifacts,
                                                         const Decoding& decoding) {
  const Json& plan = artifacts.plan;
  std::vector<std::pair<std::string, std::string>> facts;
  if (artifacts.result.contains("ecu")) {
    facts.emplace_back("ECU", artifacts.result["ecu"]);
  }
  if (plan.contains("image")) {
    const Json& image = plan["image"];
    facts.emplace_back("Image", fmt::format("{}, {}", image.at("file").get<std::string>(),
                                            BytesText(image.at("bytes"))));
  }
  if (plan.contains("output")) {
    facts.emplace_back("File", plan["output"]);
  }
  facts.emplace_back("Bus", FormText(plan));
  facts.emplace_back("Frames", WithThousands(decoding.frames.size()));
  facts.emplace_back("Started", plan.at("started"));
  return facts;
}

}  // namespace quillmark::host
