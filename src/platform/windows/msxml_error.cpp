// SPDX-License-Identifier: MIT
#include "platform/windows/msxml_error.h"

#include <oaidl.h>

#include "base/com/error_info.h"
#include "base/com/status.h"

namespace quillmark::windows {

void RequireDone(HRESULT status, IUnknown& object) {
  if (SUCCEEDED(status)) {
    return;
  }
  // Only an object that declares it leaves a text; any other text is from an earlier call.
  if (com::Share(&object).As<ISupportErrorInfo>()) {
    throw Error(com::ReportedError(status));
  }
  com::Require(status);
}

}  // namespace quillmark::windows
