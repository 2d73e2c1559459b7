// SPDX-License-Identifier: MIT
// Workers of the platform's own.
#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "platform/windows/windows_platform.h"
#include "quillmark/portable_platform.h"
#include "tested_platform.h"
#include "tests/src/platform/windows/script_object.h"

namespace quillmark::testing {
namespace {

using Step = std::function<void()>;

class ScriptedWorker final : public IThread {
 public:
  explicit ScriptedWorker(Step step) : step_(std::move(step)) {}

  std::int32_t GetParameter(ParameterList /*parameters*/) override { return 0; }
  std::int32_t EntryPoint(const std::shared_ptr<Object>& /*client*/) override {
    step_();
    return 0;
  }

 private:
  Step step_;
};

class WindowsThreads : public ::testing::Test {
 protected:
  [[nodiscard]] std::int32_t Start(Step step) const {
    platform_->AddClass("Test.Worker", [step = std::move(step)](const auto&) {
      return std::make_shared<ScriptedWorker>(step);
    });
    return platform_->StartThread("Test.Worker", {}, std::make_shared<Object>());
  }

  const std::shared_ptr<TestedPlatform> platform_ = TestPlatform();
};

TEST_F(WindowsThreads, AWorkerRunsOnAThreadOfTheMultithreadedApartment) {
  APTTYPE type = APTTYPE_CURRENT;
  APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
  DWORD thread = 0;
  EXPECT_EQ(Start([&] {
              CoGetApartmentType(&type, &qualifier);
              thread = GetCurrentThreadId();
            }),
            0);
  platform_->WaitForWorkers();
  EXPECT_EQ(type, APTTYPE_MTA);
  EXPECT_EQ(qualifier, APTTYPEQUALIFIER_NONE);
  EXPECT_NE(thread, GetCurrentThreadId());
}

TEST_F(WindowsThreads, AnUnknownClassIsAStatus) {
  EXPECT_EQ(platform_->StartThread("Test.Unknown", {}, std::make_shared<Object>()),
            PortablePlatform::kClassNotRegistered);
}

TEST_F(WindowsThreads, TheClientsFaceIsKeptUntilTheWorkerEnds) {
  auto face = NewScriptObject({});
  const auto references = [&] {
    face->AddRef();
    return face->Release();
  };
  platform_->SetClientFace([&](const auto&) { return face.As<IDispatch>().As<IUnknown>(); });
  std::promise<void> end;
  EXPECT_EQ(Start([&] { end.get_future().wait(); }), 0);
  EXPECT_EQ(references(), 2U);
  end.set_value();
  platform_->WaitForWorkers();
  EXPECT_EQ(references(), 1U);
}

TEST_F(WindowsThreads, ThePlatformMayEndBeforeItsWorkers) {
  std::promise<void> end;
  std::promise<void> ended;
  auto platform = MakeWindowsPlatform();
  platform->AddClass("Test.Worker", [&](const auto&) {
    return std::make_shared<ScriptedWorker>([&] {
      end.get_future().wait();
      ended.set_value();
    });
  });
  EXPECT_EQ(platform->StartThread("Test.Worker", {}, std::make_shared<Object>()), 0);
  platform.reset();
  end.set_value();
  ended.get_future().wait();
}

}  // namespace
}  // namespace quillmark::testing
