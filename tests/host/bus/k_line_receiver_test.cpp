// SPDX-License-Identifier: MIT
#include "host/bus/k_line_receiver.h"

#include <gmock/gmock.h>
#include <rapidcheck.h>

#include <algorithm>

namespace quillmark::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const Bytes kShort{0x82, 0xF1, 0x11, 0x67, 0x82, 0x6D};

Bytes WithLengthByte(std::size_t data) {
  Bytes message{0x80, 0xF1, 0x11, static_cast<std::uint8_t>(data)};
  message.resize(message.size() + data + 1, 0x55);
  return message;
}

Bytes Joined(const std::vector<Bytes>& messages) {
  Bytes bytes;
  for (const Bytes& message : messages) {
    bytes.insert(bytes.end(), message.begin(), message.end());
  }
  return bytes;
}

TEST(KLineReceiver, TakesTheLengthFromTheFormatByte) {
  KLineReceiver receiver;
  EXPECT_THAT(receiver.Take(kShort), ElementsAre(kShort));
  EXPECT_FALSE(receiver.InMessage());
}

TEST(KLineReceiver, TakesTheLengthFromALengthByte) {
  for (const std::size_t data : {0U, 1U, 63U, 255U}) {
    EXPECT_THAT(KLineReceiver().Take(WithLengthByte(data)), ElementsAre(WithLengthByte(data)));
  }
}

TEST(KLineReceiver, TakesTheLongestLengthOfAFormatByte) {
  Bytes message(3 + 63 + 1, 0x11);
  message[0] = 0xBF;
  EXPECT_THAT(KLineReceiver().Take(message), ElementsAre(message));
}

TEST(KLineReceiver, KnowsFunctionalAddresses) {
  const Bytes message{0xC1, 0x33, 0xF1, 0x3E, 0x23};
  EXPECT_THAT(KLineReceiver().Take(message), ElementsAre(message));
}

TEST(KLineReceiver, SeparatesMessagesThatCameTogether) {
  EXPECT_THAT(KLineReceiver().Take(Joined({kShort, WithLengthByte(3), kShort})),
              ElementsAre(kShort, WithLengthByte(3), kShort));
}

TEST(KLineReceiver, WaitsForTheRestOfAMessage) {
  KLineReceiver receiver;
  for (std::size_t at = 0; at + 1 < kShort.size(); ++at) {
    EXPECT_THAT(receiver.Take(ByteView(kShort).subspan(at, 1)), IsEmpty());
    EXPECT_TRUE(receiver.InMessage());
  }
  EXPECT_THAT(receiver.Take(ByteView(kShort).last(1)), ElementsAre(kShort));
}

TEST(KLineReceiver, DropsNoiseBeforeAMessage) {
  EXPECT_THAT(KLineReceiver().Take(Joined({{0x00, 0x7F}, kShort})), ElementsAre(kShort));
}

TEST(KLineReceiver, GivesUpAMessageThatBrokeOff) {
  KLineReceiver receiver;
  EXPECT_THAT(receiver.Take(ByteView(kShort).first(4)), IsEmpty());
  EXPECT_EQ(receiver.OnSilence(), (Bytes{0x82, 0xF1, 0x11, 0x67}));
  EXPECT_FALSE(receiver.InMessage());
  EXPECT_THAT(receiver.Take(kShort), ElementsAre(kShort));
}

TEST(KLineReceiver, HasNothingToGiveUpOnASilentLine) {
  EXPECT_THAT(KLineReceiver().OnSilence(), IsEmpty());
}

TEST(KLineReceiver, DoesNotCareHowBytesAreSplit) {
  EXPECT_TRUE(rc::check([](const Bytes& bytes) {
    const auto cut = *rc::gen::inRange<std::size_t>(0, bytes.size() + 1);
    KLineReceiver receiver;
    std::vector<Bytes> messages = receiver.Take(ByteView(bytes).first(cut));
    const std::vector<Bytes> rest = receiver.Take(ByteView(bytes).subspan(cut));
    messages.insert(messages.end(), rest.begin(), rest.end());
    KLineReceiver whole;
    RC_ASSERT(messages == whole.Take(bytes));
    RC_ASSERT(receiver.OnSilence() == whole.OnSilence());
  }));
}

}  // namespace
}  // namespace quillmark::host
