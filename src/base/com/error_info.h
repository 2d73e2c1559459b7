// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <utility>

#include "quillmark/error.h"

namespace quillmark::com {

/// Leaves `error` with its description, and without a source, where the thread's caller looks for
/// it, and returns the status that stands for its number.
[[nodiscard]] HRESULT Report(const Error& error) noexcept;

/// The same for the C++ exception in flight.
[[nodiscard]] HRESULT ReportCurrent() noexcept;

/// What a member that failed with `status` has left for its caller, as the error to be raised; the
/// description is the default one where it left none.
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
