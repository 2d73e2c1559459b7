// SPDX-License-Identifier: MIT
// The calls that the native console answers, through the registered component.
#include "tests/host/calls/recorded_calls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "base/com/apartment.h"
#include "host/calls/json_value.h"
#include "host/windows/client/com_component.h"
#include "platform/windows/windows_platform.h"
#include "quillmark/host/console.h"

namespace quillmark::host::testing {
namespace {

/// XML texts in `answer` as their tree would be written by `platform`, so that quotes, line ends
/// and other spellings of the same document make no difference.
void Normalise(Json& answer, Platform& platform) {
  if (answer.is_structured()) {
    std::for_each(answer.begin(), answer.end(), [&](Json& part) { Normalise(part, platform); });
    return;
  }
  if (!answer.is_string() || !answer.get_ref<const std::string&>().starts_with("<?xml")) {
    return;
  }
  const auto document = platform.CreateDOMDocument();
  document->loadXML(answer.get_ref<const std::string&>());
  answer = document->xml();
}

TEST(RecordedCalls, AreAnsweredAsByTheNativeConsole) {
  const com::Apartment apartment(COINIT_MULTITHREADED);
  const auto transfers = std::make_shared<RunningTransfers>();
  const std::shared_ptr<Platform> platform = CreateWindowsPlatform();
  Console console(
      {[&] { return CreateComComponent(transfers); }, platform, [&] { transfers->WaitForNone(); }});
  const auto normalised = [&](const std::string& line) {
    Json answer = Json::parse(line);
    Normalise(answer, *platform);
    return answer;
  };
  const auto recorded = RecordedCalls(QUILLMARK_RECORDED_CALLS);
  EXPECT_GE(recorded.size(), 300U);
  for (const RecordedCall& one : recorded) {
    EXPECT_EQ(normalised(console.Answer(one.call)), normalised(one.answer)) << one.call;
  }
}

}  // namespace
}  // namespace quillmark::host::testing
