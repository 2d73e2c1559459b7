// SPDX-License-Identifier: MIT
#include "host/ecu/application.h"

#include <gmock/gmock.h>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// An application with a clock, which gets whole messages.
class ApplicationBench {
 public:
  explicit ApplicationBench(const EcuOptions& options) : application_(options) {}

  std::string Ask(std::string_view request) {
    const std::vector<TimedMessage> replies = application_.OnRequest(Hex(request), now_);
    return replies.empty() ? "silence" : HexOf(replies.back().message);
  }
  void Unlock() {
    const Bytes seed = Hex(Ask("2781").substr(4));
    ASSERT_EQ(Ask("2782" + HexOf(SimulatedKey(seed))), "6782");
  }
  void Wait(Duration time) { now_ += time; }
  Application& application() { return application_; }

 private:
  Application application_;
  Duration now_{};
};

EcuOptions OfForm(TransportForm form) {
  EcuOptions options;
  options.form = form;
  return options;
}

class PlainCanApplicationTest : public ::testing::Test {
 protected:
  std::string Ask(std::string_view request) { return bench_.Ask(request); }

  ApplicationBench bench_{EcuOptions{}};
};

TEST_F(PlainCanApplicationTest, ChangesItsSession) {
  EXPECT_EQ(Ask("10C0"), "50C0");
  EXPECT_EQ(Ask("1085"), "5085");
  EXPECT_EQ(Ask("1081"), "5081");
}

TEST_F(PlainCanApplicationTest, RefusesWhatIsNoSession) {
  EXPECT_EQ(Ask("1082"), "7F1012");
  EXPECT_EQ(Ask("10"), "7F1013");
  EXPECT_EQ(Ask("10C000"), "7F1013");
}

TEST_F(PlainCanApplicationTest, RefusesServicesThatItDoesNotKnow) {
  EXPECT_EQ(Ask("22F190"), "7F2211");
  EXPECT_EQ(Ask("81"), "7F8111") << "start communication belongs to the other forms";
  EXPECT_EQ(Ask("82"), "7F8211");
}

TEST_F(PlainCanApplicationTest, KnowsTesterPresentInEverySession) {
  EXPECT_EQ(Ask("3E"), "7E");
  EXPECT_EQ(Ask("3E00"), "7F3E13");
}

TEST_F(PlainCanApplicationTest, IdentifiesItselfInADiagnosticSession) {
  EXPECT_EQ(Ask("2180"), "7F2180");
  Ask("10C0");
  EXPECT_EQ(Ask("2180"), "618053494D554C41544544204543552030303120524556204120");
  EXPECT_EQ(Ask("21FE"), "61FE" + HexOf(SimulatedHistory()[1].history));
  EXPECT_EQ(Ask("2181"), "7F2131");
  EXPECT_EQ(Ask("21"), "7F2113");
}

TEST_F(PlainCanApplicationTest, RefusesProgrammingOutsideItsSession) {
  Ask("10C0");
  EXPECT_EQ(Ask("2781"), "7F2780");
  EXPECT_EQ(Ask("318100F05A"), "7F3180");
  EXPECT_EQ(Ask("340000100001010046"), "7F3480");
  EXPECT_EQ(Ask("358000100001"), "7F3580");
}

TEST_F(PlainCanApplicationTest, RefusesProgrammingWhileLocked) {
  Ask("1085");
  EXPECT_EQ(Ask("318100F05A"), "7F3133");
  EXPECT_EQ(Ask("310200"), "7F3133");
  EXPECT_EQ(Ask("340000100001010046"), "7F3433");
  EXPECT_EQ(Ask("358000100001"), "7F3533");
}

TEST_F(PlainCanApplicationTest, ProgramsOnceItIsUnlocked) {
  Ask("1085");
  bench_.Unlock();
  EXPECT_EQ(Ask("318100F05A"), "718101");
  bench_.Wait(250ms);
  EXPECT_EQ(Ask("340000100001010046"), "7402");
  EXPECT_EQ(Ask("358000100001"), "750000100001010087");
  EXPECT_EQ(bench_.application().flash().Read(0x1000, 1), Hex("01"));
  EXPECT_EQ(bench_.application().blocks_written(), 1U);
}

TEST_F(PlainCanApplicationTest, LocksWithEveryChangeOfSession) {
  Ask("1085");
  bench_.Unlock();
  Ask("1085");
  EXPECT_EQ(Ask("318100F05A"), "7F3133");
}

TEST_F(PlainCanApplicationTest, EndsARoutineWithItsSession) {
  Ask("1085");
  bench_.Unlock();
  Ask("318100F05A");
  Ask("1081");
  Ask("1085");
  bench_.Unlock();
  EXPECT_EQ(Ask("318101"), "7F3122");
  EXPECT_EQ(Ask("318100F05A"), "718101");
}

