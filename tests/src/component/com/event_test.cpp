// SPDX-License-Identifier: MIT
#include <atomic>
#include <mutex>
#include <thread>

#include "base/com/dispatch.h"
#include "tests/src/component/com/com_test.h"

namespace quillmark::testing {
namespace {

constexpr BYTE kMemory = 0x85;
constexpr LONG kSegment = 40000;

/// An image of one segment, which a download sends in two documents.
ObjectPtr NewImage() {
  const ObjectPtr bytes = NewByteString("");
  const com::Variant length = com::Variant::OfLong(kSegment);
  com::SetProperty(*bytes, com::MemberOf(*bytes, L"Length"), {&length.get()});
  ObjectPtr image = NewObject(L"Vantrel.MemoryImage");
  CallByName(*image, L"AddSegment", {com::Variant::OfObject(bytes)});
  return image;
}

void StartDownload(const DiagPtr& diag) {
  RequireCall(diag->ComputeDownload(kMemory, NewImage().get(), 0xFF, 0x100, 0xFF));
}

/// The events that a sink has received, one letter each: D for a document, E for the end.
class Record {
 public:
  void Add(IDispatch* node) {
    const std::lock_guard lock(mutex_);
    events_ += node == nullptr ? 'E' : 'D';
    threads_.push_back(GetCurrentThreadId());
  }
  [[nodiscard]] std::string Events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }
  [[nodiscard]] std::vector<DWORD> Threads() const {
    const std::lock_guard lock(mutex_);
    return threads_;
  }

 private:
  mutable std::mutex mutex_;
  std::string events_;
  std::vector<DWORD> threads_;
};

class EventTest : public ComTest {
 protected:
  EventTest() : diag_(NewDiag()) { RequireCall(diag_->CANIDs(1850, 1586)); }

  void TearDown() override {
    diag_ = {};
    ComTest::TearDown();
  }

  /// Receives events and answers each with `cancel`.
  EventSink::Handler Answering(VARIANT_BOOL cancel) {
    return [this, cancel](IDispatch* node, VARIANT_BOOL& answer) {
      EXPECT_EQ(answer, VARIANT_TRUE);
      record_.Add(node);
      answer = cancel;
    };
  }

  /// True once these events have come; more may follow.
  [[nodiscard]] bool Heard(const std::string& events) {
    return PumpUntil([&] { return record_.Events().size() >= events.size(); }) &&
           record_.Events() == events;
  }

  /// True once the worker has ended; the object itself keeps the module loaded.
  [[nodiscard]] bool WorkerEnds() {
    diag_ = {};
    return PumpUntil([&] { return module_.CanUnload(); });
  }

