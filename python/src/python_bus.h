// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>

#include "interpreter.h"
#include "quillmark/host/bus.h"

namespace quillmark::python {

/// A bus that a Python object is: it has the methods select, send and receive, and for a K line
/// send_break. Each is called with the interpreter's lock, which the caller need not hold. An
/// OSError of theirs is a BusError; what else they raise passes through. Time is real.
class PythonBus : public host::Bus {
 public:
  explicit PythonBus(py::object bus) : bus_(std::move(bus)) {}
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
  py::object bus_;
};

}  // namespace quillmark::python
