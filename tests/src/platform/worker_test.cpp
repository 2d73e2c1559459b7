// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "platform/portable/portable_platform_factory.h"
#include "quillmark/error.h"
#include "quillmark/forwarding_platform.h"
#include "support/expect_error.h"

namespace quillmark::testing {
namespace {

using Call = std::function<void()>;

/// What a test wants a worker to do at each of its steps.
struct Script {
  std::function<std::int32_t(ParameterList)> get_parameter = [](ParameterList) { return 0; };
  std::function<void(const std::shared_ptr<Object>&)> entry_point = [](const auto&) {};
  Call end = [] {};
};

class ScriptedWorker final : public IThread {
 public:
  explicit ScriptedWorker(Script script) : script_(std::move(script)) {}
  ScriptedWorker(const ScriptedWorker&) = delete;
  ScriptedWorker& operator=(const ScriptedWorker&) = delete;
  ScriptedWorker(ScriptedWorker&&) = delete;
  ScriptedWorker& operator=(ScriptedWorker&&) = delete;
  ~ScriptedWorker() override { script_.end(); }

  std::int32_t GetParameter(ParameterList parameters) override {
    return script_.get_parameter(parameters);
  }

  std::int32_t EntryPoint(const std::shared_ptr<Object>& client) override {
    script_.entry_point(client);
    return 0;
  }

