// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string_view>

namespace quillmark::host {

/// The sources of the page, the files in the folder page. The template has placeholders `@NAME@`.
extern const std::string_view kPageTemplate;
extern const std::string_view kPageStyle;
extern const std::array<std::string_view, 8> kPageScripts;
/// Of the style, and of the scripts one after the other, in hexadecimal digits.
extern const std::string_view kPageStyleSha256;
extern const std::string_view kPageScriptSha256;

}  // namespace quillmark::host
