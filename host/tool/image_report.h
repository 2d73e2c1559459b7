// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/tool/reporter.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/records.h"

namespace quillmark::host {

/// The image as a plan in the artifacts has it.
[[nodiscard]] Json PlannedImage(const Images& images);

/// A run of a command with these images, for the records.
[[nodiscard]] RunRecord RunOf(const char* command, const Images& images);

/// Tells what each image file holds, and several together.
void ReportImages(Reporter& reporter, const Images& images);

}  // namespace quillmark::host
