// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/image/image_file.h"
#include "host/tool/reporter.h"

namespace quillmark::host {

/// Tells what an image file holds.
void ReportImage(Reporter& reporter, const std::string& file, const ImageFile& image);

}  // namespace quillmark::host
