// SPDX-License-Identifier: MIT
// Every allocation, of the C++ heap and of the XML library, made to fail in turn through each
// public operation: an error or a clean end, and an object that goes on working.
#include <array>
#include <exception>
#include <functional>

#include "support/failing_allocator.h"
#include "support/framed_reply.h"
#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

/// What a call may end with where memory ends: the error, or the status of a thread that did not
/// start.
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

/// Runs `call` with one allocation failing. What it raises is read once memory is there again.
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
  void ExpectCleanFailures(const char* name, const std::function<void()>& call,
                           const std::optional<Raised>& expected = std::nullopt,
                           Need need = Need::kEvery) {
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

  /// The run document whose replies bring these messages.
  [[nodiscard]] std::shared_ptr<DOMDocument> Replied(
      const std::vector<std::string>& messages) const {
    std::vector<std::string> frames;
    for (const std::string& message : messages) {
      for (std::string& frame : FramedReply(GetParam(), message)) {
        frames.push_back(std::move(frame));
      }
    }
    return Replies(GetParam(), frames);
  }

  /// The same behind what stands first in gateway form.
  [[nodiscard]] std::shared_ptr<DOMDocument> RepliedBehind(
      const std::string& first, std::vector<std::string> messages) const {
    if (GetParam().name == kGateway.name) {
      messages.insert(messages.begin(), first);
    }
    return Replied(messages);
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> History() const {
    const std::string record = "6180" + std::string(std::size_t{2} * 24, '5');
    std::vector<std::string> messages = {"50C0", record};
    if (GetParam().name == kPlainCan.name) {
      messages.emplace_back("5085");
    }
    messages.insert(messages.end(), 16, record);
    return Replied(messages);
  }
};

TEST_P(OutOfMemory, Creation) {
  ExpectCleanFailures("CreatePortablePlatform",
                      [] { static_cast<void>(CreatePortablePlatform()); });
  ExpectCleanFailures("CreateDiagOnCANReprog",
                      [this] { static_cast<void>(CreateDiagOnCANReprog(platform_)); });
  ExpectCleanFailures(
      "CreateXMLDocClient", [] { static_cast<void>(CreateXMLDocClient()); },
      Raised{9, "pure virtual class"});
}

TEST_P(OutOfMemory, Configuration) {
  ExpectCleanFailures("CANIDs", [this] { Configure(GetParam()); });
  ExpectCleanFailures(
      "FlowControl", [this] { diag_->FlowControl(256, 0); },
      Raised{4012, "Diag On CAN BS can't exceed 255."});
  ExpectCleanFailures("OnXMLReady", [this] { diag_->OnXMLReady([](const auto&, bool&) {}); });
}

TEST_P(OutOfMemory, Requests) {
  const auto key = String("01020304");
  const auto history = String(std::string(96, 'A'));
  const std::pair<const char*, std::function<std::shared_ptr<DOMDocument>()>> requests[] = {
      {"StartDiag", [&] { return diag_->StartDiag(); }},
      {"readseed", [&] { return diag_->readseed(); }},
      {"dounlock", [&] { return diag_->dounlock(key); }},
      {"starterase", [&] { return diag_->starterase(0); }},
      {"checkerase", [&] { return diag_->checkerase(); }},
      {"startroutine", [&] { return diag_->startroutine(5); }},
      {"routinestatus", [&] { return diag_->routinestatus(5); }},
      {"writelogzone", [&] { return diag_->writelogzone(history); }},
      {"stopcomm", [&] { return diag_->stopcomm(); }},
      {"TesterPresent", [&] { return diag_->TesterPresent(); }},
  };
  for (const auto& [name, request] : requests) {
    diag_ = CreateDiagOnCANReprog(platform_);
    Configure(GetParam());
    ExpectCleanFailures(name, [&request = request] { static_cast<void>(request()); });
  }
}

TEST_P(OutOfMemory, Checks) {
  const auto seed = RepliedBehind("C1EA8F", {"678111223344"});
  const auto negative = RepliedBehind("C1EA8F", {"7F2735"});
  const auto unlocked = RepliedBehind("81", {"6782"});
  const auto running = Replied({"718101"});
  const auto erase_started = RepliedBehind("81", {"718101"});
  const auto routine = Replied({"710501"});
  ExpectCleanFailures("getseed", [&] { static_cast<void>(diag_->getseed(seed)); });
  ExpectCleanFailures(
      "getseed of a refusal", [&] { static_cast<void>(diag_->getseed(negative)); },
      GetParam().name == kKLine.name
          ? Raised{4001, "SA#1 error 7F2735"}
          : Raised{2037, "Requested Service : 27 Negative response code : 35"});
  ExpectCleanFailures("checkunlock", [&] { diag_->checkunlock(unlocked); });
  ExpectCleanFailures("checkstarterase", [&] { diag_->checkstarterase(erase_started); });
  ExpectCleanFailures("checkcheckerase",
                      [&] { static_cast<void>(diag_->checkcheckerase(running)); });
  ExpectCleanFailures("checkstartroutine", [&] { diag_->checkstartroutine(routine, 5); });
  ExpectCleanFailures("checkroutine", [&] { static_cast<void>(diag_->checkroutine(routine, 5)); });
  ExpectCleanFailures(
      "checkroutine of another", [&] { diag_->checkstartroutine(running, 5); },
      Raised{4006, "Start routine 5H error 718101"});
}

TEST_P(OutOfMemory, ChecksOfErrorMarks) {
  const auto clean = Parse("<can><x><r><c/><d>02</d></r></x></can>");
  const auto marked = Parse("<can><x><r><c/><d>02</d><e>no</e></r></x></can>");
  ExpectCleanFailures("checkdownload", [&] { diag_->checkdownload(clean); });
  ExpectCleanFailures(
      "checkdownload", [&] { diag_->checkdownload(marked); }, Raised{4005, "Download error 02"});
  ExpectCleanFailures("checkwritelogzone", [&] { diag_->checkwritelogzone(clean); });
  ExpectCleanFailures(
      "checkwritelogzone", [&] { diag_->checkwritelogzone(marked); },
      Raised{4008, "Write log zone error 02"});
}

TEST_P(OutOfMemory, HistoryCheck) {
  const auto document = History();
  ByteStringArray history;
  ByteStringArray reprogrammings;
  std::shared_ptr<ByteString> identification;
  ExpectCleanFailures(
      "gethisto", [&] { diag_->gethisto(document, history, reprogrammings, identification); },
      GetParam().name == kKLine.name ? std::optional(Raised{4000, "Ecu is not reprogrammable"})
                                     : std::nullopt);
}

TEST_P(OutOfMemory, UploadCheckAddsAllSegmentsOrNone) {
  const auto document = RepliedBehind("81", {"758001234502AABB0245"});
  const auto image = platform_->CreateMemoryImage();
  ExpectCleanFailures("checkupload", [&] {
    EXPECT_TRUE(image->Segments().empty());
    diag_->checkupload(document, image);
  });
  EXPECT_EQ(image->Segments().size(), 1U);
}

TEST_P(OutOfMemory, StartOfATransfer) {
  const auto image = Image({Segment(0, "0102")});
  const auto map = platform_->CreateMemoryMap();
  map->AddRange(0, 2);
  diag_->OnXMLReady([](const auto&, bool& cancel) { cancel = false; });
  ExpectCleanFailures(
      "ComputeDownload", [&] { diag_->ComputeDownload(0x80, image, 0xFF, 1, 128); }, std::nullopt,
      Need::kSome);
  ExpectCleanFailures(
      "ComputeUpload", [&] { diag_->ComputeUpload(map, 0x80); }, std::nullopt, Need::kSome);
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
