// SPDX-License-Identifier: MIT
#include "host/pass_thru_simulator/device.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "host/bus/can_frame.h"

namespace quillmark::host::pass_thru {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostFilters = 10;
constexpr std::size_t kMostPeriodic = 10;
constexpr std::size_t kTransmitBuffer = 8;
constexpr std::size_t kIdentifierSize = 4;
constexpr std::size_t kLongestKLineMessage = 260;
constexpr std::uint32_t kLongestTime = 0xFFFF;
/// How long the adapter waits for the answer to a fast initialisation.
constexpr milliseconds kInitialisationLimit{500};

constexpr std::array<std::uint32_t, 9> kCanRates{10'000,  20'000,  50'000,  100'000,  125'000,
                                                 250'000, 500'000, 800'000, 1'000'000};

struct ParameterRule {
  std::uint32_t name;
  bool on_can;
  bool on_k_line;
  std::uint32_t least;
  std::uint32_t most;
  std::uint32_t initial;
};

constexpr std::array<ParameterRule, 10> kParameterRules{{
    {kDataRate, true, true, 5, 1'000'000, 0},
    {kLoopback, true, true, 0, 1, 0},
    {kP1Max, false, true, 1, kLongestTime, 40},
    {kP3Min, false, true, 0, kLongestTime, 110},
    {kP4Min, false, true, 0, kLongestTime, 10},
    {kIdleTime, false, true, 0, kLongestTime, 300},
    {kLowTime, false, true, 0, kLongestTime, 25},
    {kWakeUpTime, false, true, 0, kLongestTime, 50},
    {kParity, false, true, 0, 2, 0},
    {kDataBits, false, true, 0, 1, 0},
}};

bool IsCan(std::uint32_t protocol) { return protocol == kCan || protocol == kIso15765; }

std::uint32_t AllowedFlags(std::uint32_t protocol) {
  return IsCan(protocol) ? kCan29BitId | kCanIdBoth : kNoChecksum | kKLineOnly;
}

std::uint32_t AllowedTxFlags(std::uint32_t protocol) {
  if (protocol == kCan) {
    return kCan29BitId;
  }
  return protocol == kIso15765 ? kCan29BitId | kFramePadding : kWaitP3MinOnly;
}

std::uint32_t NumberOf(ByteView bytes) {
  std::uint32_t number = 0;
  for (const std::uint8_t byte : bytes.first(kIdentifierSize)) {
    number = number << 8U | byte;
  }
  return number;
}

Bytes WithIdentifier(std::uint32_t identifier, ByteView payload) {
  Bytes data{static_cast<std::uint8_t>(identifier >> 24),
             static_cast<std::uint8_t>(identifier >> 16),
             static_cast<std::uint8_t>(identifier >> 8), static_cast<std::uint8_t>(identifier)};
  data.insert(data.end(), payload.begin(), payload.end());
  return data;
}

std::uint8_t SumOf(ByteView bytes) {
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : bytes) {
    sum = static_cast<std::uint8_t>(sum + byte);
  }
  return sum;
}

bool HasChecksum(std::uint32_t flags) { return (flags & kNoChecksum) != 0; }

}  // namespace

Device::Network::Network(const EcuOptions& options, const WireSpeed& speed,
                         const WireFaults& faults)
    : ecu(options), wire(ecu, speed) {
  wire.Select(ecu.exchange());
  wire.InjectFaults(InjectorOf(faults));
}

Device::Device(DeviceOptions options, Complaint complaint)
    : options_(std::move(options)), complaint_(std::move(complaint)) {}

Duration Device::Now() const {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<Duration>(now) + skipped_;
}

Device::Channel& Device::At(std::uint32_t channel) {
  if (is_gone_) {
    throw Refusal(kDeviceNotConnected, "the adapter is gone");
  }
  const auto found = channels_.find(channel);
  if (found == channels_.end()) {
    throw Refusal(kInvalidChannelId, "no such channel is open");
  }
  return found->second;
}

