// SPDX-License-Identifier: MIT
#include "host/report/artifacts.h"

#include <fmt/format.h>

#include <fstream>
#include <string>

#include "host/trace/trace_reader.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const fs::path& file, const std::string& why) {
  throw DamagedArtifacts(fmt::format("{}: {}", file.string(), why));
}

Json ReadJson(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    Refuse(file, "cannot be read; is this a folder that --artifacts made?");
  }
  Json json = Json::parse(in, nullptr, false);
  if (!json.is_object()) {
    Refuse(file, "no JSON object");
  }
  return json;
}

Exchange ExchangeOf(const Json& plan) {
  const std::string form = plan.at("form");
  Exchange exchange{.receive = plan.at("receive"), .send = plan.at("send")};
  for (const TransportForm known :
       {TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine}) {
    if (form == NameOf(known)) {
      exchange.form = known;
      return exchange;
    }
  }
  throw DamagedArtifacts(fmt::format("{}: there is no form \"{}\"", artifact::kPlan, form));
}

Trace ReadTraceFile(const fs::path& file, const Exchange& exchange) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    Refuse(file, "cannot be read");
  }
  if (in.peek() == std::ifstream::traits_type::eof()) {
    return {.exchange = exchange};
  }
  try {
    return ReadTrace(in, exchange);
  } catch (const DamagedTrace& error) {
    Refuse(file, error.what());
  }
}

}  // namespace

Artifacts ReadArtifacts(const fs::path& folder) {
  Artifacts artifacts{.plan = ReadJson(folder / artifact::kPlan)};
  if (fs::exists(folder / artifact::kResult)) {
    artifacts.result = ReadJson(folder / artifact::kResult);
  }
  try {
    artifacts.trace = ReadTraceFile(folder / artifact::kTrace, ExchangeOf(artifacts.plan));
  } catch (const Json::exception& error) {
    Refuse(folder / artifact::kPlan, error.what());
  }
  return artifacts;
}

const char* NameOf(TransportForm form) {
  switch (form) {
    case TransportForm::kPlainCan:
      return "can";
    case TransportForm::kGateway:
      return "gateway";
    default:
      return "kline";
  }
}

}  // namespace quillmark::host