  DiagPtr diag_;
  Record record_;
};

TEST_F(EventTest, AHandlerThatSaysFalseReceivesEverythingAndTheEnd) {
  const DWORD cookie = Connect(diag_, Answering(VARIANT_FALSE));
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DDE")) << record_.Events();
  Disconnect(diag_, cookie);
}

TEST_F(EventTest, AHandlerThatLeavesCancelAloneReceivesOneDocument) {
  const DWORD cookie = Connect(diag_, Answering(VARIANT_TRUE));
  StartDownload(diag_);
  EXPECT_TRUE(Heard("D"));
  Disconnect(diag_, cookie);
  EXPECT_TRUE(WorkerEnds());
  EXPECT_EQ(record_.Events(), "D");
}

TEST_F(EventTest, ASinkOfASingleThreadedApartmentIsCalledOnItsThread) {
  const DWORD cookie = Connect(diag_, Answering(VARIANT_FALSE));
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DDE"));
  for (const DWORD thread : record_.Threads()) {
    EXPECT_EQ(thread, GetCurrentThreadId());
  }
  Disconnect(diag_, cookie);
}

TEST_F(EventTest, ASinkOfTheMultithreadedApartmentIsCalledOnTheWorkersThread) {
  DWORD cookie = 0;
  DWORD own_thread = 0;
  std::thread([&] {
    const com::Apartment apartment(COINIT_MULTITHREADED);
    own_thread = GetCurrentThreadId();
    cookie = Connect(diag_, Answering(VARIANT_FALSE));
    StartDownload(diag_);
    EXPECT_TRUE(Heard("DDE"));
    Disconnect(diag_, cookie);
  }).join();
  const std::vector<DWORD> threads = record_.Threads();
  ASSERT_EQ(threads.size(), 3U);
  for (const DWORD thread : threads) {
    EXPECT_EQ(thread, threads.front());
    EXPECT_NE(thread, own_thread);
    EXPECT_NE(thread, GetCurrentThreadId());
  }
}

TEST_F(EventTest, EverySinkIsCalledAndTheLastAnswerCounts) {
  Record second;
  const DWORD first = Connect(diag_, Answering(VARIANT_TRUE));
  const DWORD last = Connect(diag_, [&](IDispatch* node, VARIANT_BOOL& cancel) {
    second.Add(node);
    cancel = VARIANT_FALSE;
  });
  EXPECT_NE(first, last);
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DDE"));
  EXPECT_TRUE(PumpUntil([&] { return second.Events() == "DDE"; }));
  Disconnect(diag_, first);
  Disconnect(diag_, last);
}

TEST_F(EventTest, ASinkWithoutTheEventCountsAsNone) {
  class Deaf final : public com::InvokeOnly {
    HRESULT STDMETHODCALLTYPE Invoke(DISPID /*member*/, REFIID /*reserved*/, LCID /*locale*/,
                                     WORD /*kind*/, DISPPARAMS* /*parameters*/, VARIANT* /*result*/,
                                     EXCEPINFO* /*exception*/, UINT* /*bad_argument*/) override {
      return DISP_E_MEMBERNOTFOUND;
    }
  };
  const auto deaf = com::ComPtr<IDispatch>::Adopt(new Deaf);
  DWORD deaf_cookie = 0;
  ASSERT_EQ(EventsOf(diag_)->Advise(deaf.get(), &deaf_cookie), S_OK);
  const DWORD cookie = Connect(diag_, Answering(VARIANT_FALSE));
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DDE"));
  Disconnect(diag_, cookie);
  Disconnect(diag_, deaf_cookie);
}

TEST_F(EventTest, AHandlerThatFailsEndsTheRunWithTheEmptyNode) {
  const DWORD cookie = Connect(diag_, [this](IDispatch* node, VARIANT_BOOL& cancel) {
    record_.Add(node);
    cancel = VARIANT_FALSE;
    if (node != nullptr) {
      throw Error(1000);
    }
  });
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DE"));
  Disconnect(diag_, cookie);
  EXPECT_TRUE(WorkerEnds());
  EXPECT_EQ(record_.Events(), "DE");
}

TEST_F(EventTest, WithoutASinkAWorkerEndsByItself) {
  StartDownload(diag_);
  EXPECT_TRUE(WorkerEnds());
}

TEST_F(EventTest, AHandlerMayReleaseTheLastReferenceOfTheHost) {
  Connect(diag_, [this](IDispatch* node, VARIANT_BOOL& cancel) {
    diag_ = {};
    record_.Add(node);
    cancel = VARIANT_FALSE;
  });
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DDE"));
}

TEST_F(EventTest, AHandlerMayDisconnectItself) {
  DWORD cookie = 0;
  cookie = Connect(diag_, [&](IDispatch* node, VARIANT_BOOL& cancel) {
    record_.Add(node);
    Disconnect(diag_, cookie);
    cancel = VARIANT_FALSE;
  });
  StartDownload(diag_);
  EXPECT_TRUE(Heard("D"));
  EXPECT_TRUE(WorkerEnds());
  EXPECT_EQ(record_.Events(), "D");
}

TEST_F(EventTest, AHandlerMayUseItsDocument) {
  std::string totals;
  const DWORD cookie = Connect(diag_, [&](IDispatch* node, VARIANT_BOOL& cancel) {
    if (node != nullptr) {
      const com::Variant root = CallByName(*node, L"documentElement");
      const com::Variant total = CallByName(*V_DISPATCH(&root.get()), L"getAttribute",
                                            {com::Variant::OfText(com::Bstr(L"totalbytes"))});
      totals += com::Utf8Of(com::View(V_BSTR(&total.get()))) + " ";
      RequireCall(diag_->checkdownload(node));
    }
    record_.Add(node);
    cancel = VARIANT_FALSE;
  });
  StartDownload(diag_);
  EXPECT_TRUE(Heard("DDE"));
  EXPECT_EQ(totals, "32895 7105 ");
  Disconnect(diag_, cookie);
}

TEST_F(EventTest, TwoWorkersOfOneObjectBothDeliver) {
  const DWORD cookie = Connect(diag_, Answering(VARIANT_FALSE));
  StartDownload(diag_);
  StartDownload(diag_);
  EXPECT_TRUE(PumpUntil([&] { return record_.Events().size() == 6; })) << record_.Events();
  Disconnect(diag_, cookie);
}

TEST_F(EventTest, SinksComeAndGoWhileWorkersRun) {
  constexpr int kRounds = 200;
  std::thread([&] {
    const com::Apartment apartment(COINIT_MULTITHREADED);
    const DWORD steady = Connect(diag_, Answering(VARIANT_FALSE));
    StartDownload(diag_);
    StartDownload(diag_);
    for (int round = 0; round < kRounds; ++round) {
      Disconnect(diag_, Connect(diag_, [](IDispatch*, VARIANT_BOOL&) {}));
    }
    EXPECT_TRUE(PumpUntil([&] { return record_.Events().size() == 6; })) << record_.Events();
    Disconnect(diag_, steady);
  }).join();
}

TEST_F(EventTest, ASinkWhoseApartmentHasEndedHoldsNothingUp) {
  std::thread([&] {
    const com::Apartment apartment(COINIT_APARTMENTTHREADED);
    Connect(diag_, Answering(VARIANT_FALSE));
  }).join();
  StartDownload(diag_);
  EXPECT_TRUE(WorkerEnds());
  EXPECT_EQ(record_.Events(), "");
}

TEST(Unloading, IsSafeAsSoonAsTheModuleSaysSo) {
  constexpr int kRounds = 20;
  const com::Apartment apartment(COINIT_APARTMENTTHREADED);
  for (int round = 0; round < kRounds; ++round) {
    {
      const DiagPtr diag = NewDiag();
      RequireCall(diag->CANIDs(1850, 1586));
      StartDownload(diag);
    }
    EXPECT_TRUE(PumpUntil([] {
      CoFreeUnusedLibrariesEx(0, 0);
      return GetModuleHandleW(L"quillmark.dll") == nullptr;
    })) << round;
  }
}

TEST_F(EventTest, AConnectionPointAnswersForItsObject) {
  const auto point = EventsOf(diag_);
  com::ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(point->GetConnectionPointContainer(container.Put()), S_OK);
  EXPECT_EQ(container.As<IUnknown>().get(), diag_.As<IUnknown>().get());
  IID iid = {};
  EXPECT_EQ(point->GetConnectionInterface(&iid), S_OK);
  EXPECT_EQ(iid, __uuidof(_IDiagOnCANReprogEvents));
  com::ComPtr<IConnectionPoint> none;
  EXPECT_EQ(container->FindConnectionPoint(IID_IDispatch, none.Put()),
            static_cast<HRESULT>(0x80040200));
  EXPECT_EQ(point->Unadvise(77), static_cast<HRESULT>(0x80040200));
  EXPECT_EQ(point->Advise(nullptr, nullptr), E_POINTER);
}

TEST_F(EventTest, ConnectionsAreListed) {
  const DWORD cookie = Connect(diag_, Answering(VARIANT_FALSE));
  com::ComPtr<IEnumConnections> connections;
  ASSERT_EQ(EventsOf(diag_)->EnumConnections(connections.Put()), S_OK);
  CONNECTDATA data[2] = {};
  ULONG fetched = 0;
  ASSERT_EQ(connections->Next(2, data, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 1U);
  EXPECT_EQ(data[0].dwCookie, cookie);
  data[0].pUnk->Release();
  Disconnect(diag_, cookie);

  com::ComPtr<IEnumConnectionPoints> points;
  ASSERT_EQ(diag_.As<IConnectionPointContainer>()->EnumConnectionPoints(points.Put()), S_OK);
  com::ComPtr<IConnectionPoint> point;
  ASSERT_EQ(points->Next(1, point.Put(), nullptr), S_OK);
  EXPECT_EQ(point.get(), EventsOf(diag_).get());
  EXPECT_EQ(points->Next(1, point.Put(), nullptr), S_FALSE);
  EXPECT_EQ(points->Reset(), S_OK);
  EXPECT_EQ(points->Skip(2), S_FALSE);
}

}  // namespace
}  // namespace quillmark::testing
