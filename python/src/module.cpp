// SPDX-License-Identifier: MIT
#include "bindings.h"
#include "quillmark/version.h"

namespace {

PYBIND11_MODULE(_native, module) {
  using namespace quillmark::python;
  // What users see is the package.
  module.attr("__module__") = "quillmark";
  module.attr("__version__") = quillmark::Version();
  BindErrors(module);
  BindDocuments(module);
  BindImages(module);
  BindTransfers(module);
  BindReprog(module);
  BindBuses(module);
  BindRunner(module);
  BindProgrammer(module);
  BindTraces(module);
}

}  // namespace
