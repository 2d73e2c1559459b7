// SPDX-License-Identifier: MIT
#include <algorithm>

#include "base/com/variant.h"
#include "tests/src/component/com/com_test.h"

namespace quillmark::testing {
namespace {

constexpr auto kImage = L"<image><segment at='256'>0102030405</segment></image>";

/// The parameter list of a download, as a host's threading library hands it on: by reference.
class DownloadParameters {
 public:
  explicit DownloadParameters(std::wstring_view document)
      : document_(NewDocument(document)), array_(SafeArrayCreateVector(VT_VARIANT, 0, 9)) {
    Put(0, VT_I4, &receive);
    Put(1, VT_I4, &send);
    document_pointer_ = document_.get();
    Put(2, VT_DISPATCH, &document_pointer_);
    Put(3, VT_UI1, &memory);
    Put(4, VT_UI1, &fill);
    Put(5, VT_I4, &modulus);
    Put(6, VT_I4, &maximum);
    Put(7, VT_I4, &block_size);
    Put(8, VT_I4, &separation_time);
  }
  DownloadParameters(const DownloadParameters&) = delete;
  DownloadParameters& operator=(const DownloadParameters&) = delete;
  ~DownloadParameters() { SafeArrayDestroy(array_); }

  [[nodiscard]] SAFEARRAY* Array() const { return array_; }

  void Put(LONG index, VARTYPE type, void* value) {
    VARIANT element = {};
    V_VT(&element) = static_cast<VARTYPE>(VT_BYREF | type);
    V_BYREF(&element) = value;
    EXPECT_EQ(SafeArrayPutElement(array_, &index, &element), S_OK);
  }

  LONG receive = 1850;
  LONG send = 1586;
  BYTE memory = 0x85;
  BYTE fill = 0xFF;
  LONG modulus = 256;
  LONG maximum = 128;
  LONG block_size = 0;
  LONG separation_time = 0;

 private:
  ObjectPtr document_;
  IDispatch* document_pointer_ = nullptr;
  SAFEARRAY* array_;
};

class ThreadTest : public ComTest {
 protected:
  void TearDown() override {
    worker_ = {};
    client_ = {};
    ComTest::TearDown();
  }

  /// Runs a worker for the client and returns the events that the client received.
  std::string Run(const DownloadParameters& parameters) {
    std::string events;
    const DWORD cookie = Connect(client_, [&](IDispatch* node, VARIANT_BOOL& cancel) {
      events += node == nullptr ? "E" : TextMember(*node, L"xml");
      cancel = VARIANT_FALSE;
    });
    RequireCall(worker_->GetParameter(parameters.Array()));
    RequireCall(worker_->EntryPoint(client_.get()));
    Disconnect(client_, cookie);
    return events;
  }

  DiagPtr client_ = NewDiag();
  com::ComPtr<::IThread> worker_ = NewDiag().As<::IThread>();
};

TEST_F(ThreadTest, AThreadingLibraryRunsADownload) {
  const std::string events = Run(DownloadParameters(kImage));
  // 34 85, address 000100, 5 bytes: the first frame of 13 bytes.
  EXPECT_NE(events.find("<s><d>100D348500010005</d></s>"), std::string::npos) << events;
  EXPECT_NE(events.find("totalbytes=\"5\""), std::string::npos);
  EXPECT_TRUE(events.ends_with("E"));
}

TEST_F(ThreadTest, AnotherDocumentRunsNothing) {
  EXPECT_EQ(Run(DownloadParameters(L"<picture/>")), "");
}

TEST_F(ThreadTest, AParameterByValueServesAsWell) {
  DownloadParameters parameters(kImage);
  LONG index = 0;
  com::Variant receive = com::Variant::OfLong(1850);
  ASSERT_EQ(SafeArrayPutElement(parameters.Array(), &index, receive.InOut()), S_OK);
  EXPECT_TRUE(Run(parameters).ends_with("E"));
}

TEST_F(ThreadTest, AByteOutOfRangeFailsTheStart) {
  DownloadParameters parameters(kImage);
  LONG wide = 256;
  parameters.Put(3, VT_I4, &wide);
  EXPECT_EQ(ErrorText([&] { RequireCall(worker_->GetParameter(parameters.Array())); }),
            "6 Overflow");
}

TEST_F(ThreadTest, AListThatIsNoneFailsTheStart) {
  EXPECT_EQ(ErrorText([&] { RequireCall(worker_->GetParameter(nullptr)); }), "13 Type mismatch");
  SAFEARRAY* const empty = SafeArrayCreateVector(VT_VARIANT, 0, 0);
  EXPECT_EQ(ErrorText([&] { RequireCall(worker_->GetParameter(empty)); }),
            "9 Subscript out of range");
  SafeArrayDestroy(empty);
  // The bytes of one element are those of a variable's type.
  SAFEARRAY* const longs = SafeArrayCreateVector(VT_I4, 0, 2);
  std::fill_n(static_cast<LONG*>(longs->pvData), 2, LONG{VT_I4});
  EXPECT_EQ(ErrorText([&] { RequireCall(worker_->GetParameter(longs)); }), "13 Type mismatch");
  SafeArrayDestroy(longs);
}

TEST_F(ThreadTest, AParameterThatRefersToNothingFailsTheStart) {
  for (const VARTYPE type : {VT_I4, VT_UI1, VT_DISPATCH, VT_VARIANT}) {
    DownloadParameters parameters(kImage);
    parameters.Put(1, type, nullptr);
    EXPECT_EQ(ErrorText([&] { RequireCall(worker_->GetParameter(parameters.Array())); }),
              "13 Type mismatch")
        << type;
  }
}

TEST_F(ThreadTest, AClientThatCannotBeCalledBackFailsTheRun) {
  RequireCall(worker_->GetParameter(DownloadParameters(kImage).Array()));
  EXPECT_EQ(ErrorText([&] { RequireCall(worker_->EntryPoint(nullptr)); }), "13 Type mismatch");
  EXPECT_EQ(ErrorText([&] { RequireCall(worker_->EntryPoint(NewByteString("01").get())); }),
            "13 Type mismatch");
}

TEST_F(ThreadTest, TheClientAnswersThroughItsDispatchInterfaceToo) {
  const auto client = client_.As<IXMLDocClient>();
  DISPID member = 0;
  wchar_t name[] = L"XMLReady";
  wchar_t* names = name;
  ASSERT_EQ(client->GetIDsOfNames(IID_NULL, &names, 1, 0, &member), S_OK);
  com::Variant nothing = com::Variant::OfObject({});
  DISPPARAMS parameters = {nothing.InOut(), nullptr, 1, 0};
  com::Variant result;
  ASSERT_EQ(client->Invoke(member, IID_NULL, 0, DISPATCH_METHOD, &parameters, result.Put(), nullptr,
                           nullptr),
            S_OK);
  EXPECT_EQ(result.type(), VT_BOOL);
  EXPECT_EQ(V_BOOL(&result.get()), VARIANT_FALSE);
}

}  // namespace
}  // namespace quillmark::testing
