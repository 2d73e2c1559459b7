// SPDX-License-Identifier: MIT
// Every allocation, of the C++ heap and of the XML library, made to fail in turn through each
// public operation: an error or a clean end, and an object that continues working.
#include <array>
#include <exception>
#include <functional>

#include "support/failing_allocator.h"
#include "support/operations.h"
#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

/// How a call may end when memory runs out: with the error, or with the status of a thread that did
/// not start.
bool IsOutOfMemory(const std::optional<Raised>& raised) {
  return raised == Raised{7, "Out of memory"} ||
         (raised && raised->number == PortablePlatform::kThreadNotStarted);
}

/// Which allocations a call cannot do without. Sorting an image takes some memory if there is any.
enum class Need { kEvery, kSome };

struct Outcome {
  std::optional<Raised> raised;
  bool has_failed;  ///< whether the allocation was asked for
};

/// Runs `call` with one allocation failing. Its error is read once memory is available again.
Outcome RunWithFailure(std::size_t index, const std::function<void()>& call) {
  std::exception_ptr thrown;
  bool has_failed = false;
  {
    const FailingAllocation failing(index);
    try {
      call();
    } catch (...) {
      thrown = std::current_exception();
    }
    has_failed = failing.HasFailed();
  }
  const auto raise = [&] {
    if (thrown) {
      std::rethrow_exception(thrown);
    }
  };
  return {RaisedBy(raise), has_failed};
}

class OutOfMemory : public TransferTest, public ::testing::WithParamInterface<Form> {
 protected:
  static void SetUpTestSuite() { WatchXmlLibrary(); }

  OutOfMemory() { Configure(GetParam()); }

  /// Runs `call` with each of its allocations failing in turn, each time leaving the object as it
  /// was, until none is left to fail; then it ends like any other call, with `expected`.
  void ExpectCleanFailures(const Operation& operation, Need need = Need::kEvery) {
    const auto& [name, call, expected] = operation;
    const std::string before = diag_->TesterPresent()->xml();
    for (std::size_t index = 0;; ++index) {
      const Outcome outcome = RunWithFailure(index, call);
      platform_->WaitForWorkers();
      if (!outcome.has_failed) {
        EXPECT_EQ(outcome.raised, expected) << name;
        EXPECT_GT(index, 0U) << name << " allocates nothing";
        return;
      }
      if (need == Need::kSome && outcome.raised == expected) {
        continue;
      }
      ASSERT_TRUE(IsOutOfMemory(outcome.raised))
          << name << ", allocation " << index << ": " << ::testing::PrintToString(outcome.raised);
      ASSERT_EQ(diag_->TesterPresent()->xml(), before) << name << ", allocation " << index;
    }
  }

  const OperationArguments arguments_{platform_, GetParam()};
};

TEST_P(OutOfMemory, Creation) {
  ExpectCleanFailures(
      {"CreatePortablePlatform", [] { static_cast<void>(CreatePortablePlatform()); }});
  ExpectCleanFailures(
      {"CreateDiagOnCANReprog", [this] { static_cast<void>(CreateDiagOnCANReprog(platform_)); }});
  ExpectCleanFailures({"CreateXMLDocClient", [] { static_cast<void>(CreateXMLDocClient()); },
                       Raised{9, "pure virtual class"}});
}

TEST_P(OutOfMemory, Configuration) {
  ExpectCleanFailures({"CANIDs", [this] { Configure(GetParam()); }});
  ExpectCleanFailures({"FlowControl", [this] { diag_->FlowControl(256, 0); },
                       Raised{4012, "Diag On CAN BS can't exceed 255."}});
  ExpectCleanFailures({"OnXMLReady", [this] { diag_->OnXMLReady([](const auto&, bool&) {}); }});
}

TEST_P(OutOfMemory, Requests) {
  for (const Operation& request : Requests(arguments_, *diag_)) {
    ExpectCleanFailures(request);
  }
}

TEST_P(OutOfMemory, Checks) {
  for (const Operation& check : Checks(arguments_, *diag_)) {
    ExpectCleanFailures(check);
  }
}

TEST_P(OutOfMemory, UploadCheckAddsAllSegmentsOrNone) {
  const auto document = arguments_.RepliedBehind("81", {"758001234502AABB0245"});
  const auto image = platform_->CreateMemoryImage();
  ExpectCleanFailures({"checkupload", [&] {
                         EXPECT_TRUE(image->Segments().empty());
                         diag_->checkupload(document, image);
                       }});
  EXPECT_EQ(image->Segments().size(), 1U);
}

TEST_P(OutOfMemory, StartOfATransfer) {
  const auto image = Image({Segment(0, "0102")});
  const auto map = platform_->CreateMemoryMap();
  map->AddRange(0, 2);
  diag_->OnXMLReady([](const auto&, bool& cancel) { cancel = false; });
  ExpectCleanFailures(
      {"ComputeDownload", [&] { diag_->ComputeDownload(0x80, image, 0xFF, 1, 128); }}, Need::kSome);
  ExpectCleanFailures({"ComputeUpload", [&] { diag_->ComputeUpload(map, 0x80); }}, Need::kSome);
}

/// Runs a worker by hand, on this thread, so that each run allocates alike.
class WorkerOutOfMemory : public OutOfMemory {
 protected:
  /// Every failure is an error of `GetParameter` or ends the run with an empty node alone.
  void ExpectErrorOrEmptyNode(const std::string& transfer) {
    const std::shared_ptr<DOMDocument> document = platform_->CreateFreeThreadedDOMDocument();
    int failed_runs = 0;
    for (std::size_t index = 0;; ++index) {
      document->loadXML(transfer);
      client_->pieces.clear();
      const auto [raised, has_failed] = RunWithFailure(index, [&] { Run(document); });
      if (!has_failed) {
        EXPECT_EQ(client_->pieces, (std::vector<Piece>{"document", std::nullopt}));
        EXPECT_GT(failed_runs, 0);
        return;
      }
      if (raised) {
        EXPECT_TRUE(IsOutOfMemory(raised)) << ::testing::PrintToString(raised);
      } else {
        ASSERT_FALSE(client_->pieces.empty()) << "allocation " << index;
        EXPECT_EQ(client_->pieces.back(), std::nullopt);
        EXPECT_LE(client_->pieces.size(), 2U);
        ++failed_runs;
      }
    }
  }

 private:
  struct Client : XMLDocClient {
    Client() { pieces.reserve(8); }
    bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
      pieces.push_back(xml ? Piece("document") : std::nullopt);
      return true;
    }
    std::vector<Piece> pieces;
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
    EXPECT_EQ(worker->EntryPoint(client_), 0);
  }

  const std::shared_ptr<Client> client_ = std::make_shared<Client>();
};

TEST_P(WorkerOutOfMemory, Download) {
  ExpectErrorOrEmptyNode(R"(<image><segment at="0">)" + std::string(800, 'A') +
                         "</segment></image>");
}

TEST_P(WorkerOutOfMemory, Upload) {
  ExpectErrorOrEmptyNode(R"(<map><segment at="0" count="100"/></map>)");
}

INSTANTIATE_TEST_SUITE_P(Forms, OutOfMemory, ::testing::ValuesIn(kAllForms), FormName());
INSTANTIATE_TEST_SUITE_P(Forms, WorkerOutOfMemory, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
