// SPDX-License-Identifier: MIT
#include "host/windows/script_host/script.h"

#include <servprov.h>

#include <iostream>
#include <string_view>
#include <utility>

#include "base/com/status.h"
#include "base/com/text.h"
#include "base/com/unknown.h"

namespace quillmark::script_host {
namespace {

constexpr const wchar_t* kItemName = L"WScript";

}  // namespace

/// What the engine asks its host for, and reports to it.
class Script::Site final : public com::Unknown<IActiveScriptSite, IServiceProvider> {
 public:
  explicit Site(com::ComPtr<WScript> wscript) : wscript_(std::move(wscript)) {}

  void BeginFile(std::wstring file) {
    files_.push_back(std::move(file));
    failed_ = false;
  }
  /// Identifies the file in errors.
  [[nodiscard]] DWORD Context() const { return static_cast<DWORD>(files_.size() - 1); }
  [[nodiscard]] bool failed() const { return failed_; }

  HRESULT STDMETHODCALLTYPE GetLCID(LCID* /*locale*/) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item,
                                        ITypeInfo** info) override {
    if (std::wstring_view(name) != kItemName) {
      return TYPE_E_ELEMENTNOTFOUND;
    }
    if ((mask & SCRIPTINFO_ITYPEINFO) != 0 && info != nullptr) {
      *info = nullptr;
    }
    if ((mask & SCRIPTINFO_IUNKNOWN) != 0 && item != nullptr) {
      *item = wscript_.As<IUnknown>().Detach();
    }
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR* /*version*/) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT* /*result*/,
                                              const EXCEPINFO* /*exception*/) override {
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE /*state*/) override { return S_OK; }

  HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError* error) override {
    failed_ = true;
    EXCEPINFO exception = {};
    error->GetExceptionInfo(&exception);
    const Error reported = com::ErrorOf(DISP_E_EXCEPTION, exception);
    DWORD context = 0;
    ULONG line = 0;
    LONG column = 0;
    error->GetSourcePosition(&context, &line, &column);
    std::cerr << com::Utf8Of(context < files_.size() ? files_[context] : L"event") << '('
              << line + 1 << ',' << column + 1 << "): error " << reported.Number() << ": "
              << reported.Description() << std::endl;
    return S_OK;
  }

  // Some engines give every object that a script creates its own site, and ask for this; no service
  // is offered.
  HRESULT STDMETHODCALLTYPE QueryService(REFGUID /*service*/, REFIID /*iid*/,
                                         void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }

  HRESULT STDMETHODCALLTYPE OnEnterScript() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnLeaveScript() override { return S_OK; }

 private:
  com::ComPtr<WScript> wscript_;
  std::vector<std::wstring> files_;
  bool failed_ = false;
};

Script::Script(const std::wstring& engine, com::ComPtr<WScript> wscript)
    : wscript_(std::move(wscript)), site_(com::ComPtr<Site>::Adopt(new Site(wscript_))) {
  CLSID id = {};
  com::Require(CLSIDFromProgID(engine.c_str(), &id));
  com::Require(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IActiveScript),
                                engine_.PutVoid()));
  com::Require(engine_->SetScriptSite(site_.get()));
  com::Require(engine_.As<IActiveScriptParse>()->InitNew());
  com::Require(engine_->AddNamedItem(kItemName, SCRIPTITEM_ISVISIBLE));
  com::Require(engine_->SetScriptState(SCRIPTSTATE_STARTED));
  com::ComPtr<IDispatch> procedures;
  com::Require(engine_->GetScriptDispatch(nullptr, procedures.Put()));
  wscript_->SetScript(std::move(procedures));
}

Script::~Script() {
  wscript_->Disconnect();
  engine_->Close();
}

bool Script::Run(const std::wstring& file, const std::wstring& text) {
  site_->BeginFile(file);
  EXCEPINFO exception = {};
  const HRESULT status = engine_.As<IActiveScriptParse>()->ParseScriptText(
      text.c_str(), nullptr, nullptr, nullptr, site_->Context(), 0, SCRIPTTEXT_ISVISIBLE, nullptr,
      &exception);
  return SUCCEEDED(status) && !site_->failed();
}

}  // namespace quillmark::script_host
