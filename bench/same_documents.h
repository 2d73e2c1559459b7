// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "bench/inputs.h"

/// What makes the comparison honest: a reference that built other documents would prove nothing.
namespace quillmark::bench {

/// Ends the process with a message unless both references give the component's documents byte for
/// byte, in this configuration, for the first MiB of `image`.
void RequireSameDownload(const Form& form, Span image, std::int32_t alignment,
                         std::int32_t max_size);

/// The same for the first MiB of an upload of `size` bytes.
void RequireSameUpload(const Form& form, std::size_t size);

}  // namespace quillmark::bench
