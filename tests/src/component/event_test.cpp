// SPDX-License-Identifier: MIT
// What a host sees of a running transfer: the event, its `Cancel`, and the end.
#include <atomic>
#include <future>
#include <stdexcept>

#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

/// Transfers of three documents: 32768 + 32768 + 4464 bytes.
class EventTest : public TransferTest, public ::testing::WithParamInterface<Form> {
 protected:
  EventTest() { Configure(GetParam()); }

  void Start() { diag_->ComputeDownload(0x80, image_, 0xFF, 1, 128); }

  const std::shared_ptr<MemoryImage> image_ =
      Image({Segment(0, std::string(std::size_t{2} * 70000, 'A'))});
};

TEST_P(EventTest, SequenceEndsWithAnEmptyNode) {
  const auto pieces = Collect([this] { Start(); });
  ASSERT_THAT(pieces, SizeIs(4));
  EXPECT_TRUE(pieces[2].has_value());
  EXPECT_EQ(pieces[3], std::nullopt);
}

TEST_P(EventTest, CancelledSequenceHasNoEnd) {
  for (const std::size_t cancel_at : {1U, 2U, 3U}) {
    PieceCollector collector(cancel_at);
    const auto pieces = Collect([this] { Start(); }, collector);
    ASSERT_THAT(pieces, SizeIs(cancel_at));
    EXPECT_TRUE(pieces.back().has_value());
  }
}

TEST_P(EventTest, CancelledUploadHasNoEnd) {
  const auto map = platform_->CreateMemoryMap();
  map->AddRange(0, 70000);
  PieceCollector collector(1);
  EXPECT_THAT(Collect([&] { diag_->ComputeUpload(map, 0x80); }, collector), SizeIs(1));
}

// D24.
TEST_P(EventTest, UntouchedCancelStopsTheWorker) {
  std::atomic<int> events = 0;
  diag_->OnXMLReady([&](const auto&, bool& cancel) {
    EXPECT_TRUE(cancel);
    ++events;
  });
  Start();
  platform_->WaitForWorkers();
  EXPECT_EQ(events, 1);
}

TEST_P(EventTest, WithoutHandlerTheWorkerStops) {
  Start();
  platform_->WaitForWorkers();
  EXPECT_EQ(platform_->RunningWorkers(), 0U);
}

TEST_P(EventTest, RemovedHandlerIsNotCalled) {
  diag_->OnXMLReady([](const auto&, bool&) { FAIL() << "removed"; });
  diag_->OnXMLReady({});
  Start();
  platform_->WaitForWorkers();
}

// D25.
TEST_P(EventTest, ThrowingHandlerEndsTheSequenceWithAnEmptyNode) {
  std::vector<bool> has_node;
  diag_->OnXMLReady([&](const auto& node, bool& /*cancel*/) {
    has_node.push_back(node != nullptr);
    throw std::runtime_error("a host's own");
  });
  Start();
  platform_->WaitForWorkers();
  EXPECT_THAT(has_node, ElementsAre(true, false));
}

TEST_P(EventTest, HandlerMayReplaceItself) {
  PieceCollector collector;
  diag_->OnXMLReady([&](const auto& node, bool& cancel) {
    diag_->OnXMLReady(std::ref(collector));
    collector(node, cancel);
  });
  Start();
  platform_->WaitForWorkers();
  EXPECT_THAT(collector.Pieces(), SizeIs(4));
}

TEST_P(EventTest, DocumentIsFreeThreadedAndTheHosts) {
  std::promise<std::shared_ptr<IXMLDOMNode>> delivered;
  diag_->OnXMLReady([&](const auto& node, bool&) { delivered.set_value(node); });
  Start();
  const auto document =
      std::dynamic_pointer_cast<FreeThreadedDOMDocument>(delivered.get_future().get());
  ASSERT_TRUE(document);
  platform_->WaitForWorkers();
  document->documentElement()->appendChild(document->createElement("e"));
  EXPECT_ERROR(diag_->checkupload(document, Image({})), 4007, "Upload error");
}

TEST_P(EventTest, CallerMayChangeWhileTheWorkerRuns) {
  const auto undisturbed = Collect([this] { Start(); });
  std::promise<void> changed;
  PieceCollector collector;
  diag_->OnXMLReady([&, wait = changed.get_future().share()](const auto& node, bool& cancel) {
    wait.wait();
    collector(node, cancel);
  });
  Start();
  diag_->FlowControl(255, 255);
  diag_->CANIDs(1, 2);
  changed.set_value();
  platform_->WaitForWorkers();
  EXPECT_EQ(collector.Pieces(), undisturbed);
}

TEST_P(EventTest, SeveralWorkersServeOneObject) {
  std::atomic<int> documents = 0;
  std::atomic<int> ends = 0;
  diag_->OnXMLReady([&](const auto& node, bool& cancel) {
    ++(node ? documents : ends);
    cancel = false;
  });
  for (int worker = 0; worker < 4; ++worker) {
    Start();
  }
  platform_->WaitForWorkers();
  EXPECT_EQ(documents, 12);
  EXPECT_EQ(ends, 4);
}

TEST_P(EventTest, ObjectMayBeReleasedInItsHandler) {
  std::promise<void> started;
  auto wait = started.get_future().share();
  std::atomic<int> events = 0;
  diag_->OnXMLReady([&, wait](const auto& /*node*/, bool& cancel) {
    wait.wait();
    diag_.reset();
    ++events;
    cancel = false;
  });
  Start();
  started.set_value();
  platform_->WaitForWorkers();
  EXPECT_EQ(events, 4);
}

TEST_P(EventTest, ObjectMayBeReleasedRightAfterTheStart) {
  PieceCollector collector;
  diag_->OnXMLReady(std::ref(collector));
  Start();
  diag_.reset();
  platform_->WaitForWorkers();
  EXPECT_THAT(collector.Pieces(), SizeIs(4));
}

INSTANTIATE_TEST_SUITE_P(Forms, EventTest, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
