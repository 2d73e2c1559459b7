// SPDX-License-Identifier: MIT
#include "host/windows/client/com_component.h"

#include <ocidl.h>
#include <windows.h>

#include <array>
#include <string>
#include <utility>

#include "base/com/com_ptr.h"
#include "base/com/status.h"
#include "base/com/text.h"
#include "component/com/quillmark_com.h"
#include "host/windows/client/event_receiver.h"
#include "platform/windows/com_objects.h"

namespace quillmark::host {
namespace {

using windows::DispatchOf;

/// An array of objects, with null for Nothing, which the component fills.
class ObjectArray {
 public:
  ObjectArray() = default;
  ObjectArray(const ObjectArray&) = delete;
  ObjectArray& operator=(const ObjectArray&) = delete;
  ~ObjectArray() { SafeArrayDestroy(array_); }

  [[nodiscard]] SAFEARRAY** InOut() { return &array_; }

  [[nodiscard]] ByteStringArray Strings() const {
    ByteStringArray strings;
    LONG last = -1;
    if (array_ != nullptr) {
      com::Require(SafeArrayGetUBound(array_, 1, &last));
    }
    for (LONG index = 0; index <= last; ++index) {
      com::ComPtr<IDispatch> object;
      com::Require(SafeArrayGetElement(array_, &index, object.Put()));
      strings.push_back(object ? windows::WrapByteString(object) : nullptr);
    }
    return strings;
  }

 private:
  SAFEARRAY* array_ = nullptr;
};

class ComComponent final : public DiagOnCANReprog {
 public:
  explicit ComComponent(const std::shared_ptr<RunningTransfers>& transfers)
      : transfers_(transfers),
        receiver_(com::ComPtr<EventReceiver>::Adopt(new EventReceiver(transfers))) {
    CLSID id = {};
    com::Require(CLSIDFromProgID(com::Utf16Of(kProgID).c_str(), &id));
    const HRESULT status = CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER,
                                            __uuidof(IDiagOnCANReprog), object_.PutVoid());
    if (FAILED(status)) {
      throw com::ReportedError(status);
    }
    const auto container = object_.As<IConnectionPointContainer>();
    com::Require(container->FindConnectionPoint(__uuidof(_IDiagOnCANReprogEvents), events_.Put()));
    com::Require(events_->Advise(receiver_.get(), &cookie_));
  }
  ComComponent(const ComComponent&) = delete;
  ComComponent& operator=(const ComComponent&) = delete;
  ComComponent(ComComponent&&) = delete;
  ComComponent& operator=(ComComponent&&) = delete;
  ~ComComponent() override { events_->Unadvise(cookie_); }

