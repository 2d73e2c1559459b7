#pragma once

#include <string>

#include "host/bus/bytes.h"

namespace quillmark::host {

/// The parameters of a message that stands complete or cut off behind its service identifier. Each
/// handles the request and the positive response of its service.
[[nodiscard]] std::string SessionParameters(ByteView message);
[[nodiscard]] std::string KeyByteParameters(ByteView message);
[[nodiscard]] std::string RecordParameters(ByteView message);
[[nodiscard]] std::string SecurityParameters(ByteView message);
[[nodiscard]] std::string RoutineParameters(ByteView message);
[[nodiscard]] std::string DownloadParameters(ByteView message);
[[nodiscard]] std::string UploadParameters(ByteView message);

/// Whether a download request is for the log zone, which is no memory.
[[nodiscard]] bool IsForLogZone(ByteView download);

}  // namespace quillmark::host
