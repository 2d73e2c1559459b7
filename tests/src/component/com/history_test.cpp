// SPDX-License-Identifier: MIT
#include <array>

#include "base/com/status.h"
#include "tests/src/component/com/com_test.h"

namespace quillmark::testing {
namespace {

std::wstring Repeated(const wchar_t* byte, int count) {
  std::wstring text;
  for (int index = 0; index < count; ++index) {
    text += byte;
  }
  return text;
}

std::wstring Reply(const std::wstring& frame) { return L"<r><c/><d>" + frame + L"</d></r>"; }

/// The four frames of a record of 24 equal bytes in plain CAN form.
std::wstring RecordReply(const wchar_t* byte) {
  return Reply(L"101A61" + Repeated(byte, 5)) + Reply(L"21" + Repeated(byte, 7)) +
         Reply(L"22" + Repeated(byte, 7)) + Reply(L"23" + Repeated(byte, 7));
}

/// A run document of `StartDiag` with an identification and so many further records.
ObjectPtr HistoryDocument(int records) {
  constexpr std::array<const wchar_t*, 4> kBytes = {L"A0", L"A1", L"A2", L"A3"};
  std::wstring replies = Reply(L"0250C0") + RecordReply(L"80") + Reply(L"025085");
  for (int index = 0; index < records; ++index) {
    replies += RecordReply(kBytes[static_cast<std::size_t>(index)]);
  }
  return NewDocument(L"<can><x i='1850'>" + replies + L"</x></can>");
}

std::string HexOf(IDispatch* record) {
  return record == nullptr ? "none" : TextMember(*record, L"Hex").substr(0, 4);
}

/// The first two bytes of each element of an array of variables.
std::string Elements(const VARIANT& array) {
  EXPECT_EQ(V_VT(&array), VT_ARRAY | VT_VARIANT);
  std::string text;
  LONG upper = 0;
  SafeArrayGetUBound(V_ARRAY(&array), 1, &upper);
  for (LONG index = 0; index <= upper; ++index) {
    com::Variant element;
    EXPECT_EQ(SafeArrayGetElement(V_ARRAY(&array), &index, element.Put()), S_OK);
    EXPECT_EQ(element.type(), VT_DISPATCH);
    text += HexOf(V_DISPATCH(&element.get())) + " ";
  }
  return text;
}

/// A script's variable, passed by reference.
com::Variant ByReference(com::Variant& variable) {
  com::Variant reference;
  V_VT(reference.InOut()) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(reference.InOut()) = variable.InOut();
  return reference;
}

com::Variant FixedArray(ULONG elements) {
  SAFEARRAYBOUND bound = {elements, 0};
  com::Variant array;
  V_VT(array.InOut()) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(array.InOut()) = SafeArrayCreate(VT_VARIANT, 1, &bound);
  V_ARRAY(array.InOut())->fFeatures |= FADF_FIXEDSIZE;
  return array;
}

constexpr auto kTwoEntries = "A0A0 A2A2 none none none none none none ";
constexpr auto kTwoReprograms = "A1A1 A3A3 none none none none none none ";
constexpr auto kNoEntries = "none none none none none none none none ";

class HistoryTest : public ComTest {
 protected:
  HistoryTest() { RequireCall(diag_->CANIDs(1850, 1586)); }

  void TearDown() override {
    diag_ = {};
    histories_ = {};
    reprograms_ = {};
    identification_ = {};
    ComTest::TearDown();
  }

  void ReadAsAScript(int records) {
    CallByName(*diag_, L"gethisto",
               {com::Variant::OfObject(HistoryDocument(records)), ByReference(histories_),
                ByReference(reprograms_), ByReference(identification_)});
  }

