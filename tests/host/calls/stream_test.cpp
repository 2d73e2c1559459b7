// SPDX-License-Identifier: MIT
// The console between two streams, and on a platform that a test controls.
#include <sstream>
#include <streambuf>

#include "quillmark/error.h"
#include "support/limited_stream.h"
#include "tests/host/calls/console_test.h"

namespace quillmark::host::testing {
namespace {

class ConsoleStream : public ::testing::Test {
 protected:
  bool Run(const std::string& input) {
    in_.str(input);
    return RunConsole(in_, out_, EnvironmentOf(platform_));
  }

  const std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::istringstream in_;
  std::ostringstream out_;
};

constexpr const char* kNew = "{\"call\":\"new\",\"result\":null}\n";

TEST_F(ConsoleStream, PrintsTheDocumentOfARequest) {
  EXPECT_TRUE(
      Run("{\"call\":\"CANIDs\",\"args\":[1850,1586]}\n{\"call\":\"readseed\",\"args\":[]}\n"));
  EXPECT_EQ(out_.str(),
            "{\"call\":\"CANIDs\",\"result\":null}\n"
            "{\"call\":\"readseed\",\"result\":\"<?xml version='1.0'?><can>\\r\\n"
            "<x i=\\\"1850\\\">\\r\\n<i>1586</i>\\r\\n"
            "<s><d>0227810000000000</d></s>\\r\\n<r><c>066781</c></r>\\r\\n"
            "</x>\\r\\n</can>\"}\n");
}

TEST_F(ConsoleStream, AnswersNothingToNothing) {
  EXPECT_TRUE(Run(""));
  EXPECT_EQ(out_.str(), "");
}

TEST_F(ConsoleStream, SkipsBlankLines) {
  EXPECT_TRUE(Run("\n \t\r\n{\"call\":\"new\"}\r\n\n"));
  EXPECT_EQ(out_.str(), kNew);
}

TEST_F(ConsoleStream, AnswersALastLineWithoutLineEnd) {
  EXPECT_TRUE(Run("{\"call\":\"new\"}"));
  EXPECT_EQ(out_.str(), kNew);
}

TEST_F(ConsoleStream, GoesOnAfterAnErrorLine) {
  EXPECT_TRUE(Run("\xFF\n{\"call\":\"new\"}\n"));
  EXPECT_EQ(out_.str().substr(out_.str().find('\n') + 1), kNew);
}

// Keeps count of what was written before each flush.
class FlushCounter : public std::stringbuf {
 public:
  [[nodiscard]] const std::vector<std::string>& flushed() const { return flushed_; }

 protected:
  int sync() override {
    flushed_.push_back(str());
    return 0;
  }

 private:
  std::vector<std::string> flushed_;
};

TEST_F(ConsoleStream, FlushesAfterEachLine) {
  FlushCounter buffer;
  std::ostream out(&buffer);
  std::istringstream in("{\"call\":\"new\"}\n{\"call\":\"new\"}\n");
  EXPECT_TRUE(RunConsole(in, out, EnvironmentOf(platform_)));
  EXPECT_THAT(buffer.flushed(), ::testing::ElementsAre(kNew, std::string(kNew) + kNew));
}

TEST_F(ConsoleStream, EndsAtTheFirstFailureOfItsOutput) {
  quillmark::testing::ExpectEndsWithItsStream([&](std::ostream& out) {
    std::istringstream in("{\"call\":\"new\"}\n{\"call\":\"new\"}\n");
    const bool all_was_answered = RunConsole(in, out, EnvironmentOf(platform_));
    EXPECT_EQ(all_was_answered, out.good());
  });
}

class FailingInput : public std::streambuf {
 protected:
  int_type underflow() override { throw std::runtime_error("the device is gone"); }
};

TEST_F(ConsoleStream, ReportsInputThatCannotBeRead) {
  FailingInput buffer;
  std::istream in(&buffer);
  EXPECT_FALSE(RunConsole(in, out_, EnvironmentOf(platform_)));
}

TEST(ConsoleEnvironmentTest, KeepsTheObjectWhereANewOneCannotBeMade) {
  const auto platform = CreatePortablePlatform();
  ConsoleEnvironment environment = EnvironmentOf(platform);
  bool made = false;
  environment.create_object = [&] {
    if (made) {
      throw Error(7);
    }
    made = true;
    return CreateDiagOnCANReprog(platform);
  };
  Console console(environment);
  EXPECT_EQ(console.Answer(R"({"call":"CANIDs","args":[0,17]})"),
            R"({"call":"CANIDs","result":null})");
  EXPECT_EQ(console.Answer(R"({"call":"new"})"),
            R"({"call":"new","error":{"number":7,"description":"Out of memory"}})");
  EXPECT_THAT(console.Answer(R"({"call":"TesterPresent"})"), ::testing::HasSubstr("8111F13EC1"));
}

TEST(ConsoleEnvironmentTest, ReportsAnExceptionThatIsNoErrorOfTheLibrary) {
  const auto platform = CreatePortablePlatform();
  ConsoleEnvironment environment = EnvironmentOf(platform);
  environment.wait_for_workers = [&] {
    platform->WaitForWorkers();
    throw std::runtime_error("the pump is broken");
  };
  Console console(environment);
  EXPECT_THAT(console.Answer(R"({"call":"CANIDs","args":[1850,1586]})"),
              ::testing::HasSubstr("result"));
  EXPECT_EQ(console.Answer(R"({"call":"ComputeUpload","args":[[],0]})"),
            R"({"call":"ComputeUpload","error":{"number":-2147467259,)"
            R"("description":"the pump is broken"}})");
}

TEST(ConsoleEnvironmentTest, ReportsExhaustedMemoryAsError7) {
  const auto platform = CreatePortablePlatform();
  ConsoleEnvironment environment = EnvironmentOf(platform);
  environment.wait_for_workers = [&] {
    platform->WaitForWorkers();
    throw std::bad_alloc();
  };
  Console console(environment);
  EXPECT_THAT(console.Answer(R"({"call":"CANIDs","args":[1850,1586]})"),
              ::testing::HasSubstr("result"));
  EXPECT_EQ(console.Answer(R"({"call":"ComputeUpload","args":[[],0]})"),
            R"({"call":"ComputeUpload","error":{"number":7,"description":"Out of memory"}})");
}

}  // namespace
}  // namespace quillmark::host::testing
