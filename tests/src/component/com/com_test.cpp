// SPDX-License-Identifier: MIT
#include "tests/src/component/com/com_test.h"

#include <chrono>

#include "base/com/apartment.h"
#include "base/com/dispatch.h"
#include "base/com/status.h"

namespace quillmark::testing {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);
constexpr auto kPause = std::chrono::milliseconds(2);

}  // namespace

ComponentModule::ComponentModule() : module_(LoadLibraryW(L"quillmark.dll")) {
  EXPECT_NE(module_, nullptr);
}

bool ComponentModule::CanUnloadSoon() const {
  return PumpUntil([&] { return CanUnload(); });
}

ObjectPtr NewObject(const wchar_t* prog_id) {
  CLSID id = {};
  ObjectPtr object;
  com::Require(CLSIDFromProgID(prog_id, &id));
  RequireCall(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid()));
  return object;
}

DiagPtr NewDiag() { return NewObject(L"Quillmark.DiagOnCANReprog").As<IDiagOnCANReprog>(); }

ObjectPtr NewByteString(std::string_view hex) {
  ObjectPtr bytes = NewObject(L"Vantrel.ByteString");
  const com::Variant text = com::Variant::OfText(com::Bstr(hex));
  com::SetProperty(*bytes, com::MemberOf(*bytes, L"Hex"), {&text.get()});
  return bytes;
}

ObjectPtr NewDocument(std::wstring_view xml) {
  ObjectPtr document = NewObject(L"Msxml2.DOMDocument");
  std::vector<com::Variant> arguments;
  const com::Variant loaded =
      CallByName(*document, L"loadXML", {com::Variant::OfText(com::Bstr(xml))});
  EXPECT_EQ(V_BOOL(&loaded.get()), VARIANT_TRUE);
  return document;
}

com::Variant CallByName(IDispatch& object, std::wstring_view name,
                        std::initializer_list<com::Variant> arguments) {
  std::vector<VARIANT> reversed;
  for (const com::Variant& argument : arguments) {
    reversed.insert(reversed.begin(), argument.get());
  }
  DISPPARAMS parameters = {reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  com::Variant result;
  EXCEPINFO exception = {};
  const HRESULT status = object.Invoke(com::MemberOf(object, name), IID_NULL, LOCALE_USER_DEFAULT,
                                       DISPATCH_METHOD | DISPATCH_PROPERTYGET, &parameters,
                                       result.Put(), &exception, nullptr);
  if (FAILED(status)) {
    throw com::ErrorOf(status, exception);
  }
  return result;
}

std::string TextMember(IDispatch& object, std::wstring_view name) {
  const com::Variant text = CallByName(object, name);
  return com::Utf8Of(com::View(V_BSTR(&text.get())));
}

void RequireCall(HRESULT status) {
  if (FAILED(status)) {
    throw com::ReportedError(status);
  }
}

Error ErrorFrom(const std::function<void()>& function) {
  try {
    function();
  } catch (const Error& error) {
    return error;
  }
  ADD_FAILURE() << "no error was raised";
  return Error(0);
}

std::string ErrorText(const std::function<void()>& function) {
  const Error error = ErrorFrom(function);
  return std::to_string(error.Number()) + " " + error.Description();
}

void ComTest::TearDown() { EXPECT_TRUE(module_.CanUnloadSoon()); }

bool PumpUntil(const std::function<bool()>& done) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!done() && std::chrono::steady_clock::now() < end) {
    com::PumpFor(kPause);
  }
  return done();
}

HRESULT EventSink::Invoke(DISPID member, REFIID /*reserved*/, LCID /*locale*/, WORD /*kind*/,
                          DISPPARAMS* parameters, VARIANT* /*result*/, EXCEPINFO* exception,
                          UINT* /*bad_argument*/) {
  if (member != 1) {
    return DISP_E_MEMBERNOTFOUND;
  }
  EXPECT_EQ(parameters->cArgs, 2U);
  VARIANT& node = parameters->rgvarg[1];
  VARIANT& cancel = parameters->rgvarg[0];
  EXPECT_EQ(V_VT(&node), VT_DISPATCH);
  EXPECT_EQ(V_VT(&cancel), VT_BYREF | VT_BOOL);
  try {
    handler_(V_DISPATCH(&node), *V_BOOLREF(&cancel));
  } catch (const Error& error) {
    *exception = {};
    exception->scode = com::StatusOf(error.Number());
    return DISP_E_EXCEPTION;
  }
  return S_OK;
}

com::ComPtr<IConnectionPoint> EventsOf(const DiagPtr& diag) {
  com::ComPtr<IConnectionPoint> point;
  com::Require(diag.As<IConnectionPointContainer>()->FindConnectionPoint(
      __uuidof(_IDiagOnCANReprogEvents), point.Put()));
  return point;
}

DWORD Connect(const DiagPtr& diag, EventSink::Handler handler) {
  const auto sink = com::ComPtr<IDispatch>::Adopt(new EventSink(std::move(handler)));
  DWORD cookie = 0;
  com::Require(EventsOf(diag)->Advise(sink.get(), &cookie));
  return cookie;
}

void Disconnect(const DiagPtr& diag, DWORD cookie) {
  com::Require(EventsOf(diag)->Unadvise(cookie));
}

}  // namespace quillmark::testing
