// SPDX-License-Identifier: MIT
#include "base/com/dispatch.h"

#include <array>

#include "base/com/registration.h"
#include "base/com/status.h"
#include "base/com/unknown.h"
#include "tests/src/component/com/com_test.h"

namespace quillmark::testing {
namespace {

/// The members in the order of their slots.
constexpr std::array<const wchar_t*, 24> kMembers = {
    L"CANIDs",          L"StartDiag",         L"gethisto",        L"readseed",
    L"getseed",         L"dounlock",          L"checkunlock",     L"starterase",
    L"checkstarterase", L"checkerase",        L"checkcheckerase", L"checkdownload",
    L"startroutine",    L"checkstartroutine", L"routinestatus",   L"checkroutine",
    L"writelogzone",    L"checkwritelogzone", L"checkupload",     L"stopcomm",
    L"ComputeDownload", L"ComputeUpload",     L"TesterPresent",   L"FlowControl"};

com::ComPtr<ITypeInfo> VtableOf(IDispatch& object) {
  com::ComPtr<ITypeInfo> dispatch;
  com::ComPtr<ITypeInfo> vtable;
  HREFTYPE reference = 0;
  com::Require(object.GetTypeInfo(0, 0, dispatch.Put()));
  com::Require(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference));
  com::Require(dispatch->GetRefTypeInfo(reference, vtable.Put()));
  return vtable;
}

com::Variant Text(std::wstring_view text) { return com::Variant::OfText(com::Bstr(text)); }

com::Variant Double(double value) {
  com::Variant variant;
  V_VT(variant.InOut()) = VT_R8;
  V_R8(variant.InOut()) = value;
  return variant;
}

class DispatchTest : public ComTest {
 protected:
  void TearDown() override {
    diag_ = {};
    ComTest::TearDown();
  }

  com::Variant Call(std::wstring_view name, std::initializer_list<com::Variant> arguments = {}) {
    return CallByName(*diag_, name, arguments);
  }

  std::string Failure(std::wstring_view name, std::initializer_list<com::Variant> arguments = {}) {
    return ErrorText([&] { static_cast<void>(CallByName(*diag_, name, arguments)); });
  }

  void Configure() { RequireCall(diag_->CANIDs(1850, 1586)); }

