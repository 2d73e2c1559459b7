// SPDX-License-Identifier: MIT
// Preloaded into a program, this library plays the kernel's CAN sockets (PF_CAN, raw) at the calls
// of the C library. A CAN socket becomes a local socket to the process that plays the bus, whose
// address is in QUILLMARK_CAN_BUS; what the descriptor is good for besides (poll, close) is left to
// the kernel. Filters and the mask of error frames go to that process, as the kernel has them
// behind the socket, and it decides on each write.
//
// It is made of the C library alone, without the sanitizers of the program.
#include <dlfcn.h>
#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tests/host/socket_can/stand_in_protocol.h"

namespace {

using namespace quillmark::host::testing::stand_in;

constexpr int kMostDescriptors = 1024;
constexpr const char* kInterface = "can0";
constexpr int kInterfaceIndex = 7;

enum class State : std::uint8_t { kForeign, kOpen, kBound };

std::array<std::atomic<State>, kMostDescriptors> states;

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

State StateOf(int descriptor) {
  return descriptor >= 0 && descriptor < kMostDescriptors
             ? states[static_cast<std::size_t>(descriptor)].load()
             : State::kForeign;
}

void SetState(int descriptor, State state) {
  if (descriptor >= 0 && descriptor < kMostDescriptors) {
    states[static_cast<std::size_t>(descriptor)] = state;
  }
}

int Fail(int error) {
  errno = error;
  return -1;
}

bool Send(int descriptor, Kind kind, const void* content, std::size_t size) {
  Message message{};
  message.kind = kind;
  if (size > sizeof message.content) {
    return false;
  }
  std::memcpy(message.content, content, size);
  message.size = static_cast<std::uint32_t>(size);
  return ::send(descriptor, &message, sizeof message, MSG_NOSIGNAL) == sizeof message;
}

/// The bus answers a write on a socket of its own making, so that it does not mix with frames.
int AwaitVerdict(int descriptor) {
  Message message{};
  do {
    const ssize_t size = ::recv(descriptor, &message, sizeof message, 0);
    if (size != sizeof message) {
      return size < 0 ? errno : ENETDOWN;
    }
  } while (message.kind != Kind::kVerdict);
  return static_cast<int>(message.error);
}

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  static const auto next = Next<int (*)(int, int, int)>("socket");
  const char* const bus = std::getenv("QUILLMARK_CAN_BUS");
  if (domain != PF_CAN || bus == nullptr) {
    return next(domain, type, protocol);
  }
  if ((type & 0xF) != SOCK_RAW || protocol != CAN_RAW) {
    return Fail(EPROTONOSUPPORT);
  }
  const int descriptor = next(AF_UNIX, SOCK_SEQPACKET | (type & (SOCK_NONBLOCK | SOCK_CLOEXEC)), 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, bus, sizeof address.sun_path - 1);
  if (descriptor >= 0 &&
      ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    ::close(descriptor);
    return Fail(EAFNOSUPPORT);
  }
  SetState(descriptor, State::kOpen);
  return descriptor;
}

unsigned int if_nametoindex(const char* name) noexcept {
  static const auto next = Next<unsigned int (*)(const char*)>("if_nametoindex");
  return std::strcmp(name, kInterface) == 0 ? kInterfaceIndex : next(name);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
  static const auto next = Next<int (*)(int, unsigned long, void*)>("ioctl");
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (StateOf(descriptor) == State::kForeign ||
      (request != SIOCGIFINDEX && request != SIOCGIFNAME)) {
    return next(descriptor, request, argument);
  }
  auto* const interface = static_cast<ifreq*>(argument);
  if (request == SIOCGIFNAME) {
    std::strcpy(interface->ifr_name, kInterface);
    return 0;
  }
  if (std::strcmp(interface->ifr_name, kInterface) != 0) {
    return Fail(ENODEV);
  }
  interface->ifr_ifindex = kInterfaceIndex;
  return 0;
}

int bind(int descriptor, const sockaddr* address, socklen_t size) noexcept {
  static const auto next = Next<int (*)(int, const sockaddr*, socklen_t)>("bind");
  if (StateOf(descriptor) == State::kForeign) {
    return next(descriptor, address, size);
  }
  // The kernel takes an address of CAN that ends behind the interface, too.
  if (size < offsetof(sockaddr_can, can_addr) || address->sa_family != AF_CAN) {
    return Fail(EINVAL);
  }
  const int index = reinterpret_cast<const sockaddr_can*>(address)->can_ifindex;
  if (index != 0 && index != kInterfaceIndex) {
    return Fail(ENODEV);
  }
  SetState(descriptor, State::kBound);
  return Send(descriptor, Kind::kBind, &index, sizeof index) ? 0 : -1;
}

int setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) noexcept {
  static const auto next = Next<int (*)(int, int, int, const void*, socklen_t)>("setsockopt");
  if (StateOf(descriptor) == State::kForeign || level != SOL_CAN_RAW) {
    return next(descriptor, level, option, value, size);
  }
  switch (option) {
    case CAN_RAW_FILTER:
      return size % sizeof(can_filter) == 0 && Send(descriptor, Kind::kFilters, value, size)
                 ? 0
                 : Fail(EINVAL);
    case CAN_RAW_ERR_FILTER:
      return size == sizeof(can_err_mask_t) && Send(descriptor, Kind::kErrorMask, value, size)
                 ? 0
                 : Fail(EINVAL);
    default:
      return Fail(ENOPROTOOPT);
  }
}

ssize_t write(int descriptor, const void* data, size_t size) {
  static const auto next = Next<ssize_t (*)(int, const void*, size_t)>("write");
  const State state = StateOf(descriptor);
  if (state == State::kForeign) {
    return next(descriptor, data, size);
  }
  if (state != State::kBound || size != sizeof(can_frame)) {
    return Fail(state != State::kBound ? ENXIO : EINVAL);
  }
  const auto* const frame = static_cast<const can_frame*>(data);
  if (frame->can_dlc > CAN_MAX_DLEN) {
    return Fail(EINVAL);
  }
  // A descriptor for the answer travels with the frame.
  std::array<int, 2> answer{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, answer.data()) != 0) {
    return -1;
  }
  Message message{};
  message.kind = Kind::kFrame;
  message.size = sizeof *frame;
  std::memcpy(message.content, frame, sizeof *frame);
  iovec part{&message, sizeof message};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = room.data();
  header.msg_controllen = room.size();
  cmsghdr* const rights = CMSG_FIRSTHDR(&header);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(rights), &answer[1], sizeof(int));
  const bool sent = ::sendmsg(descriptor, &header, MSG_NOSIGNAL) == sizeof message;
  ::close(answer[1]);
  const int error = sent ? AwaitVerdict(answer[0]) : ENETDOWN;
  ::close(answer[0]);
  return error == 0 ? static_cast<ssize_t>(size) : Fail(error);
}

ssize_t recvmsg(int descriptor, msghdr* header, int flags) {
  static const auto next = Next<ssize_t (*)(int, msghdr*, int)>("recvmsg");
  if (StateOf(descriptor) == State::kForeign) {
    return next(descriptor, header, flags);
  }
  Message message{};
  const ssize_t size = ::recv(descriptor, &message, sizeof message, flags);
  if (size < 0) {
    return size;
  }
  // An interface that is gone: the kernel says so once, and then that it is down.
  if (size != sizeof message) {
    return Fail(ENETDOWN);
  }
  const std::size_t count =
      header->msg_iovlen == 0 ? 0 : std::min<std::size_t>(message.size, header->msg_iov->iov_len);
  std::memcpy(header->msg_iov->iov_base, message.content, count);
  header->msg_flags = 0;
  if (header->msg_name != nullptr && header->msg_namelen >= sizeof(sockaddr_can)) {
    sockaddr_can sender{};
    sender.can_family = AF_CAN;
    sender.can_ifindex = kInterfaceIndex;
    std::memcpy(header->msg_name, &sender, sizeof sender);
    header->msg_namelen = sizeof sender;
  }
  timeval arrived{};
  ::gettimeofday(&arrived, nullptr);
  cmsghdr* const stamp = CMSG_FIRSTHDR(header);
  if (stamp != nullptr && header->msg_controllen >= CMSG_SPACE(sizeof arrived)) {
    stamp->cmsg_level = SOL_SOCKET;
    stamp->cmsg_type = SO_TIMESTAMP;
    stamp->cmsg_len = CMSG_LEN(sizeof arrived);
    std::memcpy(CMSG_DATA(stamp), &arrived, sizeof arrived);
    header->msg_controllen = CMSG_SPACE(sizeof arrived);
  } else {
    header->msg_controllen = 0;
  }
  return static_cast<ssize_t>(count);
}

ssize_t read(int descriptor, void* data, size_t size) {
  static const auto next = Next<ssize_t (*)(int, void*, size_t)>("read");
  if (StateOf(descriptor) == State::kForeign) {
    return next(descriptor, data, size);
  }
  iovec part{data, size};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  return recvmsg(descriptor, &header, 0);
}

int close(int descriptor) {
  static const auto next = Next<int (*)(int)>("close");
  SetState(descriptor, State::kForeign);
  return next(descriptor);
}

}  // extern "C"
