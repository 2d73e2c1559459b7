// SPDX-License-Identifier: MIT
#include "component/com/diag_on_can_reprog_object.h"

#include <olectl.h>

#include <utility>

#include "base/com/status.h"
#include "component/com/object_array.h"
#include "component/com/thread_parameters.h"
#include "component/com/type_library.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/windows_platform.h"

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

}  // namespace

DiagOnCANReprogObject::DiagOnCANReprogObject(const std::shared_ptr<WindowsPlatform>& platform)
    : component_(CreateDiagOnCANReprog(platform)),
      sinks_(std::make_shared<EventSinks>()),
      client_(*this),
      connection_point_(*this, *sinks_) {
  IUnknown* const whole = static_cast<IDiagOnCANReprog*>(this);
  com::Require(CoCreateFreeThreadedMarshaler(whole, free_threaded_marshaler_.Put()));
  // Called while a transfer is started, by a caller that holds a reference.
  platform->SetClientFace([whole](const std::shared_ptr<Object>&) { return com::Share(whole); });
  component_->OnXMLReady([sinks = sinks_](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    sinks->Raise(windows::DispatchOf(node), cancel);
  });
}

HRESULT DiagOnCANReprogObject::QueryInterface(REFIID iid, void** object) {
  if (iid == IID_IMarshal) {
    return free_threaded_marshaler_->QueryInterface(iid, object);
  }
  return Unknown::QueryInterface(iid, object);
}

