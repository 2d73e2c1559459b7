// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bench/inputs.h"

/// Run documents as a host hands them back: every `r` of a request document with a `d`.
namespace quillmark::bench {

using Message = std::vector<std::uint8_t>;

/// Fills `request` with an ECU's replies: acknowledgements and flow controls repeat what is
/// expected, all other frames are those of `replies` in turn. When the replies are used up, it
/// fills in what is expected.
[[nodiscard]] std::string Fill(const Form& form, std::string_view request,
                               const std::vector<Message>& replies);

/// The upload of `size` bytes from address 0 on as one run document, its requests 48 bytes each.
[[nodiscard]] std::string RunUploadDocument(const Form& form, std::uint32_t size);

/// The download of `image` as one run document.
[[nodiscard]] std::string RunDownloadDocument(const Form& form, Span image);

}  // namespace quillmark::bench
