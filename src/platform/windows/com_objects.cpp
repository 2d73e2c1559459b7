// SPDX-License-Identifier: MIT
#include "platform/windows/com_objects.h"

#include <string>

#include "base/com/status.h"
#include "base/com/text.h"
#include "quillmark/error.h"

namespace quillmark::windows {
namespace {

bool IsNotRegistered(HRESULT status) {
  return status == CO_E_CLASSSTRING || status == REGDB_E_CLASSNOTREG;
}

void RequireCreated(HRESULT status, const wchar_t* prog_id) {
  if (FAILED(status)) {
    throw Error(IsNotRegistered(status) ? error_number::kCannotCreateObject : com::NumberOf(status),
                "ActiveX component can't create object: " + com::Utf8Of(prog_id));
  }
}

}  // namespace

com::ComPtr<IUnknown> CreateObject(const wchar_t* prog_id, REFIID iid, CLSID& class_id) {
  RequireCreated(CLSIDFromProgID(prog_id, &class_id), prog_id);
  com::ComPtr<IUnknown> object;
  RequireCreated(CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                  iid, object.PutVoid()),
                 prog_id);
  return object;
}

}  // namespace quillmark::windows
