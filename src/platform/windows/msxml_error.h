// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"

namespace quillmark::windows {

/// Raises a failure of `object`, with the text that the object left for it, if any. Must be called
/// right after the failed call, on its thread.
void RequireDone(HRESULT status, IUnknown& object);

template <typename Interface>
void RequireDone(HRESULT status, const com::ComPtr<Interface>& object) {
  RequireDone(status, *object);
}

}  // namespace quillmark::windows
