// SPDX-License-Identifier: MIT
#include "host/windows/script_host/event_sink.h"

#include <utility>
#include <vector>

#include "base/com/status.h"
#include "base/com/text.h"
#include "base/com/variant.h"

namespace quillmark::script_host {
namespace {

constexpr std::int32_t kNoEvents = 438;

[[noreturn]] void RaiseNoEvents() { throw Error(kNoEvents, "The object has no events"); }

com::ComPtr<ITypeInfo> DefaultSource(ITypeInfo& coclass) {
  constexpr int kDefaultSource = IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE;
  TYPEATTR* attributes = nullptr;
  com::Require(coclass.GetTypeAttr(&attributes));
  const UINT count = attributes->cImplTypes;
  coclass.ReleaseTypeAttr(attributes);
  for (UINT index = 0; index < count; ++index) {
    int flags = 0;
    com::Require(coclass.GetImplTypeFlags(index, &flags));
    if ((flags & kDefaultSource) == kDefaultSource) {
      HREFTYPE reference = 0;
      com::Require(coclass.GetRefTypeOfImplType(index, &reference));
      com::ComPtr<ITypeInfo> source;
      com::Require(coclass.GetRefTypeInfo(reference, source.Put()));
      return source;
    }
  }
  RaiseNoEvents();
}

std::map<DISPID, std::wstring> NamesOf(ITypeInfo& source) {
  TYPEATTR* attributes = nullptr;
  com::Require(source.GetTypeAttr(&attributes));
  const UINT count = attributes->cFuncs;
  source.ReleaseTypeAttr(attributes);
  std::map<DISPID, std::wstring> names;
  for (UINT index = 0; index < count; ++index) {
    FUNCDESC* function = nullptr;
    com::Require(source.GetFuncDesc(index, &function));
    const DISPID id = function->memid;
    source.ReleaseFuncDesc(function);
    com::Bstr name;
    UINT found = 0;
    com::Require(source.GetNames(id, name.Put(), 1, &found));
    names.emplace(id, name.view());
  }
  return names;
}

/// The arguments of an event as the procedure of a script accepts them.
class ScriptArguments {
 public:
  explicit ScriptArguments(const DISPPARAMS& parameters)
      : source_(parameters), passed_(parameters.cArgs), booleans_(parameters.cArgs) {
    for (UINT index = 0; index < parameters.cArgs; ++index) {
      passed_[index] = IsBooleanReference(index) ? ReferenceOn(index) : parameters.rgvarg[index];
    }
  }

  [[nodiscard]] DISPPARAMS Parameters() {
    return {passed_.data(), nullptr, static_cast<UINT>(passed_.size()), 0};
  }

  /// Stores what the procedure left in the by-reference Booleans. Raises 13 for anything else.
  void CopyBack() {
    for (UINT index = 0; index < source_.cArgs; ++index) {
      if (IsBooleanReference(index)) {
        const auto boolean = com::ConvertedTo(VT_BOOL, booleans_[index].get());
        *V_BOOLREF(&source_.rgvarg[index]) = V_BOOL(&boolean.get());
      }
    }
  }

 private:
  [[nodiscard]] bool IsBooleanReference(UINT index) const {
    return V_VT(&source_.rgvarg[index]) == (VT_BYREF | VT_BOOL);
  }

  [[nodiscard]] VARIANT ReferenceOn(UINT index) {
    booleans_[index] = com::Variant::OfBoolean(*V_BOOLREF(&source_.rgvarg[index]) != VARIANT_FALSE);
    VARIANT reference;
    VariantInit(&reference);
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = booleans_[index].InOut();
    return reference;
  }

  const DISPPARAMS& source_;
  std::vector<VARIANT> passed_;  ///< Shallow copies; nothing here is freed.
  std::vector<com::Variant> booleans_;
};

}  // namespace

EventInterface EventsOf(IUnknown& object) {
  const auto info = com::Share(&object).As<IProvideClassInfo2>();
  EventInterface events = {};
  if (!info || FAILED(info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events.id))) {
    RaiseNoEvents();
  }
  com::ComPtr<ITypeInfo> coclass;
  com::Require(info->GetClassInfo(coclass.Put()));
  events.names = NamesOf(*DefaultSource(*coclass));
  return events;
}

EventSink::EventSink(com::ComPtr<IDispatch> script, std::wstring prefix, EventInterface events)
    : script_(std::move(script)), prefix_(std::move(prefix)), events_(std::move(events)) {}

void* EventSink::Find(REFIID iid) {
  return iid == events_.id ? static_cast<IDispatch*>(this) : InvokeOnly::Find(iid);
}

HRESULT EventSink::Invoke(DISPID id, REFIID /*reserved*/, LCID locale, WORD /*kind*/,
                          DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                          UINT* bad_argument) {
  const auto name = events_.names.find(id);
  if (name == events_.names.end() || parameters == nullptr) {
    return DISP_E_MEMBERNOTFOUND;
  }
  try {
    std::wstring procedure = prefix_ + name->second;
    LPOLESTR names = procedure.data();
    DISPID member = DISPID_UNKNOWN;
    if (FAILED(script_->GetIDsOfNames(IID_NULL, &names, 1, locale, &member))) {
      return S_OK;
    }
    ScriptArguments arguments(*parameters);
    DISPPARAMS passed = arguments.Parameters();
    const HRESULT status = script_->Invoke(member, IID_NULL, locale, DISPATCH_METHOD, &passed,
                                           result, exception, bad_argument);
    arguments.CopyBack();
    return status;
  } catch (...) {
    return com::StatusOf(com::CurrentError().Number());
  }
}

Connection::Connection(const com::ComPtr<IDispatch>& object, const com::ComPtr<IDispatch>& script,
                       const std::wstring& prefix)
    : identity_(object.As<IUnknown>()) {
  EventInterface events = EventsOf(*object);
  const auto container = object.As<IConnectionPointContainer>();
  if (!container) {
    RaiseNoEvents();
  }
  com::Require(container->FindConnectionPoint(events.id, point_.Put()));
  const auto sink = com::ComPtr<IUnknown>::Adopt(new EventSink(script, prefix, std::move(events)));
  com::Require(point_->Advise(sink.get(), &cookie_));
}

Connection::~Connection() { point_->Unadvise(cookie_); }

bool Connection::IsOf(const com::ComPtr<IDispatch>& object) const {
  return object.As<IUnknown>().get() == identity_.get();
}

}  // namespace quillmark::script_host
