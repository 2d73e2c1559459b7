// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/image/image_file.h"
#include "host/tool/reporter.h"

namespace quillmark::host {

/// The image as a plan in the artifacts has it.
[[nodiscard]] Json PlannedImage(const std::string& file, const ImageFile& image);

/// Tells what an image file holds.
void ReportImage(Reporter& reporter, const std::string& file, const ImageFile& image);

}  // namespace quillmark::host
