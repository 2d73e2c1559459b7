// SPDX-License-Identifier: MIT
// How a transfer's worker is started, and what it does if its surroundings fail.
#include <array>
#include <atomic>
#include <exception>
#include <new>

#include "support/failing_platform.h"
#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A client that keeps what it is given.
class RecordingClient : public XMLDocClient {
 public:
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
    pieces.push_back(xml ? Piece(XmlOf(*xml)) : std::nullopt);
    if (!xml) {
      error = std::current_exception();
    }
    return true;
  }

  std::vector<Piece> pieces;
  /// That is at hand in the closing event.
  std::exception_ptr error;
};

/// A worker driven by hand, as a threading library drives it.
class WorkerTest : public TransferTest {
 protected:
  std::shared_ptr<DOMDocument> Parsed(std::string_view text) {
    document_ = platform_->CreateFreeThreadedDOMDocument();
    document_->loadXML(text);
    return document_;
  }

  std::int32_t GetDownloadParameters() {
    return worker_->GetParameter(std::array<Parameter, 9>{&receive_, &send_, &document_, &rl_,
                                                          &fill_, &align_, &max_size_, &block_size_,
                                                          &separation_time_});
  }

  std::vector<Piece> Run() {
    const auto client = std::make_shared<RecordingClient>();
    EXPECT_EQ(worker_->EntryPoint(client), 0);
    return client->pieces;
  }

  std::shared_ptr<DiagOnCANReprog> worker_ = CreateDiagOnCANReprog(platform_);
  std::int32_t receive_ = 1850;
  std::int32_t send_ = 1586;
  std::shared_ptr<DOMDocument> document_;
  std::uint8_t rl_ = 0x80;
  std::int32_t fill_ = 0xFF;
  std::int32_t align_ = 1;
  std::int32_t max_size_ = 128;
  std::int32_t block_size_ = 1;
  std::int32_t separation_time_ = 0;
};

TEST_F(WorkerTest, HasItsErrorAtHandInTheClosingEvent) {
  Parsed(R"(<image><segment at="16">01</segment></image>)");
  align_ = 0;
  GetDownloadParameters();
  const auto client = std::make_shared<RecordingClient>();
  worker_->EntryPoint(client);
  ASSERT_TRUE(client->error);
  EXPECT_ERROR(std::rethrow_exception(client->error), 11, "Division by zero");
}

TEST_F(WorkerTest, HasNoErrorAtHandAfterANormalEnd) {
  Parsed(R"(<image><segment at="16">01</segment></image>)");
  GetDownloadParameters();
  const auto client = std::make_shared<RecordingClient>();
  worker_->EntryPoint(client);
  EXPECT_FALSE(client->error);
}

TEST_F(WorkerTest, RunsADownload) {
  Parsed(R"(<image><segment at="16">01</segment></image>)");
  EXPECT_EQ(GetDownloadParameters(), 0);
  EXPECT_THAT(Run(), ElementsAre(Transferred(kPlainCan, "1",
                                             {Send("1009348000001001"), Receive("3001"),
                                              Send("210100C600000000"), Receive("027402")}),
                                 std::nullopt));
}

TEST_F(WorkerTest, RunsAnUploadWithFourParameters) {
  Parsed(R"(<map><segment at="16" count="1"/></map>)");
  EXPECT_EQ(worker_->GetParameter(std::array<Parameter, 4>{&receive_, &send_, &document_, &rl_}),
            0);
  EXPECT_THAT(Run(), ElementsAre(Transferred(kPlainCan, "1",
                                             {Send("0635800000100100"), Receive("1009758000001001"),
                                              Send("3001000000000000"), Receive("21")}),
                                 std::nullopt));
}

TEST_F(WorkerTest, OtherDocumentsGiveNoEventAndNoError) {
  Parsed("<other><segment/></other>");
  EXPECT_EQ(worker_->GetParameter(std::array<Parameter, 3>{&receive_, &send_, &document_}), 0);
  EXPECT_THAT(Run(), IsEmpty());
}

TEST_F(WorkerTest, BytesAreRangeChecked) {
  Parsed("<image/>");
  fill_ = 256;
  EXPECT_ERROR(GetDownloadParameters(), 6, "Overflow");
}

TEST_F(WorkerTest, AddressesAreRangeChecked) {
  Parsed("<image/>");
  receive_ = 0;
  send_ = 300;
  EXPECT_ERROR(GetDownloadParameters(), 6, "Overflow");
}

