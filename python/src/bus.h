// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "host/bus/bus.h"
#include "interpreter.h"

namespace quillmark::python {

/// A bus, with the transport form of the documents that are run on it where nothing else is said.
/// A simulated one takes turns with its ECU.
class Bus : public Shared<host::Bus> {
 public:
  Bus(std::shared_ptr<host::Bus> bus, host::TransportForm form,
      std::shared_ptr<std::recursive_mutex> mutex = std::make_shared<std::recursive_mutex>())
      : Shared(std::move(bus), std::move(mutex)), form_(form) {}

  [[nodiscard]] host::TransportForm form() const { return form_; }

 private:
  host::TransportForm form_;
};

}  // namespace quillmark::python