Device::Network* Device::NetworkOf(std::uint32_t protocol) {
  if (protocol == kIso15765) {
    return nullptr;
  }
  const TransportForm form = protocol == kCan ? TransportForm::kPlainCan : TransportForm::kKLine;
  std::unique_ptr<Network>& network = networks_[form];
  if (!network) {
    network = std::make_unique<Network>(options_.ecu(form), options_.speed, options_.faults);
    network->wire.AdvanceTo(Now());
  }
  last_network_ = network.get();
  return network.get();
}

const SimulatedEcu* Device::Ecu() const {
  return last_network_ == nullptr ? nullptr : &last_network_->ecu;
}

std::uint32_t Device::Connect(std::uint32_t protocol, std::uint32_t flags, std::uint32_t baud) {
  if (is_gone_) {
    throw Refusal(kDeviceNotConnected, "the adapter is gone");
  }
  if (protocol == 0 || protocol > 10) {
    throw Refusal(kInvalidProtocolId, "there is no such protocol");
  }
  if (protocol != kIso14230 && !IsCan(protocol)) {
    throw Refusal(kNotSupported, "this adapter does not have the protocol");
  }
  if ((flags & ~AllowedFlags(protocol)) != 0) {
    throw Refusal(kInvalidFlags, "reserved flags are set");
  }
  const bool has_rate = IsCan(protocol)
                            ? std::find(kCanRates.begin(), kCanRates.end(), baud) != kCanRates.end()
                            : baud >= 1200 && baud <= 115'200;
  if (!has_rate) {
    throw Refusal(kInvalidBaudRate, "the adapter does not make this bit rate");
  }
  const bool in_use = std::any_of(channels_.begin(), channels_.end(), [&](const auto& each) {
    return IsCan(each.second.protocol) == IsCan(protocol);
  });
  if (in_use) {
    throw Refusal(kChannelInUse, "the pins of this protocol are in use");
  }
  Channel channel{.protocol = protocol, .flags = flags, .baud = baud};
  for (const ParameterRule& rule : kParameterRules) {
    if (IsCan(protocol) ? rule.on_can : rule.on_k_line) {
      channel.parameters[rule.name] = rule.name == kDataRate ? baud : rule.initial;
    }
  }
  channel.network = NetworkOf(protocol);
  channels_.emplace(++last_id_, std::move(channel));
  return last_id_;
}

void Device::Disconnect(std::uint32_t channel) {
  static_cast<void>(At(channel));
  channels_.erase(channel);
}

// Time.

std::optional<Duration> Device::NextEvent() const {
  std::optional<Duration> next;
  const auto consider = [&next](std::optional<Duration> event) {
    if (event && (!next || *event < *next)) {
      next = event;
    }
  };
  for (const auto& [form, network] : networks_) {
    consider(network->wire.NextEvent());
  }
  for (const auto& [id, channel] : channels_) {
    for (const auto& [number, periodic] : channel.periodic) {
      consider(periodic.next);
    }
  }
  return next;
}

void Device::RunUntil(Duration end, const std::function<bool()>& done) {
  for (;;) {
    const Duration now = Now();
    CatchUp(std::min(now, end));
    if ((done && done()) || now >= end) {
      return;
    }
    const Duration next = std::clamp(NextEvent().value_or(end), now, end);
    if (options_.is_fast && next < end) {
      skipped_ += next - now;
    } else if (options_.is_fast && !done) {
      skipped_ += end - now;
    } else {
      std::this_thread::sleep_for(next - now);
    }
  }
}

void Device::CatchUp(Duration now) {
  try {
    for (auto& [id, channel] : channels_) {
      SendPeriodic(channel, now);
    }
    for (auto& [form, network] : networks_) {
      network->wire.AdvanceTo(now);
    }
  } catch (const BusError& error) {
    is_gone_ = true;
    throw Refusal(kDeviceNotConnected, error.what());
  }
  for (auto& [id, channel] : channels_) {
    TakeFrames(channel);
  }
}

void Device::SendPeriodic(Channel& channel, Duration now) {
  for (auto& [id, periodic] : channel.periodic) {
    while (periodic.next <= now) {
      if (channel.network != nullptr) {
        channel.network->wire.AdvanceTo(periodic.next);
      }
      static_cast<void>(Transmit(channel, periodic.frame));
      periodic.next += periodic.interval;
    }
  }
}

