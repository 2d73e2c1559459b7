// SPDX-License-Identifier: MIT
#pragma once

#include "base/hex.h"

namespace quillmark {

/// Raises the error of a negative response (7F, service identifier, response code); returns for
/// every other reply. Raises 2000 "No reply" for an empty reply, 2041 for a negative response that
/// is cut short, 2032 to 2044 by the response code.
void CheckNegativeReply(ByteView reply);

}  // namespace quillmark
