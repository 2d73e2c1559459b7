// SPDX-License-Identifier: MIT
#pragma once

#include "interpreter.h"

namespace quillmark::python {

/// Each adds its classes and functions to the module. They refer to each other in the order of
/// module.cpp.
void BindErrors(py::module_& module);
void BindDocuments(py::module_& module);
void BindImages(py::module_& module);
void BindTransfers(py::module_& module);
void BindReprog(py::module_& module);
void BindBuses(py::module_& module);
void BindRunner(py::module_& module);
void BindProgrammer(py::module_& module);
void BindTraces(py::module_& module);

}  // namespace quillmark::python
