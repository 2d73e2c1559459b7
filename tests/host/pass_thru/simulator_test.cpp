// SPDX-License-Identifier: MIT
// The rules of the programming interface as the simulated adapter keeps them, at its exported
// functions: every status that the interface has is provoked here, in both widths.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <set>

#include "host/bus/pass_thru_api.h"
#include "quillmark/host/bytes.h"
#include "tests/host/pass_thru/simulator_library.h"

namespace quillmark::host::testing {
namespace {

namespace api = pass_thru;
using ::testing::HasSubstr;

static_assert(sizeof(api::Message<std::uint32_t>) == 4152);
static_assert(sizeof(api::Message<std::uint64_t>) == 4176);
static_assert(offsetof(api::Message<std::uint32_t>, data) == 24);
static_assert(offsetof(api::Message<std::uint64_t>, data) == 48);

template <typename WordType>
class Simulator : public ::testing::Test {
 protected:
  using Word = WordType;
  using Message = api::Message<Word>;

  Simulator() : library_(::dlopen(PassThruSimulator::Library(8 * sizeof(Word)).c_str(), RTLD_NOW)) {
    EXPECT_NE(library_, nullptr) << ::dlerror();
    Load("PassThruOpen", call_.Open);
    Load("PassThruClose", call_.Close);
    Load("PassThruConnect", call_.Connect);
    Load("PassThruDisconnect", call_.Disconnect);
    Load("PassThruReadMsgs", call_.ReadMsgs);
    Load("PassThruWriteMsgs", call_.WriteMsgs);
    Load("PassThruStartPeriodicMsg", call_.StartPeriodicMsg);
    Load("PassThruStopPeriodicMsg", call_.StopPeriodicMsg);
    Load("PassThruStartMsgFilter", call_.StartMsgFilter);
    Load("PassThruStopMsgFilter", call_.StopMsgFilter);
    Load("PassThruSetProgrammingVoltage", call_.SetProgrammingVoltage);
    Load("PassThruReadVersion", call_.ReadVersion);
    Load("PassThruGetLastError", call_.GetLastError);
    Load("PassThruIoctl", call_.Ioctl);
  }
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;
  Simulator(Simulator&&) = delete;
  Simulator& operator=(Simulator&&) = delete;
  ~Simulator() override { ::dlclose(library_); }

  /// Opens the adapter with further settings.
  void Open(const std::string& settings = "") {
    simulator_.Set(settings);
    EXPECT_EQ(call_.Open(nullptr, &device_), api::kNoError) << LastError();
  }
  void Connect(Word protocol = api::kCan, Word flags = 0, Word baud = 500'000) {
    EXPECT_EQ(call_.Connect(device_, protocol, flags, baud, &channel_), api::kNoError)
        << LastError();
  }
  void OpenCan(const std::string& settings = "") {
    Open(settings);
    Connect();
  }
  void OpenKLine(const std::string& settings = "") {
    Open(settings);
    Connect(api::kIso14230, api::kNoChecksum, 10'400);
  }
  /// The filter of the simulated ECU's answers.
  void StartFilter() {
    Message mask = CanMessage({0, 0, 7, 0xFF});
    Message pattern = CanMessage({0, 0, 7, 0x3A});
    EXPECT_EQ(Filter(api::kPassFilter, &mask, &pattern), api::kNoError) << LastError();
    EXPECT_EQ(Ioctl(api::kClearReceiveBuffer), api::kNoError);
  }
  void Close() { EXPECT_EQ(call_.Close(device_), api::kNoError); }

  Word Filter(Word type, Message* mask, Message* pattern, Message* flow = nullptr) {
    return Status(call_.StartMsgFilter(channel_, type, mask, pattern, flow, &id_));
  }
  Word Write(Message message, Word timeout = 100) {
    Word count = 1;
    return Status(call_.WriteMsgs(channel_, &message, &count, timeout));
  }
  Word Read(Word timeout = 50, Word count = 1) {
    count_ = count;
    return Status(call_.ReadMsgs(channel_, received_.data(), &count_, timeout));
  }
  Word Ioctl(Word id, void* input = nullptr, void* output = nullptr) {
    return Status(call_.Ioctl(channel_, id, input, output));
  }
  Word SetParameter(Word name, Word value) {
    api::Parameter<Word> parameter{name, value};
    api::ParameterList<Word> list{1, &parameter};
    return Ioctl(api::kSetConfig, &list);
  }

  static Message MessageOf(Word protocol, const Bytes& data) {
    Message message{};
    message.protocol = protocol;
    message.size = static_cast<Word>(data.size());
    std::copy(data.begin(), data.end(), message.data.begin());
    return message;
  }
  static Message CanMessage(const Bytes& data) { return MessageOf(api::kCan, data); }
  /// Opens a session with the simulated ECU.
  static Message Request() { return CanMessage({0, 0, 6, 0x32, 2, 0x10, 0xC0}); }

  static Word Status(typename api::Functions<Word>::Result result) {
    return static_cast<Word>(result);
  }
  std::string LastError() {
    std::array<char, api::kTextSize> text{};
    EXPECT_EQ(call_.GetLastError(text.data()), api::kNoError);
    return text.data();
  }

  TemporaryFolder folder_;
  PassThruSimulator simulator_{folder_};
  api::Functions<Word> call_;
  Word device_ = 0;
  Word channel_ = 0;
  Word id_ = 0;
  Word count_ = 0;
  std::array<Message, 4> received_{};

 private:
  template <typename Function>
  void Load(const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library_, name));
    EXPECT_NE(function, nullptr) << name;
  }

