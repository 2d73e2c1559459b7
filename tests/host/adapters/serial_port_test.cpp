// SPDX-License-Identifier: MIT
// Serial ports on real pseudo-terminals.
#include "host/adapters/serial_port.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "host/adapters/serial_device.h"
#include "tests/host/adapters/scripted_device.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Reads until `size` bytes are there.
Bytes ReadAll(SerialPort& port, std::size_t size) {
  Bytes all;
  while (all.size() < size) {
    const Bytes part = port.Read(kPlenty);
    if (part.empty()) {
      break;
    }
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

TEST(SerialPort, RunsAt10400Baud) {
  const PseudoTerminal terminal;
  const auto port = OpenSerialPort(terminal.device(), 10'400);
  SerialDevice same;
  ASSERT_FALSE(same.Open(terminal.device()));
  EXPECT_EQ(same.BaudRate(), 10'400U);
}

TEST(SerialPort, CarriesEveryByteBothWays) {
  const PseudoTerminal terminal;
  const auto port = OpenSerialPort(terminal.device(), 115'200);
  Bytes all(256);
  for (std::size_t i = 0; i < all.size(); ++i) {
    all[i] = static_cast<std::uint8_t>(i);
  }
  port->Write(all);
  EXPECT_EQ(terminal.Read(kPlenty), all);
  terminal.Write(all);
  EXPECT_EQ(ReadAll(*port, all.size()), all);
}

TEST(SerialPort, HandsOverWhatIsThereWithoutWaitingForMore) {
  const PseudoTerminal terminal;
  const auto port = OpenSerialPort(terminal.device(), 115'200);
  terminal.Write(Bytes{1});
  EXPECT_EQ(port->Read(kPlenty), Bytes{1});
}

TEST(SerialPort, ReadsNothingFromASilentLine) {
  const PseudoTerminal terminal;
  const auto port = OpenSerialPort(terminal.device(), 115'200);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(port->Read(30ms), Bytes{});
  EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
  EXPECT_EQ(port->Read(0ms), Bytes{});
}

TEST(SerialPort, ReadsWhatHasArrivedWhileTheProcessStoodStill) {
  const PseudoTerminal terminal;
  const pid_t reader = ::fork();
  if (reader == 0) {
    const auto port = OpenSerialPort(terminal.device(), 115'200);
    port->Write(Bytes{2});
    ::_exit(port->Read(1500ms) == Bytes{1} ? 0 : 1);
  }
  ASSERT_EQ(terminal.Read(kPlenty), Bytes{2});
  std::this_thread::sleep_for(100ms);
  ::kill(reader, SIGSTOP);
  int status = 0;
  ASSERT_EQ(::waitpid(reader, &status, WUNTRACED), reader);
  ASSERT_TRUE(WIFSTOPPED(status));
  terminal.Write(Bytes{1});
  std::this_thread::sleep_for(1600ms);
  ::kill(reader, SIGCONT);
  ASSERT_EQ(::waitpid(reader, &status, 0), reader);
  EXPECT_EQ(status, 0);
}

TEST(SerialPort, HoldsABreakForItsTime) {
  const PseudoTerminal terminal;
  const auto port = OpenSerialPort(terminal.device(), 10'400);
  const auto start = std::chrono::steady_clock::now();
  port->Break(25ms);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 25ms);
}

TEST(SerialPort, SaysThatItsDeviceIsGone) {
  auto terminal = std::make_unique<PseudoTerminal>();
  const auto port = OpenSerialPort(terminal->device(), 115'200);
  const std::string device = terminal->device();
  terminal.reset();
  EXPECT_THAT(BusErrorOf([&] { static_cast<void>(port->Read(kPlenty)); }),
              StartsWith(device + " is gone: "));
  EXPECT_THAT(BusErrorOf([&] { port->Write(Bytes{1}); }), StartsWith(device + " is gone: "));
}

TEST(SerialPort, NeedsADevice) {
  EXPECT_EQ(BusErrorOf([] { static_cast<void>(OpenSerialPort("/dev/none", 115'200)); }),
            "/dev/none cannot be opened: No such file or directory");
  EXPECT_THAT(BusErrorOf([] { static_cast<void>(OpenSerialPort("/dev/null", 115'200)); }),
              StartsWith("/dev/null cannot be opened: "));
}

TEST(SerialPort, BelongsToOneProgramAtATime) {
  const PseudoTerminal terminal;
  auto port = OpenSerialPort(terminal.device(), 115'200);
  EXPECT_THAT(BusErrorOf([&] { static_cast<void>(OpenSerialPort(terminal.device(), 115'200)); }),
              HasSubstr(" is used by another program"));
  port.reset();
  EXPECT_NO_THROW(static_cast<void>(OpenSerialPort(terminal.device(), 115'200)));
}

}  // namespace
}  // namespace quillmark::host::testing
