// SPDX-License-Identifier: MIT
#include <ocidl.h>
#include <olectl.h>
#include <windows.h>

#include <memory>
#include <utility>

#include "base/com/status.h"
#include "base/com/unknown.h"
#include "component/com/classes.h"
#include "component/com/connection_point.h"
#include "component/com/dual_dispatch.h"
#include "component/com/event_sinks.h"
#include "component/com/object_array.h"
#include "component/com/quillmark_com.h"
#include "component/com/thread_parameters.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/windows_platform.h"
#include "quillmark/diag_on_can_reprog.h"

namespace quillmark {
namespace {

std::shared_ptr<DOMDocument> Document(IDispatch* object) {
  return windows::WrapDocument(com::ComPtr<IUnknown>(object));
}

std::shared_ptr<ByteString> Bytes(IDispatch* object) {
  return windows::WrapByteString(com::Share(object));
}

/// Runs a member that returns an object.
template <typename Body>
HRESULT GiveObject(IDispatch** result, Body body) noexcept {
  if (result == nullptr) {
    return E_POINTER;
  }
  *result = nullptr;
  return com::Guarded([&] { *result = windows::DispatchOf(body()).Detach(); });
}

/// Runs a member that returns a Boolean.
template <typename Body>
HRESULT GiveBoolean(VARIANT_BOOL* result, Body body) noexcept {
  if (result == nullptr) {
    return E_POINTER;
  }
  *result = VARIANT_FALSE;
  return com::Guarded([&] { *result = body() ? VARIANT_TRUE : VARIANT_FALSE; });
}

ObjectList ObjectsOf(const ByteStringArray& records) {
  ObjectList objects;
  for (const auto& record : records) {
    objects.push_back(windows::DispatchOf(record));
  }
  return objects;
}

/// What `gethisto` returns by reference.
struct History {
  ByteStringArray histories;
  ByteStringArray reprograms;
  std::shared_ptr<ByteString> identification;