  void* library_;
};

using Widths = ::testing::Types<std::uint32_t, std::uint64_t>;
class WidthNames {
 public:
  template <typename Word>
  static std::string GetName(int /*index*/) {
    return sizeof(Word) == 4 ? "Bits32" : "Bits64";
  }
};
TYPED_TEST_SUITE(Simulator, Widths, WidthNames);

TYPED_TEST(Simulator, HasNoComplaintAboutAHostThatKeepsTheRules) {
  this->OpenCan();
  this->StartFilter();
  EXPECT_EQ(this->Write(this->Request()), api::kNoError);
  EXPECT_EQ(this->call_.Disconnect(this->channel_), api::kNoError);
  this->Close();
  EXPECT_EQ(this->simulator_.Report(), kNoViolations);
}

TYPED_TEST(Simulator, PassesFramesThroughFiltersAlone) {
  this->OpenCan("--no-echoes");
  EXPECT_EQ(this->Write(this->Request()), api::kNoError);
  EXPECT_EQ(this->Read(), api::kBufferEmpty);
  this->StartFilter();
  EXPECT_EQ(this->Write(this->Request()), api::kNoError);
  EXPECT_EQ(this->Read(), api::kNoError);
  EXPECT_EQ(this->count_, 1U);
  const auto& data = this->received_[0].data;
  EXPECT_EQ((Bytes{data.begin(), data.begin() + 8}), (Bytes{0, 0, 7, 0x3A, 2, 0x50, 0xC0, 0xAA}));
}

TYPED_TEST(Simulator, EchoesWhatItSendsAndSaysWhenItWasSent) {
  this->OpenCan();
  this->StartFilter();
  EXPECT_EQ(this->Write(this->Request()), api::kNoError);
  EXPECT_EQ(this->Read(50, 3), api::kNoError);
  EXPECT_EQ(this->received_[0].rx_status, api::kEcho);
  EXPECT_EQ(this->received_[0].size, 7U);
  EXPECT_EQ(this->received_[1].rx_status, api::kEcho | api::kSent);
  EXPECT_EQ(this->received_[2].rx_status, 0U);
}

TYPED_TEST(Simulator, BeginsAReceptionOnAKLineWithAnIndication) {
  this->OpenKLine("--no-echoes");
  auto mask = this->MessageOf(api::kIso14230, {0});
  EXPECT_EQ(this->Filter(api::kPassFilter, &mask, &mask), api::kNoError);
  EXPECT_EQ(this->Ioctl(api::kClearReceiveBuffer), api::kNoError);
  auto start = this->MessageOf(api::kIso14230, {0x81, 0x11, 0xF1, 0x81, 0x04});
  EXPECT_EQ(this->Ioctl(api::kFastInit, &start, &this->received_[0]), api::kNoError);
  EXPECT_EQ(this->received_[0].data[3], 0xC1);
  EXPECT_EQ(this->Write(this->MessageOf(api::kIso14230, {0x82, 0x11, 0xF1, 0x10, 0xC0, 0x54})),
            api::kNoError);
  EXPECT_EQ(this->Read(500, 2), api::kNoError);
  EXPECT_EQ(this->received_[0].rx_status, api::kStartOfMessage);
  EXPECT_EQ(this->received_[0].size, 0U);
  EXPECT_EQ(this->received_[1].data[2], 0x11) << "from the ECU";
}

TYPED_TEST(Simulator, SendsPeriodicMessagesUntilItIsStopped) {
  this->OpenCan("--no-echoes");
  this->StartFilter();
  auto request = this->Request();
  EXPECT_EQ(this->call_.StartPeriodicMsg(this->channel_, &request, &this->id_, 50), api::kNoError);
  EXPECT_EQ(this->Read(200, 2), api::kNoError);
  EXPECT_EQ(this->call_.StopPeriodicMsg(this->channel_, this->id_), api::kNoError);
}

// One test for each status.

TYPED_TEST(Simulator, ReturnsNoErrorAndItsVersions) {
  this->Open();
  std::array<char, api::kTextSize> firmware{};
  std::array<char, api::kTextSize> library{};
  std::array<char, api::kTextSize> version{};
  EXPECT_EQ(this->call_.ReadVersion(this->device_, firmware.data(), library.data(), version.data()),
            api::kNoError);
  EXPECT_STREQ(version.data(), "04.04");
}

TYPED_TEST(Simulator, ReturnsNotSupported) {
  this->OpenCan("--no-battery");
  TypeParam millivolts = 0;
  EXPECT_EQ(this->call_.Ioctl(this->device_, api::kReadBatteryVoltage, nullptr, &millivolts),
            api::kNotSupported);
  EXPECT_EQ(this->Ioctl(api::kFiveBaudInit), api::kNotSupported);
  EXPECT_EQ(this->call_.Connect(this->device_, api::kIso9141, 0, 10'400, &this->channel_),
            api::kNotSupported);
}

TYPED_TEST(Simulator, ReturnsInvalidChannelId) {
  this->OpenCan();
  ++this->channel_;
  EXPECT_EQ(this->Write(this->Request()), api::kInvalidChannelId);
}

TYPED_TEST(Simulator, ReturnsInvalidProtocolId) {
  this->Open();
  EXPECT_EQ(this->call_.Connect(this->device_, 99, 0, 500'000, &this->channel_),
            api::kInvalidProtocolId);
}

TYPED_TEST(Simulator, ReturnsNullParameter) {
  EXPECT_EQ(this->call_.Open(nullptr, nullptr), api::kNullParameter);
  this->OpenCan();
  EXPECT_EQ(this->call_.ReadMsgs(this->channel_, this->received_.data(), nullptr, 10),
            api::kNullParameter);
  EXPECT_EQ(this->call_.GetLastError(nullptr), api::kNullParameter);
}

TYPED_TEST(Simulator, ReturnsInvalidIoctlValue) {
  this->OpenKLine();
  EXPECT_EQ(this->SetParameter(api::kP3Min, 0x10000), api::kInvalidIoctlValue);
}

TYPED_TEST(Simulator, ReturnsInvalidFlagsForReservedBits) {
  this->Open();
  EXPECT_EQ(this->call_.Connect(this->device_, api::kCan, 0x40000000, 500'000, &this->channel_),
            api::kInvalidFlags);
}

TYPED_TEST(Simulator, ReturnsFailedWithItsText) {
  this->OpenCan();
  auto message = this->Request();
  EXPECT_EQ(this->Filter(7, &message, &message), api::kFailed);
  EXPECT_EQ(this->LastError(), "the channel has no filters of this type");
}

TYPED_TEST(Simulator, ReturnsDeviceNotConnectedForEachCallOnceItIsPulled) {
  this->OpenCan("--fault unplug@1");
  this->StartFilter();
  EXPECT_EQ(this->Write(this->Request()), api::kDeviceNotConnected);
  EXPECT_EQ(this->Read(), api::kDeviceNotConnected);
  EXPECT_EQ(this->Ioctl(api::kClearReceiveBuffer), api::kDeviceNotConnected);
}

TYPED_TEST(Simulator, ReturnsTimeoutForAFrameThatNobodyAcknowledgesAndForASlowOne) {
  this->OpenCan("--bitrate 250000");
  EXPECT_EQ(this->Write(this->Request()), api::kTimeout);
  EXPECT_EQ(this->call_.Disconnect(this->channel_), api::kNoError);
  this->Close();
  this->OpenCan("--slow-write 200");
  EXPECT_EQ(this->Write(this->Request()), api::kTimeout);
  EXPECT_EQ(this->Write(this->Request(), 1000), api::kNoError);
}

TYPED_TEST(Simulator, ReturnsTimeoutForAReadThatBringsFewerMessages) {
  this->OpenCan("--no-echoes");
  this->StartFilter();
  EXPECT_EQ(this->Write(this->Request()), api::kNoError);
  EXPECT_EQ(this->Read(50, 4), api::kTimeout);
  EXPECT_EQ(this->count_, 1U);
}

TYPED_TEST(Simulator, ReturnsInvalidMessageForLengthsFlagsAndIdentifiers) {
  this->OpenCan();
  auto reserved = this->Request();
  reserved.tx_flags = 0x80000;
  auto extended = this->Request();
  extended.tx_flags = api::kCan29BitId;
  for (const auto& message : {this->CanMessage({0, 0, 7}), this->CanMessage({0, 0, 8, 0, 1}),
                              this->CanMessage(Bytes(13)), reserved, extended}) {
    EXPECT_EQ(this->Write(message), api::kInvalidMessage);
  }
  auto mask = this->CanMessage({0, 0, 7, 0xFF});
  auto longer = this->CanMessage({0, 0, 7, 0x3A, 1});
  EXPECT_EQ(this->Filter(api::kPassFilter, &mask, &longer), api::kInvalidMessage);
}

TYPED_TEST(Simulator, ReturnsInvalidMessageForAKLineHeaderOfAnotherLength) {
  this->OpenKLine();
  EXPECT_EQ(this->Write(this->MessageOf(api::kIso14230, {0x82, 0x11, 0xF1, 0x81, 0x05})),
            api::kInvalidMessage);
}

TYPED_TEST(Simulator, ReturnsInvalidTimeInterval) {
  this->OpenCan();
  auto request = this->Request();
  EXPECT_EQ(this->call_.StartPeriodicMsg(this->channel_, &request, &this->id_, 4),
            api::kInvalidTimeInterval);
}

TYPED_TEST(Simulator, ReturnsExceededLimitForAnEleventhFilter) {
  this->OpenCan();
  auto mask = this->CanMessage({0, 0, 7, 0xFF});
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(this->Filter(api::kPassFilter, &mask, &mask), api::kNoError);
  }
  EXPECT_EQ(this->Filter(api::kPassFilter, &mask, &mask), api::kExceededLimit);
}

TYPED_TEST(Simulator, ReturnsInvalidMessageId) {
  this->OpenCan();
  EXPECT_EQ(this->call_.StopPeriodicMsg(this->channel_, 99), api::kInvalidMessageId);
}

TYPED_TEST(Simulator, ReturnsDeviceInUse) {
  this->Open();
  EXPECT_EQ(this->call_.Open(nullptr, &this->device_), api::kDeviceInUse);
}

TYPED_TEST(Simulator, ReturnsInvalidIoctlId) {
  this->OpenCan();
  EXPECT_EQ(this->Ioctl(0x7777), api::kInvalidIoctlId);
  EXPECT_EQ(this->Ioctl(api::kFastInit), api::kInvalidIoctlId);
}

TYPED_TEST(Simulator, ReturnsBufferEmpty) {
  this->OpenCan();
  this->StartFilter();
  EXPECT_EQ(this->Read(), api::kBufferEmpty);
  EXPECT_EQ(this->count_, 0U);
}

TYPED_TEST(Simulator, ReturnsBufferFullToAWriterThatDoesNotWait) {
  this->OpenCan("--slow-write 60000");
  TypeParam status = api::kNoError;
  for (int i = 0; i < 20 && status == api::kNoError; ++i) {
    status = this->Write(this->Request(), 0);
  }
  EXPECT_EQ(status, api::kBufferFull);
}

TYPED_TEST(Simulator, ReturnsBufferOverflowOnceWithWhatItKept) {
  this->OpenCan("--receive-buffer 1");
  this->StartFilter();
  EXPECT_EQ(this->Write(this->Request()), api::kNoError);
  EXPECT_EQ(this->Read(), api::kBufferOverflow);
  EXPECT_EQ(this->count_, 1U);
}

TYPED_TEST(Simulator, ReturnsPinInvalid) {
  this->Open();
  EXPECT_EQ(this->call_.SetProgrammingVoltage(this->device_, 16, 12'000), api::kPinInvalid);
  EXPECT_EQ(this->call_.SetProgrammingVoltage(this->device_, 13, 12'000), api::kNoError);
}

TYPED_TEST(Simulator, ReturnsChannelInUse) {
  this->OpenCan();
  EXPECT_EQ(this->call_.Connect(this->device_, api::kCan, 0, 500'000, &this->channel_),
            api::kChannelInUse);
}

TYPED_TEST(Simulator, ReturnsMessageProtocolId) {
  this->OpenCan();
  EXPECT_EQ(this->Write(this->MessageOf(api::kIso14230, {0x81, 0x11, 0xF1, 0x81, 0x04})),
            api::kMessageProtocolId);
}

TYPED_TEST(Simulator, ReturnsInvalidFilterId) {
  this->OpenCan();
  EXPECT_EQ(this->call_.StopMsgFilter(this->channel_, 99), api::kInvalidFilterId);
}

TYPED_TEST(Simulator, ReturnsNoFlowControl) {
  this->Open();
  this->Connect(api::kIso15765);
  EXPECT_EQ(this->Write(this->MessageOf(api::kIso15765, {0, 0, 6, 0x32, 0x1A, 0x80})),
            api::kNoFlowControl);
}

TYPED_TEST(Simulator, ReturnsNotUnique) {
  this->Open();
  this->Connect(api::kIso15765);
  auto mask = this->MessageOf(api::kIso15765, {0xFF, 0xFF, 0xFF, 0xFF});
  auto pattern = this->MessageOf(api::kIso15765, {0, 0, 7, 0x3A});
  auto flow = this->MessageOf(api::kIso15765, {0, 0, 6, 0x32});
  EXPECT_EQ(this->Filter(api::kFlowControlFilter, &mask, &pattern, &flow), api::kNoError);
  EXPECT_EQ(this->Filter(api::kFlowControlFilter, &mask, &pattern, &flow), api::kNotUnique);
}

TYPED_TEST(Simulator, ReturnsInvalidBaudRate) {
  this->Open();
  EXPECT_EQ(this->call_.Connect(this->device_, api::kCan, 0, 123'456, &this->channel_),
            api::kInvalidBaudRate);
}

TYPED_TEST(Simulator, ReturnsInvalidDeviceId) {
  EXPECT_EQ(this->call_.Close(1), api::kInvalidDeviceId);
  this->Open();
  EXPECT_EQ(this->call_.Close(7), api::kInvalidDeviceId);
}

// What breaks the rules without a status.

TYPED_TEST(Simulator, CountsWhatBreaksTheRules) {
  this->OpenCan();
  EXPECT_EQ(this->Read(), api::kBufferEmpty);
  auto mask = this->CanMessage({0, 0, 7, 0xFF});
  EXPECT_EQ(this->Filter(api::kPassFilter, &mask, &mask), api::kNoError);
  EXPECT_EQ(this->Read(), api::kBufferEmpty);
  EXPECT_EQ(this->Ioctl(api::kClearReceiveBuffer), api::kNoError);
  EXPECT_EQ(this->Read(0), api::kBufferEmpty);
  EXPECT_EQ(this->Read(10, 0), api::kBufferEmpty);
  EXPECT_EQ(this->Ioctl(0x7777), api::kInvalidIoctlId);
  this->Close();
  EXPECT_EQ(
      this->simulator_.Report(),
      "violation: PassThruReadMsgs: reads without a filter\n"
      "violation: PassThruReadMsgs: reads what arrived before the filter: the receive buffer "
      "was not cleared\n"
      "violation: PassThruReadMsgs: the timeout is 0, which waits for ever in some libraries\n"
      "violation: PassThruReadMsgs: the count is 0\n"
      "violation: PassThruIoctl:30583: ERR_INVALID_IOCTL_ID: there is no such ioctl\n"
      "violation: PassThruClose: a channel is still connected\n"
      "closed with 6 violations\n");
}

TEST(PassThruStatus, HasItsOwnName) {
  std::set<std::string> names;
  for (std::uint32_t status = 0; status <= api::kLastStatus; ++status) {
    names.insert(api::NameOfStatus(status));
  }
  EXPECT_EQ(names.size(), 0x1BU);
  EXPECT_EQ(api::NameOfStatus(9), "ERR_TIMEOUT");
  EXPECT_EQ(api::NameOfStatus(0x0A), "ERR_INVALID_MSG");
  EXPECT_EQ(api::NameOfStatus(0x10), "ERR_BUFFER_EMPTY");
  EXPECT_EQ(api::NameOfStatus(0x12), "ERR_BUFFER_OVERFLOW");
  EXPECT_EQ(api::NameOfStatus(0x17), "ERR_NO_FLOW_CONTROL");
  EXPECT_EQ(api::NameOfStatus(0x19), "ERR_INVALID_BAUDRATE");
  EXPECT_EQ(api::NameOfStatus(0x1B), "status 0x1B");
  EXPECT_EQ(api::NameOfParameter(0x13), "TIDLE");
  EXPECT_EQ(api::NameOfParameter(0), "parameter 0x0");
}

}  // namespace
}  // namespace quillmark::host::testing
