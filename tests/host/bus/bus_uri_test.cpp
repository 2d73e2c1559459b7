// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "quillmark/host/open_bus.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;

std::string ErrorOf(std::string_view uri) {
  try {
    static_cast<void>(ParseBusUri(uri));
  } catch (const BusUriError& error) {
    return error.what();
  }
  return "";
}

TEST(BusUri, OfTheSimulator) { EXPECT_EQ(ParseBusUri("sim:"), BusUri{}); }

TEST(BusUri, OfTheSimulatorInRealTime) {
  EXPECT_TRUE(ParseBusUri("sim:?time=real").takes_real_time);
  EXPECT_FALSE(ParseBusUri("sim:?time=computed").takes_real_time);
  EXPECT_THAT(ErrorOf("sim:?time=slow"), HasSubstr("time must be real or computed"));
}

TEST(BusUri, OfASerialCanAdapter) {
  const BusUri uri = ParseBusUri("slcan:/dev/ttyACM0");
  EXPECT_EQ(uri.kind, BusKind::kSlcan);
  EXPECT_EQ(uri.device, "/dev/ttyACM0");
  EXPECT_EQ(uri.bit_rate, 500'000);
  EXPECT_EQ(uri.baud, 115'200);
  EXPECT_TRUE(uri.confirms);
}

TEST(BusUri, OfASerialCanAdapterWithParameters) {
  const BusUri uri = ParseBusUri("slcan:/dev/ttyS0?bitrate=250000&baud=57600&confirms=no");
  EXPECT_EQ(uri.device, "/dev/ttyS0");
  EXPECT_EQ(uri.bit_rate, 250'000);
  EXPECT_EQ(uri.baud, 57'600);
  EXPECT_FALSE(uri.confirms);
}

TEST(BusUri, OfAKernelInterface) {
  const BusUri uri = ParseBusUri("socketcan:can0");
  EXPECT_EQ(uri.kind, BusKind::kSocketCan);
  EXPECT_EQ(uri.device, "can0");
}

TEST(BusUri, OfAKLine) {
  const BusUri uri = ParseBusUri("kline:/dev/ttyUSB0");
  EXPECT_EQ(uri.kind, BusKind::kKLine);
  EXPECT_EQ(uri.device, "/dev/ttyUSB0");
  EXPECT_EQ(uri.baud, 10'400);
  EXPECT_EQ(uri.p3, 55ms);
  EXPECT_EQ(uri.p4, 5ms);
}

TEST(BusUri, OfAKLineWithParameters) {
  const BusUri uri = ParseBusUri("kline:/dev/ttyUSB0?baud=9600&p1=30&p3=0&p4=1");
  EXPECT_EQ(uri.baud, 9'600);
  EXPECT_EQ(uri.p1, 30ms);
  EXPECT_EQ(uri.p3, 0ms);
  EXPECT_EQ(uri.p4, 1ms);
}

TEST(BusUri, OfAPassThruAdapter) {
  const BusUri uri = ParseBusUri("j2534:Bench 1");
  EXPECT_EQ(uri.kind, BusKind::kPassThru);
  EXPECT_EQ(uri.device, "Bench 1");
  EXPECT_EQ(uri.form, TransportForm::kPlainCan);
  EXPECT_EQ(uri.bit_rate, 500'000);
  EXPECT_EQ(uri.width, 32);
}

TEST(BusUri, OfAPassThruAdapterOnAKLine) {
  const BusUri uri = ParseBusUri("j2534:/opt/a.so?p3=40&protocol=kline&width=64");
  EXPECT_EQ(uri.device, "/opt/a.so");
  EXPECT_EQ(uri.form, TransportForm::kKLine);
  EXPECT_EQ(uri.bit_rate, 10'400);
  EXPECT_EQ(uri.width, 64);
  EXPECT_EQ(uri.p1, 20ms);
  EXPECT_EQ(uri.p3, 40ms);
  const BusUri given = ParseBusUri("j2534:a?bitrate=9600&p1=30&protocol=kline");
  EXPECT_EQ(given.bit_rate, 9600);
  EXPECT_EQ(given.p1, 30ms);
}

struct WrongUri {
  const char* uri;
  const char* reason;
};

class WrongBusUri : public ::testing::TestWithParam<WrongUri> {};

TEST_P(WrongBusUri, SaysWhatIsWrongAndListsTheForms) {
  const std::string error = ErrorOf(GetParam().uri);
  EXPECT_THAT(error, HasSubstr(std::string("found \"") + GetParam().uri + "\": "));
  EXPECT_THAT(error, HasSubstr(GetParam().reason));
  EXPECT_THAT(error, EndsWith("; the forms are sim:, slcan:DEVICE?bitrate=500000, socketcan:can0, "
                              "kline:DEVICE?baud=10400 or "
                              "j2534:NAME?protocol=can&bitrate=500000"));
}

INSTANTIATE_TEST_SUITE_P(
    Uris, WrongBusUri,
    ::testing::Values(
        WrongUri{"", "there is no bus \"\""},
        WrongUri{"slcn:/dev/ttyS0", "there is no bus \"slcn\""},
        WrongUri{"SLCAN:/dev/ttyS0", "there is no bus \"SLCAN\""},
        WrongUri{"slcan", "a \":\" must follow \"slcan\""},
        WrongUri{"/dev/ttyS0", "there is no bus \"/dev/ttyS0\""},
        WrongUri{"sim:x", "nothing may follow \"sim:\""},
        WrongUri{"sim:?bitrate=1", "there is no parameter \"bitrate\" for this bus"},
        WrongUri{"slcan:", "the serial device is missing"},
        WrongUri{"kline:?baud=10400", "the serial device is missing"},
        WrongUri{"socketcan:", "the CAN interface is missing"},
        WrongUri{"socketcan:interface-number-1", "no interface has so long a name"},
        WrongUri{"socketcan:can0?bitrate=500000", "there is no parameter \"bitrate\""},
        WrongUri{"slcan:x?", "\"\" is no NAME=VALUE"},
        WrongUri{"slcan:x?bitrate", "\"bitrate\" is no NAME=VALUE"},
        WrongUri{"slcan:x?bitrate=500000&", "\"\" is no NAME=VALUE"},
        WrongUri{"slcan:x?bitrate=83333", "the bit rates of slcan are 10000, "},
        WrongUri{"slcan:x?bitrate=500k", "bitrate must be a number from 1 to 1000000"},
        WrongUri{"slcan:x?confirms=maybe", "confirms must be yes or no"},
        WrongUri{"slcan:x?p3=55", "there is no parameter \"p3\""},
        WrongUri{"kline:x?baud=0", "baud must be a number from 1 to 4000000"},
        WrongUri{"kline:x?p1=0", "p1 must be a number from 1 to 10000"},
        WrongUri{"kline:x?p4=-1", "p4 must be a number from 0 to 10000"},
        WrongUri{"j2534:", "the name or the library of the adapter is missing"},
        WrongUri{"j2534:a?protocol=lin", "protocol must be can or kline"},
        WrongUri{"j2534:a?width=16", "width must be 32 or 64"},
        WrongUri{"j2534:a?bitrate=0", "bitrate must be a number from 1 to 1000000"},
        WrongUri{"j2534:a?baud=1", "there is no parameter \"baud\""},
        WrongUri{"j2534:a?p4=1", "p1, p3 and p4 need protocol=kline"}));

}  // namespace
}  // namespace quillmark::host
