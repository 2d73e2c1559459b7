// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "interpreter.h"
#include "quillmark/error.h"

namespace quillmark::python {

/// A type that the package defines in Python, in _types.py.
[[nodiscard]] py::object TypeNamed(const char* name);

/// An instance of `Error`, not raised.
[[nodiscard]] py::object PythonError(const Error& error);

/// Raises what the interpreter makes of a warning, which may be an error.
void Warn(const std::string& text);

/// Raises an instance of an exception.
[[noreturn]] void Raise(const py::object& error);

/// Raises `TransferIncomplete`.
[[noreturn]] void RaiseIncomplete(std::int64_t delivered, std::int64_t expected);

/// A `History`.
[[nodiscard]] py::object MakeHistory(const py::list& histories, const py::list& reprogrammings,
                                     const py::object& identification);

}  // namespace quillmark::python
