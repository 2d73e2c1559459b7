// SPDX-License-Identifier: MIT
#include "component/com/event_sinks.h"

#include <oleauto.h>

#include <array>
#include <atomic>
#include <optional>

#include "base/com/status.h"
#include "base/com/variant.h"
#include "component/com/quillmark_com.h"

namespace quillmark {
namespace {

/// `XMLReady` in the event interface.
constexpr DISPID kXMLReady = 1;

com::ComPtr<IGlobalInterfaceTable> GlobalInterfaceTable() {
  com::ComPtr<IGlobalInterfaceTable> table;
  com::Require(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                __uuidof(IGlobalInterfaceTable), table.PutVoid()));
  return table;
}

bool HasNoSuchEvent(HRESULT status) {
  return status == DISP_E_MEMBERNOTFOUND || status == E_NOTIMPL;
}

/// Calls one sink; `cancel` is passed in both directions.
void Call(IDispatch& sink, IDispatch* node, VARIANT_BOOL& cancel) {
  std::array<VARIANT, 2> arguments = {};
  V_VT(&arguments[0]) = VT_BYREF | VT_BOOL;
  V_BOOLREF(&arguments[0]) = &cancel;
  V_VT(&arguments[1]) = VT_DISPATCH;
  V_DISPATCH(&arguments[1]) = node;
  DISPPARAMS parameters = {arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  com::Variant result;
  EXCEPINFO exception = {};
  UINT bad_argument = 0;
  const HRESULT status = sink.Invoke(kXMLReady, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                     &parameters, result.Put(), &exception, &bad_argument);
  if (FAILED(status) && !HasNoSuchEvent(status)) {
    throw com::ErrorOf(status, exception);
  }
}

}  // namespace

/// One sink in the Global Interface Table, from which each apartment gets its own pointer.
class EventSinks::Sink {
 public:
  explicit Sink(IDispatch& sink) {
    com::Require(
        GlobalInterfaceTable()->RegisterInterfaceInGlobal(&sink, __uuidof(IDispatch), &entry_));
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  ~Sink() {
    try {
      GlobalInterfaceTable()->RevokeInterfaceFromGlobal(entry_);
    } catch (const Error&) {
      // COM has ended in this process, and so has the table.
      return;
    }
  }

  void Disconnect() { connected_ = false; }

  /// The sink as seen from the apartment of this thread; null once it is disconnected or its
  /// apartment has ended.
  [[nodiscard]] com::ComPtr<IDispatch> Get() const {
    com::ComPtr<IDispatch> sink;
    if (!connected_ || FAILED(GlobalInterfaceTable()->GetInterfaceFromGlobal(
                           entry_, __uuidof(IDispatch), sink.PutVoid()))) {
      return {};
    }
    return sink;
  }

 private:
  DWORD entry_ = 0;
  std::atomic<bool> connected_ = true;
};

DWORD EventSinks::Advise(IDispatch& sink) {
  auto connected = std::make_shared<Sink>(sink);
  const std::lock_guard lock(mutex_);
  do {
    ++last_cookie_;
  } while (last_cookie_ == 0 || sinks_.contains(last_cookie_));
  sinks_.emplace(last_cookie_, std::move(connected));
  return last_cookie_;
}

bool EventSinks::Unadvise(DWORD cookie) {
  // Destroyed after the lock is released, since a sink that is released may call back.
  std::shared_ptr<Sink> removed;
  const std::lock_guard lock(mutex_);
  const auto found = sinks_.find(cookie);
  if (found == sinks_.end()) {
    return false;
  }
  removed = std::move(found->second);
  removed->Disconnect();
  sinks_.erase(found);
  return true;
}

void EventSinks::Raise(const com::ComPtr<IDispatch>& node, bool& cancel) const {
  VARIANT_BOOL answer = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::optional<Error> failure;
  for (const auto& [cookie, sink] : Current()) {
    try {
      if (const auto receiver = sink->Get()) {
        Call(*receiver, node.get(), answer);
      }
    } catch (const Error& error) {
      failure = failure.value_or(error);
    }
  }
  if (failure) {
    throw Error(*failure);
  }
  cancel = answer != VARIANT_FALSE;
}

std::vector<EventSinks::Connection> EventSinks::Connections() const {
  std::vector<Connection> connections;
  for (const auto& [cookie, sink] : Current()) {
    if (auto receiver = sink->Get()) {
      connections.emplace_back(cookie, std::move(receiver));
    }
  }
  return connections;
}

EventSinks::Snapshot EventSinks::Current() const {
  const std::lock_guard lock(mutex_);
  return {sinks_.begin(), sinks_.end()};
}

}  // namespace quillmark
