// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <chrono>
#include <string_view>

#include "host/report/page_data.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

std::string_view SubjectOf(PlannedCommand command) {
  switch (command) {
    case PlannedCommand::kFlash:
      return "Flash";
    case PlannedCommand::kVerify:
      return "Verification";
    case PlannedCommand::kRead:
      return "Read";
    default:
      return "Command";
  }
}

std::string DoneLine(PlannedCommand command, const CommandResult& result) {
  const double seconds = std::chrono::duration<double>(result.time).count();
  switch (command) {
    case PlannedCommand::kFlash:
      return fmt::format("Flashed {} in {:.1f} s, {}", BytesText(result.sent_bytes), seconds,
                         result.verified_bytes > 0
                             ? BytesText(result.verified_bytes) + " read back and found equal"
                             : "the ECU's check routine found the memory right");
    case PlannedCommand::kVerify:
      return fmt::format("Verified {} in {:.1f} s: read back and found equal",
                         BytesText(result.verified_bytes), seconds);
    case PlannedCommand::kRead:
      return fmt::format("Read {} in {:.1f} s", BytesText(result.bytes), seconds);
    default:
      return fmt::format("Done in {:.1f} s", seconds);
  }
}

std::string WithReason(const std::string& line, const std::string& reason) {
  return reason.empty() ? line : line + ": " + reason;
}

Outcome Unfinished(std::string_view subject, const CommandResult& result) {
  return {"unfinished",
          fmt::format("{} not finished: the tool is still at work, or was ended {}", subject,
                      result.message.empty() ? "in the middle" : result.message),
          "The ECU may be in the middle of anything. Power it down and up and start again."};
}

std::string BusText(const CommandPlan& plan, const Exchange& exchange) {
  const TransportForm form = plan.form.value_or(exchange.form);
  const bool is_k_line = form == TransportForm::kKLine;
  std::string text = is_k_line ? "K line" : form == TransportForm::kGateway ? "CAN gateway" : "CAN";
  if (plan.bit_rate) {
    text += fmt::format(", {} {}", WithThousands(*plan.bit_rate), is_k_line ? "baud" : "bit/s");
  }
  if (form == TransportForm::kPlainCan && exchange.send != exchange.receive) {
    text += fmt::format(", requests on {:X}, replies on {:X}", exchange.send, exchange.receive);
  }
  return text;
}

/// What was opened, and what it said of itself.
std::string AdapterText(const std::string& bus, const AdapterVersions& versions) {
  std::string text = bus;
  const auto add = [&text](const char* name, const std::string& version) {
    if (!version.empty()) {
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, version);
    }
  };
  add("firmware", versions.firmware);
  add("library", versions.library);
  add("API", versions.api);
  return text;
}

}  // namespace

std::string_view NameOf(PlannedCommand command) {
  switch (command) {
    case PlannedCommand::kFlash:
      return "flash";
    case PlannedCommand::kVerify:
      return "verify";
    case PlannedCommand::kRead:
      return "read";
    default:
      return "a command";
  }
}

Outcome OutcomeOf(const Artifacts& artifacts) {
  const CommandResult& result = artifacts.result;
  const std::string subject(SubjectOf(artifacts.plan.command));
  const std::string advice = result.ecu_state +
                             (result.ecu_state.empty() || result.next.empty() ? "" : ". ") +
                             result.next;
  switch (result.state) {
    case OutcomeState::kDone:
      return {"done", DoneLine(artifacts.plan.command, result), result.message};
    case OutcomeState::kFailed:
      return {"failed", WithReason(subject + " failed", result.message), advice};
    case OutcomeState::kCancelled:
      return {"cancelled", WithReason(subject + " interrupted", result.message), advice};
    default:
      return Unfinished(subject, result);
  }
}

std::vector<std::pair<std::string, std::string>> FactsOf(const Artifacts& artifacts,
                                                         const Decoding& decoding) {
  const CommandPlan& plan = artifacts.plan;
  std::vector<std::pair<std::string, std::string>> facts;
  const auto add = [&facts](const char* name, const std::string& value) {
    if (!value.empty()) {
      facts.emplace_back(name, value);
    }
  };
  add("ECU", artifacts.result.ecu);
  if (!plan.image_files.empty()) {
    add("Image",
        fmt::format("{}, {}", fmt::join(plan.image_files, ", "), BytesText(plan.image_bytes)));
  }
  add("SHA-256 of the image", plan.image_sha256);
  add("SHA-256 read back", artifacts.result.read_back_sha256);
  add("File", plan.output);
  add("Bus", BusText(plan, decoding.exchange));
  add("Adapter", AdapterText(plan.bus, artifacts.result.adapter));
  if (const auto millivolts = artifacts.result.battery_millivolts) {
    add("Battery", fmt::format("{:g} V before the erase", *millivolts / 1e3));
  }
  add("Frames", WithThousands(decoding.frames.size()));
  add("Started", plan.started);
  if (!plan.version.empty()) {
    add("Tool", "quillmark " + plan.version);
  }
  return facts;
}

}  // namespace quillmark::host
