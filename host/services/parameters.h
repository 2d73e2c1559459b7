// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "quillmark/host/bytes.h"

namespace quillmark::host {

/// Set in the first byte of a positive response.
inline constexpr std::uint8_t kResponseBit = 0x40;
/// Bytes before the data of a block: service identifier, four of address, one of length.
inline constexpr std::size_t kBlockHeader = 6;

/// The parameters of a message, complete or cut off, after its service identifier. Each handles the
/// request and the positive response of its service.
[[nodiscard]] std::string SessionParameters(ByteView message);
[[nodiscard]] std::string KeyByteParameters(ByteView message);
[[nodiscard]] std::string RecordParameters(ByteView message);
[[nodiscard]] std::string SecurityParameters(ByteView message);
[[nodiscard]] std::string RoutineParameters(ByteView message);
[[nodiscard]] std::string DownloadParameters(ByteView message);
[[nodiscard]] std::string UploadParameters(ByteView message);

/// Whether a download request is for the log zone, which is not memory.
[[nodiscard]] bool IsForLogZone(ByteView download);

}  // namespace quillmark::host
