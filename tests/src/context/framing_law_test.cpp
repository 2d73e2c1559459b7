// SPDX-License-Identifier: MIT
// An ECU's own transport understands what the builders frame, and the reader gives back what the
// ECU answers: for every length in every form. The ECU's transports share no code with the
// component.
#include <rapidcheck.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "context/reply.h"
#include "context/request.h"
#include "host/ecu/can_transport.h"
#include "host/ecu/gateway_transport.h"
#include "host/ecu/k_line_transport.h"
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

/// Stands in for the ECU's services: keeps the request and gives one reply.
class Services : public host::MessageHandler {
 public:
  std::vector<host::TimedMessage> OnRequest(host::ByteView request, host::Duration now) override {
    received = Bytes(request.begin(), request.end());
    return {{now, reply}};
  }
  [[nodiscard]] bool InSession(host::Duration /*now*/) const override { return true; }

  Bytes reply;
  std::optional<Bytes> received;
};

std::unique_ptr<host::EcuTransport> MakeTransport(const Form& form, host::EcuOptions options,
                                                  Services& services) {
  if (form.name == kPlainCan.name) {
    return std::make_unique<host::CanTransport>(options, services);
  }
  options.address = static_cast<std::uint8_t>(form.XCANId);
  if (form.name == kGateway.name) {
    return std::make_unique<host::GatewayTransport>(options, services);
  }
  return std::make_unique<host::KLineTransport>(options, services);
}

/// Executes the steps of one exchange on an ECU's transport, as a host does.
class Exchange {
 public:
  Exchange(const Form& form, const host::EcuOptions& options, Bytes reply)
      : transport_(MakeTransport(form, options, services_)) {
    services_.reply = std::move(reply);
  }

  /// Writes what is received into `document`. False if a frame is missing or not the expected one.
  [[nodiscard]] bool Run(DOMDocument& document) {
    auto step = document.selectSingleNode("//s");
    for (; step; step = step->nextSibling()) {
      const std::string name = step->nodeName();
      if (name == "s") {
        Send(*step);
      } else if (name == "r" && !Receive(document, step)) {
        return false;
      } else if (name == "w") {
        now_ += std::chrono::milliseconds(std::stoi(step->text()));
      }
    }
    return true;
  }

  [[nodiscard]] const std::optional<Bytes>& Request() const { return services_.received; }
  [[nodiscard]] const std::shared_ptr<IXMLDOMNode>& FirstReplyFrame() const { return reply_; }

 private:
  void Send(const IXMLDOMNode& step) { transport_->OnFrame(BytesOfHex(step.text()), now_); }

  bool Receive(DOMDocument& document, const std::shared_ptr<IXMLDOMNode>& step) {
    const auto due = transport_->NextDue();
    if (!due) {
      return false;
    }
    if (!reply_ && services_.received) {
      reply_ = step;
    }
    now_ = std::max(now_, *due);
    const std::string frame = HexOf(transport_->TakeFrame(now_));
    const bool expected = frame.rfind(step->text(), 0) == 0;
    const auto data = document.createElement("d");
    data->setText(frame);
    step->appendChild(data);
    return expected;
  }

  Services services_;
  std::unique_ptr<host::EcuTransport> transport_;
  host::Duration now_{};
  std::shared_ptr<IXMLDOMNode> reply_;
};

class FramingLaw : public ::testing::TestWithParam<Form> {
 protected:
  FramingLaw() { context_.CANIDs(GetParam().RCANId, GetParam().XCANId); }

  [[nodiscard]] std::size_t MaxLength() const {
    return context_.Form() == TransportForm::kPlainCan ? 4095 : 255;
  }

  void SetFlowControl(std::uint8_t block_size, std::uint8_t separation_time) {
    context_.FlowControl(block_size, separation_time);
    options_.block_size = block_size;
    options_.separation_time = separation_time;
  }

  /// Whether the ECU received `message` and the component read its `reply`, of which it knew
  /// `prefix` bytes.
  [[nodiscard]] bool Holds(const Bytes& message, const Bytes& reply, std::size_t prefix) {
    Request request(context_);
    request.AddStep(message, ByteView(reply).first(prefix),
                    static_cast<std::int32_t>(reply.size()));
    const auto document = request.Finish();
    Exchange exchange(GetParam(), options_, reply);
    return exchange.Run(*document) && exchange.Request() == message &&
           ReadReply(context_.Form(), exchange.FirstReplyFrame()) == reply;
  }

  static Bytes Message(std::size_t length) {
    Bytes message(length);
    for (std::size_t index = 0; index < length; ++index) {
      message[index] = static_cast<std::uint8_t>(index * 7 + length);
    }
    return message;
  }

  Context context_{CreatePortablePlatform()};
  host::EcuOptions options_;
};

// Beyond 300 bytes in steps of 13, which meet every remainder by the 7 bytes of a consecutive frame
// and the 16 sequence numbers.
TEST_P(FramingLaw, HoldsForEveryLength) {
  for (std::size_t length = 1; length <= MaxLength(); length += length < 300 ? 1 : 13) {
    ASSERT_TRUE(Holds(Message(length), Message(length), std::min<std::size_t>(length, 2)))
        << length;
  }
  EXPECT_TRUE(Holds(Message(MaxLength()), Message(MaxLength()), 2));
}

TEST_P(FramingLaw, HoldsForAnyBytesAndFlowControl) {
  EXPECT_TRUE(rc::check([this] {
    SetFlowControl(*rc::gen::arbitrary<std::uint8_t>(), *rc::gen::inRange<std::uint8_t>(0, 128));
    const auto bytes = [this] {
      const auto length = *rc::gen::inRange<std::size_t>(1, MaxLength() + 1);
      return *rc::gen::container<Bytes>(length, rc::gen::arbitrary<std::uint8_t>());
    };
    const Bytes reply = bytes();
    const auto prefix =
        *rc::gen::inRange<std::size_t>(0, std::min<std::size_t>(reply.size(), 6) + 1);
    RC_ASSERT(Holds(bytes(), reply, prefix));
  }));
}

TEST_P(FramingLaw, HoldsForAWholeKnownReply) {
  for (std::size_t length = 1; length <= (MaxLength() > 255 ? 6 : 255); ++length) {
    ASSERT_TRUE(Holds(Message(3), Message(length), length)) << length;
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, FramingLaw, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
