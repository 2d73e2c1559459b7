// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quillmark/host/files.h"

namespace quillmark::host {

/// A file or folder that a command reads or writes, by the option that names it.
struct NamedPath {
  std::string option;
  std::string path;  ///< empty if the option was not given
};

enum class OutputKind : std::uint8_t {
  kFile,
  kAddedTo,    ///< a file that keeps what it has
  kMadeAgain,  ///< a file that is replaced without a question, since it can be made again
  kBackup,     ///< a file that replaces nothing, whatever was asked for
  kFolder,     ///< for what one command leaves and nothing else
};

struct Output {
  NamedPath name;
  OutputKind kind = OutputKind::kFile;
};

/// What becomes of files that a command finds where it is to write, with and without --force.
[[nodiscard]] Existing ExistingWith(bool force);

/// Raises ToolError (cannot create) for an output that would cost data: one that is the same file
/// as an input or as another output, whatever it is called; one that is a symbolic link; one that
/// exists and is to be kept, as a backup always is; a file in the folder of another output. So it
/// does for the standard output, which has other text. Other devices and pipes are left out. What a
/// folder may hold is for its owner to check.
void CheckOutputs(const std::vector<NamedPath>& inputs, const std::vector<Output>& outputs,
                  Existing existing);

}  // namespace quillmark::host