  DiagPtr diag_ = NewDiag();
};

TEST_F(DispatchTest, TheVtableHasTheMembersInTheirOrderAndCase) {
  const auto vtable = VtableOf(*diag_);
  // Behind the three members of IUnknown and the four of IDispatch.
  constexpr int kInherited = 7;
  for (std::size_t index = 0; index < kMembers.size(); ++index) {
    FUNCDESC* function = nullptr;
    ASSERT_EQ(vtable->GetFuncDesc(static_cast<UINT>(index), &function), S_OK);
    com::Bstr name;
    vtable->GetDocumentation(function->memid, name.Put(), nullptr, nullptr, nullptr);
    EXPECT_EQ(name.view(), kMembers[index]);
    EXPECT_EQ(function->memid, static_cast<MEMBERID>(index) + 1);
    EXPECT_EQ(function->oVft, static_cast<SHORT>((kInherited + index) * sizeof(void*)));
    vtable->ReleaseFuncDesc(function);
  }
  FUNCDESC* none = nullptr;
  EXPECT_TRUE(FAILED(vtable->GetFuncDesc(static_cast<UINT>(kMembers.size()), &none)));
}

TEST_F(DispatchTest, NamesAreFoundWhateverTheirCase) {
  EXPECT_EQ(com::MemberOf(*diag_, L"CANIDs"), 1);
  EXPECT_EQ(com::MemberOf(*diag_, L"canids"), 1);
  EXPECT_EQ(com::MemberOf(*diag_, L"FlowControl"), 24);
  EXPECT_EQ(ErrorFrom([&] { static_cast<void>(com::MemberOf(*diag_, L"XMLReady")); }).Number(),
            438);
}

TEST_F(DispatchTest, StartDiagIsAPropertyThatCannotBeSet) {
  Configure();
  EXPECT_EQ(Call(L"StartDiag").type(), VT_DISPATCH);
  com::Variant value = com::Variant::OfLong(1);
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters = {value.InOut(), &put, 1, 1};
  EXPECT_TRUE(FAILED(
      diag_->Invoke(2, IID_NULL, 0, DISPATCH_PROPERTYPUT, &parameters, nullptr, nullptr, nullptr)));
}

TEST_F(DispatchTest, TheDocumentIsTheOneThatTheComponentBuilds) {
  Configure();
  const com::Variant document = Call(L"starterase", {com::Variant::OfByte(0x85)});
  const com::Variant data =
      CallByName(*V_DISPATCH(&document.get()), L"selectSingleNode", {Text(L"/can/x/s/d")});
  EXPECT_EQ(TextMember(*V_DISPATCH(&data.get()), L"text"), "05318185F05A0000");
}

TEST_F(DispatchTest, ArgumentsAreConvertedAsAScriptExpects) {
  Call(L"CANIDs", {Text(L"1850"), Double(1586)});
  EXPECT_EQ(Call(L"starterase", {com::Variant::OfLong(255)}).type(), VT_DISPATCH);
  EXPECT_EQ(Call(L"starterase", {Text(L"7")}).type(), VT_DISPATCH);
}

TEST_F(DispatchTest, AByteOutOfRangeOverflows) {
  Configure();
  for (const std::int32_t value : {-1, 256, 70000}) {
    EXPECT_EQ(Failure(L"starterase", {com::Variant::OfLong(value)}), "6 Overflow") << value;
  }
}

TEST_F(DispatchTest, ALongOutOfRangeOverflows) {
  EXPECT_EQ(Failure(L"CANIDs", {Double(2147483648.0), com::Variant::OfLong(0)}), "6 Overflow");
  EXPECT_EQ(Failure(L"CANIDs", {Text(L"-2147483649"), com::Variant::OfLong(0)}), "6 Overflow");
  EXPECT_EQ(Failure(L"CANIDs", {com::Variant::OfLong(0), com::Variant::OfLong(300)}), "6 Overflow");
}

TEST_F(DispatchTest, AnArgumentOfTheWrongKindMismatches) {
  Configure();
  EXPECT_EQ(Failure(L"starterase", {Text(L"seven")}), "13 Type mismatch");
  EXPECT_EQ(Failure(L"dounlock", {com::Variant::OfLong(1)}), "13 Type mismatch");
  EXPECT_EQ(Failure(L"checkunlock", {com::Variant::OfObject(NewByteString("01"))}),
            "13 Type mismatch");
}

TEST_F(DispatchTest, NothingWhereAnObjectIsNeededIsNotSet) {
  Configure();
  for (const wchar_t* member : {L"dounlock", L"checkunlock", L"checkdownload", L"writelogzone"}) {
    EXPECT_EQ(Failure(member, {com::Variant::OfObject({})}),
              "91 Object variable or With block variable not set");
  }
}

TEST_F(DispatchTest, ArgumentsMayBeNamed) {
  std::array<VARIANT, 2> values = {};
  V_VT(&values[0]) = VT_I4;
  V_I4(&values[0]) = 1586;
  V_VT(&values[1]) = VT_I4;
  V_I4(&values[1]) = 1850;
  std::array<DISPID, 2> names = {1, 0};
  DISPPARAMS parameters = {values.data(), names.data(), 2, 2};
  ASSERT_EQ(diag_->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
            S_OK);
  const com::Variant document = Call(L"TesterPresent");
  const com::Variant exchange =
      CallByName(*V_DISPATCH(&document.get()), L"selectSingleNode", {Text(L"/can/x/i")});
  EXPECT_EQ(TextMember(*V_DISPATCH(&exchange.get()), L"text"), "1586");
}

TEST_F(DispatchTest, ACallWithTheWrongNumberOfArgumentsFails) {
  DISPPARAMS none = {};
  EXPECT_TRUE(
      FAILED(diag_->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr)));
  EXPECT_EQ(diag_->Invoke(99, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
            DISP_E_MEMBERNOTFOUND);
}

/// A variable that refers to itself.
struct Circle {
  Circle() {
    V_VT(&variable) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&variable) = &variable;
  }
  VARIANT variable = {};
};