/// A reception on a K line begins with an indication.
void Device::TakeFrames(Channel& channel) {
  if (channel.network == nullptr) {
    return;
  }
  while (const std::optional<Bytes> arrived = channel.network->wire.TakeReceived()) {
    channel.network->quiet_since = channel.network->wire.Now();
    const std::uint32_t identifier = channel.network->ecu.exchange().receive;
    if (!OnTheBus(channel)) {
      continue;
    }
    if (IsCan(channel.protocol)) {
      const bool extended = identifier > CanFrame::kLastStandardIdentifier;
      Tell(channel,
           {.rx_status = extended ? kCan29BitId : 0, .data = WithIdentifier(identifier, *arrived)});
      continue;
    }
    Tell(channel, {.rx_status = kStartOfMessage});
    Bytes message = *arrived;
    if (!HasChecksum(channel.flags) && !message.empty()) {
      const std::uint8_t checksum = message.back();
      message.pop_back();
      if (checksum != SumOf(message)) {
        continue;
      }
    }
    Tell(channel, {.data = std::move(message)});
  }
}

/// Filters decide on messages, not on indications and echoes.
void Device::Tell(Channel& channel, Frame frame) {
  const auto matches = [&frame](const Filter& filter) {
    if ((frame.rx_status & kCan29BitId) != (filter.flags & kCan29BitId) ||
        frame.data.size() < filter.mask.size()) {
      return false;
    }
    for (std::size_t i = 0; i < filter.mask.size(); ++i) {
      if ((frame.data[i] & filter.mask[i]) != (filter.pattern[i] & filter.mask[i])) {
        return false;
      }
    }
    return true;
  };
  const auto some = [&](std::uint32_t type) {
    return std::any_of(channel.filters.begin(), channel.filters.end(), [&](const auto& each) {
      return each.second.type == type && matches(each.second);
    });
  };
  const bool is_message = (frame.rx_status & (kEcho | kStartOfMessage | kSent)) == 0;
  if (is_message && (!some(kPassFilter) || some(kBlockFilter))) {
    return;
  }
  if (channel.received.size() >= options_.receive_buffer) {
    channel.overflow = true;
    return;
  }
  frame.protocol = channel.protocol;
  frame.timestamp = static_cast<std::uint32_t>(Now().count());
  channel.received.push_back(std::move(frame));
}

// Messages.

std::vector<Frame> Device::Read(std::uint32_t channel, std::size_t most, milliseconds timeout,
                                Status& status) {
  Channel& from = At(channel);
  if (from.filters.empty()) {
    complaint_("reads without a filter");
  } else if (!from.is_clear) {
    complaint_("reads what arrived before the filter: the receive buffer was not cleared");
  }
  RunUntil(Now() + timeout, [&] { return from.received.size() >= most; });
  const auto end =
      from.received.begin() + static_cast<std::ptrdiff_t>(std::min(most, from.received.size()));
  std::vector<Frame> frames(from.received.begin(), end);
  from.received.erase(from.received.begin(), end);
  status = kNoError;
  if (std::exchange(from.overflow, false)) {
    status = kBufferOverflow;
  } else if (frames.empty()) {
    status = kBufferEmpty;
  } else if (frames.size() < most) {
    status = kTimeout;
  }
  return frames;
}

void Device::CheckKLineMessage(const Channel& channel, const Frame& frame) {
  const std::size_t checksum = HasChecksum(channel.flags) ? 1 : 0;
  const Bytes& data = frame.data;
  if (data.size() < 2 || data.size() > kLongestKLineMessage) {
    throw Refusal(kInvalidMessage, "a message of this length does not exist");
  }
  constexpr std::uint8_t kAddressed = 0xC0;
  constexpr std::uint8_t kLengthMask = 0x3F;
  std::size_t header = (data[0] & kAddressed) != 0 ? 3 : 1;
  std::size_t length = data[0] & kLengthMask;
  if (length == 0) {
    if (data.size() <= header) {
      throw Refusal(kInvalidMessage, "the length byte is missing");
    }
    length = data[header];
    ++header;
  }
  if (data.size() != header + length + checksum) {
    throw Refusal(kInvalidMessage, "the header says another length");
  }
}

