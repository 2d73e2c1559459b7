// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/com/com_ptr.h"
#include "quillmark/threading.h"

/// The threading library of a host: an object of the class `Spindle.Threading` with the method
/// `StartThread(ProgID, Parameters, Client)`.
///
/// `Parameters` is an array of values by reference, Long, Byte or document. The library creates the
/// object of that ProgID on a new thread and calls its `IThread`; the method returns a Long,
/// negative on failure.
namespace quillmark::windows {

[[nodiscard]] bool HasHostThreads();

/// Starts a worker through that library and returns the status. Raises the error of the library,
/// and 438 if it has no `StartThread`.
[[nodiscard]] std::int32_t StartHostThread(std::string_view progID, ParameterList parameters,
                                           com::ComPtr<IUnknown> client);

}  // namespace quillmark::windows
