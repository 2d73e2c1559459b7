// SPDX-License-Identifier: MIT
#include "handler_transfer.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>

#include "arguments.h"
#include "bindings.h"
#include "errors.h"
#include "stream_transfer.h"

namespace quillmark::python {
namespace {

using Clock = std::chrono::steady_clock;

/// The exception in flight as an object, its traceback included.
py::object Caught(const py::error_already_set& error) {
  py::object value = error.value();
  if (error.trace()) {
    PyException_SetTraceback(value.ptr(), error.trace().ptr());
  }
  return value;
}

/// Reports an exception that no caller will receive, as threads do.
void ReportUnasked(const py::object& raised) {
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(raised.ptr())), raised.ptr());
  PyErr_WriteUnraisable(py::str("the handler of a quillmark.Transfer").ptr());
}

}  // namespace

HandlerTransfer::~HandlerTransfer() {
  if (Py_IsInitialized() == 0) {
    handler_.release();
    raised_.release();
    return;
  }
  const py::gil_scoped_acquire gil;
  if (raised_) {
    ReportUnasked(raised_);
  }
  handler_ = {};
  raised_ = {};
}

bool HandlerTransfer::XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) {
  const py::gil_scoped_acquire gil;
  const End end = cancelled_ ? End::kCancelled : EndAfter(xml);
  if (end == End::kNotYet) {
    return true;
  }
  handler_ = {};  // It may hold the transfer.
  SetEnd(end);
  return false;
}

HandlerTransfer::End HandlerTransfer::EndAfter(const std::shared_ptr<IXMLDOMNode>& node) {
  if (node) {
    delivery_.Add(*node);
  }
  try {
    const bool cancel = CallHandler(node);
    if (node) {
      return cancel ? End::kCancelled : End::kNotYet;
    }
  } catch (const py::error_already_set& error) {
    raised_ = Caught(error);
    return End::kRaised;
  }
  return delivery_.complete() ? End::kComplete : End::kIncomplete;
}

/// What `Cancel` is after the event: it comes in as true, and None leaves it so.
bool HandlerTransfer::CallHandler(const std::shared_ptr<IXMLDOMNode>& node) {
  const Handling handling(*this);
  const py::object answer = handler_(node ? py::cast(MakeDocument(node)) : py::none());
  if (answer.is_none()) {
    return true;
  }
  const int is_true = PyObject_IsTrue(answer.ptr());
  if (is_true < 0) {
    throw py::error_already_set();
  }
  return is_true != 0;
}

void HandlerTransfer::SetEnd(End end) {
  const std::lock_guard lock(mutex_);
  end_ = end;
  changed_.notify_all();
}

bool HandlerTransfer::Ended() const {
  RequireThisProcess();
  const std::lock_guard lock(mutex_);
  return end_ != End::kNotYet;
}

HandlerTransfer::End HandlerTransfer::AwaitEnd(std::optional<double> seconds) {
  constexpr std::chrono::milliseconds kLookUp{50};
  const auto deadline = Clock::now() + MillisecondsOf(seconds.value_or(0));
  for (;;) {
    {
      const WithoutGil released;
      std::unique_lock lock(mutex_);
      const auto look_up = Clock::now() + kLookUp;
      const auto until = seconds ? std::min(look_up, deadline) : look_up;
      changed_.wait_until(lock, until, [this] { return end_ != End::kNotYet; });
      if (end_ != End::kNotYet) {
        return end_;
      }
    }
    CheckSignals();
    if (seconds && Clock::now() >= deadline) {
      return End::kNotYet;
    }
  }
}

bool HandlerTransfer::Wait(std::optional<double> seconds) {
  RequireThisProcess();
  if (Handled() == this) {
    throw std::runtime_error("a handler cannot wait for its own transfer");
  }
  switch (AwaitEnd(seconds)) {
    case End::kNotYet:
      PyErr_SetString(PyExc_TimeoutError, "the transfer has not ended yet");
      throw py::error_already_set();
    case End::kRaised:
      if (raised_) {
        Raise(std::exchange(raised_, py::object()));
      }
      return false;
    case End::kIncomplete:
      RaiseIncomplete(delivery_.delivered(), delivery_.expected());
    case End::kComplete:
      return true;
    default:
      return false;
  }
}

void BindTransfers(py::module_& module) {
  py::class_<HandlerTransfer, std::shared_ptr<HandlerTransfer>>(
      module, "Transfer",
      R"(A transfer whose documents go to a handler.

It goes on if this object is dropped. An exception of the handler that no wait() has raised is reported
by sys.unraisablehook.)")
      .def("wait", &HandlerTransfer::Wait, py::arg("timeout") = py::none(),
           "Waits for the end of the transfer, at most timeout seconds. True if the handler "
           "accepted every\ndocument, False if it was cancelled.\n\nRaises what the handler raised "
           "(once; then False), TransferIncomplete if the worker failed,\nTimeoutError, and "
           "RuntimeError in its own handler and in a forked child.")
      .def("cancel", &HandlerTransfer::Cancel,
           "Ends the transfer; the handler is not called again. Returns at once.")
      .def_property_readonly("done", &HandlerTransfer::Ended, "Whether it has ended.");

  py::class_<DocumentStream, std::shared_ptr<DocumentStream>>(module, "_DocumentStream")
      .def("next", &DocumentStream::Next)
      .def("close", &DocumentStream::Close);

  module.def("wait_for_workers", &WaitForWorkers,
             "Returns once no transfer of this process is running.");
  py::module_::import("atexit").attr("register")(py::cpp_function(&EndTransfers));
}

}  // namespace quillmark::python
