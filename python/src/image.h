// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "interpreter.h"
#include "quillmark/memory_image.h"

namespace quillmark::python {

using Image = Shared<MemoryImage>;

/// An image, or what one can be made of. Raises TypeError and Error 6.
[[nodiscard]] std::shared_ptr<Image> ImageOf(const py::object& argument);

/// The number of bytes of all segments.
[[nodiscard]] std::int64_t SizeOf(const MemoryImage& image);

}  // namespace quillmark::python
