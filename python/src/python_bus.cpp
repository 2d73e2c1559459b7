// SPDX-License-Identifier: MIT
#include "python_bus.h"

#include <exception>
#include <string>
#include <thread>

#include "arguments.h"

namespace quillmark::python {
namespace {

double SecondsOf(std::chrono::milliseconds time) {
  return std::chrono::duration<double>(time).count();
}

}  // namespace

template <typename Work>
auto PythonBus::WithGil(Work work) {
  const py::gil_scoped_acquire gil;
  try {
    return work();
  } catch (const py::error_already_set& error) {
    if (!error.matches(PyExc_OSError) && !*raised_) {
      *raised_ = std::current_exception();
    }
    throw host::BusError(py::cast<std::string>(py::str(error.value())));
  }
}

PythonBus::~PythonBus() {
  const py::gil_scoped_acquire gil;
  bus_ = {};
}

void PythonBus::Select(const host::Exchange& exchange) {
  WithGil([&] { bus_.attr("select")(exchange.receive, exchange.send); });
}

void PythonBus::Send(host::ByteView frame) {
  WithGil([&] { bus_.attr("send")(PythonBytes(frame)); });
}

std::optional<host::Bytes> PythonBus::Receive(std::chrono::milliseconds timeout) {
  return WithGil([&] {
    const py::object frame = bus_.attr("receive")(SecondsOf(timeout));
    return frame.is_none() ? std::nullopt : std::optional(BytesOf(frame).bytes);
  });
}

void PythonBus::Wait(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

void PythonBus::Break(std::chrono::milliseconds low) {
  WithGil([&] { bus_.attr("send_break")(SecondsOf(low)); });
}

host::Duration PythonBus::Now() const {
  return std::chrono::duration_cast<host::Duration>(
      std::chrono::steady_clock::now().time_since_epoch());
}

std::shared_ptr<Bus> BusOf(const py::object& bus) {
  if (py::isinstance<Bus>(bus)) {
    return py::cast<std::shared_ptr<Bus>>(bus);
  }
  for (const char* const method : {"select", "send", "receive"}) {
    if (!py::hasattr(bus, method)) {
      throw py::type_error(std::string("bus: expected a Bus or an object with select, send and ") +
                           "receive, found one without " + method);
    }
  }
  const auto raised = std::make_shared<std::exception_ptr>();
  return std::make_shared<Bus>(std::make_shared<PythonBus>(bus, raised),
                               host::TransportForm::kPlainCan,
                               std::make_shared<std::recursive_mutex>(), raised);
}

}  // namespace quillmark::python
