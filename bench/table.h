// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// Markdown tables on standard output: the groups of rows, and the numbers in their cells.
namespace quillmark::bench {

void PrintHeader(const std::string& title, const std::vector<std::string>& columns);
void PrintRow(const std::vector<std::string>& cells);

/// "1.84 s", "12.3 ms", "4.56 µs", "120 ns".
[[nodiscard]] std::string Duration(double seconds);
/// Million bytes a second.
[[nodiscard]] std::string Rate(double bytes, double seconds);
[[nodiscard]] std::string Number(double value);

/// "at most 1.3: met", or "… MISSED".
[[nodiscard]] std::string AtMost(double bound, double value);
[[nodiscard]] std::string AtLeast(double bound, double value);

// The groups, each with its own columns. `quick` leaves out images above 4 MiB.
void RunDownloads(bool quick);
void RunUploads(bool quick);
void RunChecks(bool quick);
void RunCalls(bool quick);
void RunWorkers(bool quick);
void RunSegmentation(bool quick);
void RunMemory(bool quick);
void RunFlashes(bool quick);

}  // namespace quillmark::bench
