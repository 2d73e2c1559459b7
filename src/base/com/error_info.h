// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <utility>

#include "quillmark/error.h"

namespace quillmark::com {

/// Stores `error`, with its description and without a source, for the caller of this thread, and
/// returns the status for its number.
[[nodiscard]] HRESULT Report(const Error& error) noexcept;

/// The same for the C++ exception in flight.
[[nodiscard]] HRESULT ReportCurrent() noexcept;

/// The error that a member which failed with `status` has stored for its caller, with the default
/// description if it stored none.
[[nodiscard]] Error ReportedError(HRESULT status);

/// Runs the body of an entry point, which no exception may leave.
template <typename Body>
[[nodiscard]] HRESULT Guarded(Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
    return S_OK;
  } catch (...) {
    return ReportCurrent();
  }
}

}  // namespace quillmark::com
