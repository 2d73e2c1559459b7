// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>

#include "host/trace/trace.h"

namespace quillmark::host {

/// A file that is not a trace, or a line of one that is not an entry.
class DamagedTrace : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The most bytes of a trace that are read. A flash of 16 MiB, verified, leaves a candump log of
/// half of it.
inline constexpr std::uint64_t kLargestTrace = 0x40000000;

/// Reads a trace in one of the formats that TraceWriter writes; the content tells which. Times
/// count from the first entry.
///
/// A CAN log distinguishes nodes only by identifiers. If `exchange` is given, its identifiers
/// belong to the trace, and all others are left out. Without it the first frame is taken for the
/// tester's and the first with another identifier for the ECU's. Remote, error and CAN FD frames
/// are left out.
///
/// A damaged line, such as the last one of a file that was cut off, ends the trace, and so does
/// what follows `most` bytes: its `damage` says so. Raises DamagedTrace if nothing looks like a
/// trace.
[[nodiscard]] Trace ReadTrace(std::istream& in, const std::optional<Exchange>& exchange = {},
                              std::uint64_t most = kLargestTrace);

}  // namespace quillmark::host