void Device::CheckMessage(const Channel& channel, const Frame& frame) {
  if (frame.protocol != channel.protocol) {
    throw Refusal(kMessageProtocolId, "the message is of another protocol than the channel");
  }
  if ((frame.tx_flags & ~AllowedTxFlags(channel.protocol)) != 0) {
    throw Refusal(kInvalidMessage, "reserved flags are set in the message");
  }
  if (!IsCan(channel.protocol)) {
    CheckKLineMessage(channel, frame);
    return;
  }
  const std::size_t most =
      kIdentifierSize + (channel.protocol == kCan ? CanFrame::kMostBytes : std::size_t{4095});
  if (frame.data.size() < kIdentifierSize || frame.data.size() > most) {
    throw Refusal(kInvalidMessage, "a message of this length does not exist");
  }
  const bool extended = (frame.tx_flags & kCan29BitId) != 0;
  const bool channel_extended = (channel.flags & kCan29BitId) != 0;
  if ((channel.flags & kCanIdBoth) == 0 && extended != channel_extended) {
    throw Refusal(kInvalidMessage, "the channel carries identifiers of the other length");
  }
  const std::uint32_t last =
      extended ? CanFrame::kLastExtendedIdentifier : CanFrame::kLastStandardIdentifier;
  if (NumberOf(frame.data) > last) {
    throw Refusal(kInvalidMessage, "the identifier does not exist");
  }
}

bool Device::OnTheBus(const Channel& channel) const {
  return channel.baud ==
         (IsCan(channel.protocol) ? options_.speed.can_bit_rate : options_.speed.k_line_baud);
}

/// Returns when the message will have been sent.
Duration Device::Transmit(Channel& channel, const Frame& frame) {
  const Duration earliest = Now() + options_.slow_write;
  if (channel.network == nullptr) {
    return earliest;
  }
  if (!IsCan(channel.protocol)) {
    return TransmitOnKLine(channel, frame, earliest);
  }
  const Exchange& exchange = channel.network->ecu.exchange();
  const ByteView payload = ByteView(frame.data).subspan(kIdentifierSize);
  const bool extended = (frame.tx_flags & kCan29BitId) != 0;
  const CanFrame sent{NumberOf(frame.data), extended, Bytes(payload.begin(), payload.end())};
  if (sent != CanFrameTo(exchange.send, payload)) {
    return earliest + WireTime(exchange, payload.size(), options_.speed);
  }
  return std::max(earliest, channel.network->wire.Send(payload));
}

Duration Device::TransmitOnKLine(Channel& channel, const Frame& frame, Duration earliest) const {
  Network& network = *channel.network;
  Bytes message = frame.data;
  if (!HasChecksum(channel.flags)) {
    message.push_back(SumOf(message));
  }
  const auto half = std::chrono::microseconds(500);
  const Duration start =
      std::max(earliest, network.quiet_since + half * channel.parameters[kP3Min]);
  const Duration bytes = WireTime(network.ecu.exchange(), message.size(), options_.speed);
  const Duration end = start + bytes + half * channel.parameters[kP4Min] * message.size();
  network.wire.SendEndingAt(message, end);
  network.quiet_since = end;
  return end;
}

void Device::Write(std::uint32_t channel, const std::vector<Frame>& frames, milliseconds timeout,
                   std::size_t& sent) {
  Channel& to = At(channel);
  for (const Frame& frame : frames) {
    CheckMessage(to, frame);
    if (to.protocol == kIso15765 && to.filters.empty()) {
      throw Refusal(kNoFlowControl, "there is no flow control filter for the message");
    }
  }
  for (const Frame& frame : frames) {
    SendOne(to, frame, timeout);
    ++sent;
  }
}

