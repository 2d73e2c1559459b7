// SPDX-License-Identifier: MIT
// Workers and their events in hosts of both kinds of apartment, and what is left afterwards:
// nothing.
#include <gtest/gtest.h>
#include <ocidl.h>
#include <windows.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <string>

#include "base/com/apartment.h"
#include "base/com/com_ptr.h"
#include "component/com/quillmark_com.h"
#include "host/windows/client/event_receiver.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/windows_platform.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

/// Lets calls of other apartments in until `done`; false if that takes too long.
bool WaitUntil(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + 60s;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    com::PumpFor(10ms);
  }
  return true;
}

/// What the events of one object delivered.
struct Events {
  std::atomic<int> documents = 0;
  std::atomic<int> ends = 0;
  std::atomic<int> on_host_thread = 0;
  std::atomic<int> total_bytes = 0;

  [[nodiscard]] int All() const { return documents + ends; }
};

/// An object with a sink, as a C++ host has it.
class HostedObject {
 public:
  using Handler = DiagOnCANReprog::XMLReadyHandler;

  HostedObject() {
    CLSID id = {};
    com::Require(CLSIDFromProgID(L"Quillmark.DiagOnCANReprog", &id));
    com::Require(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDiagOnCANReprog),
                                  object_.PutVoid()));
    const auto container = object_.As<IConnectionPointContainer>();
    com::Require(container->FindConnectionPoint(__uuidof(_IDiagOnCANReprogEvents), events_.Put()));
    com::Require(events_->Advise(receiver_.get(), &cookie_));
  }

  void OnEvent(Handler handler) { receiver_->SetHandler(std::move(handler)); }

  /// Starts the upload of 70,000 bytes in K line form: three documents and the end.
  void StartUpload() {
    com::Require(object_->CANIDs(0, 0x11));
    const std::shared_ptr<Platform> platform = CreateWindowsPlatform();
    const auto map = platform->CreateMemoryMap();
    map->AddRange(0, 70'000);
    transfers_->Begin();
    com::Require(object_->ComputeUpload(windows::DispatchOf(map).get(), 1));
  }

  void Unadvise() {
    com::Require(events_->Unadvise(cookie_));
    events_ = {};
  }

  /// Releases the host's last reference.
  void Release() { object_ = {}; }

 private:
  std::shared_ptr<RunningTransfers> transfers_ = std::make_shared<RunningTransfers>();
  com::ComPtr<EventReceiver> receiver_ =
      com::ComPtr<EventReceiver>::Adopt(new EventReceiver(transfers_));
  com::ComPtr<IDiagOnCANReprog> object_;
  com::ComPtr<IConnectionPoint> events_;
  DWORD cookie_ = 0;
};

/// Asks a server that stays loaded whether anything of it is in use.
class LoadedServer {
 public:
  explicit LoadedServer(const wchar_t* name) : module_(LoadLibraryW(name)) {}
  LoadedServer(const LoadedServer&) = delete;
  LoadedServer& operator=(const LoadedServer&) = delete;
  LoadedServer(LoadedServer&&) = delete;
  LoadedServer& operator=(LoadedServer&&) = delete;
  ~LoadedServer() { FreeLibrary(module_); }

  [[nodiscard]] bool CanUnload() const {
    const auto entry = reinterpret_cast<HRESULT(WINAPI*)()>(
        reinterpret_cast<void*>(GetProcAddress(module_, "DllCanUnloadNow")));
    return entry() == S_OK;
  }

 private:
  HMODULE module_;
};

class Apartments : public ::testing::TestWithParam<COINIT> {
 protected:
  /// Every test ends with nothing left: no object, no lock, no worker.
  void TearDown() override {
    EXPECT_TRUE(WaitUntil([&] { return quillmark_.CanUnload(); }));
    EXPECT_TRUE(WaitUntil([&] { return vantrel_.CanUnload(); }));
    std::cout << "quillmark.dll " << (quillmark_.CanUnload() ? "unused" : "in use")
              << ", vantrel.dll " << (vantrel_.CanUnload() ? "unused" : "in use") << '\n';
  }

  /// Counts into `events` and asks for the next document.
  HostedObject::Handler Count(const std::shared_ptr<Events>& events) const {
    return [events, host = GetCurrentThreadId()](const std::shared_ptr<IXMLDOMNode>& node,
                                                 bool& cancel) {
      EXPECT_TRUE(cancel);
      events->on_host_thread += GetCurrentThreadId() == host ? 1 : 0;
      if (node) {
        const auto document = std::dynamic_pointer_cast<DOMDocument>(node);
        ASSERT_NE(document, nullptr);
        events->total_bytes += std::stoi(*document->documentElement()->getAttribute("totalbytes"));
        ++events->documents;
      } else {
        ++events->ends;
      }
      cancel = false;
    };
  }

  [[nodiscard]] static bool IsSingleThreaded() { return GetParam() == COINIT_APARTMENTTHREADED; }

  const LoadedServer quillmark_{L"quillmark.dll"};
  const LoadedServer vantrel_{L"vantrel.dll"};
  const com::Apartment apartment_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Host, Apartments,
                         ::testing::Values(COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED),
                         [](const auto& kind) {
                           return kind.param == COINIT_APARTMENTTHREADED ? "SingleThreaded"
                                                                         : "MultiThreaded";
                         });

TEST_P(Apartments, EventsArriveOnTheThreadThatTheSinkBelongsTo) {
  const auto events = std::make_shared<Events>();
  HostedObject object;
  object.OnEvent(Count(events));
  object.StartUpload();
  ASSERT_TRUE(WaitUntil([&] { return events->ends == 1; }));
  EXPECT_EQ(events->documents, 3);
  EXPECT_EQ(events->total_bytes, 70'000);
  EXPECT_EQ(events->on_host_thread, IsSingleThreaded() ? 4 : 0);
  object.Unadvise();
}

TEST_P(Apartments, TwoWorkersOnOneObjectBothEnd) {
  const auto events = std::make_shared<Events>();
  HostedObject object;
  object.OnEvent(Count(events));
  object.StartUpload();
  object.StartUpload();
  ASSERT_TRUE(WaitUntil([&] { return events->ends == 2; }));
  EXPECT_EQ(events->documents, 6);
  EXPECT_EQ(events->total_bytes, 140'000);
  object.Unadvise();
}

TEST_P(Apartments, ObjectMayBeReleasedInsideTheHandler) {
  const auto events = std::make_shared<Events>();
  HostedObject object;
  object.OnEvent([&, count = Count(events)](const auto& node, bool& cancel) {
    object.Release();
    count(node, cancel);
  });
  object.StartUpload();
  ASSERT_TRUE(WaitUntil([&] { return events->ends == 1; }));
  EXPECT_EQ(events->documents, 3);
  object.Unadvise();
}

TEST_P(Apartments, SinkMayBeUnadvisedInsideTheHandler) {
  const auto events = std::make_shared<Events>();
  HostedObject object;
  object.OnEvent([&, count = Count(events)](const auto& node, bool& cancel) {
    count(node, cancel);
    object.Unadvise();
  });
  object.StartUpload();
  ASSERT_TRUE(WaitUntil([&] { return events->documents == 1; }));
  com::PumpFor(300ms);
  EXPECT_EQ(events->All(), 1);
}

TEST_P(Apartments, HostMayGiveEverythingBackWhileAWorkerRuns) {
  HostedObject object;
  object.StartUpload();
  object.Unadvise();
  object.Release();
}

}  // namespace
}  // namespace quillmark::host
