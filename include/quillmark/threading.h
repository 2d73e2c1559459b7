// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <variant>

#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/object.h"

namespace quillmark {

/// One value of a parameter list, by reference to the caller's own storage: a Long, a Byte or a
/// document.
using Parameter =
    std::variant<const std::int32_t*, const std::uint8_t*, const std::shared_ptr<DOMDocument>*>;

/// What `Platform::StartThread` passes to `IThread::GetParameter`. The storage behind it belongs to
/// the caller and is valid until `StartThread` returns.
using ParameterList = std::span<const Parameter>;

/// The threading library's view of a worker. A status is negative on failure, otherwise 0.
class QUILLMARK_API IThread : public virtual Object {
 public:
  /// Copies all values of `parameters` into the worker. Called first, on the worker's thread.
  /// Raises 6 if a value does not fit its type, 9 if a parameter is missing, 13 if one has the
  /// wrong kind.
  virtual std::int32_t GetParameter(ParameterList parameters) = 0;

  /// Runs the worker to its end. `client` receives its results and must be an `XMLDocClient`,
  /// otherwise 13 is raised. Called once, on the worker's thread, after `GetParameter`.
  virtual std::int32_t EntryPoint(const std::shared_ptr<Object>& client) = 0;
};

}  // namespace quillmark
