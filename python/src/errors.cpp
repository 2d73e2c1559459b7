// SPDX-License-Identifier: MIT
#include "errors.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <string>

#include "bindings.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"
#include "quillmark/host/image_file.h"

namespace quillmark::python {
namespace {

/// The subclass of OSError that belongs to `error`, a value of errno, with the name of the file.
void SetOsError(int error, const std::string& path) {
  errno = error;
  PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
}

/// The exceptions that pybind11 does not know: those of the component and of the host library.
void Translate(std::exception_ptr raised) {
  try {
    std::rethrow_exception(std::move(raised));
  } catch (const Error& error) {
    PyErr_SetObject(TypeNamed("Error").ptr(), PythonError(error).ptr());
  } catch (const host::BusError& error) {
    PyErr_SetString(TypeNamed("BusError").ptr(), error.what());
  } catch (const host::FileError& error) {
    SetOsError(error.error(), error.path());
  } catch (const std::filesystem::filesystem_error& error) {
    SetOsError(error.code().value(), error.path1().string());
  } catch (const host::DamagedImage& error) {
    PyErr_SetString(PyExc_ValueError, error.what());
  } catch (const host::NotAnImage& error) {
    PyErr_SetString(PyExc_ValueError, error.what());
  } catch (const host::MisplacedBase& error) {
    PyErr_SetString(PyExc_ValueError, error.what());
  }
}

}  // namespace

py::object TypeNamed(const char* name) {
  return py::module_::import("quillmark._types").attr(name);
}

void Warn(const std::string& text) {
  if (PyErr_WarnEx(PyExc_UserWarning, text.c_str(), 1) != 0) {
    throw py::error_already_set();
  }
}

py::object PythonError(const Error& error) {
  return TypeNamed("Error")(error.Number(), error.Description());
}

void Raise(const py::object& error) {
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
  throw py::error_already_set();
}

void RaiseIncomplete(std::int64_t delivered, std::int64_t expected) {
  Raise(TypeNamed("TransferIncomplete")(delivered, expected));
}

py::object MakeHistory(const py::list& histories, const py::list& reprogrammings,
                       const py::object& identification) {
  return TypeNamed("History")(histories, reprogrammings, identification);
}

void BindErrors(py::module_& /*module*/) { py::register_exception_translator(&Translate); }

}  // namespace quillmark::python