TEST_F(WorkerTest, MissingAndWrongParametersAreReported) {
  Parsed("<image/>");
  EXPECT_ERROR(worker_->GetParameter(std::array<Parameter, 1>{&receive_}), 9,
               "Subscript out of range");
  EXPECT_ERROR(worker_->GetParameter(std::array<Parameter, 3>{&receive_, &send_, &rl_}), 13,
               "Type mismatch");
  EXPECT_ERROR(worker_->GetParameter(std::array<Parameter, 2>{&receive_, &document_}), 13,
               "Type mismatch");
  document_.reset();
  EXPECT_ERROR(GetDownloadParameters(), 91, "Object variable or With block variable not set");
}

TEST_F(WorkerTest, ClientMustBeAnXMLDocClient) {
  Parsed("<image/>");
  EXPECT_EQ(GetDownloadParameters(), 0);
  EXPECT_ERROR(worker_->EntryPoint(nullptr), 13, "Type mismatch");
  EXPECT_ERROR(worker_->EntryPoint(std::make_shared<Object>()), 13, "Type mismatch");
}

// D25.
TEST_F(WorkerTest, DamagedTransferDocumentEndsTheRun) {
  for (const char* text :
       {R"(<image><segment at="0">0G</segment></image>)", R"(<image><segment at="0"/></image>)",
        R"(<image><segment>00</segment></image>)",
        R"(<image><segment at="1x">00</segment></image>)",
        R"(<image><segment at="2147483648">00</segment></image>)"}) {
    Parsed(text);
    EXPECT_EQ(GetDownloadParameters(), 0);
    EXPECT_THAT(Run(), ElementsAre(std::nullopt)) << text;
  }
}

TEST_F(WorkerTest, BlockSizeOutsideAByteEndsTheRun) {
  Parsed(R"(<image><segment at="0">01</segment></image>)");
  for (const std::int32_t max_size : {-1, 0, 256}) {
    max_size_ = max_size;
    EXPECT_EQ(GetDownloadParameters(), 0);
    EXPECT_THAT(Run(), ElementsAre(std::nullopt));
  }
}

// D1.
TEST_F(WorkerTest, FollowsTheLastCANIDsEvenWhereTheCallerStaysInKLineForm) {
  Configure(kKLine);
  Configure(kPlainCan);
  EXPECT_THAT(Download(Image({}), 0xFF, 1, 128),
              ElementsAre(Transferred(kPlainCan, "0", {}), std::nullopt));
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()).substr(0, 25), "<?xml version='1.0'?><k>\r");
}

TEST_F(WorkerTest, BaseClientStopsTheWorker) {
  struct BaseClient : XMLDocClient {};
  Parsed("<image/>");
  EXPECT_EQ(GetDownloadParameters(), 0);
  EXPECT_EQ(worker_->EntryPoint(std::make_shared<BaseClient>()), 0);
}

struct RefusingPlatform : FaultyPlatform {
  std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                           const std::shared_ptr<Object>& /*client*/) override {
    prog_id = progID;
    parameter_count = parameters.size();
    document = *std::get<const std::shared_ptr<DOMDocument>*>(parameters[2]);
    return -2147024882;
  }

  std::string prog_id;
  std::size_t parameter_count = 0;
  std::shared_ptr<DOMDocument> document;
};

TEST(FailingPlatform, ThreadThatDoesNotStartIsRaised) {
  const auto platform = std::make_shared<RefusingPlatform>();
  const auto diag = CreateDiagOnCANReprog(platform);
  diag->CANIDs(1850, 1586);
  EXPECT_ERROR(diag->ComputeDownload(0, platform->CreateMemoryImage(), 0, 1, 128), -2147024882,
               kNoText);
  EXPECT_EQ(platform->prog_id, "Quillmark.DiagOnCANReprog");
  EXPECT_EQ(platform->parameter_count, 9U);
  EXPECT_ERROR(diag->ComputeUpload(platform->CreateMemoryMap(), 0), -2147024882, kNoText);
  EXPECT_EQ(platform->parameter_count, 4U);
}

TEST(FailingPlatform, ImageCrossesAsOneTextASegment) {
  const auto platform = std::make_shared<RefusingPlatform>();
  const auto diag = CreateDiagOnCANReprog(platform);
  diag->CANIDs(1850, 1586);
  const auto image = platform->CreateMemoryImage();
  const auto segment = platform->CreateByteString();
  segment->SetHex(std::string(200000, 'A'));
  segment->SetStartAddress(-5);
  image->AddSegment(*segment);
  image->AddSegment(*platform->CreateByteString());
  EXPECT_ERROR(diag->ComputeDownload(0, image, 0, 1, 128), -2147024882, kNoText);
  EXPECT_EQ(XmlOf(*platform->document), R"(<image><segment at="-5">)" + std::string(200000, 'A') +
                                            R"(</segment><segment at="1"></segment></image>)");
  const auto text = platform->document->selectSingleNode("/image/segment[0]")->firstChild();
  EXPECT_EQ(text->nodeType(), NodeType::kText);
  EXPECT_EQ(text->nextSibling(), nullptr);
}

