// SPDX-License-Identifier: MIT
// CAN interfaces of the kernel, tested on a virtual one if it can be created.
#include "host/adapters/socket_can_bus.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>

#include "tests/host/adapters/scripted_device.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr const char* kInterface = "qmvcan0";
constexpr Exchange kTester{TransportForm::kPlainCan, 0x73A, 0x632};
constexpr Exchange kEcu{TransportForm::kPlainCan, 0x632, 0x73A};

class SocketCanBusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string name = kInterface;
    const std::string create =
        "ip link add " + name + " type vcan 2>/dev/null && ip link set " + name + " up 2>/dev/null";
    const char* const reason = !HasSocketCan() ? "this kernel has no CAN sockets (AF_CAN)"
                               : std::system(create.c_str()) != 0
                                   ? "no virtual CAN interface can be made here"
                                   : nullptr;
    if (reason != nullptr) {
      std::cerr << "\n*** SocketCAN IS NOT TESTED: " << reason << " ***\n\n";
      GTEST_SKIP() << reason;
    }
    created_ = true;
  }
  void TearDown() override {
    if (created_) {
      const std::string remove = std::string("ip link del ") + kInterface;
      EXPECT_EQ(std::system(remove.c_str()), 0);
    }
  }

  bool created_ = false;
};

TEST_F(SocketCanBusTest, CarriesTheFramesOfItsExchangeAlone) {
  SocketCanBus tester(kInterface);
  SocketCanBus ecu(kInterface);
  tester.Select(kTester);
  ecu.Select(kEcu);
  tester.Send(Bytes{0x02, 0x10, 0xC0});
  EXPECT_EQ(ecu.Receive(kPlenty), (Bytes{0x02, 0x10, 0xC0}));
  ecu.Select({TransportForm::kPlainCan, 0x632, 0x18DAF110});
  ecu.Send(Bytes{0x01});
  ecu.Select(kEcu);
  ecu.Send(Bytes{0x02});
  EXPECT_EQ(tester.Receive(kPlenty), Bytes{0x02});
  EXPECT_EQ(tester.Receive(5ms), std::nullopt);
}

TEST(SocketCanBus, SaysWhatIsMissing) {
  const std::string error = BusErrorOf([] { SocketCanBus("qmnone0"); });
  if (HasSocketCan()) {
    EXPECT_EQ(error, "qmnone0 cannot be opened: No such device");
  } else {
    EXPECT_THAT(error, HasSubstr("this kernel has no CAN sockets"));
  }
}

}  // namespace
}  // namespace quillmark::host::testing