  DiagPtr diag_ = NewDiag();
  com::Variant histories_;
  com::Variant reprograms_;
  com::Variant identification_;
};

TEST_F(HistoryTest, FillsTheVariablesOfAScript) {
  ReadAsAScript(4);
  EXPECT_EQ(Elements(histories_.get()), kTwoEntries);
  EXPECT_EQ(Elements(reprograms_.get()), kTwoReprograms);
  ASSERT_EQ(identification_.type(), VT_DISPATCH);
  EXPECT_EQ(HexOf(V_DISPATCH(&identification_.get())), "8080");
}

TEST_F(HistoryTest, ReplacesWhatTheVariablesHeld) {
  ReadAsAScript(4);
  ReadAsAScript(4);
  EXPECT_EQ(Elements(histories_.get()), kTwoEntries);
  histories_ = com::Variant::OfText(com::Bstr(L"text"));
  identification_ = com::Variant::OfLong(5);
  ReadAsAScript(4);
  EXPECT_EQ(Elements(histories_.get()), kTwoEntries);
  EXPECT_EQ(HexOf(V_DISPATCH(&identification_.get())), "8080");
}

TEST_F(HistoryTest, FillsAFixedArrayOfEight) {
  histories_ = FixedArray(8);
  const SAFEARRAY* const array = V_ARRAY(&histories_.get());
  ReadAsAScript(4);
  EXPECT_EQ(V_ARRAY(&histories_.get()), array);
  EXPECT_EQ(Elements(histories_.get()), kTwoEntries);
}

TEST_F(HistoryTest, CannotResizeAFixedArray) {
  histories_ = FixedArray(5);
  EXPECT_EQ(ErrorText([&] { ReadAsAScript(4); }), "10 This array is fixed or temporarily locked");
}

TEST_F(HistoryTest, KeepsWhatWasStoredBeforeTheError) {
  EXPECT_EQ(ErrorText([&] { ReadAsAScript(1); }), "4000 Ecu is not reprogrammable");
  EXPECT_EQ(Elements(histories_.get()), "A0A0 none none none none none none none ");
  EXPECT_EQ(Elements(reprograms_.get()), kNoEntries);
  EXPECT_EQ(HexOf(V_DISPATCH(&identification_.get())), "8080");
}

TEST_F(HistoryTest, LeavesTheVariablesAloneWhereItCannotRead) {
  histories_ = com::Variant::OfText(com::Bstr(L"text"));
  identification_ = com::Variant::OfLong(5);
  EXPECT_EQ(ErrorText([&] {
              CallByName(*diag_, L"gethisto",
                         {com::Variant::OfObject(NewByteString("01")), ByReference(histories_),
                          ByReference(reprograms_), ByReference(identification_)});
            }),
            "13 Type mismatch");
  EXPECT_EQ(histories_.type(), VT_BSTR);
  EXPECT_EQ(reprograms_.type(), VT_EMPTY);
  EXPECT_EQ(identification_.type(), VT_I4);
}

TEST_F(HistoryTest, GivesNothingForAnIdentificationThatIsMissing) {
  identification_ = com::Variant::OfLong(5);
  const ObjectPtr document =
      NewDocument(L"<can><x><r><c/><d>0250C0</d></r><r><c/><d>0250C0</d></r></x></can>");
  EXPECT_EQ(ErrorText([&] {
              CallByName(*diag_, L"gethisto",
                         {com::Variant::OfObject(document), ByReference(histories_),
                          ByReference(reprograms_), ByReference(identification_)});
            }),
            "4000 Ecu is not reprogrammable");
  EXPECT_EQ(Elements(histories_.get()), kNoEntries);
  ASSERT_EQ(identification_.type(), VT_DISPATCH);
  EXPECT_EQ(V_DISPATCH(&identification_.get()), nullptr);
}

TEST_F(HistoryTest, NeedsVariablesByReference) {
  EXPECT_EQ(ErrorText([&] {
              CallByName(*diag_, L"gethisto",
                         {com::Variant::OfObject(HistoryDocument(4)), com::Variant(),
                          com::Variant(), com::Variant()});
            }),
            "13 Type mismatch");
}

TEST_F(HistoryTest, NeedsVariablesThatReferToSomething) {
  const ObjectPtr document = HistoryDocument(4);
  VARIANT circle = {};
  V_VT(&circle) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&circle) = &circle;
  VARIANT nothing = {};
  VARIANT arguments[4] = {};
  V_VT(&arguments[3]) = VT_DISPATCH;
  V_DISPATCH(&arguments[3]) = document.get();
  DISPPARAMS parameters = {arguments, nullptr, 4, 0};
  for (int missing = 0; missing < 3; ++missing) {
    const VARTYPE type = missing == 0 ? VT_DISPATCH : VT_ARRAY | VT_DISPATCH;
    for (const VARTYPE kind : {VARTYPE{VT_VARIANT}, type, VARTYPE{0}}) {
      V_VT(&nothing) = static_cast<VARTYPE>(VT_BYREF | kind);
      for (int argument = 0; argument < 3; ++argument) {
        arguments[argument] = ByReference(histories_).Detach();
      }
      arguments[missing] = kind == 0 ? circle : nothing;
      EXCEPINFO exception = {};
      EXPECT_EQ(
          diag_->Invoke(3, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, &exception, nullptr),
          DISP_E_EXCEPTION);
      EXPECT_EQ(exception.scode, com::StatusOf(13)) << missing << " " << kind;
      SysFreeString(exception.bstrDescription);
    }
  }
  SAFEARRAY* array = nullptr;
  com::ComPtr<IDispatch> identification;
  EXPECT_EQ(diag_->gethisto(document.get(), nullptr, &array, identification.Put()), E_POINTER);
  EXPECT_EQ(diag_->gethisto(document.get(), &array, nullptr, identification.Put()), E_POINTER);
  EXPECT_EQ(diag_->gethisto(document.get(), &array, &array, nullptr), E_POINTER);
}

TEST_F(HistoryTest, CannotFillAFixedArrayOfAnotherType) {
  SAFEARRAYBOUND bound = {8, 0};
  SAFEARRAY* histories = SafeArrayCreate(VT_VARIANT, 1, &bound);
  histories->fFeatures |= FADF_FIXEDSIZE;
  SAFEARRAY* reprograms = nullptr;
  com::ComPtr<IDispatch> identification;
  EXPECT_EQ(ErrorText([&] {
              RequireCall(diag_->gethisto(HistoryDocument(4).get(), &histories, &reprograms,
                                          identification.Put()));
            }),
            "10 This array is fixed or temporarily locked");
  histories->fFeatures &= static_cast<USHORT>(~FADF_FIXEDSIZE);
  SafeArrayDestroy(histories);
}

TEST_F(HistoryTest, GivesAHostInCppArraysOfObjects) {
  SAFEARRAY* histories = nullptr;
  SAFEARRAY* reprograms = SafeArrayCreateVector(VT_DISPATCH, 1, 3);
  IDispatch* identification = NewByteString("01").Detach();
  RequireCall(diag_->gethisto(HistoryDocument(4).get(), &histories, &reprograms, &identification));
  EXPECT_EQ(HexOf(com::ComPtr<IDispatch>::Adopt(identification).get()), "8080");
  LONG upper = 0;
  EXPECT_EQ(SafeArrayGetUBound(reprograms, 1, &upper), S_OK);
  EXPECT_EQ(upper, 7);
  LONG index = 1;
  com::ComPtr<IDispatch> record;
  EXPECT_EQ(SafeArrayGetElement(histories, &index, record.Put()), S_OK);
  EXPECT_EQ(HexOf(record.get()), "A2A2");
  SafeArrayDestroy(histories);
  SafeArrayDestroy(reprograms);
}

TEST_F(HistoryTest, GivesATypedLateBoundHostTheSame) {
  SAFEARRAY* histories = nullptr;
  SAFEARRAY* reprograms = nullptr;
  IDispatch* identification = nullptr;
  const auto by_reference = [](VARTYPE type, auto& variable) {
    com::Variant reference;
    V_VT(reference.InOut()) = static_cast<VARTYPE>(VT_BYREF | type);
    V_BYREF(reference.InOut()) = &variable;
    return reference;
  };
  CallByName(
      *diag_, L"gethisto",
      {com::Variant::OfObject(HistoryDocument(4)), by_reference(VT_ARRAY | VT_DISPATCH, histories),
       by_reference(VT_ARRAY | VT_VARIANT, reprograms), by_reference(VT_DISPATCH, identification)});
  const auto held = com::ComPtr<IDispatch>::Adopt(identification);
  EXPECT_EQ(HexOf(identification), "8080");
  VARTYPE type = VT_EMPTY;
  EXPECT_EQ(SafeArrayGetVartype(histories, &type), S_OK);
  EXPECT_EQ(type, VT_DISPATCH);
  com::Variant variables;
  V_VT(variables.InOut()) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(variables.InOut()) = reprograms;
  EXPECT_EQ(Elements(variables.get()), kTwoReprograms);
  SafeArrayDestroy(histories);
}

}  // namespace
}  // namespace quillmark::testing