VARIANT ReferenceToNothing(VARTYPE type) {
  VARIANT reference = {};
  V_VT(&reference) = static_cast<VARTYPE>(VT_BYREF | type);
  return reference;
}

/// The objects whose dispatch interfaces are written here: the component's by its type library, a
/// host's library by a table of names.
class CallsThatMissSomething : public DispatchTest {
 protected:
  void TearDown() override {
    string_ = {};
    DispatchTest::TearDown();
  }

  std::array<IDispatch*, 2> Objects() const { return {diag_.get(), string_.get()}; }

  static HRESULT Invoke(IDispatch& object, DISPPARAMS parameters, WORD kind = DISPATCH_METHOD) {
    EXCEPINFO exception = {};
    const HRESULT status =
        object.Invoke(1, IID_NULL, 0, kind, &parameters, nullptr, &exception, nullptr);
    SysFreeString(exception.bstrDescription);
    return status == DISP_E_EXCEPTION ? exception.scode : status;
  }

  ObjectPtr string_ = NewByteString("0102");
};

TEST_F(CallsThatMissSomething, AreInvalidWithoutArgumentsOrTheirNames) {
  VARIANT values[2] = {};
  DISPID name = 0;
  for (IDispatch* object : Objects()) {
    EXPECT_EQ(Invoke(*object, {nullptr, nullptr, 2, 0}), E_INVALIDARG);
    EXPECT_EQ(Invoke(*object, {values, nullptr, 2, 1}), E_INVALIDARG);
    EXPECT_EQ(Invoke(*object, {nullptr, nullptr, 0, 1}, DISPATCH_PROPERTYPUT), E_INVALIDARG);
    EXPECT_EQ(Invoke(*object, {nullptr, &name, 0, 1}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(object->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
              E_INVALIDARG);
  }
}

TEST_F(CallsThatMissSomething, AreInvalidWithoutNamesToLookUp) {
  std::wstring known = L"Length";
  LPOLESTR names[2] = {known.data(), nullptr};
  DISPID ids[2] = {};
  for (IDispatch* object : Objects()) {
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, nullptr, 1, 0, ids), E_INVALIDARG);
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names, 1, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names, 0, 0, ids), E_INVALIDARG);
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names, 2, 0, ids), E_INVALIDARG);
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names + 1, 1, 0, ids), E_INVALIDARG);
  }
}

TEST_F(CallsThatMissSomething, MismatchWhereAnArgumentRefersToNothing) {
  for (const VARTYPE type : {VT_I4, VT_UI1, VT_BSTR, VT_DISPATCH, VT_UNKNOWN, VT_VARIANT}) {
    com::Variant nothing;
    *nothing.InOut() = ReferenceToNothing(type);
    EXPECT_EQ(ErrorText([&] { CallByName(*diag_, L"starterase", {std::move(nothing)}); }),
              "13 Type mismatch")
        << type;
    *nothing.InOut() = ReferenceToNothing(type);
    EXPECT_EQ(ErrorText([&] { CallByName(*diag_, L"checkunlock", {std::move(nothing)}); }),
              "13 Type mismatch")
        << type;
    *nothing.InOut() = ReferenceToNothing(type);
    EXPECT_EQ(ErrorText([&] { CallByName(*string_, L"Item", {std::move(nothing)}); }),
              "13 Type mismatch")
        << type;
  }
}

TEST_F(CallsThatMissSomething, MismatchWhereAnArgumentRefersToItself) {
  Circle circle;
  DISPPARAMS parameters = {&circle.variable, nullptr, 1, 0};
  const HRESULT mismatch = com::StatusOf(13);
  for (const std::wstring_view name : {L"starterase", L"checkunlock"}) {
    EXCEPINFO exception = {};
    EXPECT_EQ(diag_->Invoke(com::MemberOf(*diag_, name), IID_NULL, 0, DISPATCH_METHOD, &parameters,
                            nullptr, &exception, nullptr),
              DISP_E_EXCEPTION);
    EXPECT_EQ(exception.scode, mismatch);
    SysFreeString(exception.bstrDescription);
  }
  EXPECT_EQ(string_->Invoke(com::MemberOf(*string_, L"Item"), IID_NULL, 0, DISPATCH_PROPERTYGET,
                            &parameters, nullptr, nullptr, nullptr),
            mismatch);
}

