// SPDX-License-Identifier: MIT
#pragma once

namespace quillmark::host {

/// Makes SIGINT and SIGTERM raise a flag, once: a second signal ends the process at once. For
/// commands that look at the flag, which others would miss.
void CatchInterrupts();

/// Whether one of them has come.
[[nodiscard]] bool Interrupted();

/// Makes writing to a pipe that nobody reads an error instead of the end of the process, which
/// would leave an ECU half written.
void IgnoreBrokenPipes();

}  // namespace quillmark::host