void Device::SendOne(Channel& channel, const Frame& frame, milliseconds timeout) {
  RunUntil(Now());
  while (!channel.unsent.empty() && channel.unsent.front() <= Now()) {
    channel.unsent.pop_front();
  }
  if (channel.unsent.size() >= kTransmitBuffer) {
    throw Refusal(kBufferFull, "the transmit buffer is full");
  }
  const Duration limit = Now() + timeout;
  Duration end{};
  try {
    // Nobody acknowledges a frame at another bit rate.
    end = OnTheBus(channel) ? Transmit(channel, frame) : Duration::max();
  } catch (const BusError& error) {
    is_gone_ = true;
    throw Refusal(kDeviceNotConnected, error.what());
  }
  channel.unsent.push_back(end);
  if (timeout.count() > 0) {
    RunUntil(std::min(end, limit));
    if (end > limit) {
      throw Refusal(kTimeout, "the message was not sent in time");
    }
  }
  if (!options_.echoes) {
    return;
  }
  Tell(channel, {.rx_status = kEcho | (frame.tx_flags & kCan29BitId), .data = frame.data});
  if (IsCan(channel.protocol)) {
    Tell(channel, {.rx_status = kEcho | kSent | (frame.tx_flags & kCan29BitId),
                   .data = Bytes(frame.data.begin(), frame.data.begin() + kIdentifierSize)});
  }
}

std::uint32_t Device::StartPeriodic(std::uint32_t channel, const Frame& frame,
                                    std::uint32_t interval) {
  Channel& to = At(channel);
  CheckMessage(to, frame);
  if (interval < 5 || interval > kLongestTime) {
    throw Refusal(kInvalidTimeInterval, "expected 5 to 65535 ms");
  }
  if (to.periodic.size() >= kMostPeriodic) {
    throw Refusal(kExceededLimit, "there are ten periodic messages already");
  }
  const Duration time = milliseconds(interval);
  to.periodic.emplace(++last_id_, Periodic{frame, time, Now() + time});
  return last_id_;
}

void Device::StopPeriodic(std::uint32_t channel, std::uint32_t id) {
  if (At(channel).periodic.erase(id) == 0) {
    throw Refusal(kInvalidMessageId, "there is no such periodic message");
  }
}

// Filters.

std::uint32_t Device::StartFilter(std::uint32_t channel, std::uint32_t type, const Frame& mask,
                                  const Frame& pattern, const Frame* flow_control) {
  Channel& to = At(channel);
  const bool is_flow_control = type == kFlowControlFilter;
  if (type < kPassFilter || type > kFlowControlFilter ||
      is_flow_control != (to.protocol == kIso15765)) {
    throw Refusal(kFailed, "the channel has no filters of this type");
  }
  if (is_flow_control && flow_control == nullptr) {
    throw Refusal(kNullParameter, "the flow control message is missing");
  }
  if (mask.protocol != to.protocol || pattern.protocol != to.protocol) {
    throw Refusal(kMessageProtocolId, "the filter is of another protocol than the channel");
  }
  const bool fits = !mask.data.empty() && mask.data.size() <= kMostFilterBytes &&
                    mask.data.size() == pattern.data.size() && mask.tx_flags == pattern.tx_flags;
  if (!fits || (mask.tx_flags & ~AllowedTxFlags(to.protocol)) != 0 ||
      (!is_flow_control && flow_control != nullptr)) {
    throw Refusal(kInvalidMessage,
                  "mask and pattern need 1 to 12 bytes, as many in both, and the same flags");
  }
  const bool is_known =
      is_flow_control && std::any_of(to.filters.begin(), to.filters.end(), [&](const auto& each) {
        return each.second.pattern == pattern.data;
      });
  if (is_known) {
    throw Refusal(kNotUnique, "another filter has the same pattern");
  }
  if (to.filters.size() >= kMostFilters) {
    throw Refusal(kExceededLimit, "there are ten filters already");
  }
  to.filters.emplace(++last_id_, Filter{type, mask.tx_flags, mask.data, pattern.data});
  to.is_clear = false;
  return last_id_;
}

