// SPDX-License-Identifier: MIT
// Every object that a platform, its documents and the host's types give, missing in turn through
// each public operation: error 91 and an object that continues working.
#include <array>

#include "support/component_test.h"
#include "support/operations.h"
#include "support/transfer_test.h"
#include "support/withholding_platform.h"

namespace quillmark::testing {
namespace {

using ::testing::ElementsAre;

const Raised kObjectNotSet{91, kNotSet};

class MissingObject : public ::testing::TestWithParam<Form> {
 protected:
  MissingObject() { diag_->CANIDs(GetParam().RCANId, GetParam().XCANId); }

  /// Runs `operation` with each object that it asks for missing in turn, until none is left; then
  /// it ends like any other call. A missing object that is allowed to be missing may end it in any
  /// orderly way.
  void ExpectNotSet(const Operation& operation) {
    const auto& [name, call, expected] = operation;
    const std::string before = XmlOf(*diag_->TesterPresent());
    for (std::size_t index = 0;; ++index) {
      platform_->giver() = Giver(index);
      const auto raised = RaisedBy(call);
      const Giver asked = std::exchange(platform_->giver(), Giver());
      if (!asked.HasWithheld()) {
        EXPECT_EQ(raised, expected) << name;
        return;
      }
      if (asked.WasDue()) {
        EXPECT_EQ(raised, kObjectNotSet) << name << ", object " << index;
      }
      if (raised) {
        EXPECT_EQ(XmlOf(*diag_->TesterPresent()), before) << name << ", object " << index;
      }
    }
  }

  /// An image or a map of three parts.
  [[nodiscard]] std::shared_ptr<MemoryImage> Image() const {
    auto image = platform_->CreateMemoryImage();
    const auto segment = arguments_.String("0102");
    for (const std::int32_t address : {16, 32, 48}) {
      segment->SetStartAddress(address);
      image->AddSegment(*segment);
    }
    return image;
  }
  [[nodiscard]] std::shared_ptr<MemoryMap> Map() const {
    auto map = platform_->CreateMemoryMap();
    for (const std::int32_t address : {16, 32, 48}) {
      map->AddRange(address, 2);
    }
    return map;
  }

  const std::shared_ptr<WithholdingPlatform> platform_ = std::make_shared<WithholdingPlatform>();
  const OperationArguments arguments_{platform_, GetParam()};
  const std::shared_ptr<DiagOnCANReprog> diag_ = CreateDiagOnCANReprog(platform_);
};

TEST_P(MissingObject, IsNotSetInConfiguration) {
  ExpectNotSet({"CANIDs", [this] { diag_->CANIDs(GetParam().RCANId, GetParam().XCANId); }});
}

TEST_P(MissingObject, IsNotSetInRequests) {
  for (const Operation& request : Requests(arguments_, *diag_)) {
    ExpectNotSet(request);
  }
}

TEST_P(MissingObject, IsNotSetInChecks) {
  for (const Operation& check : Checks(arguments_, *diag_)) {
    ExpectNotSet(check);
  }
}

TEST_P(MissingObject, IsNotSetInAnUpload) {
  const auto document = arguments_.RepliedBehind("81", {"758001234502AABB0245"});
  const auto image = Image();
  ExpectNotSet({"checkupload", [&] { diag_->checkupload(document, image); }});
}

TEST_P(MissingObject, IsNotSetAtTheStartOfATransfer) {
  const auto image = Image();
  const auto map = Map();
  ExpectNotSet({"ComputeDownload", [&] { diag_->ComputeDownload(0x80, image, 0xFF, 1, 128); }});
  ExpectNotSet({"ComputeUpload", [&] { diag_->ComputeUpload(map, 0x80); }});
}

/// A worker driven by hand, as a threading library drives it.
class WorkerMissingObject : public MissingObject {
 protected:
  /// Every missing object is an error of `GetParameter` or ends the run with an empty node.
  void ExpectErrorOrEmptyNode(const std::string& transfer) {
    const std::shared_ptr<DOMDocument> document = platform_->CreateFreeThreadedDOMDocument();
    for (std::size_t index = 0;; ++index) {
      document->loadXML(transfer);
      pieces_.clear();
      platform_->giver() = Giver(index);
      const auto raised = RaisedBy([&] { Run(document); });
      const Giver asked = std::exchange(platform_->giver(), Giver());
      if (!asked.HasWithheld()) {
        EXPECT_THAT(pieces_, ElementsAre("document", "none"));
        return;
      }
      if (raised) {
        EXPECT_EQ(raised, kObjectNotSet) << "object " << index;
      } else {
        EXPECT_EQ(pieces_.empty() ? "nothing" : pieces_.back(), "none") << "object " << index;
      }
    }
  }

 private:
  class Client final : public XMLDocClient {
   public:
    explicit Client(std::vector<std::string>& pieces) : pieces_(pieces) {}
    bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
      pieces_.emplace_back(xml ? "document" : "none");
      return true;
    }

   private:
    std::vector<std::string>& pieces_;
  };

  void Run(const std::shared_ptr<DOMDocument>& document) {
    const auto worker = CreateDiagOnCANReprog(platform_);
    const std::int32_t receive = GetParam().RCANId;
    const std::int32_t send = GetParam().XCANId;
    const std::uint8_t rl = 0x80;
    const std::int32_t one = 1;
    const std::int32_t max_size = 64;
    const std::int32_t zero = 0;
    worker->GetParameter(std::array<Parameter, 9>{&receive, &send, &document, &rl, &rl, &one,
                                                  &max_size, &one, &zero});
    EXPECT_EQ(worker->EntryPoint(std::make_shared<Client>(pieces_)), 0);
  }

  std::vector<std::string> pieces_;
};

TEST_P(WorkerMissingObject, EndsADownload) {
  ExpectErrorOrEmptyNode(
      R"(<image><segment at="0">0102</segment><segment at="8">03</segment></image>)");
}

TEST_P(WorkerMissingObject, EndsAnUpload) {
  ExpectErrorOrEmptyNode(
      R"(<map><segment at="0" count="100"/><segment at="256" count="1"/></map>)");
}

TEST(MissingParameter, IsNotSet) {
  const auto worker = CreateDiagOnCANReprog(TestPlatform());
  const std::int32_t one = 1;
  const std::int32_t* const no_long = nullptr;
  const std::uint8_t* const no_byte = nullptr;
  const std::shared_ptr<DOMDocument>* const no_document = nullptr;
  EXPECT_ERROR(worker->GetParameter(std::array<Parameter, 3>{no_long, &one, no_document}), 91,
               kNotSet);
  EXPECT_ERROR(worker->GetParameter(std::array<Parameter, 3>{&one, no_byte, no_document}), 91,
               kNotSet);
  EXPECT_ERROR(worker->GetParameter(std::array<Parameter, 3>{&one, &one, no_document}), 91,
               kNotSet);
}

INSTANTIATE_TEST_SUITE_P(Forms, MissingObject, ::testing::ValuesIn(kAllForms), FormName());
INSTANTIATE_TEST_SUITE_P(Forms, WorkerMissingObject, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
