// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "interpreter.h"
#include "quillmark/host/bus.h"
#include "shared_objects.h"

namespace quillmark::python {

/// A bus that a Python object is: it has the methods select, send and receive, and for a K line
/// send_break. Each is called with the interpreter's lock, which the caller need not hold. What
/// they raise is a BusError; unless it is an OSError, it is kept in `raised` as well. Time is real.
class PythonBus : public host::Bus {
 public:
  PythonBus(py::object bus, Raised raised) : bus_(std::move(bus)), raised_(std::move(raised)) {}
  PythonBus(const PythonBus&) = delete;
  PythonBus& operator=(const PythonBus&) = delete;
  PythonBus(PythonBus&&) = delete;
  PythonBus& operator=(PythonBus&&) = delete;
  ~PythonBus() override;

  void Select(const host::Exchange& exchange) override;
  void Send(host::ByteView frame) override;
  [[nodiscard]] std::optional<host::Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override;
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] host::Duration Now() const override;

 private:
  /// Calls `work` with the interpreter's lock.
  template <typename Work>
  auto WithGil(Work work);

  py::object bus_;
  Raised raised_;
};

/// A bus of the module, or an object with the methods of one. Raises TypeError for anything else.
[[nodiscard]] std::shared_ptr<Bus> BusOf(const py::object& bus);

}  // namespace quillmark::python