  void CANIDs(std::int32_t RCANId, std::int32_t XCANId) override {
    Call(&IDiagOnCANReprog::CANIDs, RCANId, XCANId);
  }
  std::shared_ptr<DOMDocument> StartDiag() override {
    return Document(&IDiagOnCANReprog::get_StartDiag);
  }
  void gethisto(const std::shared_ptr<DOMDocument>& root, ByteStringArray& RepHisto,
                ByteStringArray& RepReprog, std::shared_ptr<ByteString>& RepIdent) override {
    ObjectArray histo;
    ObjectArray reprog;
    com::ComPtr<IDispatch> ident;
    const HRESULT status =
        object_->gethisto(DispatchOf(root).get(), histo.InOut(), reprog.InOut(), ident.Put());
    // D17.
    const Error error = FAILED(status) ? com::ReportedError(status) : Error(0);
    RepHisto = histo.Strings();
    RepReprog = reprog.Strings();
    RepIdent = ident ? windows::WrapByteString(ident) : nullptr;
    if (FAILED(status)) {
      throw error;
    }
  }
  std::shared_ptr<DOMDocument> readseed() override { return Document(&IDiagOnCANReprog::readseed); }
  std::shared_ptr<ByteString> getseed(const std::shared_ptr<DOMDocument>& root) override {
    com::ComPtr<IDispatch> seed;
    Call(&IDiagOnCANReprog::getseed, DispatchOf(root).get(), seed.Put());
    return windows::WrapByteString(seed);
  }
  std::shared_ptr<DOMDocument> dounlock(const std::shared_ptr<ByteString>& key) override {
    return Document(&IDiagOnCANReprog::dounlock, DispatchOf(key).get());
  }
  void checkunlock(const std::shared_ptr<DOMDocument>& root) override {
    Call(&IDiagOnCANReprog::checkunlock, DispatchOf(root).get());
  }
  std::shared_ptr<DOMDocument> starterase(std::uint8_t RL) override {
    return Document(&IDiagOnCANReprog::starterase, RL);
  }
  void checkstarterase(const std::shared_ptr<DOMDocument>& root) override {
    Call(&IDiagOnCANReprog::checkstarterase, DispatchOf(root).get());
  }
  std::shared_ptr<DOMDocument> checkerase() override {
    return Document(&IDiagOnCANReprog::checkerase);
  }
  bool checkcheckerase(const std::shared_ptr<DOMDocument>& root) override {
    return Boolean(&IDiagOnCANReprog::checkcheckerase, DispatchOf(root).get());
  }
  void checkdownload(const std::shared_ptr<DOMDocument>& root) override {
    Call(&IDiagOnCANReprog::checkdownload, DispatchOf(root).get());
  }
  std::shared_ptr<DOMDocument> startroutine(std::uint8_t Routine) override {
    return Document(&IDiagOnCANReprog::startroutine, Routine);
  }
  void checkstartroutine(const std::shared_ptr<DOMDocument>& root, std::uint8_t Routine) override {
    Call(&IDiagOnCANReprog::checkstartroutine, DispatchOf(root).get(), Routine);
  }
  std::shared_ptr<DOMDocument> routinestatus(std::uint8_t Routine) override {
    return Document(&IDiagOnCANReprog::routinestatus, Routine);
  }
  bool checkroutine(const std::shared_ptr<DOMDocument>& root, std::uint8_t Routine) override {
    return Boolean(&IDiagOnCANReprog::checkroutine, DispatchOf(root).get(), Routine);
  }
  std::shared_ptr<DOMDocument> writelogzone(const std::shared_ptr<ByteString>& Histo) override {
    return Document(&IDiagOnCANReprog::writelogzone, DispatchOf(Histo).get());
  }
  void checkwritelogzone(const std::shared_ptr<DOMDocument>& root) override {
    Call(&IDiagOnCANReprog::checkwritelogzone, DispatchOf(root).get());
  }
  void checkupload(const std::shared_ptr<DOMDocument>& root,
                   const std::shared_ptr<MemoryImage>& Image) override {
    Call(&IDiagOnCANReprog::checkupload, DispatchOf(root).get(), DispatchOf(Image).get());
  }
  std::shared_ptr<DOMDocument> stopcomm() override { return Document(&IDiagOnCANReprog::stopcomm); }
  void ComputeDownload(std::uint8_t RL, const std::shared_ptr<MemoryImage>& Image,
                       std::uint8_t FillByte, std::int32_t IMod, std::int32_t MaxSize) override {
    Transfer(&IDiagOnCANReprog::ComputeDownload, RL, DispatchOf(Image).get(), FillByte, IMod,
             MaxSize);
  }
  void ComputeUpload(const std::shared_ptr<MemoryMap>& Map, std::uint8_t RL) override {
    Transfer(&IDiagOnCANReprog::ComputeUpload, DispatchOf(Map).get(), RL);
  }
  std::shared_ptr<DOMDocument> TesterPresent() override {
    return Document(&IDiagOnCANReprog::TesterPresent);
  }
  void FlowControl(std::int32_t BS, std::int32_t STMin) override {
    Call(&IDiagOnCANReprog::FlowControl, BS, STMin);
  }
  void OnXMLReady(XMLReadyHandler handler) override { receiver_->SetHandler(std::move(handler)); }

  // The component itself has the worker's side.
  std::int32_t GetParameter(ParameterList /*parameters*/) override { return E_NOTIMPL; }
  std::int32_t EntryPoint(const std::shared_ptr<Object>& /*client*/) override { return E_NOTIMPL; }

 private:
  template <typename Member, typename... Arguments>
  void Call(Member member, Arguments... arguments) const {
    const HRESULT status = ((*object_).*member)(arguments...);
    if (FAILED(status)) {
      throw com::ReportedError(status);
    }
  }

  template <typename Member, typename... Arguments>
  [[nodiscard]] std::shared_ptr<DOMDocument> Document(Member member, Arguments... arguments) const {
    com::ComPtr<IDispatch> document;
    Call(member, arguments..., document.Put());
    return windows::WrapDocument(document.As<IUnknown>());
  }

  template <typename Member, typename... Arguments>
  [[nodiscard]] bool Boolean(Member member, Arguments... arguments) const {
    VARIANT_BOOL boolean = VARIANT_FALSE;
    Call(member, arguments..., &boolean);
    return boolean != VARIANT_FALSE;
  }

  template <typename Member, typename... Arguments>
  void Transfer(Member member, Arguments... arguments) const {
    transfers_->Begin();
    try {
      Call(member, arguments...);
    } catch (const Error&) {
      transfers_->End();
      throw;
    }
  }

  std::shared_ptr<RunningTransfers> transfers_;
  com::ComPtr<EventReceiver> receiver_;
  com::ComPtr<IDiagOnCANReprog> object_;
  com::ComPtr<IConnectionPoint> events_;
  DWORD cookie_ = 0;
};

}  // namespace

void RunningTransfers::Begin() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

void RunningTransfers::End() {
  const std::lock_guard lock(mutex_);
  --count_;
  changed_.notify_all();
}

void RunningTransfers::WaitForNone() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return count_ == 0; });
}

std::shared_ptr<DiagOnCANReprog> CreateComComponent(
    const std::shared_ptr<RunningTransfers>& transfers) {
  return std::make_shared<ComComponent>(transfers);
}

}  // namespace quillmark::host
