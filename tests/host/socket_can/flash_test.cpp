// SPDX-License-Identifier: MIT
// The tool on a CAN interface of the kernel, which a preloaded library plays: the code for
// SocketCAN runs through whole flashes on machines without the kernel's module.
#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "quillmark/host/simulated_ecu.h"
#include "tests/host/socket_can/can_bus.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr std::uint32_t kBase = 0x1000;

class SocketCan : public ToolTest {
 protected:
  ~SocketCan() override {
    ::unsetenv("LD_PRELOAD");
    ::unsetenv("QUILLMARK_CAN_BUS");
  }

  /// Lets an ECU serve the interface can0 of the tools that are started from now on.
  void Serve(const CanBusFaults& faults = {}, const EcuOptions& options = {},
             const WireFaults& wire_faults = {}) {
    ecu_.emplace(options);
    wire_.emplace(*ecu_, WireSpeed{});
    wire_->Select(ecu_->exchange());
    wire_->InjectFaults(InjectorOf(wire_faults));
    bus_.emplace(folder_.Path("bus"), *wire_, faults);
    ::setenv("QUILLMARK_CAN_BUS", folder_.Path("bus").c_str(), 1);
    ::setenv("LD_PRELOAD", QUILLMARK_CAN_STAND_IN, 1);
  }

  ToolResult Flash(const std::string& image, const std::vector<std::string>& options = {},
                   const std::string& p2 = "5000") {
    std::vector<std::string> arguments{"flash",  folder_.Write("image.bin", image),
                                       "--base", std::to_string(kBase),
                                       "--bus",  "socketcan:can0",
                                       "--p2",   p2,
                                       "--yes"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return Run(arguments);
  }

  /// What the ECU kept, once its bus has ended.
  std::string Kept(std::size_t size) {
    bus_.reset();
    const Bytes memory = ecu_->ReadMemory(kBase, size);
    return {memory.begin(), memory.end()};
  }

  std::optional<SimulatedEcu> ecu_;
  std::optional<SimulatedWire> wire_;
  std::optional<CanBus> bus_;
};

TEST_F(SocketCan, CarriesAWholeFlash) {
  Serve();
  const std::string image = Pattern(20'000);
  const ToolResult result = Flash(image, {"--verify"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("verify    20,000 bytes read back and found equal\n"));
  EXPECT_EQ(Kept(image.size()), image);
}

TEST_F(SocketCan, CarriesIdentifiersOf29Bits) {
  EcuOptions options;
  options.request_id = 0x18DA10F1;
  options.reply_id = 0x18DAF110;
  Serve({}, options);
  const std::string image = Pattern(300);
  const ToolResult result = Flash(image, {"--ids", "0x18DAF110", "0x18DA10F1"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(Kept(image.size()), image);
}

TEST_F(SocketCan, WaitsWhileTheTransmitQueueIsFull) {
  Serve({.full_queue_every = 5});
  const std::string image = Pattern(2000);
  const ToolResult result = Flash(image, {"--verify"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(Kept(image.size()), image);
}

TEST_F(SocketCan, EndsWhereTheTransmitQueueStaysFull) {
  Serve({.full_queue_from = 100});
  const ToolResult result = Flash(Pattern(300));
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.err, HasSubstr("can0 takes no frame: No buffer space available"));
}

TEST_F(SocketCan, EndsWhereTheInterfaceGoesOffTheBus) {
  Serve({.bus_off_at = 100});
  const ToolResult result = Flash(Pattern(300));
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.err, AllOf(HasSubstr("can0 is off the bus"), HasSubstr("\nnext      ")));
}

TEST_F(SocketCan, EndsWhereTheInterfaceDisappears) {
  Serve({.gone_at = 100});
  const ToolResult result = Flash(Pattern(300));
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.err, HasSubstr("can0 takes no frame: No such device or address"));
}

TEST_F(SocketCan, RefusesAnInterfaceThatIsNotThere) {
  Serve();
  const ToolResult result = Run({"identify", "--bus", "socketcan:can9"});
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.err, HasSubstr("can9 cannot be opened: No such device"));
}

#ifdef QUILLMARK_CANDUMP
/// A program of other authors finds in the stand-in what it expects of a kernel.
TEST_F(SocketCan, IsSeenByCandumpWithItsTimeStamps) {
  Serve();
  FILE* const candump = ::popen(QUILLMARK_CANDUMP " -L -n 4 -T 20000 can0 2>&1", "r");
  ASSERT_NE(candump, nullptr);
  while (bus_->Sockets() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const auto before = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_EQ(Run({"identify", "--bus", "socketcan:can0", "--p2", "5000"}).status, 0);
  std::string text;
  std::array<char, 200> line{};
  while (std::fgets(line.data(), line.size(), candump) != nullptr) {
    text += line.data();
  }
  EXPECT_EQ(::pclose(candump), 0);
  EXPECT_THAT(text, ::testing::MatchesRegex("(\\([0-9.]+\\) can0 (632|73A)#[0-9A-F]+\n){4}"))
      << text;
  const double first = std::atof(text.c_str() + 1);
  EXPECT_GE(first + 1, std::chrono::duration<double>(before).count());
}
#endif

TEST_F(SocketCan, LosesFramesAndRepeats) {
  Serve({}, {}, {.lost_every = 500});
  const std::string image = Pattern(2000);
  const ToolResult result = Flash(image, {"--verify"}, "1000");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(Kept(image.size()), image);
}

}  // namespace
}  // namespace quillmark::host::testing
