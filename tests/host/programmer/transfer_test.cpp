// SPDX-License-Identifier: MIT
#include "quillmark/host/transfer.h"

#include <gmock/gmock.h>

#include <future>

#include "quillmark/forwarding_platform.h"
#include "quillmark/portable_platform.h"
#include "support/expect_error.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using State = Transfer::State;

constexpr std::int32_t kPlainCanReceive = 1850;
constexpr std::int32_t kPlainCanSend = 1586;

class TransferTest : public ::testing::Test {
 protected:
  TransferTest() { reprog_->CANIDs(kPlainCanReceive, kPlainCanSend); }
  ~TransferTest() override { platform_->WaitForWorkers(); }

  std::shared_ptr<MemoryImage> Image(std::int32_t size) {
    const auto segment = platform_->CreateByteString();
    segment->SetLength(size);
    segment->SetStartAddress(0x1000);
    auto image = platform_->CreateMemoryImage();
    image->AddSegment(*segment);
    return image;
  }
  Transfer Download(std::int32_t size, std::int32_t alignment = 16) {
    return Transfer::Download(reprog_, 1, Image(size), 0xFF, alignment, 240);
  }

  static std::shared_ptr<DOMDocument> Next(Transfer& transfer) { return transfer.Next(1min); }
  static int CountDocuments(Transfer& transfer) {
    int documents = 0;
    while (Next(transfer)) {
      ++documents;
    }
    return documents;
  }

  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::shared_ptr<DiagOnCANReprog> reprog_ = CreateDiagOnCANReprog(platform_);
};

TEST_F(TransferTest, GivesTheDocumentsOfADownload) {
  Transfer transfer = Download(100'000);
  EXPECT_EQ(transfer.state(), State::kRunning);
  EXPECT_EQ(transfer.size(), 100'000U);
  EXPECT_EQ(CountDocuments(transfer), 4);
  EXPECT_EQ(transfer.state(), State::kComplete);
  EXPECT_EQ(transfer.covered(), 100'000U);
  EXPECT_FALSE(transfer.error());
  EXPECT_EQ(Next(transfer), nullptr);
}

TEST_F(TransferTest, GivesTheDocumentsOfAnUpload) {
  const auto map = platform_->CreateMemoryMap();
  map->AddRange(0x1000, 40);
  map->AddRange(0x9000, 60);
  Transfer transfer = Transfer::Upload(reprog_, map, 1);
  EXPECT_EQ(CountDocuments(transfer), 1);
  EXPECT_EQ(transfer.state(), State::kComplete);
  EXPECT_EQ(transfer.covered(), 100U);
}

TEST_F(TransferTest, CountsADocumentOnceItIsGivenOut) {
  Transfer transfer = Download(40'000);
  EXPECT_EQ(transfer.covered(), 0U);
  ASSERT_TRUE(Next(transfer));
  EXPECT_GT(transfer.covered(), 30'000U);
  EXPECT_LT(transfer.covered(), 40'000U);
}

TEST_F(TransferTest, FailsWithTheErrorOfItsWorker) {
  Transfer transfer = Download(100, 0);
  EXPECT_EQ(Next(transfer), nullptr);
  EXPECT_EQ(transfer.state(), State::kFailed);
  ASSERT_TRUE(transfer.error());
  EXPECT_EQ(transfer.error()->Number(), error_number::kDivisionByZero);
  EXPECT_EQ(transfer.error()->Description(), "Division by zero");
}

TEST_F(TransferTest, RaisesWhatCannotBeStarted) {
  EXPECT_ERROR(Transfer::Download(reprog_, 1, nullptr, 0xFF, 16, 240), 91,
               "Object variable or With block variable not set");
  EXPECT_ERROR(Transfer::Download(reprog_, 1, Image(1), 0xFF, 16, 256), 1000,
               "Invalid block size (256)");
}

TEST_F(TransferTest, IsCancelledByItsOwner) {
  Transfer transfer = Download(1'000'000);
  ASSERT_TRUE(Next(transfer));
  transfer.Cancel();
  EXPECT_EQ(transfer.state(), State::kCancelled);
  EXPECT_EQ(Next(transfer), nullptr);
  platform_->WaitForWorkers(*reprog_);
}

TEST_F(TransferTest, IsCancelledWhenItGoes) {
  static_cast<void>(Download(1'000'000));
  platform_->WaitForWorkers(*reprog_);
}

TEST_F(TransferTest, LeavesItsObjectFreeForTheNext) {
  for (int i = 0; i < 50; ++i) {
    static_cast<void>(Download(1'000'000));
    Transfer transfer = Download(100);
    EXPECT_EQ(CountDocuments(transfer), 1);
    EXPECT_EQ(transfer.state(), State::kComplete);
  }
}

/// Holds up the worker's first document until the gate opens.
class SlowPlatform : public ForwardingPlatform {
 public:
  SlowPlatform(std::shared_ptr<Platform> platform, std::shared_future<void> gate)
      : ForwardingPlatform(std::move(platform)), gate_(std::move(gate)) {}

  std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                           const std::shared_ptr<Object>& client) override {
    return ForwardingPlatform::StartThread(
        progID, parameters,
        std::make_shared<SlowClient>(std::dynamic_pointer_cast<XMLDocClient>(client), gate_));
  }

 private:
  class SlowClient : public XMLDocClient {
   public:
    SlowClient(std::shared_ptr<XMLDocClient> client, std::shared_future<void> gate)
        : client_(std::move(client)), gate_(std::move(gate)) {}

    bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
      gate_.wait();
      return client_->XMLReady(xml);
    }

   private:
    std::shared_ptr<XMLDocClient> client_;
    std::shared_future<void> gate_;
  };

  std::shared_future<void> gate_;
};

TEST_F(TransferTest, IsStillRunningWhereNoDocumentCameInTime) {
  std::promise<void> go;
  reprog_ =
      CreateDiagOnCANReprog(std::make_shared<SlowPlatform>(platform_, go.get_future().share()));
  reprog_->CANIDs(kPlainCanReceive, kPlainCanSend);
  Transfer transfer = Download(100);
  EXPECT_EQ(transfer.Next(1ms), nullptr);
  EXPECT_EQ(transfer.state(), State::kRunning);
  go.set_value();
  EXPECT_NE(Next(transfer), nullptr);
}

}  // namespace
}  // namespace quillmark::host
