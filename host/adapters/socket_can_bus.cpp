// SPDX-License-Identifier: MIT
#include "host/adapters/socket_can_bus.h"

#include <linux/can.h>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/bus/can_frame.h"

namespace quillmark::host {
namespace {

/// How long the transmit queue may stay full: nobody acknowledges, or the bus is off.
constexpr std::chrono::milliseconds kSendLimit{1000};

canid_t IdentifierOf(std::uint32_t identifier) {
  return identifier > CanFrame::kLastStandardIdentifier ? identifier | CAN_EFF_FLAG : identifier;
}

int OpenRawSocket() { return ::socket(PF_CAN, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, CAN_RAW); }

template <typename Value>
bool SetRawOption(int socket, int option, const Value& value) {
  return ::setsockopt(socket, SOL_CAN_RAW, option, &value, sizeof value) == 0;
}

}  // namespace

bool HasSocketCan() {
  const int socket = OpenRawSocket();
  if (socket < 0) {
    return false;
  }
  ::close(socket);
  return true;
}

SocketCanBus::SocketCanBus(const std::string& interface)
    : interface_(interface), socket_(OpenRawSocket()) {
  if (socket_ < 0) {
    throw BusError("this kernel has no CAN sockets: " + std::string(std::strerror(errno)));
  }
  sockaddr_can address{};
  address.can_family = AF_CAN;
  address.can_ifindex = static_cast<int>(::if_nametoindex(interface.c_str()));
  const can_err_mask_t errors = CAN_ERR_BUSOFF;
  if (address.can_ifindex == 0 || !SetRawOption(socket_, CAN_RAW_ERR_FILTER, errors) ||
      ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const std::string reason = std::strerror(errno);
    ::close(socket_);
    throw BusError(interface + " cannot be opened: " + reason);
  }
}

SocketCanBus::~SocketCanBus() { ::close(socket_); }

void SocketCanBus::Select(const Exchange& exchange) {
  if (exchange.form != TransportForm::kPlainCan) {
    throw BusError("socketcan: carries the plain CAN form alone");
  }
  const can_filter filter{IdentifierOf(exchange.receive),
                          CAN_EFF_FLAG | CAN_RTR_FLAG | CAN_EFF_MASK};
  if (!SetRawOption(socket_, CAN_RAW_FILTER, filter)) {
    Fail("takes no filter");
  }
  exchange_ = exchange;
}

void SocketCanBus::Send(ByteView frame) {
  can_frame raw{};
  raw.can_id = IdentifierOf(exchange_.send);
  raw.can_dlc = static_cast<std::uint8_t>(frame.size());
  std::copy(frame.begin(), frame.end(), static_cast<std::uint8_t*>(raw.data));
  const Duration deadline = Now() + kSendLimit;
  while (::write(socket_, &raw, sizeof raw) != sizeof raw) {
    const bool queue_is_full = errno == ENOBUFS || errno == EAGAIN;
    if ((!queue_is_full && errno != EINTR) || Left(deadline) == Duration::zero()) {
      Fail("takes no frame");
    }
    // A full device queue does not show in poll.
    Wait(std::chrono::milliseconds(1));
  }
}

std::optional<Bytes> SocketCanBus::Receive(std::chrono::milliseconds timeout) {
  const Duration deadline = Now() + timeout;
  for (;;) {
    if (std::optional<Bytes> frame = ReadFrame()) {
      return frame;
    }
    const Duration left = Left(deadline);
    if (!AwaitInput(left) && left == Duration::zero()) {
      return std::nullopt;
    }
  }
}

void SocketCanBus::Break(std::chrono::milliseconds /*low*/) {
  throw BusError("a CAN bus knows no break");
}

bool SocketCanBus::AwaitInput(Duration timeout) const {
  pollfd descriptor{socket_, POLLIN, 0};
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const std::chrono::nanoseconds rest = timeout - seconds;
  const timespec limit{seconds.count(), rest.count()};
  return ::ppoll(&descriptor, 1, &limit, nullptr) > 0;
}

std::optional<Bytes> SocketCanBus::ReadFrame() const {
  can_frame raw{};
  const ssize_t size = ::read(socket_, &raw, sizeof raw);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
    return std::nullopt;
  }
  if (size != sizeof raw) {
    Fail("is gone");
  }
  if ((raw.can_id & CAN_ERR_FLAG) != 0) {
    throw BusError(interface_ + " is off the bus");
  }
  const auto* const data = static_cast<const std::uint8_t*>(raw.data);
  return Bytes(data, data + std::min<std::size_t>(raw.can_dlc, CanFrame::kMostBytes));
}

void SocketCanBus::Fail(const std::string& what) const {
  throw BusError(interface_ + " " + what + ": " + std::strerror(errno));
}

}  // namespace quillmark::host
