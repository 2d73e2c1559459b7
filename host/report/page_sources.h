// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string_view>

namespace quillmark::host {

/// The sources of the page, as they stand in the folder page. The template has places `@NAME@`.
extern const std::string_view kPageTemplate;
extern const std::string_view kPageStyle;
extern const std::array<std::string_view, 8> kPageScripts;

}  // namespace quillmark::host