 private:
  Script script_;
};

class Client final : public Object {};

constexpr std::string_view kProgID = "Test.Worker";

std::shared_ptr<PortablePlatform> PlatformWith(
    Script script, workers::ThreadLauncher launcher = portable::LaunchDetachedThread) {
  auto platform = MakePortablePlatform(std::move(launcher));
  platform->RegisterClass(std::string(kProgID),
                          [script = std::move(script)](const std::shared_ptr<Platform>&) {
                            return std::make_shared<ScriptedWorker>(script);
                          });
  return platform;
}

TEST(Worker, RunsOnAThreadOfItsOwnAndTakesTheParametersFirst) {
  std::mutex mutex;
  std::vector<std::string> calls;
  const auto log = [&](const std::string& call) {
    const std::lock_guard lock(mutex);
    EXPECT_NE(std::this_thread::get_id(), std::thread::id());
    calls.push_back(call);
  };
  const std::thread::id caller = std::this_thread::get_id();
  auto platform = MakePortablePlatform();
  platform->RegisterClass("Test.Worker", [&](const std::shared_ptr<Platform>& given) {
    EXPECT_EQ(given, platform);
    EXPECT_NE(std::this_thread::get_id(), caller);
    log("create");
    return std::make_shared<ScriptedWorker>(Script{
        [&](ParameterList parameters) {
          log("GetParameter " + std::to_string(*std::get<const std::int32_t*>(parameters[0])));
          return 0;
        },
        [&](const std::shared_ptr<Object>&) {
          EXPECT_NE(std::this_thread::get_id(), caller);
          log("EntryPoint");
        },
        [&] { log("end"); }});
  });
  const std::int32_t value = 1850;
  const std::vector<Parameter> parameters{&value};
  EXPECT_EQ(platform->StartThread(kProgID, parameters, nullptr), 0);
  platform->WaitForWorkers();
  EXPECT_EQ(calls, (std::vector<std::string>{"create", "GetParameter 1850", "EntryPoint", "end"}));
}

TEST(Worker, IsStillRunningWhenStartThreadReturns) {
  std::promise<void> go;
  const auto platform = PlatformWith({.entry_point = [&](const auto&) { go.get_future().wait(); }});
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  EXPECT_EQ(platform->RunningWorkers(), 1U);
  go.set_value();
  platform->WaitForWorkers();
  EXPECT_EQ(platform->RunningWorkers(), 0U);
}

TEST(Worker, SeveralRunAtOnce) {
  std::promise<void> go;
  const std::shared_future<void> gate = go.get_future().share();
  std::atomic<int> ended = 0;
  const auto platform =
      PlatformWith({.entry_point = [gate](const auto&) { gate.wait(); }, .end = [&] { ++ended; }});
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  }
  EXPECT_EQ(platform->RunningWorkers(), 8U);
  go.set_value();
  platform->WaitForWorkers();
  EXPECT_EQ(ended, 8);
}

TEST(Worker, IsWaitedForByItsClient) {
  std::promise<void> go;
  const std::shared_future<void> gate = go.get_future().share();
  const auto slow = std::make_shared<Client>();
  const auto fast = std::make_shared<Client>();
  std::atomic<int> ended = 0;
  const auto platform = PlatformWith({.entry_point = [&, gate](const auto& client) {
    if (client == slow) {
      gate.wait();
    }
    ++ended;
  }});
  EXPECT_EQ(platform->StartThread(kProgID, {}, slow), 0);
  EXPECT_EQ(platform->StartThread(kProgID, {}, fast), 0);
  EXPECT_EQ(platform->StartThread(kProgID, {}, fast), 0);
  platform->WaitForWorkers(*fast);
  EXPECT_EQ(ended, 2);
  EXPECT_EQ(platform->RunningWorkers(), 1U);
  platform->WaitForWorkers(Client());
  go.set_value();
  platform->WaitForWorkers(*slow);
  EXPECT_EQ(ended, 3);
  EXPECT_EQ(platform->RunningWorkers(), 0U);
}

#ifndef _WIN32
TEST(Worker, OfAParentDoesNotRunInAForkedChild) {
  std::promise<void> go;
  const std::shared_future<void> gate = go.get_future().share();
  const auto platform = PlatformWith({.entry_point = [gate](const auto&) { gate.wait(); }});
  const auto client = std::make_shared<Client>();
  EXPECT_EQ(platform->StartThread(kProgID, {}, client), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(20);  // a wait without end fails
    platform->WaitForWorkers();
    platform->WaitForWorkers(*client);
    const bool none = platform->RunningWorkers() == 0;
    const bool starts = platform->StartThread(kProgID, {}, nullptr) == 0;
    ::_exit(none && starts && platform->RunningWorkers() == 1 ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(platform->RunningWorkers(), 1U);
  go.set_value();
  platform->WaitForWorkers();
}
#endif

TEST(Worker, ReceivesItsClientAndKeepsItAlive) {
  std::promise<void> go;
  std::weak_ptr<Object> watched;
  const auto platform = PlatformWith({.entry_point = [&](const std::shared_ptr<Object>& client) {
    go.get_future().wait();
    EXPECT_NE(client, nullptr);
    EXPECT_EQ(client, watched.lock());
  }});
  auto client = std::make_shared<Client>();
  watched = client;
  EXPECT_EQ(platform->StartThread(kProgID, {}, client), 0);
  client.reset();
  EXPECT_FALSE(watched.expired());
  go.set_value();
  platform->WaitForWorkers();
  EXPECT_TRUE(watched.expired());
}

TEST(Worker, OutlivesAPlatformThatIsReleasedInsideEntryPoint) {
  std::promise<void> released;
  std::promise<void> ended;
  auto platform = PlatformWith({.entry_point = [&](const auto&) { released.get_future().wait(); },
                                .end = [&] { ended.set_value(); }});
  const std::weak_ptr<PortablePlatform> watched = platform;
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  platform.reset();
  EXPECT_FALSE(watched.expired());
  released.set_value();
  ended.get_future().wait();
  while (!watched.expired()) {
    std::this_thread::yield();
  }
}

TEST(Worker, UsesThePlatformItWasStartedBy) {
  std::string xml;
  auto platform = MakePortablePlatform();
  platform->RegisterClass("Test.Worker", [&xml](const std::shared_ptr<Platform>& given) {
    return std::make_shared<ScriptedWorker>(Script{.entry_point = [&xml, given](const auto&) {
      const auto document = given->CreateFreeThreadedDOMDocument();
      document->appendChild(document->createElement("a"));
      xml = document->xml();
    }});
  });
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  platform->WaitForWorkers();
  EXPECT_EQ(xml, "<a/>");
  platform->RegisterClass("Test.Worker", nullptr);
}

TEST(Worker, AnUnknownClassIsNotStarted) {
  const auto platform = MakePortablePlatform();
  EXPECT_EQ(platform->StartThread("No.Such", {}, nullptr), -2147221164);
  EXPECT_EQ(platform->RunningWorkers(), 0U);
}

TEST(Worker, AnObjectThatIsNoThreadIsNotStarted) {
  const auto platform = MakePortablePlatform();
  platform->RegisterClass("Test.Other", [](const auto&) { return std::make_shared<Client>(); });
  platform->RegisterClass("Test.Null", [](const auto&) { return nullptr; });
  EXPECT_EQ(platform->StartThread("Test.Other", {}, nullptr), -2147467262);
  EXPECT_EQ(platform->StartThread("Test.Null", {}, nullptr), -2147467262);
  EXPECT_EQ(platform->RunningWorkers(), 0U);
}

TEST(Worker, AClassRegisteredAgainReplacesTheFirst) {
  std::atomic<int> which = 0;
  const auto platform = PlatformWith({.entry_point = [&](const auto&) { which = 1; }});
  platform->RegisterClass(std::string(kProgID), [&](const auto&) {
    return std::make_shared<ScriptedWorker>(Script{.entry_point = [&](const auto&) { which = 2; }});
  });
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  platform->WaitForWorkers();
  EXPECT_EQ(which, 2);
}

TEST(Worker, AClassMayRegisterAnotherWhileItIsCreated) {
  const auto platform = MakePortablePlatform();
  platform->RegisterClass(std::string(kProgID), [](const std::shared_ptr<Platform>& given) {
    std::dynamic_pointer_cast<PortablePlatform>(given)->RegisterClass(
        "Test.Other", [](const auto&) { return std::make_shared<Client>(); });
    return std::make_shared<ScriptedWorker>(Script{});
  });
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  EXPECT_EQ(platform->StartThread("Test.Other", {}, nullptr), -2147467262);
  platform->WaitForWorkers();
}

struct Failure {
  const char* name;
  std::function<std::int32_t()> get_parameter;
  std::int32_t status;
};

void PrintTo(const Failure& failure, std::ostream* out) { *out << failure.name; }

class WorkerThatFailsToStart : public ::testing::TestWithParam<Failure> {};

TEST_P(WorkerThatFailsToStart, GivesAStatusAndIsReleasedWithoutRunning) {
  bool has_run = false;
  bool has_ended = false;
  const auto platform =
      PlatformWith({.get_parameter = [](ParameterList) { return GetParam().get_parameter(); },
                    .entry_point = [&](const auto&) { has_run = true; },
                    .end = [&] { has_ended = true; }});
  auto client = std::make_shared<Client>();
  EXPECT_EQ(platform->StartThread(kProgID, {}, client), GetParam().status);
  EXPECT_EQ(platform->RunningWorkers(), 0U);
  EXPECT_EQ(client.use_count(), 1);
  EXPECT_TRUE(has_ended);
  EXPECT_FALSE(has_run);
}

INSTANTIATE_TEST_SUITE_P(
    GetParameter, WorkerThatFailsToStart,
    ::testing::Values(
        Failure{"a negative status", [] { return -5; }, -5},
        Failure{"overflow", []() -> std::int32_t { throw Error(6); }, -2146828282},
        Failure{"missing parameter", []() -> std::int32_t { throw Error(9); }, -2146828279},
        Failure{"a code of the platform", []() -> std::int32_t { throw Error(-2147467259); },
                -2147467259},
        Failure{"a number without a status", []() -> std::int32_t { throw Error(2147483647); },
                -2147467259},
        Failure{"out of memory", []() -> std::int32_t { throw std::bad_alloc(); }, -2147467259},
        Failure{"another exception", []() -> std::int32_t { throw std::runtime_error("x"); },
                -2147467259},
        Failure{"no exception class", []() -> std::int32_t { throw 1; }, -2147467259}),
    [](const auto& failure) { return "Case" + std::to_string(failure.index); });

TEST(Worker, AFactoryThatRaisesFailsTheStart) {
  const auto platform = MakePortablePlatform();
  platform->RegisterClass(std::string(kProgID), [](const auto&) -> std::shared_ptr<Object> {
    throw Error(9, "pure virtual class");
  });
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), -2146828279);
}

TEST(Worker, WhatEntryPointThrowsEndsWithIt) {
  const auto platform = PlatformWith({.entry_point = [](const auto&) { throw Error(6); }});
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  platform->WaitForWorkers();
  EXPECT_EQ(platform->RunningWorkers(), 0U);
}

TEST(Worker, APositiveStatusIsNoFailure) {
  bool has_run = false;
  const auto platform = PlatformWith({.get_parameter = [](ParameterList) { return 1; },
                                      .entry_point = [&](const auto&) { has_run = true; }});
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 1);
  platform->WaitForWorkers();
  EXPECT_TRUE(has_run);
}

