// SPDX-License-Identifier: MIT
#pragma once

#include <ocidl.h>
#include <windows.h>

#include <memory>

#include "base/com/unknown.h"
#include "component/com/connection_point.h"
#include "component/com/dual_dispatch.h"
#include "component/com/event_sinks.h"
#include "component/com/inner_object.h"
#include "component/com/quillmark_com.h"
#include "quillmark/diag_on_can_reprog.h"

namespace quillmark {

class WindowsPlatform;

/// `DiagOnCANReprog` behind COM. quillmark/diag_on_can_reprog.h describes the members; here their
/// arguments are converted, and an error becomes a status with its description.
///
/// Threads: one at a time, as the component. The object belongs to no apartment, so a worker raises
/// the event on its own thread.
class DiagOnCANReprogObject final
    : public Dual<IDiagOnCANReprog, com::Unknown<IDiagOnCANReprog, ::IThread, ISupportErrorInfo,
                                                 IProvideClassInfo2, IConnectionPointContainer>> {
 public:
  explicit DiagOnCANReprogObject(const std::shared_ptr<WindowsPlatform>& platform);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;

  // IDiagOnCANReprog
  HRESULT STDMETHODCALLTYPE CANIDs(LONG RCANId, LONG XCANId) override;
  HRESULT STDMETHODCALLTYPE get_StartDiag(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE gethisto(IDispatch* root, SAFEARRAY** RepHisto, SAFEARRAY** RepReprog,
                                     IDispatch** RepIdent) override;
  HRESULT STDMETHODCALLTYPE readseed(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE getseed(IDispatch* root, IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE dounlock(IDispatch* key, IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE checkunlock(IDispatch* root) override;
  HRESULT STDMETHODCALLTYPE starterase(BYTE RL, IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE checkstarterase(IDispatch* root) override;
  HRESULT STDMETHODCALLTYPE checkerase(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE checkcheckerase(IDispatch* root, VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE checkdownload(IDispatch* root) override;
  HRESULT STDMETHODCALLTYPE startroutine(BYTE Routine, IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE checkstartroutine(IDispatch* root, BYTE Routine) override;
  HRESULT STDMETHODCALLTYPE routinestatus(BYTE Routine, IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE checkroutine(IDispatch* root, BYTE Routine,
                                         VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE writelogzone(IDispatch* Histo, IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE checkwritelogzone(IDispatch* root) override;
  HRESULT STDMETHODCALLTYPE checkupload(IDispatch* root, IDispatch* Image) override;
  HRESULT STDMETHODCALLTYPE stopcomm(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE ComputeDownload(BYTE RL, IDispatch* Image, BYTE FillByte, LONG IMod,
                                            LONG MaxSize) override;
  HRESULT STDMETHODCALLTYPE ComputeUpload(IDispatch* Map, BYTE RL) override;
  HRESULT STDMETHODCALLTYPE TesterPresent(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE FlowControl(LONG BS, LONG STMin) override;

  // IThread
  HRESULT STDMETHODCALLTYPE GetParameter(SAFEARRAY* parameters) override;
  HRESULT STDMETHODCALLTYPE EntryPoint(IUnknown* client) override;

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override;

  // IProvideClassInfo2
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* id) override;

  // IConnectionPointContainer
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

 protected:
  void* Find(REFIID iid) override;

 private:
  /// The callback of a worker. It is a separate part, since its members have the identifiers of
  /// another dual interface.
  class Client final : public Dual<IXMLDocClient, InnerObject<IXMLDocClient>> {
   public:
    explicit Client(DiagOnCANReprogObject& object);

    HRESULT STDMETHODCALLTYPE XMLReady(IDispatch* xml, VARIANT_BOOL* result) override;

   private:
    DiagOnCANReprogObject& object_;
  };

  std::shared_ptr<DiagOnCANReprog> component_;
  std::shared_ptr<EventSinks> sinks_;
  Client client_;
  ConnectionPoint connection_point_;
  com::ComPtr<IUnknown> free_threaded_marshaler_;
};

}  // namespace quillmark
