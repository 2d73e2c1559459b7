// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "host/calls/arguments.h"
#include "host/calls/json_value.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/host/console.h"

namespace quillmark::host {

/// The objects that a call acts on.
struct CallContext {
  const ConsoleEnvironment& environment;
  std::shared_ptr<DiagOnCANReprog>& object;
};

/// One call of the console.
struct Call {
  std::string_view name;
  std::vector<std::string_view> parameters;
  bool takes_cancel_at;
  /// Reads its arguments and sets `result`, also if it then raises after all.
  void (*run)(const CallContext& context, Arguments& arguments, std::optional<Json>& result);
};

/// In the order of the interface, `new` first.
[[nodiscard]] const std::vector<Call>& AllCalls();

/// Raises 438 for a name that is not among them.
[[nodiscard]] const Call& CallNamed(std::string_view name);

}  // namespace quillmark::host