TEST(FailingPlatform, MapCrossesAsAttributes) {
  const auto platform = std::make_shared<RefusingPlatform>();
  const auto diag = CreateDiagOnCANReprog(platform);
  diag->CANIDs(1850, 1586);
  const auto map = platform->CreateMemoryMap();
  map->AddRange(-5, 3);
  EXPECT_ERROR(diag->ComputeUpload(map, 0), -2147024882, kNoText);
  EXPECT_EQ(XmlOf(*platform->document), R"(<map><segment at="-5" count="3"/></map>)");
}

/// An image whose segments cannot report their fill runs.
struct BlindImage : MemoryImage {
  struct BlindString : ForwardingByteString {
    using ForwardingByteString::ForwardingByteString;
    std::int32_t FillRunLength(std::uint8_t /*fill*/, std::int32_t /*address*/) const override {
      return -1;
    }
  };

  void AddSegment(const ByteString& segment) override {
    segments.push_back(std::make_shared<BlindString>(segment.Clone()));
  }
  std::vector<std::shared_ptr<ByteString>> Segments() const override { return segments; }

  std::vector<std::shared_ptr<ByteString>> segments;
};

struct BlindPlatform : FaultyPlatform {
  std::shared_ptr<MemoryImage> CreateMemoryImage() override {
    return std::make_shared<BlindImage>();
  }
};

/// Runs a download of one byte on a worker of `platform`, on this thread.
std::vector<Piece> RunWorkerOn(const std::shared_ptr<Platform>& platform) {
  const auto worker = CreateDiagOnCANReprog(platform);
  const std::int32_t receive = 1850;
  const std::int32_t send = 1586;
  const std::shared_ptr<DOMDocument> document = TestPlatform()->CreateDOMDocument();
  document->loadXML(R"(<image><segment at="0">01</segment></image>)");
  const std::uint8_t rl = 0;
  const std::int32_t one = 1;
  const std::int32_t zero = 0;
  worker->GetParameter(
      std::array<Parameter, 9>{&receive, &send, &document, &rl, &rl, &one, &one, &one, &zero});
  const auto client = std::make_shared<RecordingClient>();
  worker->EntryPoint(client);
  return client->pieces;
}

TEST(FailingPlatform, NegativeFillRunEndsTheRun) {
  EXPECT_THAT(RunWorkerOn(std::make_shared<BlindPlatform>()), ElementsAre(std::nullopt));
}

/// A checksum of the host's own kind.
struct InvertedChecksum : ChecksumCalculator {
  void Reset() override { sum = 0; }
  void Add(const ByteString& data) override { sum += data.Checksum(); }
  void StoreInto(ByteString& block) override {
    block.SetItem(block.EndAddress() - 1, 0xEE);
    block.SetItem(block.EndAddress(), static_cast<std::uint8_t>(~sum & 0xFF));
  }

  std::int32_t sum = 0;
};

struct ChecksumPlatform : FaultyPlatform {
  std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return std::make_shared<InvertedChecksum>();
  }
};

TEST(HostTypes, ChecksumIsTheHosts) {
  const auto pieces = RunWorkerOn(std::make_shared<ChecksumPlatform>());
  ASSERT_EQ(pieces.size(), 2U);
  // 34 00 00 00 00 01 01 sum to 36.
  EXPECT_NE(pieces[0]->find("<d>2101EEC9"), std::string::npos);
}

/// A platform whose documents stop coming after a while.
struct DryPlatform : FaultyPlatform {
  explicit DryPlatform(int documents) : documents_left(documents) {}

  std::shared_ptr<DOMDocument> CreateDOMDocument() override {
    if (documents_left-- == 0) {
      throw std::bad_alloc();
    }
    return ForwardingPlatform::CreateDOMDocument();
  }

  int documents_left;
};

TEST(FailingPlatform, CANIDsThatRunsOutOfMemoryChangesNothing) {
  const auto platform = std::make_shared<DryPlatform>(1);
  const auto diag = CreateDiagOnCANReprog(platform);
  diag->CANIDs(1850, 1586);
  EXPECT_ERROR(diag->CANIDs(0, 0x11), 7, "Out of memory");
  EXPECT_EQ(XmlOf(*diag->TesterPresent()),
            Document(kPlainCan, {Send("013E000000000000"), Receive("017E")}));
}

}  // namespace
}  // namespace quillmark::testing
