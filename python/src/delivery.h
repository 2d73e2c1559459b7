// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "shared_objects.h"

namespace quillmark::python {

/// Adds up what the documents of a transfer cover. A worker that fails ends like one that is done;
/// the sum tells the two apart.
class Delivery {
 public:
  explicit Delivery(std::int64_t expected) : expected_(expected) {}

  void Add(const IXMLDOMNode& document) { delivered_ += TotalBytesOf(document).value_or(0); }

  [[nodiscard]] std::int64_t delivered() const { return delivered_; }
  [[nodiscard]] std::int64_t expected() const { return expected_; }
  [[nodiscard]] bool complete() const { return delivered_ == expected_; }

 private:
  std::int64_t expected_;
  std::int64_t delivered_ = 0;
};

}  // namespace quillmark::python
