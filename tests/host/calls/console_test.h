// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "quillmark/host/console.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host::testing {

inline ConsoleEnvironment EnvironmentOf(const std::shared_ptr<PortablePlatform>& platform) {
  return {[platform] { return CreateDiagOnCANReprog(platform); }, platform,
          [platform] { platform->WaitForWorkers(); }};
}

/// A console on the native platform.
class ConsoleTest : public ::testing::Test {
 protected:
  std::string Answer(std::string_view line) { return console_.Answer(line); }

 private:
  Console console_{EnvironmentOf(CreatePortablePlatform())};
};

}  // namespace quillmark::host::testing
