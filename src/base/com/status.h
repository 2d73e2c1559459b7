// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstdint>
#include <utility>

#include "base/com/text.h"
#include "quillmark/error.h"

namespace quillmark::com {

/// Run-time errors travel as 0x800A0000 + number; any other failure is its own number.
inline constexpr std::uint32_t kRunTimeErrors = 0x800A0000;

/// The status for the number of an error; E_FAIL for a number that no status can carry.
[[nodiscard]] constexpr HRESULT StatusOf(std::int32_t number) {
  if (number > 0 && number <= 0xFFFF) {
    return static_cast<HRESULT>(kRunTimeErrors + static_cast<std::uint32_t>(number));
  }
  return number < 0 ? static_cast<HRESULT>(number) : E_FAIL;
}

/// The error number for a failed status.
[[nodiscard]] constexpr std::int32_t NumberOf(HRESULT status) {
  const auto code = static_cast<std::uint32_t>(status);
  const std::uint32_t number = code & 0xFFFFU;
  return number != 0 && code - number == kRunTimeErrors ? static_cast<std::int32_t>(number)
                                                        : static_cast<std::int32_t>(status);
}

/// Raises a failure that comes without a description.
inline void Require(HRESULT status) {
  if (FAILED(status)) {
    throw Error(NumberOf(status));
  }
}

/// The failure of `IDispatch::Invoke`, as the error to be raised: the number and description of the
/// object's exception, or the failure itself. Takes over the texts of `exception`.
[[nodiscard]] Error ErrorOf(HRESULT status, EXCEPINFO& exception);

/// The C++ exception in flight as an error.
[[nodiscard]] Error CurrentError() noexcept;

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
