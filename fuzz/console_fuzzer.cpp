// SPDX-License-Identifier: MIT
// The console on one object: whatever the lines, each gets one line of JSON that has the call's
// name and a result, an error or both, and the console continues.
#include <cstdint>
#include <istream>
#include <sstream>
#include <string>

#include "fuzz/support/law.h"
#include "host/calls/json_value.h"
#include "quillmark/host/console.h"
#include "quillmark/quillmark.h"
#include "support/failing_platform.h"

namespace quillmark::fuzz {
namespace {

using host::Json;

/// A map that refuses ranges that would take hours to request.
class ShortMap : public MemoryMap {
 public:
  explicit ShortMap(std::shared_ptr<MemoryMap> map) : map_(std::move(map)) {}

  void AddRange(std::int32_t start, std::int32_t count) override {
    constexpr std::int32_t kMost = 10'000;
    if (count > kMost) {
      throw Error(error_number::kOutOfMemory);
    }
    map_->AddRange(start, count);
  }
  [[nodiscard]] std::vector<std::shared_ptr<MemoryRange>> Ranges() const override {
    return map_->Ranges();
  }

 private:
  std::shared_ptr<MemoryMap> map_;
};

class ShortMapPlatform : public testing::FaultyPlatform {
 public:
  std::shared_ptr<MemoryMap> CreateMemoryMap() override {
    return std::make_shared<ShortMap>(ForwardingPlatform::CreateMemoryMap());
  }
};

host::ConsoleEnvironment Environment() {
  static const std::shared_ptr<PortablePlatform> platform = CreatePortablePlatform();
  static const auto arguments = std::make_shared<ShortMapPlatform>();
  return {.create_object = [] { return CreateDiagOnCANReprog(platform); },
          .platform = arguments,
          .wait_for_workers = [] { platform->WaitForWorkers(); }};
}

void RequireAnswer(const std::string& answer) {
  Law(answer.find('\n') == std::string::npos, "an answer is one line");
  const Json json = Json::parse(answer, nullptr, false);
  Law(json.is_object() && json.contains("call"), "an answer is an object that names its call");
  Law(json.contains("result") || json.contains("error"), "an answer has a result or an error");
  if (json.contains("error")) {
    const Json& error = json["error"];
    Law(error["number"].is_number_integer() && error["description"].is_string(),
        "an error has a number and a description");
  }
}

void Run(const std::string& lines) {
  host::Console console(Environment());
  std::istringstream in(lines);
  std::string line;
  for (int left = 32; left > 0 && std::getline(in, line); --left) {
    RequireAnswer(console.Answer(line));
  }
  RequireAnswer(console.Answer(R"({"call":"new"})"));
  Law(console.Answer(R"({"call":"stopcomm"})").find("91") != std::string::npos,
      "a fresh object has no configuration");
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillmark::fuzz::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
