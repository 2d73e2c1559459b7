// SPDX-License-Identifier: MIT
// The bus on the simulated adapter.
#include <gmock/gmock.h>

#include "host/adapters/pass_thru_bus.h"
#include "quillmark/host/open_bus.h"
#include "tests/host/pass_thru/simulator_library.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr Exchange kCan{TransportForm::kPlainCan, 0x73A, 0x632};
constexpr Exchange kExtended{TransportForm::kPlainCan, 0x18DAF110, 0x18DA10F1};
constexpr Exchange kMixed{TransportForm::kPlainCan, 0x18DAF110, 0x632};
constexpr Exchange kKLine{TransportForm::kKLine, 0, 0};

const Bytes kSession{0x02, 0x10, 0xC0};
const Bytes kStart{0x81, 0x11, 0xF1, 0x81, 0x04};
const Bytes kSessionOnKLine{0x82, 0x11, 0xF1, 0x10, 0xC0, 0x54};

/// A wait that is used up only where nothing comes.
constexpr std::chrono::milliseconds kPatience{20'000};

/// What `operation` raises as BusError; empty if it raises nothing.
template <typename Operation>
std::string ErrorOf(Operation&& operation) {
  try {
    operation();
  } catch (const BusError& error) {
    return error.what();
  }
  return "";
}

class PassThruBusTest : public ::testing::TestWithParam<int> {
 protected:
  [[nodiscard]] static std::string Library() { return PassThruSimulator::Library(GetParam()); }

  /// With further parameters of the URI.
  [[nodiscard]] static std::unique_ptr<Bus> Open(const std::string& parameters = "") {
    return OpenBus(
        ParseBusUri("j2534:" + Library() + "?width=" + std::to_string(GetParam()) + parameters));
  }
  [[nodiscard]] std::unique_ptr<Bus> OpenWith(const std::string& settings,
                                              const std::string& parameters = "") {
    simulator_.Set(settings);
    return Open(parameters);
  }
  static std::string Returned(const std::string& function, const std::string& status) {
    return Library() + ": " + function + " returns " + status +
           ": the simulator was told to fail here";
  }

  TemporaryFolder folder_;
  PassThruSimulator simulator_{folder_};
};

TEST_P(PassThruBusTest, CarriesTheFramesOfItsExchangeAndNoEchoes) {
  {
    const auto bus = Open();
    bus->Select(kCan);
    EXPECT_EQ(bus->Receive(0ms), std::nullopt);
    bus->Send(kSession);
    const auto answer = bus->Receive(kPatience);
    ASSERT_TRUE(answer);
    EXPECT_EQ(Bytes(answer->begin(), answer->begin() + 4), (Bytes{2, 0x50, 0xC0, 0xAA}));
    EXPECT_EQ(bus->Receive(20ms), std::nullopt);
  }
  EXPECT_EQ(simulator_.Report(), kNoViolations);
}

TEST_P(PassThruBusTest, CarriesIdentifiersOf29BitsAndOfBothLengths) {
  for (const Exchange& exchange : {kExtended, kMixed}) {
    const auto bus =
        OpenWith("--ids " + std::to_string(exchange.receive) + ' ' + std::to_string(exchange.send));
    bus->Select(exchange);
    bus->Send(kSession);
    EXPECT_TRUE(bus->Receive(kPatience));
  }
  EXPECT_EQ(simulator_.Report(), std::string(kNoViolations) + kNoViolations);
}

TEST_P(PassThruBusTest, HearsNothingOfAnotherExchange) {
  const auto bus = Open();
  bus->Select({TransportForm::kPlainCan, 0x73B, 0x632});
  bus->Send(kSession);
  EXPECT_EQ(bus->Receive(20ms), std::nullopt);
  bus->Select(kCan);
  bus->Send(kSession);
  EXPECT_TRUE(bus->Receive(kPatience));
}

TEST_P(PassThruBusTest, MakesOneWakeUpOfABreakAWaitAndTheFirstMessage) {
  {
    const auto bus = Open("&protocol=kline&p3=20&p4=0");
    bus->Select(kKLine);
    bus->Break(25ms);
    bus->Wait(25ms);
    bus->Send(kStart);
    const auto answer = bus->Receive(kPatience);
    ASSERT_TRUE(answer);
    EXPECT_EQ((*answer)[3], 0xC1);
    EXPECT_EQ(answer->size(), 7U) << "with its checksum";
    bus->Send(kSessionOnKLine);
    EXPECT_TRUE(bus->Receive(kPatience));
  }
  EXPECT_EQ(simulator_.Report(), kNoViolations);
}

TEST_P(PassThruBusTest, TakesTheTimesOfTheWakeUpFromTheDocument) {
  const auto bus = Open("&protocol=kline");
  bus->Select(kKLine);
  bus->Break(40ms);
  bus->Wait(25ms);
  const std::string doubt = ErrorOf([&] { bus->Send(kStart); });
  EXPECT_EQ(doubt, Library() +
                       ": PassThruIoctl(FAST_INIT) returns ERR_TIMEOUT: the ECU does not answer "
                       "the fast initialisation")
      << "an ECU is not woken by 40 ms";
  EXPECT_EQ(bus->Receive(20ms), std::nullopt) << "the bus goes on";
}

TEST_P(PassThruBusTest, WakesWithoutAMessageWhereTheAnswerIsAwaitedFirst) {
  {
    const auto bus = Open("&protocol=kline");
    bus->Select(kKLine);
    bus->Break(25ms);
    EXPECT_EQ(bus->Receive(20ms), std::nullopt);
  }
  EXPECT_EQ(simulator_.Report(), kNoViolations);
}

TEST_P(PassThruBusTest, RefusesAnAdapterThatKeepsOtherPauses) {
  const auto bus = OpenWith("--keeps-parameters", "&protocol=kline&p1=20&p3=30");
  EXPECT_EQ(ErrorOf([&] { bus->Select(kKLine); }),
            "the adapter keeps P3_MIN at 110 half milliseconds where 60 was set: give it another "
            "p3");
}

TEST_P(PassThruBusTest, CarriesOneForm) {
  EXPECT_EQ(ErrorOf([] { Open()->Select(kKLine); }),
            "j2534: with protocol=can carries the plain CAN form alone");
  EXPECT_EQ(ErrorOf([] { Open("&protocol=kline")->Select(kCan); }),
            "j2534: with protocol=kline carries the K line form alone");
  EXPECT_EQ(ErrorOf([] { Open()->Break(25ms); }), "a CAN bus knows no break");
}

TEST_P(PassThruBusTest, TellsTheVoltageAndItsVersions) {
  const auto bus = OpenWith("--millivolts 11900");
  EXPECT_EQ(bus->BatteryMillivolts(), 11'900U);
  const AdapterVersions versions = bus->Versions();
  EXPECT_EQ(versions.firmware, "1.0 simulated");
  EXPECT_EQ(versions.library, "1.0");
  EXPECT_EQ(versions.api, "04.04");
}

TEST_P(PassThruBusTest, HasNoVoltageOfAnAdapterThatDoesNotMeasureIt) {
  EXPECT_EQ(OpenWith("--no-battery")->BatteryMillivolts(), std::nullopt);
}

TEST_P(PassThruBusTest, EndsTheRunAfterAWriteThatTimesOut) {
  const auto bus = OpenWith("--slow-write 100000");
  bus->Select(kCan);
  EXPECT_EQ(
      ErrorOf([&] { bus->Send(kSession); }),
      Library() + ": PassThruWriteMsgs returns ERR_TIMEOUT: the message was not sent in time");
}

TEST_P(PassThruBusTest, WaitsForASlowWrite) {
  const auto bus = OpenWith("--slow-write 1000");
  bus->Select(kCan);
  bus->Send(kSession);
  EXPECT_TRUE(bus->Receive(kPatience));
}

TEST_P(PassThruBusTest, PassesOverOneLossAndEndsWithTheNext) {
  const auto bus = OpenWith("--fail PassThruReadMsgs@1:0x12 --fail PassThruReadMsgs@0:0x12");
  bus->Select(kCan);
  EXPECT_EQ(ErrorOf([&] { static_cast<void>(bus->Receive(kPatience)); }),
            "the adapter loses frames again and again: PassThruReadMsgs returns "
            "ERR_BUFFER_OVERFLOW");
}

TEST_P(PassThruBusTest, TakesWhatAnAdapterKeptWhereItLostSomething) {
  const auto bus = OpenWith("--no-echoes --receive-buffer 1");
  bus->Select(kCan);
  // The answer to the second one has no room.
  bus->Send(kSession);
  bus->Wait(20ms);
  bus->Send(kSession);
  bus->Wait(20ms);
  EXPECT_TRUE(bus->Receive(kPatience));
}

TEST_P(PassThruBusTest, EndsWhereTheAdapterIsPulled) {
  const auto bus = OpenWith("--fault unplug@2");
  bus->Select(kCan);
  bus->Send(kSession);
  EXPECT_THAT(ErrorOf([&] { static_cast<void>(bus->Receive(kPatience)); }),
              HasSubstr("PassThruReadMsgs returns ERR_DEVICE_NOT_CONNECTED: the device is gone"));
  EXPECT_THAT(ErrorOf([&] { bus->Send(kSession); }), HasSubstr("ERR_DEVICE_NOT_CONNECTED"));
}

TEST_P(PassThruBusTest, SaysWhichWidthALibraryHas) {
  const std::string other = std::to_string(96 - GetParam());
  EXPECT_EQ(ErrorOf([&] {
              static_cast<void>(OpenBus(ParseBusUri("j2534:" + Library() + "?width=" + other)));
            }),
            Library() + " is a library with numbers of " + std::to_string(GetParam()) +
                " bits: use it with width=" + std::to_string(GetParam()));
}

TEST_P(PassThruBusTest, IsOpenForOneUser) {
  const auto first = Open();
  EXPECT_EQ(ErrorOf([] { static_cast<void>(Open()); }),
            Library() + ": PassThruOpen returns ERR_DEVICE_IN_USE: the adapter is open already");
}

INSTANTIATE_TEST_SUITE_P(Widths, PassThruBusTest, ::testing::Values(32, 64),
                         [](const auto& test) { return "Bits" + std::to_string(test.param); });

TEST(PassThruLibraries, ThatAreNoneAreRefused) {
  const auto open = [](const std::string& device) {
    return ErrorOf([&] { static_cast<void>(OpenBus(ParseBusUri("j2534:" + device))); });
  };
  EXPECT_THAT(open("/no/such.so"), HasSubstr("/no/such.so cannot be loaded: "));
  EXPECT_THAT(open(QUILLMARK_NO_PASS_THRU), HasSubstr(" is no pass-thru library of API 04.04: it "
                                                      "has no PassThruOpen"));
}

class HostileLibrary : public ::testing::Test {
 protected:
  ~HostileLibrary() override { ::unsetenv("QUILLMARK_HOSTILE"); }

  /// What a read of a library that misbehaves so raises.
  static std::string ErrorWhere(const char* mode) {
    ::setenv("QUILLMARK_HOSTILE", mode, 1);
    const auto bus = OpenBus(ParseBusUri(std::string("j2534:") + QUILLMARK_HOSTILE_PASS_THRU));
    bus->Select(kCan);
    return ErrorOf([&] { static_cast<void>(bus->Receive(1ms)); });
  }
};

TEST_F(HostileLibrary, IsNotBelievedInItsNumbers) {
  EXPECT_THAT(ErrorWhere("count"),
              HasSubstr("PassThruReadMsgs returns 1000 messages where one was asked for"));
  EXPECT_THAT(ErrorWhere("size"), HasSubstr(" returns a message of 4294967295 bytes"));
}

TEST_F(HostileLibrary, HasItsTextsBoundedAndCleared) {
  const std::string marks(pass_thru::kTextSize, '?');
  EXPECT_THAT(ErrorWhere("status"),
              ::testing::EndsWith("PassThruReadMsgs returns status 0x7777: " + marks));
  const auto bus = OpenBus(ParseBusUri(std::string("j2534:") + QUILLMARK_HOSTILE_PASS_THRU));
  EXPECT_EQ(bus->Versions().firmware, marks);
}

/// A function that fails, as the simulator and as a message calls it.
struct Failing {
  const char* test;
  const char* call;
  const char* function;
  const char* parameters = "";

  friend void PrintTo(const Failing& each, std::ostream* out) { *out << each.test; }
};

class FailingFunction : public ::testing::TestWithParam<Failing> {
 protected:
  TemporaryFolder folder_;
  PassThruSimulator simulator_{folder_};
};

TEST_P(FailingFunction, IsNamedWithItsStatusAndTheAdaptersText) {
  const Failing& failing = GetParam();
  simulator_.Set(std::string("--fail ") + failing.call + "@1:0x07");
  const std::string library = PassThruSimulator::Library(32);
  const std::string error = ErrorOf([&] {
    const auto bus = OpenBus(ParseBusUri("j2534:" + library + failing.parameters));
    static_cast<void>(bus->Versions());
    static_cast<void>(bus->BatteryMillivolts());
    const bool k_line = *failing.parameters != '\0';
    bus->Select(k_line ? kKLine : kCan);
    bus->Select(k_line ? kKLine : kExtended);
    if (k_line) {
      bus->Break(25ms);
    }
    bus->Send(k_line ? kStart : kSession);
    static_cast<void>(bus->Receive(1ms));
  });
  EXPECT_EQ(error, library + ": " + failing.function +
                       " returns ERR_FAILED: the simulator was told to fail here");
}

INSTANTIATE_TEST_SUITE_P(
    All, FailingFunction,
    ::testing::Values(
        Failing{"Open", "PassThruOpen", "PassThruOpen"},
        Failing{"Versions", "PassThruReadVersion", "PassThruReadVersion"},
        Failing{"Battery", "PassThruIoctl:3", "PassThruIoctl(READ_VBATT)"},
        Failing{"Connect", "PassThruConnect", "PassThruConnect"},
        Failing{"Disconnect", "PassThruDisconnect", "PassThruDisconnect"},
        Failing{"Filter", "PassThruStartMsgFilter", "PassThruStartMsgFilter"},
        Failing{"Clear", "PassThruIoctl:8", "PassThruIoctl(CLEAR_RX_BUFFER)"},
        Failing{"Write", "PassThruWriteMsgs", "PassThruWriteMsgs"},
        Failing{"Read", "PassThruReadMsgs", "PassThruReadMsgs"},
        Failing{"Set", "PassThruIoctl:2", "PassThruIoctl(SET_CONFIG P1_MAX)", "?protocol=kline"},
        Failing{"Get", "PassThruIoctl:1", "PassThruIoctl(GET_CONFIG P1_MAX)", "?protocol=kline"},
        Failing{"FastInit", "PassThruIoctl:5", "PassThruIoctl(FAST_INIT)", "?protocol=kline"}),
    [](const auto& test) { return test.param.test; });

class EveryStatus : public ::testing::TestWithParam<std::uint32_t> {
 protected:
  TemporaryFolder folder_;
  PassThruSimulator simulator_{folder_};
};

TEST_P(EveryStatus, OfAWriteEndsTheRunWithItsName) {
  simulator_.Set("--fail PassThruWriteMsgs@1:" + std::to_string(GetParam()));
  const std::string library = PassThruSimulator::Library(32);
  const auto bus = OpenBus(ParseBusUri("j2534:" + library));
  bus->Select(kCan);
  EXPECT_EQ(ErrorOf([&] { bus->Send(kSession); }), library + ": PassThruWriteMsgs returns " +
                                                       pass_thru::NameOfStatus(GetParam()) +
                                                       ": the simulator was told to fail here");
}

INSTANTIATE_TEST_SUITE_P(All, EveryStatus, ::testing::Range(1U, pass_thru::kLastStatus + 2),
                         [](const auto& test) {
                           std::string name = pass_thru::NameOfStatus(test.param);
                           std::replace(name.begin(), name.end(), ' ', '_');
                           return name;
                         });

}  // namespace
}  // namespace quillmark::host::testing
