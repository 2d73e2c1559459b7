// SPDX-License-Identifier: MIT
#include "base/com/dispatch.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/com/status.h"
#include "quillmark/error.h"

namespace quillmark::com {
namespace {

// `Invoke` takes the last argument first. The copies are shallow: they are neither changed nor
// freed.
std::vector<VARIANT> Reversed(std::initializer_list<const VARIANT*> arguments) {
  std::vector<VARIANT> reversed(arguments.size());
  std::transform(arguments.begin(), arguments.end(), reversed.rbegin(),
                 [](const VARIANT* argument) { return *argument; });
  return reversed;
}

void Invoke(IDispatch& object, DISPID member, WORD kind, DISPPARAMS& parameters, VARIANT* result) {
  EXCEPINFO exception = {};
  const HRESULT status = object.Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                       result, &exception, nullptr);
  if (FAILED(status)) {
    throw ErrorOf(status, exception);
  }
}

}  // namespace

DISPID MemberOf(IDispatch& object, std::wstring_view name) {
  std::wstring text(name);
  LPOLESTR names = text.data();
  DISPID member = DISPID_UNKNOWN;
  const HRESULT status = object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &member);
  if (status == DISP_E_UNKNOWNNAME) {
    throw Error(error_number::kUnknownMember,
                "Object doesn't support this property or method: " + Utf8Of(name));
  }
  Require(status);
  return member;
}

Variant Call(IDispatch& object, DISPID member, std::initializer_list<const VARIANT*> arguments) {
  std::vector<VARIANT> values = Reversed(arguments);
  DISPPARAMS parameters = {values.data(), nullptr, static_cast<UINT>(values.size()), 0};
  Variant result;
  Invoke(object, member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, parameters, result.Put());
  return result;
}

void SetProperty(IDispatch& object, DISPID member,
                 std::initializer_list<const VARIANT*> arguments) {
  std::vector<VARIANT> values = Reversed(arguments);
  DISPID value = DISPID_PROPERTYPUT;
  DISPPARAMS parameters = {values.data(), &value, static_cast<UINT>(values.size()), 1};
  Invoke(object, member, DISPATCH_PROPERTYPUT, parameters, nullptr);
}

}  // namespace quillmark::com
