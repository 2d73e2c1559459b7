// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

// Windows has 32-bit libraries whose functions take their arguments off the stack.
#ifdef _WIN32
#define QUILLMARK_PASS_THRU_CALL __stdcall
#else
#define QUILLMARK_PASS_THRU_CALL
#endif

/// The binary interface of SAE J2534 adapters, version 04.04, as an adapter's library has it. Its
/// `unsigned long` is a parameter: some libraries for Linux have 32 bits for it, some 64.
namespace quillmark::host::pass_thru {

inline constexpr std::size_t kDataSize = 4128;
/// Of every text that a library writes, its end included.
inline constexpr std::size_t kTextSize = 80;

#pragma pack(push, 1)
/// One message. On CAN its data are four bytes of the identifier, the highest first, and the
/// payload.
template <typename Word>
struct Message {
  Word protocol;
  Word rx_status;
  Word tx_flags;
  Word timestamp;  ///< microseconds
  Word size;
  Word extra_index;
  std::array<std::uint8_t, kDataSize> data;
};
#pragma pack(pop)

template <typename Word>
struct Parameter {
  Word name;
  Word value;
};

template <typename Word>
struct ParameterList {
  Word count;
  Parameter<Word>* parameters;
};

/// The functions by their exported names.
template <typename Word>
struct Functions {
  using Result = std::make_signed_t<Word>;
  using Text = char*;
  using Words = Word*;
  using Messages = Message<Word>*;

  Result(QUILLMARK_PASS_THRU_CALL* Open)(void* name, Words device) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* Close)(Word device) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* Connect)(Word device, Word protocol, Word flags, Word baud,
                                            Words channel) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* Disconnect)(Word channel) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* ReadMsgs)(Word channel, Messages messages, Words count,
                                             Word timeout) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* WriteMsgs)(Word channel, Messages messages, Words count,
                                              Word timeout) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* StartPeriodicMsg)(Word channel, Messages message, Words id,
                                                     Word interval) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* StopPeriodicMsg)(Word channel, Word id) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* StartMsgFilter)(Word channel, Word type, Messages mask,
                                                   Messages pattern, Messages flow_control,
                                                   Words filter) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* StopMsgFilter)(Word channel, Word filter) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* SetProgrammingVoltage)(Word device, Word pin,
                                                          Word millivolts) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* ReadVersion)(Word device, Text firmware, Text library,
                                                Text api) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* GetLastError)(Text text) = nullptr;
  Result(QUILLMARK_PASS_THRU_CALL* Ioctl)(Word handle, Word id, void* input,
                                          void* output) = nullptr;
};

inline constexpr std::uint32_t kIso9141 = 3;
inline constexpr std::uint32_t kIso14230 = 4;
inline constexpr std::uint32_t kCan = 5;
inline constexpr std::uint32_t kIso15765 = 6;

// Flags of a connection; the first is one of messages, too.
inline constexpr std::uint32_t kCan29BitId = 0x100;
inline constexpr std::uint32_t kNoChecksum = 0x200;
inline constexpr std::uint32_t kCanIdBoth = 0x800;
inline constexpr std::uint32_t kKLineOnly = 0x1000;

// What a received message is.
inline constexpr std::uint32_t kEcho = 1;
inline constexpr std::uint32_t kStartOfMessage = 2;
inline constexpr std::uint32_t kBreakHeard = 4;
inline constexpr std::uint32_t kSent = 8;

// How a message is sent.
inline constexpr std::uint32_t kFramePadding = 0x40;
inline constexpr std::uint32_t kWaitP3MinOnly = 0x200;

inline constexpr std::uint32_t kPassFilter = 1;
inline constexpr std::uint32_t kBlockFilter = 2;
inline constexpr std::uint32_t kFlowControlFilter = 3;
inline constexpr std::size_t kMostFilterBytes = 12;

inline constexpr std::uint32_t kGetConfig = 1;
inline constexpr std::uint32_t kSetConfig = 2;
inline constexpr std::uint32_t kReadBatteryVoltage = 3;
inline constexpr std::uint32_t kFiveBaudInit = 4;
inline constexpr std::uint32_t kFastInit = 5;
inline constexpr std::uint32_t kClearTransmitBuffer = 7;
inline constexpr std::uint32_t kClearReceiveBuffer = 8;
inline constexpr std::uint32_t kClearPeriodicMessages = 9;
inline constexpr std::uint32_t kClearMessageFilters = 0xA;

// Parameters of a channel. The pauses P1 to P4 count in half milliseconds, the others in
// milliseconds.
inline constexpr std::uint32_t kDataRate = 1;
inline constexpr std::uint32_t kLoopback = 3;
inline constexpr std::uint32_t kP1Max = 7;
inline constexpr std::uint32_t kP3Min = 0xA;
inline constexpr std::uint32_t kP4Min = 0xC;
inline constexpr std::uint32_t kIdleTime = 0x13;
inline constexpr std::uint32_t kLowTime = 0x14;
inline constexpr std::uint32_t kWakeUpTime = 0x15;
inline constexpr std::uint32_t kParity = 0x16;
inline constexpr std::uint32_t kDataBits = 0x20;

/// What every function returns.
enum Status : std::uint32_t {
  kNoError = 0,
  kNotSupported,
  kInvalidChannelId,
  kInvalidProtocolId,
  kNullParameter,
  kInvalidIoctlValue,
  kInvalidFlags,
  kFailed,
  kDeviceNotConnected,
  kTimeout,
  kInvalidMessage,
  kInvalidTimeInterval,
  kExceededLimit,
  kInvalidMessageId,
  kDeviceInUse,
  kInvalidIoctlId,
  kBufferEmpty,
  kBufferFull,
  kBufferOverflow,
  kPinInvalid,
  kChannelInUse,
  kMessageProtocolId,
  kInvalidFilterId,
  kNoFlowControl,
  kNotUnique,
  kInvalidBaudRate,
  kInvalidDeviceId,
};
inline constexpr std::uint32_t kLastStatus = kInvalidDeviceId;

/// The name that the standard gives it, such as "ERR_TIMEOUT"; "status 0x1B" for one that it does
/// not have.
[[nodiscard]] std::string NameOfStatus(std::uint32_t status);

/// The same for a parameter of a channel, such as "P3_MIN".
[[nodiscard]] std::string NameOfParameter(std::uint32_t parameter);

}  // namespace quillmark::host::pass_thru
