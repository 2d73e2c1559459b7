// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "interpreter.h"
#include "quillmark/dom.h"
#include "quillmark/host/bus.h"
#include "quillmark/memory_image.h"

/// The objects of the interface and of the host that Python holds.
namespace quillmark::python {

using Document = Shared<DOMDocument>;

/// The document that a request method or a worker gave.
[[nodiscard]] std::shared_ptr<Document> MakeDocument(const std::shared_ptr<IXMLDOMNode>& node);

/// What a transfer document covers; nothing if it does not say.
[[nodiscard]] std::optional<std::int64_t> TotalBytesOf(const IXMLDOMNode& document);

using Image = Shared<MemoryImage>;

/// An image, or what one can be made of. Raises TypeError and Error 6.
[[nodiscard]] std::shared_ptr<Image> ImageOf(const py::object& argument);

/// A bus, with the transport form of the documents that are run on it by default. A simulated one
/// takes turns with its ECU.
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
