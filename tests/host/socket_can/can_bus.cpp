// SPDX-License-Identifier: MIT
#include "tests/host/socket_can/can_bus.h"

#include <linux/can/error.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "host/bus/can_frame.h"

namespace quillmark::host::testing {
namespace {

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

}  // namespace

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

}  // namespace quillmark::host::testing