void Device::StopFilter(std::uint32_t channel, std::uint32_t id) {
  if (At(channel).filters.erase(id) == 0) {
    throw Refusal(kInvalidFilterId, "there is no such filter");
  }
}

void Device::SetProgrammingVoltage(std::uint32_t pin, std::uint32_t millivolts) const {
  constexpr std::array<std::uint32_t, 8> kPins{0, 6, 9, 11, 12, 13, 14, 15};
  constexpr std::uint32_t kShortToGround = 0xFFFFFFFE;
  if (is_gone_) {
    throw Refusal(kDeviceNotConnected, "the adapter is gone");
  }
  if (std::find(kPins.begin(), kPins.end(), pin) == kPins.end()) {
    throw Refusal(kPinInvalid, "the adapter does not reach this pin");
  }
  if (millivolts < kShortToGround && (millivolts < 5000 || millivolts > 20'000)) {
    throw Refusal(kExceededLimit, "expected 5000 to 20000 mV");
  }
}

// Parameters and the wake-up.

std::uint32_t Device::GetParameter(std::uint32_t channel, std::uint32_t name) {
  const Channel& from = At(channel);
  const auto found = from.parameters.find(name);
  if (found == from.parameters.end()) {
    throw Refusal(kNotSupported, "the channel does not have this parameter");
  }
  return found->second;
}

void Device::SetParameter(std::uint32_t channel, std::uint32_t name, std::uint32_t value) {
  static_cast<void>(GetParameter(channel, name));
  const auto* const rule =
      std::find_if(kParameterRules.begin(), kParameterRules.end(),
                   [&](const ParameterRule& each) { return each.name == name; });
  if (value < rule->least || value > rule->most) {
    throw Refusal(kInvalidIoctlValue, "the parameter does not take this value");
  }
  if (!options_.keeps_parameters) {
    At(channel).parameters[name] = value;
  }
}

std::uint32_t Device::Millivolts() const {
  if (is_gone_) {
    throw Refusal(kDeviceNotConnected, "the adapter is gone");
  }
  if (!options_.millivolts) {
    throw Refusal(kNotSupported, "the adapter does not measure the battery");
  }
  return *options_.millivolts;
}

std::optional<Frame> Device::FastInit(std::uint32_t channel, const Frame* request) {
  Channel& on = At(channel);
  if (IsCan(on.protocol)) {
    throw Refusal(kInvalidIoctlId, "a CAN bus knows no fast initialisation");
  }
  if (request != nullptr) {
    CheckMessage(on, *request);
  }
  SimulatedWire& wire = on.network->wire;
  const milliseconds low(on.parameters[kLowTime]);
  const Duration start =
      std::max(Now(), on.network->quiet_since + milliseconds(on.parameters[kIdleTime]));
  RunUntil(start + low);
  wire.Break(low);
  RunUntil(start + milliseconds(on.parameters[kWakeUpTime]));
  if (request == nullptr) {
    return std::nullopt;
  }
  on.received.clear();
  const Duration end =
      wire.Now() + WireTime(on.network->ecu.exchange(), request->data.size(), options_.speed);
  if (OnTheBus(on)) {
    wire.SendEndingAt(request->data, end);
  }
  const auto is_reply = [](const Frame& frame) { return frame.rx_status == 0; };
  const auto reply = [&] { return std::find_if(on.received.begin(), on.received.end(), is_reply); };
  RunUntil(end + kInitialisationLimit, [&] { return reply() != on.received.end(); });
  if (reply() == on.received.end()) {
    throw Refusal(kTimeout, "the ECU does not answer the fast initialisation");
  }
  Frame answer = *reply();
  on.received.erase(on.received.begin(), reply() + 1);
  return answer;
}

void Device::ClearReceiveBuffer(std::uint32_t channel) {
  Channel& of = At(channel);
  CatchUp(Now());
  of.received.clear();
  of.overflow = false;
  of.is_clear = true;
}

void Device::ClearPeriodic(std::uint32_t channel) { At(channel).periodic.clear(); }

void Device::ClearFilters(std::uint32_t channel) { At(channel).filters.clear(); }

}  // namespace quillmark::host::pass_thru
