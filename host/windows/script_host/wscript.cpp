// SPDX-License-Identifier: MIT
#include "host/windows/script_host/wscript.h"

#include <array>
#include <cstdio>
#include <iostream>
#include <limits>
#include <utility>
#include <vector>

#include "base/checked.h"
#include "base/com/apartment.h"
#include "base/com/dispatch.h"
#include "base/com/status.h"
#include "base/com/text.h"
#include "base/com/variant.h"
#include "quillmark/error.h"

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

constexpr std::size_t kAnyNumber = std::numeric_limits<std::int32_t>::max();

enum : DISPID {
  kEcho = 1,
  kSleep,
  kQuit,
  kCreateObject,
  kConnectObject,
  kDisconnectObject,
  kArguments,
  kScriptFullName,
};

constexpr std::array<com::Member, 8> kMembers = {
    {{.name = L"Echo", .id = kEcho, .optional_arguments = kAnyNumber},
     {.name = L"Sleep", .id = kSleep, .arguments = 1},
     {.name = L"Quit", .id = kQuit, .optional_arguments = 1},
     {.name = L"CreateObject", .id = kCreateObject, .arguments = 1, .optional_arguments = 1},
     {.name = L"ConnectObject", .id = kConnectObject, .arguments = 2},
     {.name = L"DisconnectObject", .id = kDisconnectObject, .arguments = 1},
     {.name = L"Arguments", .id = kArguments, .optional_arguments = 1},
     {.name = L"ScriptFullName", .id = kScriptFullName}}};

/// The arguments of the command line.
class ArgumentList final : public com::Scriptable {
 public:
  explicit ArgumentList(std::vector<std::wstring> values) : values_(std::move(values)) {}

 private:
  enum : DISPID { kItem = DISPID_VALUE, kCount = 1, kLength };
  static constexpr std::array<com::Member, 3> kListMembers = {
      {{L"Item", kItem, 1}, {L"Count", kCount}, {L"Length", kLength}}};

  [[nodiscard]] std::span<const com::Member> Members() const override { return kListMembers; }
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override {
    if (id != kItem) {
      return com::Variant::OfLong(checked::Convert<std::int32_t>(values_.size()));
    }
    const std::int32_t index = arguments.Long(0);
    if (!std::in_range<std::size_t>(index) || static_cast<std::size_t>(index) >= values_.size()) {
      throw Error(error_number::kSubscriptOutOfRange);
    }
    return com::Variant::OfText(
        com::Bstr(std::wstring_view(values_[static_cast<std::size_t>(index)])));
  }

  std::vector<std::wstring> values_;
};

void Echo(const com::Arguments& arguments) {
  for (std::size_t index = 0; index < arguments.Count(); ++index) {
    std::cout << (index == 0 ? "" : " ") << arguments.Text(index).utf8();
  }
  std::cout << '\n' << std::flush;
}

// Code that waits for a worker or an event must not continue: the process ends here, without
// destroying its objects.
[[noreturn]] void Quit(const com::Arguments& arguments) {
  const std::int32_t code = arguments.Count() == 0 ? 0 : arguments.Long(0);
  std::cout << std::flush;
  std::fflush(nullptr);
  ExitProcess(static_cast<UINT>(code));
}

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

WScript::WScript(std::wstring script_file, std::vector<std::wstring> arguments)
    : script_file_(std::move(script_file)),
      arguments_(com::ComPtr<IDispatch>::Adopt(new ArgumentList(std::move(arguments)))) {}

void WScript::Disconnect() {
  connections_.clear();
  script_ = {};
}

std::span<const com::Member> WScript::Members() const { return kMembers; }

com::Variant WScript::Get(DISPID id, const com::Arguments& arguments) {
  switch (id) {
    case kEcho:
      Echo(arguments);
      return {};
    case kSleep:
      com::PumpFor(std::chrono::milliseconds(arguments.Long(0)));
      return {};
    case kQuit:
      Quit(arguments);
    case kCreateObject:
      return CreateObject(arguments);
    case kConnectObject:
      Connect(arguments.Object(0), arguments.Text(1).view());
      return {};
    case kDisconnectObject: {
      const auto object = arguments.Object(0);
      connections_.remove_if([&](const Connection& held) { return held.IsOf(object); });
      return {};
    }
    case kArguments:
      return ArgumentOf(arguments);
    default:
      return com::Variant::OfText(com::Bstr(std::wstring_view(script_file_)));
  }
}

com::Variant WScript::ArgumentOf(const com::Arguments& arguments) {
  if (arguments.Count() == 0) {
    return com::Variant::OfObject(arguments_);
  }
  // Basic writes `Arguments(0)` for the item of the list.
  const com::Variant index = com::Variant::OfLong(arguments.Long(0));
  return com::Call(*arguments_, DISPID_VALUE, {&index.get()});
}

com::Variant WScript::CreateObject(const com::Arguments& arguments) {
  const com::Bstr prog_id = arguments.Text(0);
  CLSID id = {};
  if (FAILED(CLSIDFromProgID(prog_id.get(), &id))) {
    throw Error(error_number::kCannotCreateObject,
                "ActiveX component can't create object: " + prog_id.utf8());
  }
  com::ComPtr<IDispatch> object;
  const HRESULT status =
      CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid());
  if (FAILED(status)) {
    throw com::ReportedError(status);
  }
  if (arguments.Count() > 1) {
    Connect(object, arguments.Text(1).view());
  }
  return com::Variant::OfObject(std::move(object));
}

void WScript::Connect(const com::ComPtr<IDispatch>& object, std::wstring_view prefix) {
  connections_.emplace_back(object, script_, std::wstring(prefix));
}

}  // namespace quillmark::script_host
