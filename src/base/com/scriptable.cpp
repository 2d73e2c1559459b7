// SPDX-License-Identifier: MIT
#include "base/com/scriptable.h"

#include <algorithm>

#include "base/com/status.h"

namespace quillmark::com {
namespace {

bool SameName(std::wstring_view a, std::wstring_view b) {
  return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                              static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

bool HasOtherNamesThanOfValue(const DISPPARAMS& parameters, bool sets) {
  if (parameters.cNamedArgs == 0) {
    return false;
  }
  return !sets || parameters.cNamedArgs > 1 ||
         parameters.rgdispidNamedArgs[0] != DISPID_PROPERTYPUT;
}

void Describe(const Error& error, EXCEPINFO& exception) {
  exception = {};
  exception.scode = StatusOf(error.Number());
  exception.bstrDescription = Bstr(error.Description()).Detach();
}

}  // namespace

HRESULT Scriptable::GetIDsOfNames(REFIID /*reserved*/, LPOLESTR* names, UINT count, LCID /*locale*/,
                                  DISPID* ids) {
  if (const HRESULT status = CheckNames(names, count, ids); FAILED(status)) {
    return status;
  }
  // Only the first is the member; parameters have no names here.
  std::fill_n(ids, count, DISPID_UNKNOWN);
  const auto members = Members();
  const auto member = std::find_if(members.begin(), members.end(), [&](const Member& candidate) {
    return SameName(candidate.name, names[0]);
  });
  if (member == members.end()) {
    return DISP_E_UNKNOWNNAME;
  }
  ids[0] = member->id;
  return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT Scriptable::Invoke(DISPID id, REFIID /*reserved*/, LCID /*locale*/, WORD kind,
                           DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                           UINT* /*bad_argument*/) {
  if (const HRESULT status = CheckParameters(parameters); FAILED(status)) {
    return status;
  }
  const auto members = Members();
  const auto member = std::find_if(members.begin(), members.end(),
                                   [&](const Member& candidate) { return candidate.id == id; });
  if (member == members.end()) {
    return DISP_E_MEMBERNOTFOUND;
  }
  try {
    return Run(*member, kind, *parameters, result);
  } catch (...) {
    const Error error = CurrentError();
    if (exception == nullptr) {
      return StatusOf(error.Number());
    }
    try {
      Describe(error, *exception);
    } catch (const Error&) {
      return E_OUTOFMEMORY;
    }
    return DISP_E_EXCEPTION;
  }
}

void Scriptable::Set(DISPID /*id*/, const Arguments& /*arguments*/) {}

HRESULT Scriptable::Run(const Member& member, WORD kind, const DISPPARAMS& parameters,
                        VARIANT* result) {
  const bool sets = (kind & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
  if (sets && !member.settable) {
    return DISP_E_MEMBERNOTFOUND;
  }
  if (HasOtherNamesThanOfValue(parameters, sets)) {
    return DISP_E_NONAMEDARGS;
  }
  const std::size_t required = member.arguments + (sets ? 1 : 0);
  if (parameters.cArgs < required || parameters.cArgs > required + member.optional_arguments) {
    return DISP_E_BADPARAMCOUNT;
  }
  if (sets) {
    Set(member.id, Arguments(parameters));
    return S_OK;
  }
  Variant value = Get(member.id, Arguments(parameters));
  if (result != nullptr) {
    *result = value.Detach();
  }
  return S_OK;
}

}  // namespace quillmark::com
