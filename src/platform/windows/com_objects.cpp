// SPDX-License-Identifier: MIT
#include "platform/windows/com_objects.h"

#include "quillmark/error.h"

namespace quillmark::windows {

com::ComPtr<IDispatch> DispatchOf(const ComBacked* backed, bool is_nothing) {
  if (is_nothing) {
    return {};
  }
  if (backed == nullptr) {
    throw Error(error_number::kTypeMismatch, "The object is of another platform");
  }
  return com::Share(&backed->Dispatch());
}

}  // namespace quillmark::windows