  /// Leaves the caller's variables unchanged if the member did not reach its outputs.
  void StoreInto(SAFEARRAY*& RepHisto, SAFEARRAY*& RepReprog, IDispatch*& RepIdent) const {
    if (histories.empty()) {
      return;
    }
    StoreObjects(ObjectsOf(histories), VT_DISPATCH, RepHisto);
    StoreObjects(ObjectsOf(reprograms), VT_DISPATCH, RepReprog);
    const auto old = com::ComPtr<IDispatch>::Adopt(
        std::exchange(RepIdent, windows::DispatchOf(identification).Detach()));
  }
};

/// An interface that a part of an object implements: identity and references are those of the whole
/// object.
template <typename Interface>
class InnerObject : public Interface {
 public:
  explicit InnerObject(IUnknown& whole) : whole_(whole) {}
  InnerObject(const InnerObject&) = delete;
  InnerObject& operator=(const InnerObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    return whole_.QueryInterface(iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return whole_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return whole_.Release(); }

 protected:
  ~InnerObject() = default;

 private:
  IUnknown& whole_;
};

/// `DiagOnCANReprog` behind COM. quillmark/diag_on_can_reprog.h describes the members; here their
/// arguments are converted, and an error becomes a status with its description.
///
/// Threads: one at a time, as the component. The object belongs to no apartment, so a worker raises
/// the event on its own thread.
class DiagOnCANReprogObject final
    : public Dual<IDiagOnCANReprog, com::Unknown<IDiagOnCANReprog, ::IThread, ISupportErrorInfo,
                                                 IProvideClassInfo2, IConnectionPointContainer>> {
 public:
  explicit DiagOnCANReprogObject(const std::shared_ptr<WindowsPlatform>& platform)
      : component_(CreateDiagOnCANReprog(platform)),
        sinks_(std::make_shared<EventSinks>()),
        client_(*this),
        connection_point_(*this, *sinks_) {
    IUnknown* const whole = static_cast<IDiagOnCANReprog*>(this);
    com::Require(CoCreateFreeThreadedMarshaler(whole, free_threaded_marshaler_.Put()));
    // Called while a transfer is started, by a caller that holds a reference.
    platform->SetClientFace([whole](const std::shared_ptr<Object>&) { return com::Share(whole); });
    component_->OnXMLReady(
        [sinks = sinks_](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
          sinks->Raise(windows::DispatchOf(node), cancel);
        });
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (iid == IID_IMarshal) {
      return free_threaded_marshaler_->QueryInterface(iid, object);
    }
    return Unknown::QueryInterface(iid, object);
  }

  // IDiagOnCANReprog
  HRESULT STDMETHODCALLTYPE CANIDs(LONG RCANId, LONG XCANId) override {
    return com::Guarded([&] { component_->CANIDs(RCANId, XCANId); });
  }
  HRESULT STDMETHODCALLTYPE get_StartDiag(IDispatch** result) override {
    return GiveObject(result, [&] { return component_->StartDiag(); });
  }
  HRESULT STDMETHODCALLTYPE gethisto(IDispatch* root, SAFEARRAY** RepHisto, SAFEARRAY** RepReprog,
                                     IDispatch** RepIdent) override {
    if (RepHisto == nullptr || RepReprog == nullptr || RepIdent == nullptr) {
      return E_POINTER;
    }
    return com::Guarded([&] {
      History history;
      try {
        component_->gethisto(Document(root), history.histories, history.reprograms,
                             history.identification);
      } catch (...) {
        history.StoreInto(*RepHisto, *RepReprog, *RepIdent);
        throw;
      }
      history.StoreInto(*RepHisto, *RepReprog, *RepIdent);
    });
  }
  HRESULT STDMETHODCALLTYPE readseed(IDispatch** result) override {
    return GiveObject(result, [&] { return component_->readseed(); });
  }
  HRESULT STDMETHODCALLTYPE getseed(IDispatch* root, IDispatch** result) override {
    return GiveObject(result, [&] { return component_->getseed(Document(root)); });
  }
  HRESULT STDMETHODCALLTYPE dounlock(IDispatch* key, IDispatch** result) override {
    return GiveObject(result, [&] { return component_->dounlock(Bytes(key)); });
  }
  HRESULT STDMETHODCALLTYPE checkunlock(IDispatch* root) override {
    return com::Guarded([&] { component_->checkunlock(Document(root)); });
  }
  HRESULT STDMETHODCALLTYPE starterase(BYTE RL, IDispatch** result) override {
    return GiveObject(result, [&] { return component_->starterase(RL); });
  }
  HRESULT STDMETHODCALLTYPE checkstarterase(IDispatch* root) override {
    return com::Guarded([&] { component_->checkstarterase(Document(root)); });
  }
  HRESULT STDMETHODCALLTYPE checkerase(IDispatch** result) override {
    return GiveObject(result, [&] { return component_->checkerase(); });
  }
  HRESULT STDMETHODCALLTYPE checkcheckerase(IDispatch* root, VARIANT_BOOL* result) override {
    return GiveBoolean(result, [&] { return component_->checkcheckerase(Document(root)); });
  }
  HRESULT STDMETHODCALLTYPE checkdownload(IDispatch* root) override {
    return com::Guarded([&] { component_->checkdownload(Document(root)); });
  }
  HRESULT STDMETHODCALLTYPE startroutine(BYTE Routine, IDispatch** result) override {
    return GiveObject(result, [&] { return component_->startroutine(Routine); });
  }
  HRESULT STDMETHODCALLTYPE checkstartroutine(IDispatch* root, BYTE Routine) override {
    return com::Guarded([&] { component_->checkstartroutine(Document(root), Routine); });
  }
  HRESULT STDMETHODCALLTYPE routinestatus(BYTE Routine, IDispatch** result) override {
    return GiveObject(result, [&] { return component_->routinestatus(Routine); });
  }
  HRESULT STDMETHODCALLTYPE checkroutine(IDispatch* root, BYTE Routine,
                                         VARIANT_BOOL* result) override {
    return GiveBoolean(result, [&] { return component_->checkroutine(Document(root), Routine); });
  }
  HRESULT STDMETHODCALLTYPE writelogzone(IDispatch* Histo, IDispatch** result) override {
    return GiveObject(result, [&] { return component_->writelogzone(Bytes(Histo)); });
  }
  HRESULT STDMETHODCALLTYPE checkwritelogzone(IDispatch* root) override {
    return com::Guarded([&] { component_->checkwritelogzone(Document(root)); });
  }
  HRESULT STDMETHODCALLTYPE checkupload(IDispatch* root, IDispatch* Image) override {
    return com::Guarded([&] {
      component_->checkupload(Document(root), windows::WrapMemoryImage(com::Share(Image)));
    });
  }
  HRESULT STDMETHODCALLTYPE stopcomm(IDispatch** result) override {
    return GiveObject(result, [&] { return component_->stopcomm(); });
  }
  HRESULT STDMETHODCALLTYPE ComputeDownload(BYTE RL, IDispatch* Image, BYTE FillByte, LONG IMod,
                                            LONG MaxSize) override {
    return com::Guarded([&] {
      component_->ComputeDownload(RL, windows::WrapMemoryImage(com::Share(Image)), FillByte, IMod,
                                  MaxSize);
    });
  }
  HRESULT STDMETHODCALLTYPE ComputeUpload(IDispatch* Map, BYTE RL) override {
    return com::Guarded(
        [&] { component_->ComputeUpload(windows::WrapMemoryMap(com::Share(Map)), RL); });
  }
  HRESULT STDMETHODCALLTYPE TesterPresent(IDispatch** result) override {
    return GiveObject(result, [&] { return component_->TesterPresent(); });
  }
  HRESULT STDMETHODCALLTYPE FlowControl(LONG BS, LONG STMin) override {
    return com::Guarded([&] { component_->FlowControl(BS, STMin); });
  }

  // IThread
  HRESULT STDMETHODCALLTYPE GetParameter(SAFEARRAY* parameters) override {
    return com::Guarded([&] { component_->GetParameter(ThreadParameters(parameters).List()); });
  }
  HRESULT STDMETHODCALLTYPE EntryPoint(IUnknown* client) override {
    return com::Guarded([&] { component_->EntryPoint(WrapClient(client)); });
  }

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
    const bool supports = iid == __uuidof(IDiagOnCANReprog) || iid == __uuidof(IXMLDocClient) ||
                          iid == __uuidof(::IThread);
    return supports ? S_OK : S_FALSE;
  }

