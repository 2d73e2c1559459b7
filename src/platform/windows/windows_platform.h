#pragma once

#include <memory>

#include "quillmark/platform.h"

namespace quillmark {

/// The platform of a Windows host: documents on MSXML, the objects of the host's diagnostic library
/// by the ProgIDs `Vantrel.…`, and threads by the host's threading library or, where none is
/// registered, of its own.
[[nodiscard]] std::shared_ptr<Platform> CreateWindowsPlatform();

}  // namespace quillmark