TEST_F(CallsThatMissSomething, TakeAVariableOfAVariable) {
  Configure();
  com::Variant value = com::Variant::OfLong(7);
  VARIANT inner = {};
  V_VT(&inner) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&inner) = value.InOut();
  VARIANT outer = {};
  V_VT(&outer) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&outer) = &inner;
  DISPPARAMS parameters = {&outer, nullptr, 1, 0};
  com::Variant document;
  EXPECT_EQ(diag_->Invoke(com::MemberOf(*diag_, L"starterase"), IID_NULL, 0, DISPATCH_METHOD,
                          &parameters, document.Put(), nullptr, nullptr),
            S_OK);
}

TEST_F(DispatchTest, AnErrorHasNumberAndDescriptionAndNoSource) {
  DISPPARAMS none = {};
  EXCEPINFO exception = {};
  ASSERT_EQ(diag_->Invoke(4, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, &exception, nullptr),
            DISP_E_EXCEPTION);
  EXPECT_EQ(exception.scode, static_cast<SCODE>(0x800A005B));
  EXPECT_EQ(com::View(exception.bstrDescription),
            L"Object variable or With block variable not set");
  EXPECT_TRUE(com::View(exception.bstrSource).empty());
  EXPECT_TRUE(com::View(exception.bstrHelpFile).empty());
  SysFreeString(exception.bstrDescription);
  SysFreeString(exception.bstrSource);
}

TEST_F(DispatchTest, TheVtableReportsTheSameError) {
  com::ComPtr<IDispatch> document;
  const HRESULT status = diag_->readseed(document.Put());
  EXPECT_EQ(status, static_cast<HRESULT>(0x800A005B));
  EXPECT_EQ(ErrorText([&] { RequireCall(status); }),
            "91 Object variable or With block variable not set");
  EXPECT_EQ(diag_->readseed(nullptr), E_POINTER);
  EXPECT_EQ(ErrorText([&] { RequireCall(diag_->FlowControl(0, 256)); }),
            "4010 Diag On CAN STmin can't exceed 255.");
}

TEST_F(DispatchTest, AnObjectThatLacksAMemberIsToldItsName) {
  Configure();
  const Error error = ErrorFrom(
      [&] { Call(L"dounlock", {com::Variant::OfObject(NewObject(L"Vantrel.MemoryImage"))}); });
  EXPECT_EQ(error.Number(), 438);
  EXPECT_NE(error.Description().find("Hex"), std::string::npos) << error.Description();
}

/// An object of a host's library whose every member fails.
class FailingObject final : public com::InvokeOnly {
 public:
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID /*reserved*/, LPOLESTR* /*names*/, UINT /*count*/,
                                          LCID /*locale*/, DISPID* ids) override {
    *ids = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID /*member*/, REFIID /*reserved*/, LCID /*locale*/,
                                   WORD /*kind*/, DISPPARAMS* /*parameters*/, VARIANT* /*result*/,
                                   EXCEPINFO* exception, UINT* /*bad_argument*/) override {
    *exception = {};
    exception->scode = static_cast<SCODE>(0x80041234);
    exception->bstrDescription = com::Bstr(L"the seed box is locked").Detach();
    exception->bstrSource = com::Bstr(L"a host").Detach();
    return DISP_E_EXCEPTION;
  }
};

TEST_F(DispatchTest, AnErrorOfTheHostLibraryPassesUnchanged) {
  Configure();
  const auto failing = ObjectPtr::Adopt(new FailingObject);
  EXPECT_EQ(Failure(L"dounlock", {com::Variant::OfObject(failing)}),
            std::to_string(static_cast<HRESULT>(0x80041234)) + " the seed box is locked");
  com::ComPtr<IDispatch> document;
  const HRESULT status = diag_->dounlock(failing.get(), document.Put());
  EXPECT_EQ(status, static_cast<HRESULT>(0x80041234));
  EXPECT_EQ(ErrorFrom([&] { RequireCall(status); }).Description(), "the seed box is locked");
}

}  // namespace
}  // namespace quillmark::testing
