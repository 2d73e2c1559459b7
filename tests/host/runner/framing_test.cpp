// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "host/ecu/can_transport.h"
#include "host/ecu/gateway_transport.h"
#include "host/ecu/k_line_transport.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"
#include "quillmark/host/runner.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/portable_platform.h"
#include "tests/host/ecu/frame_bench.h"

/// What the component frames, the simulated ECU's own decoder gives back, and what the ECU frames,
/// the component reads back: for all lengths.
namespace quillmark::host {
namespace {

/// A transport of the simulated ECU at the end of the wire, with nothing behind it but a record of
/// what arrives.
class TransportNode : public SimulatedNode {
 public:
  explicit TransportNode(const EcuOptions& options) {
    handler.in_session = true;
    switch (options.form) {
      case TransportForm::kPlainCan:
        transport_ = std::make_unique<CanTransport>(options, handler);
        break;
      case TransportForm::kGateway:
        transport_ = std::make_unique<GatewayTransport>(options, handler);
        break;
      default:
        transport_ = std::make_unique<KLineTransport>(options, handler);
    }
  }

  [[nodiscard]] bool Hears(const Exchange& /*exchange*/) const override { return true; }
  void OnFrame(ByteView frame, Duration now) override { transport_->OnFrame(frame, now); }
  void OnBreak(Duration low, Duration now) override { transport_->OnBreak(low, now); }
  [[nodiscard]] std::optional<Duration> NextDue() const override { return transport_->NextDue(); }
  Bytes TakeFrame(Duration now) override { return transport_->TakeFrame(now); }

  RecordingHandler handler;

 private:
  std::unique_ptr<EcuTransport> transport_;
};

EcuOptions OptionsFor(TransportForm form) {
  EcuOptions options;
  options.form = form;
  options.address = form == TransportForm::kGateway ? 0x6E : 0x11;
  return options;
}

class FramingTest : public ::testing::TestWithParam<TransportForm> {
 protected:
  void Configure(const EcuOptions& options) {
    node_ = std::make_unique<TransportNode>(options);
    bus_ = std::make_unique<SimulatedBus>(*node_);
    reprog_ = CreateDiagOnCANReprog(platform_);
    const bool plain_can = options.form == TransportForm::kPlainCan;
    reprog_->CANIDs(plain_can ? 1850 : 0, plain_can ? 1586 : options.address);
    reprog_->FlowControl(options.block_size, options.separation_time);
  }
  void SetUp() override { Configure(OptionsFor(GetParam())); }

  /// Sends 27 82 and a key of `size` bytes; gives what the ECU took.
  std::string Arrived(std::size_t size) {
    node_->handler.requests.clear();
    node_->handler.replies = {Hex("6782")};
    const std::shared_ptr<ByteString> key = platform_->CreateByteString();
    key->SetHex(HexOf(Counting(0, size)));
    EXPECT_TRUE(Run(*reprog_->dounlock(key)).complete()) << size;
    return node_->handler.requests.size() == 1 ? node_->handler.requests[0] : "nothing";
  }

  RunOutcome Run(DOMDocument& document) { return Runner(*bus_, GetParam()).Run(document); }

  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::unique_ptr<TransportNode> node_;
  std::unique_ptr<SimulatedBus> bus_;
  std::shared_ptr<DiagOnCANReprog> reprog_;
};

INSTANTIATE_TEST_SUITE_P(Forms, FramingTest,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& form) -> std::string {
                           switch (form.param) {
                             case TransportForm::kPlainCan:
                               return "PlainCan";
                             case TransportForm::kGateway:
                               return "Gateway";
                             default:
                               return "KLine";
                           }
                         });

TEST_P(FramingTest, RequestsOfEveryLengthArrive) {
  for (std::size_t size = 0; size <= 253; ++size) {
    ASSERT_EQ(Arrived(size), "2782" + HexOf(Counting(0, size))) << size;
  }
}

class PlainCanFramingTest : public FramingTest {};

INSTANTIATE_TEST_SUITE_P(Forms, PlainCanFramingTest, ::testing::Values(TransportForm::kPlainCan),
                         [](const auto&) { return "PlainCan"; });

TEST_P(PlainCanFramingTest, TheLongestRequestsArrive) {
  for (const std::size_t size :
       {std::size_t{254}, std::size_t{2046}, std::size_t{4092}, std::size_t{4093}}) {
    ASSERT_EQ(Arrived(size), "2782" + HexOf(Counting(0, size))) << size;
  }
}

TEST_P(PlainCanFramingTest, RequestsArriveWithEveryBlockSizeAndSeparationTime) {
  for (int block_size = 0; block_size <= 40; ++block_size) {
    for (const std::uint8_t separation_time : Bytes{0, 1, 0x7F, 0xFF}) {
      EcuOptions options = OptionsFor(GetParam());
      options.block_size = static_cast<std::uint8_t>(block_size);
      options.separation_time = separation_time;
      Configure(options);
      ASSERT_EQ(Arrived(200), "2782" + HexOf(Counting(0, 200))) << block_size;
    }
  }
}

/// The steps that receive a reply of `size` bytes, whatever is in it.
std::string StepsToReceive(TransportForm form, std::size_t size) {
  constexpr const char* kAny = "<r><c></c></r>";
  std::string steps = kAny;
  std::size_t further = 0;
  std::string turn;
  if (form == TransportForm::kPlainCan) {
    further = size <= 7 ? 0 : size / 7;
    turn = "<s><d>3001000000000000</d></s>";
  } else if (form == TransportForm::kGateway) {
    further = (size + (size < 63 ? 5U : 6U) - 1) / 8;
    turn = "<s><d>81</d></s>";
  }
  for (; further > 0; --further) {
    steps += turn + kAny;
  }
  return steps;
}

struct Exchanged {
  const char* head;
  const char* request;
  const char* tail;
  /// What `getseed` says before the reply's hex text where the reply is not a seed.
  const char* complaint;
};

/// One request after another step, where `getseed` wants one, and the reply to be read.
Exchanged ExchangeOf(TransportForm form) {
  switch (form) {
    case TransportForm::kPlainCan:
      return {"<can><x i='1850'><i>1586</i>", "<s><d>0227810000000000</d></s>", "</x></can>",
              "SA#1 Illegal Reply : "};
    case TransportForm::kGateway:
      return {"<can><x i='3'><i>13</i>", "<s><d>01826EF1278189</d></s>", "</x></can>",
              "Reprog on CAN : init failed "};
    default:
      return {"<k>", "<s><d>8211F127812C</d></s>", "</k>", "SA#1 error "};
  }
}

TEST_P(FramingTest, RepliesOfEveryLengthAreReadBack) {
  const Exchanged exchange = ExchangeOf(GetParam());
  for (std::size_t size = 1; size <= 255; ++size) {
    const bool is_a_seed = size == (GetParam() == TransportForm::kGateway ? 3 : 6);
    if (is_a_seed) {
      continue;
    }
    const Bytes reply = Counting(0x61, size);
    node_->handler.replies = {reply};
    const std::shared_ptr<DOMDocument> document = platform_->CreateDOMDocument();
    document->loadXML(exchange.head + std::string(exchange.request) +
                      StepsToReceive(GetParam(), size) + exchange.tail);
    ASSERT_TRUE(Run(*document).complete()) << size;
    try {
      static_cast<void>(reprog_->getseed(document));
      FAIL() << size;
    } catch (const Error& error) {
      ASSERT_EQ(error.Description(), exchange.complaint + HexOf(reply));
    }
  }
}

}  // namespace
}  // namespace quillmark::host