void* DiagOnCANReprogObject::Find(REFIID iid) {
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

HRESULT DiagOnCANReprogObject::CANIDs(LONG RCANId, LONG XCANId) {
  return com::Guarded([&] { component_->CANIDs(RCANId, XCANId); });
}

HRESULT DiagOnCANReprogObject::get_StartDiag(IDispatch** result) {
  return GiveObject(result, [&] { return component_->StartDiag(); });
}

HRESULT DiagOnCANReprogObject::gethisto(IDispatch* root, SAFEARRAY** RepHisto,
                                        SAFEARRAY** RepReprog, IDispatch** RepIdent) {
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

HRESULT DiagOnCANReprogObject::readseed(IDispatch** result) {
  return GiveObject(result, [&] { return component_->readseed(); });
}

HRESULT DiagOnCANReprogObject::getseed(IDispatch* root, IDispatch** result) {
  return GiveObject(result, [&] { return component_->getseed(Document(root)); });
}

HRESULT DiagOnCANReprogObject::dounlock(IDispatch* key, IDispatch** result) {
  return GiveObject(result, [&] { return component_->dounlock(Bytes(key)); });
}

HRESULT DiagOnCANReprogObject::checkunlock(IDispatch* root) {
  return com::Guarded([&] { component_->checkunlock(Document(root)); });
}

HRESULT DiagOnCANReprogObject::starterase(BYTE RL, IDispatch** result) {
  return GiveObject(result, [&] { return component_->starterase(RL); });
}

HRESULT DiagOnCANReprogObject::checkstarterase(IDispatch* root) {
  return com::Guarded([&] { component_->checkstarterase(Document(root)); });
}

HRESULT DiagOnCANReprogObject::checkerase(IDispatch** result) {
  return GiveObject(result, [&] { return component_->checkerase(); });
}

HRESULT DiagOnCANReprogObject::checkcheckerase(IDispatch* root, VARIANT_BOOL* result) {
  return GiveBoolean(result, [&] { return component_->checkcheckerase(Document(root)); });
}

HRESULT DiagOnCANReprogObject::checkdownload(IDispatch* root) {
  return com::Guarded([&] { component_->checkdownload(Document(root)); });
}

HRESULT DiagOnCANReprogObject::startroutine(BYTE Routine, IDispatch** result) {
  return GiveObject(result, [&] { return component_->startroutine(Routine); });
}

HRESULT DiagOnCANReprogObject::checkstartroutine(IDispatch* root, BYTE Routine) {
  return com::Guarded([&] { component_->checkstartroutine(Document(root), Routine); });
}

HRESULT DiagOnCANReprogObject::routinestatus(BYTE Routine, IDispatch** result) {
  return GiveObject(result, [&] { return component_->routinestatus(Routine); });
}

HRESULT DiagOnCANReprogObject::checkroutine(IDispatch* root, BYTE Routine, VARIANT_BOOL* result) {
  return GiveBoolean(result, [&] { return component_->checkroutine(Document(root), Routine); });
}

HRESULT DiagOnCANReprogObject::writelogzone(IDispatch* Histo, IDispatch** result) {
  return GiveObject(result, [&] { return component_->writelogzone(Bytes(Histo)); });
}

HRESULT DiagOnCANReprogObject::checkwritelogzone(IDispatch* root) {
  return com::Guarded([&] { component_->checkwritelogzone(Document(root)); });
}

HRESULT DiagOnCANReprogObject::checkupload(IDispatch* root, IDispatch* Image) {
  return com::Guarded([&] {
    component_->checkupload(Document(root), windows::WrapMemoryImage(com::Share(Image)));
  });
}

HRESULT DiagOnCANReprogObject::stopcomm(IDispatch** result) {
  return GiveObject(result, [&] { return component_->stopcomm(); });
}

HRESULT DiagOnCANReprogObject::ComputeDownload(BYTE RL, IDispatch* Image, BYTE FillByte, LONG IMod,
                                               LONG MaxSize) {
  return com::Guarded([&] {
    component_->ComputeDownload(RL, windows::WrapMemoryImage(com::Share(Image)), FillByte, IMod,
                                MaxSize);
  });
}

HRESULT DiagOnCANReprogObject::ComputeUpload(IDispatch* Map, BYTE RL) {
  return com::Guarded(
      [&] { component_->ComputeUpload(windows::WrapMemoryMap(com::Share(Map)), RL); });
}

HRESULT DiagOnCANReprogObject::TesterPresent(IDispatch** result) {
  return GiveObject(result, [&] { return component_->TesterPresent(); });
}

HRESULT DiagOnCANReprogObject::FlowControl(LONG BS, LONG STMin) {
  return com::Guarded([&] { component_->FlowControl(BS, STMin); });
}

HRESULT DiagOnCANReprogObject::GetParameter(SAFEARRAY* parameters) {
  return com::Guarded([&] { component_->GetParameter(ThreadParameters(parameters).List()); });
}

HRESULT DiagOnCANReprogObject::EntryPoint(IUnknown* client) {
  return com::Guarded([&] { component_->EntryPoint(WrapClient(client)); });
}

HRESULT DiagOnCANReprogObject::InterfaceSupportsErrorInfo(REFIID iid) {
  const bool supports = iid == __uuidof(IDiagOnCANReprog) || iid == __uuidof(IXMLDocClient) ||
                        iid == __uuidof(::IThread);
  return supports ? S_OK : S_FALSE;
}

HRESULT DiagOnCANReprogObject::GetClassInfo(ITypeInfo** info) {
  if (info == nullptr) {
    return E_POINTER;
  }
  *info = nullptr;
  return com::Guarded([&] { *info = TypeInfoOf(__uuidof(::DiagOnCANReprog)).Detach(); });
}

HRESULT DiagOnCANReprogObject::GetGUID(DWORD kind, GUID* id) {
  if (id == nullptr) {
    return E_POINTER;
  }
  const bool is_known = kind == GUIDKIND_DEFAULT_SOURCE_DISP_IID;
  *id = is_known ? __uuidof(_IDiagOnCANReprogEvents) : GUID_NULL;
  return is_known ? S_OK : E_INVALIDARG;
}

HRESULT DiagOnCANReprogObject::EnumConnectionPoints(IEnumConnectionPoints** points) {
  return EnumerateConnectionPoint(connection_point_, points);
}

HRESULT DiagOnCANReprogObject::FindConnectionPoint(REFIID iid, IConnectionPoint** point) {
  if (point == nullptr) {
    return E_POINTER;
  }
  const bool is_known = iid == __uuidof(_IDiagOnCANReprogEvents);
  *point = is_known ? com::Share<IConnectionPoint>(&connection_point_).Detach() : nullptr;
  return is_known ? S_OK : CONNECT_E_NOCONNECTION;
}

DiagOnCANReprogObject::Client::Client(DiagOnCANReprogObject& object)
    : Dual(static_cast<IDiagOnCANReprog&>(object)), object_(object) {}

HRESULT DiagOnCANReprogObject::Client::XMLReady(IDispatch* xml, VARIANT_BOOL* result) {
  return GiveBoolean(result, [&] {
    return object_.component_->XMLReady(windows::WrapNode(com::ComPtr<IUnknown>(xml)));
  });
}

}  // namespace quillmark