TEST(Application, IsBusyForSomeRequestsAndDoesNotExecuteThem) {
  EcuOptions options;
  options.misbehaviour.busy[0x10] = 2;
  ApplicationBench bench(options);
  EXPECT_EQ(bench.Ask("1085"), "7F1021");
  EXPECT_EQ(bench.Ask("1085"), "7F1021");
  EXPECT_FALSE(bench.application().InSession({}));
  EXPECT_EQ(bench.Ask("1085"), "5085");
}

TEST(Application, RefusesTheNextRequestWhereItIsTold) {
  ApplicationBench bench({});
  bench.application().RefuseNext(0x21);
  EXPECT_EQ(bench.Ask("1085"), "7F1021");
  EXPECT_EQ(bench.Ask("1085"), "5085");
}

TEST_F(PlainCanApplicationTest, LosesASessionThatTheTesterLeavesAlone) {
  Ask("1085");
  bench_.Wait(5s);
  EXPECT_EQ(Ask("3E"), "7E");
  EXPECT_EQ(Ask("2781"), "67811A2B3C4D");
  bench_.Wait(5s + 3ms);
  EXPECT_EQ(Ask("2781"), "7F2780");
}

TEST_F(PlainCanApplicationTest, KeepsItsFlashAloneThroughAReset) {
  Ask("1085");
  bench_.Unlock();
  Ask("318100F05A");
  bench_.application().Reset();
  EXPECT_EQ(Ask("2781"), "7F2780") << "no session";
  Ask("1085");
  EXPECT_EQ(Ask("310200"), "7F3133") << "locked";
  bench_.Unlock();
  EXPECT_EQ(Ask("318101"), "7F3122") << "no erase under way";
  EXPECT_EQ(Ask("310200"), "7F3122") << "nothing was downloaded";
  EXPECT_EQ(bench_.application().flash().Read(0x1000, 1), Hex("FF")) << "erased";
}

TEST(Application, HearsStartCommunicationAloneOutsideOfASession) {
  for (const TransportForm form : {TransportForm::kGateway, TransportForm::kKLine}) {
    ApplicationBench bench(OfForm(form));
    EXPECT_EQ(bench.Ask("3E"), "silence");
    EXPECT_EQ(bench.Ask("82"), "silence");
    EXPECT_EQ(bench.Ask("81"), "C16B8F");
    EXPECT_EQ(bench.Ask("3E"), "7E");
    EXPECT_EQ(bench.Ask("10C0"), "7F1011") << "sessions by 10 belong to plain CAN";
    EXPECT_EQ(bench.Ask("2180").substr(0, 4), "6180");
    bench.Unlock();
    EXPECT_EQ(bench.Ask("318100F05A"), "718101");
    EXPECT_EQ(bench.Ask("82"), "C2");
    EXPECT_EQ(bench.Ask("3E"), "silence");
  }
}

TEST(Application, RefusesLongCommunicationRequests) {
  ApplicationBench bench(OfForm(TransportForm::kKLine));
  EXPECT_EQ(bench.Ask("8100"), "7F8113");
}

TEST(Application, FallsSilentWithItsSession) {
  ApplicationBench bench(OfForm(TransportForm::kKLine));
  bench.Ask("81");
  bench.Wait(6s);
  EXPECT_EQ(bench.Ask("3E"), "silence");
}

TEST(Application, AnswersAfterItsDelay) {
  Application can{EcuOptions{}};
  EXPECT_THAT(can.OnRequest(Hex("3E"), 7ms), ElementsAre(TimedMessage{9ms, Hex("7E")}));
  Application k_line{OfForm(TransportForm::kKLine)};
  EXPECT_THAT(k_line.OnRequest(Hex("81"), 0ms), ElementsAre(TimedMessage{25ms, Hex("C16B8F")}));
}

TEST(Application, SaysPendingAsOftenAsItIsTold) {
  EcuOptions options;
  options.misbehaviour.pending[0x3E] = 2;
  Application application(options);
  EXPECT_THAT(application.OnRequest(Hex("3E"), 0ms),
              ElementsAre(TimedMessage{2ms, Hex("7F3E78")}, TimedMessage{202ms, Hex("7F3E78")},
                          TimedMessage{402ms, Hex("7E")}));
  EXPECT_THAT(application.OnRequest(Hex("10C0"), 500ms),
              ElementsAre(TimedMessage{502ms, Hex("50C0")}));
}

TEST(Application, RefusesAServiceAsItIsTold) {
  EcuOptions options;
  options.misbehaviour.refused[0x10] = 0x22;
  ApplicationBench bench(options);
  EXPECT_EQ(bench.Ask("10C0"), "7F1022");
  EXPECT_EQ(bench.Ask("2180"), "7F2180") << "a refused service has no effect";
}

}  // namespace
}  // namespace quillmark::host
