// SPDX-License-Identifier: MIT
// What the class allows from several threads; all of these run under ThreadSanitizer.
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

using ::testing::SizeIs;

/// Transfers of two documents: 32768 + 7232 bytes.
constexpr std::size_t kImageSize = 40000;

class Threads : public TransferTest, public ::testing::WithParamInterface<Form> {
 protected:
  Threads() { Configure(GetParam()); }

  [[nodiscard]] std::shared_ptr<MemoryImage> TwoDocuments() const {
    return Image({Segment(0, std::string(2 * kImageSize, 'A'))});
  }

  void Start(DiagOnCANReprog& diag) { diag.ComputeDownload(0x80, image_, 0xFF, 1, 128); }
  void Start() { Start(*diag_); }

  const std::shared_ptr<MemoryImage> image_ = TwoDocuments();
};

/// What one host does with an object of its own; the same for every host.
std::string WorkOnAnObject(const std::shared_ptr<PortablePlatform>& platform, const Form& form) {
  const auto diag = CreateDiagOnCANReprog(platform);
  diag->CANIDs(form.RCANId, form.XCANId);
  std::string texts = diag->StartDiag()->xml() + diag->starterase(1)->xml();
  // Kept by the handler, since the worker still holds it when the host continues.
  const auto ended = std::make_shared<std::promise<void>>();
  diag->OnXMLReady([&texts, ended](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    if (!node) {
      ended->set_value();
      return;
    }
    texts += node->xml();
    cancel = false;
  });
  const auto map = platform->CreateMemoryMap();
  map->AddRange(0x1000, static_cast<std::int32_t>(kImageSize));
  diag->ComputeUpload(map, 0x80);
  ended->get_future().wait();
  return texts;
}

TEST_P(Threads, ManyObjectsOnOnePlatform) {
  const std::string alone = WorkOnAnObject(platform_, GetParam());
  std::vector<std::future<std::string>> hosts;
  for (int host = 0; host < 8; ++host) {
    hosts.push_back(std::async(std::launch::async, WorkOnAnObject, platform_, GetParam()));
  }
  for (auto& host : hosts) {
    EXPECT_TRUE(host.get() == alone);
  }
}

TEST_P(Threads, ManyWorkersOnOneObjectWhileItsHandlerIsReplaced) {
  constexpr int kWorkers = 8;
  std::atomic<int> ends = 0;
  const auto handler = [&](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    ends += node ? 0 : 1;
    cancel = false;
  };
  diag_->OnXMLReady(handler);
  for (int worker = 0; worker < kWorkers; ++worker) {
    Start();
    diag_->OnXMLReady(handler);
  }
  while (platform_->RunningWorkers() > 0) {
    diag_->OnXMLReady(handler);
  }
  EXPECT_EQ(ends, kWorkers);
}

TEST_P(Threads, HostWorksOnTheObjectWhileItsHandlerBlocks) {
  std::promise<void> reached;
  std::promise<void> go_on;
  std::atomic<int> events = 0;
  diag_->OnXMLReady([&](const auto&, bool& cancel) {
    if (++events == 1) {
      reached.set_value();
      go_on.get_future().wait();
    }
    cancel = false;
  });
  const std::string before = diag_->readseed()->xml();
  Start();
  reached.get_future().wait();
  EXPECT_EQ(diag_->readseed()->xml(), before);
  // A second transfer of the same object: its three events, and what is left of the first.
  EXPECT_THAT(Collect([&] {
                Start();
                while (platform_->RunningWorkers() > 1) {
                  std::this_thread::yield();
                }
                go_on.set_value();
              }),
              SizeIs(3 + 2));
  EXPECT_EQ(platform_->RunningWorkers(), 0U);
}

TEST_P(Threads, HostChangesItsImageWhileItIsDownloaded) {
  const std::vector<Piece> undisturbed = Collect([&] { Start(); });
  std::promise<void> reached;
  std::promise<void> go_on;
  std::atomic<int> events = 0;
  PieceCollector collector;
  diag_->OnXMLReady([&](const auto& node, bool& cancel) {
    if (++events == 1) {
      reached.set_value();
      go_on.get_future().wait();
    }
    collector(node, cancel);
  });
  Start();
  const auto segment = image_->Segments().front();
  segment->Mid(1, 0)->SetItem(1, 0);
  reached.get_future().wait();
  segment->SetBytes(std::vector<std::uint8_t>(kImageSize));
  go_on.set_value();
  platform_->WaitForWorkers();
  EXPECT_TRUE(collector.Pieces() == undisturbed);
}

TEST_P(Threads, WorkersOfThrowingHandlersDoNotDisturbOthers) {
  const auto other = CreateDiagOnCANReprog(platform_);
  other->CANIDs(GetParam().RCANId, GetParam().XCANId);
  other->OnXMLReady([](const auto&, bool&) { throw std::runtime_error("a host's own"); });
  PieceCollector collector;
  diag_->OnXMLReady(std::ref(collector));
  for (int round = 0; round < 4; ++round) {
    Start(*other);
  }
  Start();
  platform_->WaitForWorkers();
  EXPECT_THAT(collector.Pieces(), SizeIs(3));
}

