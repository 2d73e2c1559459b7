// SPDX-License-Identifier: MIT
// The tool on a CAN interface of the kernel, which a preloaded library plays: the code for
// SocketCAN runs through whole flashes on machines without the kernel's module.
#include <gmock/gmock.h>
#include <linux/can.h>
#include <linux/can/error.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/bus/can_frame.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "tests/host/socket_can/stand_in_protocol.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

/// What goes wrong in the kernel's CAN interface.
struct CanBusFaults {
  /// Every frame whose number is a multiple of this finds the transmit queue full (ENOBUFS) once.
  std::uint64_t full_queue_every = 0;
  /// From the frame of this number on the queue stays full: nobody acknowledges.
  std::uint64_t full_queue_from = 0;
  /// At the frame of this number the interface goes off the bus, and says so in an error frame.
  std::uint64_t bus_off_at = 0;
  /// At the frame of this number the interface disappears.
  std::uint64_t gone_at = 0;
};

/// The kernel's side of the stand-in: the CAN bus behind the sockets of a process in which the
/// stand-in is preloaded, with a simulated ECU at its end, in real time on a thread of its own.
class CanBus {
 public:
  /// `wire` is of this object alone from now on. Listens at the path `address`.
  CanBus(std::string address, SimulatedWire& wire, const CanBusFaults& faults);
  CanBus(const CanBus&) = delete;
  CanBus& operator=(const CanBus&) = delete;
  CanBus(CanBus&&) = delete;
  CanBus& operator=(CanBus&&) = delete;
  ~CanBus();

  /// How many sockets are bound.
  [[nodiscard]] int Sockets() const { return sockets_; }

 private:
  /// A socket as the kernel has it.
  struct Client {
    int descriptor;
    std::vector<can_filter> filters;
    can_err_mask_t error_mask = 0;
    bool is_bound = false;
  };

  void Serve();
  /// False if the client is gone.
  [[nodiscard]] bool ReadFrom(Client& client);
  [[nodiscard]] int Verdict(const can_frame& frame);
  void Deliver(const can_frame& frame, const Client* sender);
  void Disconnect();

  std::string address_;
  SimulatedWire& wire_;
  CanBusFaults faults_;
  int listener_;
  std::vector<Client> clients_;
  std::uint64_t frames_ = 0;
  bool was_full_ = false;
  bool is_gone_ = false;
  std::atomic<bool> stopped_ = false;
  std::atomic<int> sockets_ = 0;
  std::thread thread_;
};

using stand_in::Kind;
using stand_in::Message;

constexpr std::chrono::milliseconds kLongestLook{20};

Duration SteadyTime() {
  return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
}

can_frame RawOf(const CanFrame& frame) {
  can_frame raw{};
  raw.can_id = frame.identifier | (frame.extended ? CAN_EFF_FLAG : 0);
  raw.can_dlc = static_cast<std::uint8_t>(frame.data.size());
  std::copy(frame.data.begin(), frame.data.end(), static_cast<std::uint8_t*>(raw.data));
  return raw;
}

CanFrame FrameOf(const can_frame& raw) {
  const bool extended = (raw.can_id & CAN_EFF_FLAG) != 0;
  const auto* const data = static_cast<const std::uint8_t*>(raw.data);
  return {raw.can_id & (extended ? CAN_EFF_MASK : CAN_SFF_MASK), extended,
          Bytes(data, data + raw.can_dlc)};
}

/// As the kernel decides on a frame.
bool Passes(const can_filter& filter, canid_t identifier) {
  const bool matches = (identifier & filter.can_mask) == (filter.can_id & filter.can_mask);
  return matches != ((filter.can_id & CAN_INV_FILTER) != 0);
}

void SendMessage(int descriptor, const Message& message) {
  static_cast<void>(::send(descriptor, &message, sizeof message, MSG_NOSIGNAL));
}

