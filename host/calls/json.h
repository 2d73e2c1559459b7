// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>

namespace quillmark::host {

/// Keeps the keys of an object in the order in which they were set.
using Json = nlohmann::ordered_json;

}  // namespace quillmark::host
