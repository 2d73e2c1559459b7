// SPDX-License-Identifier: MIT
// A host with nothing but a single-threaded apartment.
#include <gtest/gtest.h>
#include <objbase.h>

#include "platform/windows/com_objects.h"
#include "platform/windows/windows_platform.h"

namespace quillmark::testing {
namespace {

/// Creates a document and marshals it for the host's thread.
class DocumentWorker final : public IThread {
 public:
  DocumentWorker(std::shared_ptr<Platform> platform, com::ComPtr<IStream>& handed, HANDLE& thread)
      : platform_(std::move(platform)), handed_(handed), thread_(thread) {}

  std::int32_t GetParameter(ParameterList /*parameters*/) override {
    thread_ = OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
    return 0;
  }

  std::int32_t EntryPoint(const std::shared_ptr<Object>& /*client*/) override {
    const std::shared_ptr<DOMDocument> document = platform_->CreateFreeThreadedDOMDocument();
    document->appendChild(document->createElement("can"));
    return CoMarshalInterThreadInterfaceInStream(IID_IDispatch, windows::DispatchOf(document).get(),
                                                 handed_.Put());
  }

 private:
  std::shared_ptr<Platform> platform_;
  com::ComPtr<IStream>& handed_;
  HANDLE& thread_;
};

TEST(SingleThreadedHost, KeepsADocumentBeyondTheThreadThatMadeIt) {
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  const auto platform = MakeWindowsPlatform();
  com::ComPtr<IStream> handed;
  HANDLE thread = nullptr;
  platform->AddClass("Test.Worker", [&](const std::shared_ptr<Platform>& own) {
    return std::make_shared<DocumentWorker>(own, handed, thread);
  });
  ASSERT_EQ(platform->StartThread("Test.Worker", {}, std::make_shared<Object>()), 0);
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  CloseHandle(thread);

  com::ComPtr<IUnknown> object;
  ASSERT_EQ(CoGetInterfaceAndReleaseStream(handed.Detach(), IID_IUnknown, object.PutVoid()), S_OK);
  const auto document = windows::WrapDocument(object);
  EXPECT_EQ(document->xml(), "<can/>");
}

}  // namespace
}  // namespace quillmark::testing