  // IProvideClassInfo2
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    if (info == nullptr) {
      return E_POINTER;
    }
    *info = nullptr;
    return com::Guarded([&] { *info = TypeInfoOf(__uuidof(::DiagOnCANReprog)).Detach(); });
  }
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* id) override {
    if (id == nullptr) {
      return E_POINTER;
    }
    const bool is_known = kind == GUIDKIND_DEFAULT_SOURCE_DISP_IID;
    *id = is_known ? __uuidof(_IDiagOnCANReprogEvents) : GUID_NULL;
    return is_known ? S_OK : E_INVALIDARG;
  }

  // IConnectionPointContainer
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override {
    return EnumerateConnectionPoint(connection_point_, points);
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    if (point == nullptr) {
      return E_POINTER;
    }
    const bool is_known = iid == __uuidof(_IDiagOnCANReprogEvents);
    *point = is_known ? com::Share<IConnectionPoint>(&connection_point_).Detach() : nullptr;
    return is_known ? S_OK : CONNECT_E_NOCONNECTION;
  }

 protected:
  void* Find(REFIID iid) override {
    if (iid == IID_IDispatch) {
      return static_cast<IDiagOnCANReprog*>(this);
    }
    if (iid == __uuidof(IXMLDocClient)) {
      return static_cast<IXMLDocClient*>(&client_);
    }
    if (iid == IID_IProvideClassInfo) {
      return static_cast<IProvideClassInfo2*>(this);
    }
    return Unknown::Find(iid);
  }

 private:
  /// The callback of a worker. It is a separate part, since its members have the identifiers of
  /// another dual interface.
  class Client final : public Dual<IXMLDocClient, InnerObject<IXMLDocClient>> {
   public:
    explicit Client(DiagOnCANReprogObject& object)
        : Dual(static_cast<IDiagOnCANReprog&>(object)), object_(object) {}

    HRESULT STDMETHODCALLTYPE XMLReady(IDispatch* xml, VARIANT_BOOL* result) override {
      return GiveBoolean(result, [&] {
        return object_.component_->XMLReady(windows::WrapNode(com::ComPtr<IUnknown>(xml)));
      });
    }

   private:
    DiagOnCANReprogObject& object_;
  };

  std::shared_ptr<DiagOnCANReprog> component_;
  std::shared_ptr<EventSinks> sinks_;
  Client client_;
  ConnectionPoint connection_point_;
  com::ComPtr<IUnknown> free_threaded_marshaler_;
};

}  // namespace

IUnknown* NewDiagOnCANReprog() {
  return static_cast<IDiagOnCANReprog*>(new DiagOnCANReprogObject(CreateWindowsPlatform()));
}

}  // namespace quillmark
