// Every allocation of the XML library made to fail in turn: an error or a clean end, and an object
// that goes on working.
#include <array>
#include <cstdlib>
#include <pugixml.hpp>

#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

/// Lets the XML library's allocation with a number counted from 0 fail, once.
class FailingAllocation {
 public:
  explicit FailingAllocation(int number) {
    countdown_ = number;
    pugi::set_memory_management_functions(&Allocate, &std::free);
  }
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  FailingAllocation(FailingAllocation&&) = delete;
  FailingAllocation& operator=(FailingAllocation&&) = delete;
  ~FailingAllocation() { pugi::set_memory_management_functions(&std::malloc, &std::free); }

  /// False once the calls under test need fewer allocations.
  [[nodiscard]] static bool Failed() { return countdown_ < 0; }

 private:
  static void* Allocate(std::size_t size) {
    return countdown_-- == 0 ? nullptr : std::malloc(size);
  }

  static inline int countdown_ = 0;
};

class OutOfMemory : public TransferTest, public ::testing::WithParamInterface<Form> {
 protected:
  OutOfMemory() { Configure(GetParam()); }

  /// Runs `call` with each allocation failing in turn, until none is left to fail.
  template <typename Call>
  void ExpectCleanFailures(const Call& call) {
    for (int number = 0;; ++number) {
      std::optional<Raised> raised;
      {
        const FailingAllocation failing(number);
        raised = RaisedBy(call);
        if (!FailingAllocation::Failed()) {
          EXPECT_EQ(raised, std::nullopt);
          EXPECT_GT(number, 0);
          return;
        }
      }
      ASSERT_EQ(raised, (Raised{7, "Out of memory"})) << "allocation " << number;
    }
  }
};

TEST_P(OutOfMemory, RequestsFailCleanly) {
  const std::string before = diag_->readseed()->xml();
  ExpectCleanFailures([this] { static_cast<void>(diag_->StartDiag()); });
  ExpectCleanFailures([this] { static_cast<void>(diag_->writelogzone(String("01"))); });
  diag_ = CreateDiagOnCANReprog(platform_);
  Configure(GetParam());
  EXPECT_EQ(diag_->readseed()->xml(), before);
}

TEST_P(OutOfMemory, ConfigurationFailsCleanly) {
  ExpectCleanFailures([this] { Configure(GetParam()); });
}

TEST_P(OutOfMemory, ChecksFailCleanly) {
  const auto document = Parse("<can><x><r><c/><d>02</d><e>no</e></r></x></can>");
  ExpectCleanFailures([&] {
    const auto raised = RaisedBy([&] { diag_->checkdownload(document); });
    if (raised->number != 4005) {
      throw Error(raised->number, raised->description);
    }
  });
}

/// Runs a worker by hand, on this thread, so that each run allocates alike.
class WorkerOutOfMemory : public OutOfMemory {
 protected:
  std::vector<Piece> RunDownload() {
    const auto worker = CreateDiagOnCANReprog(platform_);
    const std::int32_t receive = GetParam().RCANId;
    const std::int32_t send = GetParam().XCANId;
    const std::shared_ptr<DOMDocument> document = platform_->CreateFreeThreadedDOMDocument();
    document->loadXML(R"(<image><segment at="0">)" + std::string(20000, 'A') +
                      "</segment></image>");
    const std::uint8_t rl = 0x80;
    const std::int32_t one = 1;
    const std::int32_t max_size = 128;
    const std::int32_t zero = 0;
    worker->GetParameter(std::array<Parameter, 9>{&receive, &send, &document, &rl, &rl, &one,
                                                  &max_size, &one, &zero});
    const auto client = std::make_shared<Client>();
    EXPECT_EQ(worker->EntryPoint(client), 0);
    return client->pieces;
  }

 private:
  struct Client : XMLDocClient {
    bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
      pieces.push_back(xml ? Piece("document") : std::nullopt);
      return true;
    }
    std::vector<Piece> pieces;
  };
};

TEST_P(WorkerOutOfMemory, ErrorOrEmptyNodeEndsTheRun) {
  const std::vector<Piece> complete = {"document", std::nullopt};
  const std::vector<Piece> failed = {std::nullopt};
  int failed_runs = 0;
  for (int number = 0;; ++number) {
    const FailingAllocation failing(number);
    std::vector<Piece> pieces;
    const auto raised = RaisedBy([&] { pieces = RunDownload(); });
    if (!FailingAllocation::Failed()) {
      EXPECT_EQ(pieces, complete);
      EXPECT_GT(failed_runs, 0);
      return;
    }
    if (raised) {
      EXPECT_EQ(raised, (Raised{7, "Out of memory"}));
    } else {
      EXPECT_EQ(pieces, failed);
      ++failed_runs;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, OutOfMemory, ::testing::ValuesIn(kAllForms), FormName());
INSTANTIATE_TEST_SUITE_P(Forms, WorkerOutOfMemory, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
