// SPDX-License-Identifier: MIT
// The answers that other platforms are compared with are those of the native one.
#include "calls/console_test.h"
#include "calls/recorded_calls.h"

namespace quillmark::host::testing {
namespace {

TEST_F(ConsoleTest, AnswersAsRecorded) {
  const auto recorded = RecordedCalls(QUILLMARK_RECORDED_CALLS);
  EXPECT_GE(recorded.size(), 300U);
  for (const RecordedCall& one : recorded) {
    ASSERT_EQ(Answer(one.call), one.answer) << one.call;
  }
}

}  // namespace
}  // namespace quillmark::host::testing
