// SPDX-License-Identifier: MIT
// The reader gives back what the builders frame, for every length in every form.
#include <rapidcheck.h>

#include "context/reply.h"
#include "context/request.h"
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

class RoundTrip : public ::testing::TestWithParam<Form> {
 protected:
  RoundTrip() { context_.CANIDs(GetParam().RCANId, GetParam().XCANId); }

  [[nodiscard]] std::size_t MaxLength() const {
    return context_.Form() == TransportForm::kPlainCan ? 4095 : 255;
  }

  /// The request's frames in the place of received ones: a request and a reply are framed alike.
  [[nodiscard]] std::shared_ptr<DOMDocument> SentAsReceived(const Bytes& message) {
    Request request(context_);
    request.AddStep(message, Bytes{}, 1);
    const auto sent = request.Finish()->selectNodes("//s/d");
    std::string received;
    for (std::size_t index = 0; index < sent->length(); ++index) {
      received += "<r>" + sent->item(index)->xml() + "</r>";
    }
    auto document = platform_->CreateDOMDocument();
    document->loadXML("<x>" + received + "</x>");
    return document;
  }

  [[nodiscard]] Bytes Returned(const Bytes& message) {
    const auto document = SentAsReceived(message);
    return ReadReply(context_.Form(), document->documentElement()->firstChild()).value();
  }

  const std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  Context context_{platform_};
};

// Beyond 300 bytes in steps of 13, which meet every remainder by the 7 bytes of a consecutive frame
// and the 16 sequence numbers.
TEST_P(RoundTrip, OfEveryLength) {
  for (std::size_t length = 1; length <= MaxLength(); length += length < 300 ? 1 : 13) {
    Bytes message(length);
    for (std::size_t index = 0; index < length; ++index) {
      message[index] = static_cast<std::uint8_t>(index * 7 + length);
    }
    ASSERT_EQ(Returned(message), message) << length;
  }
}

TEST_P(RoundTrip, OfAnyBytes) {
  EXPECT_TRUE(rc::check([this] {
    const auto length = *rc::gen::inRange<std::size_t>(1, MaxLength() + 1);
    const auto message = *rc::gen::container<Bytes>(length, rc::gen::arbitrary<std::uint8_t>());
    RC_ASSERT(Returned(message) == message);
  }));
}

using KStyleMessage = RoundTrip;

TEST_P(KStyleMessage, IsRejectedWithOneDamagedByte) {
  const auto document = SentAsReceived(Bytes{0x27, 0x82, 0x11, 0x22, 0x33, 0x44});
  const auto data = document->selectSingleNode("//d/text()");
  const Bytes frame = BytesOfHex(data->nodeValue());
  const std::size_t first = context_.Form() == TransportForm::kKLine ? 0 : 1;
  for (std::size_t index = first; index < frame.size(); ++index) {
    Bytes damaged = frame;
    damaged[index] ^= 0x40U;
    data->setNodeValue(HexOf(damaged));
    const auto raised = RaisedBy([&] {
      static_cast<void>(ReadReply(context_.Form(), document->documentElement()->firstChild()));
    });
    ASSERT_TRUE(raised) << index;
    EXPECT_EQ(raised->number, 2003);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, KStyleMessage, ::testing::Values(kGateway, kKLine), FormName());
INSTANTIATE_TEST_SUITE_P(Forms, RoundTrip, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
