// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "interpreter.h"
#include "quillmark/dom.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/image_file.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"

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

/// The segments for a file, joined where one follows another. Raises ValueError if two overlap and
/// for an address below 0.
[[nodiscard]] host::ImageSegments FileSegmentsOf(const MemoryImage& image);

/// An image with these segments.
[[nodiscard]] std::shared_ptr<MemoryImage> CopyOf(const Image& image);
/// The same, joined where one follows another.
[[nodiscard]] std::shared_ptr<MemoryImage> JoinedImage(const MemoryImage& image);

/// A map of pairs of start and count, and the number of their bytes. Raises TypeError and Error 6.
struct Ranges {
  std::shared_ptr<MemoryMap> map;
  std::int64_t size = 0;
};
[[nodiscard]] Ranges RangesOf(const py::object& pairs);

/// What a Python object raised that is a bus, where that is no failure of the bus.
using Raised = std::shared_ptr<std::exception_ptr>;

/// A bus, with the transport form of the documents that are run on it by default. A simulated one
/// takes turns with its ECU.
class Bus : public Shared<host::Bus> {
 public:
  Bus(std::shared_ptr<host::Bus> bus, host::TransportForm form,
      std::shared_ptr<std::recursive_mutex> mutex = std::make_shared<std::recursive_mutex>(),
      Raised raised = std::make_shared<std::exception_ptr>())
      : Shared(std::move(bus), std::move(mutex)), form_(form), raised_(std::move(raised)) {}

  [[nodiscard]] host::TransportForm form() const { return form_; }

  /// What is left to do when it is closed. It may raise.
  void OnClose(std::function<void()> closing) { closing_ = std::move(closing); }

  /// Lets go of the port. From then on every operation raises BusError; what is under way goes on
  /// to its end.
  void Close();

  [[nodiscard]] const Raised& raised() const { return raised_; }
  /// What it raised since the last call; null for nothing.
  [[nodiscard]] std::exception_ptr TakeRaised() const { return std::exchange(*raised_, nullptr); }

 private:
  host::TransportForm form_;
  Raised raised_;
  std::function<void()> closing_;
};

}  // namespace quillmark::python
