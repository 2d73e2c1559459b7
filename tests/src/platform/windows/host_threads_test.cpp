// SPDX-License-Identifier: MIT
// A host's threading library, registered for these tests in a Windows of their own.
#include <gtest/gtest.h>

#include <array>
#include <optional>

#include "base/com/class_object.h"
#include "base/com/registration.h"
#include "platform/windows/com_objects.h"
#include "support/expect_error.h"
#include "tested_platform.h"
#include "tests/src/platform/windows/script_object.h"

namespace quillmark::testing {
namespace {

constexpr CLSID kThreadingClass = {
    0x6d1c9f04, 0x3b8a, 0x4c53, {0xa1, 0x77, 0x2e, 0x90, 0x4d, 0x5b, 0x08, 0xf3}};
constexpr std::int32_t kRefused = -2147024882;

/// What a stand-in for the threading library was called with, and what it is to answer.
struct Call {
  std::wstring prog_id;
  std::vector<VARTYPE> types;
  std::vector<std::int32_t> numbers;  ///< instead of the document, 0
  IDispatch* document = nullptr;
  IDispatch* client = nullptr;
};
std::optional<Call> last_call;
bool has_start_thread = true;

class Threading final : public com::Scriptable {
 public:
  HRESULT STDMETHODCALLTYPE Invoke(DISPID /*id*/, REFIID /*reserved*/, LCID /*locale*/,
                                   WORD /*kind*/, DISPPARAMS* parameters, VARIANT* result,
                                   EXCEPINFO* /*exception*/, UINT* /*bad_argument*/) override {
    Call call;
    call.client = V_DISPATCH(&parameters->rgvarg[0]);
    const SAFEARRAY& list = *V_ARRAY(&parameters->rgvarg[1]);
    call.prog_id = com::View(V_BSTR(&parameters->rgvarg[2]));
    for (ULONG index = 0; index < list.rgsabound[0].cElements; ++index) {
      Take(static_cast<const VARIANT*>(list.pvData)[index], call);
    }
    last_call = std::move(call);
    V_VT(result) = VT_I4;
    V_I4(result) = kRefused;
    return S_OK;
  }

 private:
  static void Take(const VARIANT& value, Call& call) {
    call.types.push_back(V_VT(&value));
    switch (V_VT(&value)) {
      case VT_BYREF | VT_I4:
        return call.numbers.push_back(*V_I4REF(&value));
      case VT_BYREF | VT_UI1:
        return call.numbers.push_back(*V_UI1REF(&value));
      default:
        call.document = *V_DISPATCHREF(&value);
        call.numbers.push_back(0);
    }
  }

  [[nodiscard]] std::span<const com::Member> Members() const override {
    static const std::array<com::Member, 1> members = {{{L"StartThread", 1, 3}}};
    return std::span(members).first(has_start_thread ? 1 : 0);
  }
  [[nodiscard]] com::Variant Get(DISPID /*id*/, const com::Arguments& /*arguments*/) override {
    return {};
  }
};

IUnknown* NewThreading() { return new Threading; }

class HostThreads : public ::testing::Test {
 protected:
  HostThreads() {
    last_call.reset();
    has_start_thread = true;
    const std::wstring key = L"Spindle.Threading";
    EXPECT_EQ(com::SystemRegistry().Write(key + L"\\CLSID", nullptr, com::TextOf(kThreadingClass)),
              ERROR_SUCCESS);
    const auto factory = com::ComPtr<IClassFactory>::Adopt(new com::ClassObject(&NewThreading));
    EXPECT_EQ(CoRegisterClassObject(kThreadingClass, factory.get(), CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &registration_),
              S_OK);
  }
  ~HostThreads() override {
    CoRevokeClassObject(registration_);
    EXPECT_EQ(com::SystemRegistry().Remove(L"Spindle.Threading"), ERROR_SUCCESS);
  }

  [[nodiscard]] std::int32_t Start() const {
    const std::int32_t number = -5;
    const std::uint8_t byte = 0x80;
    return platform_->StartThread("Test.Worker",
                                  std::array<Parameter, 3>{&number, &document_, &byte},
                                  std::make_shared<Object>());
  }

  const std::shared_ptr<TestedPlatform> platform_ = TestPlatform();
  const std::shared_ptr<DOMDocument> document_ = platform_->CreateFreeThreadedDOMDocument();
  const com::ComPtr<ScriptObject> face_ = NewScriptObject({});

 private:
  DWORD registration_ = 0;
};

TEST_F(HostThreads, AClientWithAFaceIsServedByTheHostsLibrary) {
  platform_->SetClientFace([this](const auto&) { return face_.As<IDispatch>().As<IUnknown>(); });
  EXPECT_EQ(Start(), kRefused);
  ASSERT_TRUE(last_call);
  EXPECT_EQ(last_call->prog_id, L"Test.Worker");
  EXPECT_EQ(last_call->types,
            (std::vector<VARTYPE>{VT_BYREF | VT_I4, VT_BYREF | VT_DISPATCH, VT_BYREF | VT_UI1}));
  EXPECT_EQ(last_call->numbers, (std::vector<std::int32_t>{-5, 0, 0x80}));
  EXPECT_EQ(last_call->document, windows::DispatchOf(document_).get());
  EXPECT_EQ(last_call->client, face_.As<IDispatch>().get());
}

TEST_F(HostThreads, AClientWithoutAFaceIsServedByThePlatform) {
  EXPECT_EQ(Start(), REGDB_E_CLASSNOTREG);
  EXPECT_FALSE(last_call);
}

TEST_F(HostThreads, AHostLibraryWithoutTheMethodIsReported) {
  has_start_thread = false;
  platform_->SetClientFace([this](const auto&) { return face_.As<IDispatch>().As<IUnknown>(); });
  EXPECT_ERROR(Start(), 438, "Object doesn't support this property or method: StartThread");
}

}  // namespace
}  // namespace quillmark::testing
