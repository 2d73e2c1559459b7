#include "platform/windows/msxml_error.h"

#include <oaidl.h>

#include "base/com/status.h"
#include "base/com/text.h"
#include "quillmark/error.h"

namespace quillmark::windows {
namespace {

/// The text of the error that the last call on this thread left.
com::Bstr TakeErrorText() {
  com::Bstr text;
  com::ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.Put()) == S_OK && info) {
    info->GetDescription(text.Put());
  }
  return text;
}

}  // namespace

void RequireDone(HRESULT status, IUnknown& object) {
  if (SUCCEEDED(status)) {
    return;
  }
  // Only an object that says so leaves a text; what is found otherwise is of an earlier call.
  const bool leaves_text = static_cast<bool>(com::Share(&object).As<ISupportErrorInfo>());
  const com::Bstr text = leaves_text ? TakeErrorText() : com::Bstr();
  if (text.view().empty()) {
    throw Error(com::NumberOf(status));
  }
  throw Error(com::NumberOf(status), text.utf8());
}

}  // namespace quillmark::windows