/// A message and the descriptor that came with it, or -1.
ssize_t Receive(int descriptor, Message& message, int& answer) {
  iovec part{&message, sizeof message};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = room.data();
  header.msg_controllen = room.size();
  const ssize_t size = ::recvmsg(descriptor, &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  answer = -1;
  const cmsghdr* const rights = size > 0 ? CMSG_FIRSTHDR(&header) : nullptr;
  if (rights != nullptr && rights->cmsg_type == SCM_RIGHTS) {
    std::memcpy(&answer, CMSG_DATA(rights), sizeof answer);
  }
  return size;
}

template <typename Item>
std::vector<Item> ItemsIn(const Message& message) {
  std::vector<Item> items(message.size / sizeof(Item));
  std::memcpy(items.data(), message.content, items.size() * sizeof(Item));
  return items;
}

CanBus::CanBus(std::string address, SimulatedWire& wire, const CanBusFaults& faults)
    : address_(std::move(address)),
      wire_(wire),
      faults_(faults),
      listener_(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  if (address_.size() >= sizeof name.sun_path) {
    throw std::invalid_argument("the address is too long");
  }
  std::copy(address_.begin(), address_.end(), static_cast<char*>(name.sun_path));
  if (::bind(listener_, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
      ::listen(listener_, 8) != 0) {
    throw std::runtime_error(std::string("the bus cannot listen: ") + std::strerror(errno));
  }
  thread_ = std::thread([this] { Serve(); });
}

CanBus::~CanBus() {
  stopped_ = true;
  thread_.join();
  Disconnect();
  ::close(listener_);
  ::unlink(address_.c_str());
}

void CanBus::Disconnect() {
  for (const Client& client : clients_) {
    ::close(client.descriptor);
  }
  clients_.clear();
}

void CanBus::Serve() {
  while (!stopped_) {
    wire_.AdvanceTo(SteadyTime());
    while (const std::optional<Bytes> frame = wire_.TakeReceived()) {
      Deliver(RawOf(CanFrameTo(wire_.exchange().receive, *frame)), nullptr);
    }
    Duration left = kLongestLook;
    if (const std::optional<Duration> next = wire_.NextEvent()) {
      left = std::clamp(*next - SteadyTime(), Duration::zero(), left);
    }
    std::vector<pollfd> descriptors{{listener_, POLLIN, 0}};
    for (const Client& client : clients_) {
      descriptors.push_back({client.descriptor, POLLIN, 0});
    }
    const timespec limit{0, std::chrono::nanoseconds(left).count()};
    if (::ppoll(descriptors.data(), descriptors.size(), &limit, nullptr) <= 0) {
      continue;
    }
    for (std::size_t i = clients_.size(); i > 0; --i) {
      if (descriptors[i].revents != 0 && !ReadFrom(clients_[i - 1])) {
        ::close(clients_[i - 1].descriptor);
        clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(i - 1));
      }
    }
    if (is_gone_) {
      Disconnect();
    }
    if (descriptors[0].revents != 0) {
      clients_.push_back({.descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC),
                          .filters = {{0, 0}}});
    }
  }
}

bool CanBus::ReadFrom(Client& client) {
  Message message{};
  int answer = -1;
  const ssize_t size = Receive(client.descriptor, message, answer);
  if (size != sizeof message) {
    return size < 0 && errno == EAGAIN;
  }
  switch (message.kind) {
    case Kind::kBind:
      client.is_bound = true;
      ++sockets_;
      break;
    case Kind::kFilters:
      client.filters = ItemsIn<can_filter>(message);
      break;
    case Kind::kErrorMask:
      client.error_mask = ItemsIn<can_err_mask_t>(message).at(0);
      break;
    case Kind::kFrame: {
      const can_frame frame = ItemsIn<can_frame>(message).at(0);
      Message verdict{};
      verdict.kind = Kind::kVerdict;
      verdict.error = static_cast<std::uint32_t>(Verdict(frame));
      if (verdict.error == 0) {
        Deliver(frame, &client);
      }
      SendMessage(answer, verdict);
      break;
    }
    default:
      break;
  }
  if (answer >= 0) {
    ::close(answer);
  }
  return true;
}

/// What a write returns in errno; 0 for a frame that is on its way.
int CanBus::Verdict(const can_frame& frame) {
  const bool retried = std::exchange(was_full_, false);
  frames_ += retried ? 0 : 1;
  const auto reached = [this](std::uint64_t at) { return at != 0 && frames_ >= at; };
  if (reached(faults_.gone_at)) {
    is_gone_ = true;
    return ENXIO;
  }
  if (reached(faults_.bus_off_at)) {
    can_frame error{};
    error.can_id = CAN_ERR_FLAG | CAN_ERR_BUSOFF;
    error.can_dlc = CAN_ERR_DLC;
    Deliver(error, nullptr);
    return 0;
  }
  const bool is_a_multiple =
      faults_.full_queue_every != 0 && frames_ % faults_.full_queue_every == 0;
  if (reached(faults_.full_queue_from) || (is_a_multiple && !retried)) {
    was_full_ = true;
    return ENOBUFS;
  }
  const CanFrame sent = FrameOf(frame);
  if (sent == CanFrameTo(wire_.exchange().send, sent.data)) {
    wire_.AdvanceTo(SteadyTime());
    wire_.Send(sent.data);
  }
  return 0;
}

void CanBus::Deliver(const can_frame& frame, const Client* sender) {
  Message message{};
  message.kind = Kind::kFrame;
  message.size = sizeof frame;
  std::memcpy(message.content, &frame, sizeof frame);
  for (const Client& client : clients_) {
    const bool is_error = (frame.can_id & CAN_ERR_FLAG) != 0;
    const bool passes =
        is_error ? (client.error_mask & frame.can_id) != 0
                 : std::any_of(client.filters.begin(), client.filters.end(),
                               [&](const can_filter& each) { return Passes(each, frame.can_id); });
    if (client.is_bound && &client != sender && passes) {
      SendMessage(client.descriptor, message);
    }
  }
}

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
