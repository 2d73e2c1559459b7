// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <atomic>
#include <functional>

#include "quillmark/diag_on_can_reprog.h"
#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

/// Stands in for the component's worker.
class FakeWorker : public IThread {
 public:
  using Run = std::function<void(XMLDocClient& client)>;

  explicit FakeWorker(Run run) : run_(std::move(run)) {}

  std::int32_t GetParameter(ParameterList /*parameters*/) override { return 0; }
  std::int32_t EntryPoint(const std::shared_ptr<Object>& client) override {
    run_(dynamic_cast<XMLDocClient&>(*client));
    return 0;
  }

 private:
  Run run_;
};

/// An object that no thread can run.
class NoThread : public Object {};

class TransferLawTest : public ::testing::Test {
 protected:
  TransferLawTest() {
    workshop_.AddSegment(0x1000, Pattern(100));
    workshop_.Open();
  }
  ~TransferLawTest() override { workshop_.platform->WaitForWorkers(); }

  /// Programs with `run` instead of the component's worker.
  std::optional<Failure> ProgramWith(const FakeWorker::Run& run) {
    workshop_.platform->RegisterClass(
        std::string(DiagOnCANReprog::kProgID),
        [run](const std::shared_ptr<Platform>&) { return std::make_shared<FakeWorker>(run); });
    return workshop_.FailureOfProgram();
  }

  std::shared_ptr<DOMDocument> Piece(const std::string& root) {
    std::shared_ptr<DOMDocument> document = workshop_.platform->CreateFreeThreadedDOMDocument();
    document->loadXML(root);
    return document;
  }

  Workshop workshop_{TransportForm::kPlainCan};
};

TEST_F(TransferLawTest, AnEndWithoutAllBytesIsAFailure) {
  const auto failure = ProgramWith([](XMLDocClient& client) { client.XMLReady(nullptr); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kDownload);
  EXPECT_EQ(failure->cause, Cause::kIncomplete);
  EXPECT_EQ(failure->text, "the transfer ended after 0 of 100 bytes");
}

TEST_F(TransferLawTest, TheDocumentsOfAFailedWorkerAreStillCounted) {
  const auto failure = ProgramWith([this](XMLDocClient& client) {
    EXPECT_TRUE(client.XMLReady(Piece("<can totalbytes='60'><x i='1850'><i>1586</i></x></can>")));
    client.XMLReady(nullptr);
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->text, "the transfer ended after 60 of 100 bytes");
}

TEST_F(TransferLawTest, TooManyBytesAreAFailureToo) {
  const auto failure = ProgramWith([this](XMLDocClient& client) {
    client.XMLReady(Piece("<can totalbytes='101'><x i='1850'><i>1586</i></x></can>"));
    client.XMLReady(nullptr);
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->cause, Cause::kIncomplete);
}

TEST_F(TransferLawTest, ADocumentThatDoesNotSayItsBytesIsAFailure) {
  for (const char* root : {"<can/>", "<can totalbytes=''/>", "<can totalbytes='-1'/>",
                           "<can totalbytes='1x'/>", "<can totalbytes='99999999999'/>"}) {
    const auto failure = ProgramWith([&](XMLDocClient& client) {
      client.XMLReady(Piece(root));
      client.XMLReady(nullptr);
    });
    ASSERT_TRUE(failure) << root;
    EXPECT_EQ(failure->cause, Cause::kComponent);
    EXPECT_EQ(failure->text, "a transfer document does not say how many bytes it covers");
  }
}

TEST_F(TransferLawTest, ADocumentThatIsNoneIsAFailureBeforeAnythingIsSent) {
  const auto failure = ProgramWith([this](XMLDocClient& client) {
    client.XMLReady(Piece("<can totalbytes='100'/>"));
    client.XMLReady(nullptr);
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kDownload);
  EXPECT_EQ(failure->cause, Cause::kComponent);
  EXPECT_EQ(failure->number, 13);
}

TEST_F(TransferLawTest, AWorkerThatDoesNotStartIsAFailure) {
  workshop_.platform->RegisterClass(
      std::string(DiagOnCANReprog::kProgID),
      [](const std::shared_ptr<Platform>&) { return std::make_shared<NoThread>(); });
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kDownload);
  EXPECT_EQ(failure->cause, Cause::kComponent);
  EXPECT_EQ(failure->number, PortablePlatform::kNoSuchInterface);
}

TEST_F(TransferLawTest, AWorkerAheadOfTheBusIsStoppedByAFailure) {
  std::atomic<bool> stopped = false;
  const auto failure = ProgramWith([&](XMLDocClient& client) {
    while (
        client.XMLReady(Piece("<can totalbytes='1'><x i='1850'><i>1586</i>"
                              "<s><d>0331020100000000</d></s><r><c>00</c></r></x></can>"))) {
    }
    stopped = true;
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->number, 4005);
  workshop_.platform->WaitForWorkers();
  EXPECT_TRUE(stopped);
}

}  // namespace
}  // namespace quillmark::host