/// Hands documents from the handler to a reader, as a host does that runs them elsewhere.
class DocumentQueue {
 public:
  void Push(std::shared_ptr<IXMLDOMNode> document) {
    {
      const std::lock_guard lock(mutex_);
      documents_.push_back(std::move(document));
    }
    changed_.notify_one();
  }

  std::shared_ptr<IXMLDOMNode> Pop() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !documents_.empty(); });
    auto document = documents_.front();
    documents_.pop_front();
    return document;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<IXMLDOMNode>> documents_;
};

TEST_P(Threads, HostRunsADocumentWhileTheWorkerBuildsTheNext) {
  DocumentQueue queue;
  diag_->OnXMLReady([&](const auto& node, bool& cancel) {
    queue.Push(node);
    cancel = false;
  });
  Start();
  std::size_t documents = 0;
  while (const auto node = queue.Pop()) {
    const auto document = std::dynamic_pointer_cast<DOMDocument>(node);
    const auto replies = document->selectNodes("//r");
    ASSERT_GT(replies->length(), 0U);
    for (std::size_t index = 0; index < replies->length(); ++index) {
      replies->item(index)->appendChild(document->createElement("d"))->setText("0000");
    }
    EXPECT_NO_THROW(diag_->checkdownload(document));
    EXPECT_EQ(document->selectNodes("//r/d")->length(), replies->length());
    ++documents;
  }
  platform_->WaitForWorkers();
  EXPECT_EQ(documents, 2U);
}

TEST_P(Threads, ObjectsAreReleasedInTheirHandlersAllAtOnce) {
  std::atomic<int> events = 0;
  std::promise<void> started;
  const auto all_started = started.get_future().share();
  for (int object = 0; object < 8; ++object) {
    const auto holder = std::make_shared<std::shared_ptr<DiagOnCANReprog>>();
    *holder = CreateDiagOnCANReprog(platform_);
    (*holder)->CANIDs(GetParam().RCANId, GetParam().XCANId);
    (*holder)->OnXMLReady([&, all_started, holder](const auto&, bool& cancel) {
      all_started.wait();
      holder->reset();
      ++events;
      cancel = false;
    });
    Start(**holder);
  }
  started.set_value();
  platform_->WaitForWorkers();
  EXPECT_EQ(events, 8 * 3);
}

TEST_P(Threads, ObjectsAreReleasedRightAfterTheStart) {
  std::atomic<int> ends = 0;
  for (int object = 0; object < 8; ++object) {
    const auto diag = CreateDiagOnCANReprog(platform_);
    diag->CANIDs(GetParam().RCANId, GetParam().XCANId);
    diag->OnXMLReady([&](const auto& node, bool& cancel) {
      ends += node ? 0 : 1;
      cancel = false;
    });
    Start(*diag);
  }
  platform_->WaitForWorkers();
  EXPECT_EQ(ends, 8);
}

INSTANTIATE_TEST_SUITE_P(Forms, Threads, ::testing::ValuesIn(kAllForms), FormName());

/// Each of these runs in a process of its own, which ends while a worker computes and delivers.
class ExitWhileAWorkerRuns : public ::testing::Test {
 protected:
  ExitWhileAWorkerRuns() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

/// Starts an endless succession of documents; `at_event` is called at each of them.
std::shared_ptr<DiagOnCANReprog> StartLongTransfer(const std::function<void()>& at_event) {
  const auto platform = CreatePortablePlatform();
  auto diag = CreateDiagOnCANReprog(platform);
  diag->CANIDs(1850, 1586);
  diag->OnXMLReady([at_event](const auto&, bool& cancel) {
    at_event();
    cancel = false;
  });
  const auto map = platform->CreateMemoryMap();
  map->AddRange(0, 0x7FFFFFFF);
  diag->ComputeUpload(map, 0x80);
  return diag;
}

[[noreturn]] void ExitAtEvent(int count) {
  std::atomic<int> events = 0;
  const auto diag = StartLongTransfer([&] { ++events; });
  while (events < count) {
    std::this_thread::yield();
  }
  std::exit(0);
}

TEST_F(ExitWhileAWorkerRuns, ByItsMainThread) {
  for (const int count : {0, 1, 3}) {
    EXPECT_EXIT(ExitAtEvent(count), ::testing::ExitedWithCode(0), "^$");
  }
}

TEST_F(ExitWhileAWorkerRuns, InsideTheHandler) {
  EXPECT_EXIT(
      {
        const auto diag = StartLongTransfer([] { std::exit(0); });
        std::promise<void>().get_future().wait();
      },
      ::testing::ExitedWithCode(0), "^$");
}

TEST_F(ExitWhileAWorkerRuns, WithTheObjectInAGlobal) {
  EXPECT_EXIT(
      {
        std::promise<void> delivered;
        std::once_flag once;
        static const auto diag =
            StartLongTransfer([&] { std::call_once(once, [&] { delivered.set_value(); }); });
        delivered.get_future().wait();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "^$");
}

}  // namespace
}  // namespace quillmark::testing
