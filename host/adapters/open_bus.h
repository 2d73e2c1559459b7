// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "host/bus/bus.h"
#include "host/bus/bus_uri.h"

namespace quillmark::host {

/// Opens the adapter that a URI names. Raises BusError if it cannot be opened, and
/// std::invalid_argument for `sim:`, which has none.
[[nodiscard]] std::unique_ptr<Bus> OpenBus(const BusUri& uri);

}  // namespace quillmark::host
