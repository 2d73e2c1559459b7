// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/tool/reporter.h"
#include "host/tool/transfer_options.h"
#include "quillmark/memory_image.h"

namespace quillmark::host {

/// SHA-256 of all bytes in address order, without their addresses, as 64 lower-case hexadecimal
/// digits: for an image without gaps, that of its raw binary.
[[nodiscard]] std::string Sha256Of(const ImageSegments& segments);
[[nodiscard]] std::string Sha256Of(const MemoryImage& image);

/// The image as a plan in the artifacts has it.
[[nodiscard]] Json PlannedImage(const Images& images);

/// Tells what each image file holds, and several together.
void ReportImages(Reporter& reporter, const Images& images);

}  // namespace quillmark::host
