// SPDX-License-Identifier: MIT
#pragma once

/// The groups of the table, each with its own columns. `quick` leaves out images above 4 MiB.
namespace quillmark::bench {

void RunDownloads(bool quick);
void RunUploads(bool quick);
void RunChecks(bool quick);
void RunCalls(bool quick);
void RunWorkers(bool quick);
void RunSegmentation(bool quick);
void RunMemory(bool quick);
void RunFlashes(bool quick);

}  // namespace quillmark::bench