TEST(Worker, WithoutAThreadGivesAStatusAndHoldsNothing) {
  auto client = std::make_shared<Client>();
  const auto expect_not_started = [&](workers::ThreadLauncher launcher) {
    const auto platform = PlatformWith({}, std::move(launcher));
    EXPECT_EQ(platform->StartThread(kProgID, {}, client), -2147024882);
    EXPECT_EQ(platform->RunningWorkers(), 0U);
    EXPECT_EQ(platform.use_count(), 1);
    EXPECT_EQ(client.use_count(), 1);
  };
  expect_not_started([](const Call&) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  });
  expect_not_started([](const Call&) { throw std::bad_alloc(); });
  expect_not_started([](const Call&) {});
}

TEST(ForwardingPlatform, ReachesTheOtherPlatform) {
  std::atomic<int> started = 0;
  const auto other = PlatformWith({.entry_point = [&](const auto&) { ++started; }});
  const auto platform = std::make_shared<ForwardingPlatform>(other);
  EXPECT_TRUE(platform->CreateDOMDocument());
  EXPECT_TRUE(platform->CreateFreeThreadedDOMDocument());
  EXPECT_TRUE(platform->CreateByteString());
  EXPECT_TRUE(platform->CreateMemoryImage());
  EXPECT_TRUE(platform->CreateMemoryMap());
  EXPECT_TRUE(platform->CreateChecksumCalculator());
  EXPECT_EQ(platform->StartThread(kProgID, {}, nullptr), 0);
  other->WaitForWorkers();
  EXPECT_EQ(started, 1);
}

TEST(ForwardingPlatform, NeedsAnother) { EXPECT_ERROR(ForwardingPlatform(nullptr), 91, kNotSet); }

TEST(Worker, WaitingWithoutAWorkerReturnsAtOnce) {
  const auto platform = MakePortablePlatform();
  EXPECT_EQ(platform->RunningWorkers(), 0U);
  platform->WaitForWorkers();
}

}  // namespace
}  // namespace quillmark::testing
