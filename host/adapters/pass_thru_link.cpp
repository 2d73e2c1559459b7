// SPDX-License-Identifier: MIT
#include "host/adapters/pass_thru_link.h"

#include <algorithm>
#include <array>

#include "host/adapters/shared_library.h"

namespace quillmark::host {
namespace {

using pass_thru::Status;

constexpr std::uint8_t kUntouched = 0xA5;

/// What an adapter says, without what has no place on a screen or in a file.
std::string TextOf(const char* text, std::size_t size) {
  std::string shown(text, std::find(text, text + size, '\0'));
  std::replace_if(
      shown.begin(), shown.end(), [](char each) { return each < ' ' || each > '~'; }, '?');
  return shown;
}

/// Room for a text; a library that forgets its end does not write behind it.
using TextBuffer = std::array<char, pass_thru::kTextSize + 1>;

std::string TextOf(const TextBuffer& buffer) { return TextOf(buffer.data(), buffer.size()); }

/// A word that a library writes. It has room for 64 bits, and shows how many the library wrote.
template <typename Word>
class WrittenWord {
 public:
  WrittenWord() { bytes_.fill(kUntouched); }

  explicit WrittenWord(Word value) : WrittenWord() {
    std::copy_n(reinterpret_cast<const std::uint8_t*>(&value), sizeof value, bytes_.begin());
  }

  [[nodiscard]] Word* address() { return reinterpret_cast<Word*>(bytes_.data()); }
  [[nodiscard]] Word value() const {
    Word word = 0;
    std::copy_n(bytes_.begin(), sizeof word, reinterpret_cast<std::uint8_t*>(&word));
    return word;
  }
  [[nodiscard]] std::size_t written() const {
    const bool upper_half =
        std::any_of(bytes_.begin() + 4, bytes_.end(), [](auto each) { return each != kUntouched; });
    return upper_half ? 8 : 4;
  }

 private:
  alignas(8) std::array<std::uint8_t, 8> bytes_{};
};

template <typename Word>
class LoadedLink : public PassThruLink {
 public:
  explicit LoadedLink(const std::string& path)
      : path_(path), library_(LoadSharedLibrary(path)), functions_(LoadFunctions()) {
    Open();
  }
  LoadedLink(const LoadedLink&) = delete;
  LoadedLink& operator=(const LoadedLink&) = delete;
  LoadedLink(LoadedLink&&) = delete;
  LoadedLink& operator=(LoadedLink&&) = delete;
  /// There is nobody left to report a failure to.
  ~LoadedLink() override {
    if (channel_) {
      functions_.Disconnect(*channel_);
    }
    functions_.Close(device_);
  }

  [[nodiscard]] AdapterVersions ReadVersions() override {
    TextBuffer firmware{};
    TextBuffer library{};
    TextBuffer api{};
    Check("PassThruReadVersion",
          functions_.ReadVersion(device_, firmware.data(), library.data(), api.data()));
    return {TextOf(firmware), TextOf(library), TextOf(api)};
  }

  [[nodiscard]] std::optional<std::uint32_t> ReadBatteryMillivolts() override {
    WrittenWord<Word> millivolts;
    const std::uint32_t status =
        Ioctl(device_, pass_thru::kReadBatteryVoltage, nullptr, millivolts.address());
    if (status == Status::kNotSupported || status == Status::kInvalidIoctlId) {
      return std::nullopt;
    }
    Check("PassThruIoctl(READ_VBATT)", status);
    return static_cast<std::uint32_t>(millivolts.value());
  }

  void Connect(std::uint32_t protocol, std::uint32_t flags, std::uint32_t baud) override {
    if (channel_) {
      Check("PassThruDisconnect", functions_.Disconnect(*channel_));
      channel_.reset();
    }
    WrittenWord<Word> channel;
    Check("PassThruConnect", functions_.Connect(device_, protocol, flags, baud, channel.address()));
    channel_ = channel.value();
    protocol_ = protocol;
  }

  void StartPassFilter(std::uint32_t tx_flags, const Bytes& mask, const Bytes& pattern) override {
    auto raw_mask = RawOf({.tx_flags = tx_flags, .data = mask});
    auto raw_pattern = RawOf({.tx_flags = tx_flags, .data = pattern});
    WrittenWord<Word> filter;
    Check("PassThruStartMsgFilter",
          functions_.StartMsgFilter(Channel(), pass_thru::kPassFilter, raw_mask.get(),
                                    raw_pattern.get(), nullptr, filter.address()));
  }

  void ClearReceiveBuffer() override {
    Check("PassThruIoctl(CLEAR_RX_BUFFER)",
          Ioctl(Channel(), pass_thru::kClearReceiveBuffer, nullptr, nullptr));
  }

  void SetParameter(std::uint32_t parameter, std::uint32_t value) override {
    Configure("SET_CONFIG", pass_thru::kSetConfig, parameter, value);
  }

  [[nodiscard]] std::uint32_t GetParameter(std::uint32_t parameter) override {
    return Configure("GET_CONFIG", pass_thru::kGetConfig, parameter, 0);
  }

  void Write(const PassThruMessage& message, Milliseconds timeout) override {
    auto raw = RawOf(message);
    WrittenWord<Word> count(1);
    Check("PassThruWriteMsgs",
          functions_.WriteMsgs(Channel(), raw.get(), count.address(), TimeoutOf(timeout)));
  }

  [[nodiscard]] PassThruReading Read(Milliseconds timeout) override {
    received_->size = 0;
    WrittenWord<Word> count(1);
    const auto status = static_cast<std::uint32_t>(
        functions_.ReadMsgs(Channel(), received_.get(), count.address(), TimeoutOf(timeout)));
    PassThruReading reading{.overflow = status == Status::kBufferOverflow};
    const bool is_in_order = status == Status::kTimeout || status == Status::kBufferEmpty;
    if (!is_in_order && !reading.overflow) {
      Check("PassThruReadMsgs", status);
    }
    if (count.value() > 1) {
      throw BusError(path_ + ": PassThruReadMsgs returns " + std::to_string(count.value()) +
                     " messages where one was asked for");
    }
    if (count.value() == 1) {
      reading.message = MessageOf(*received_);
    }
    return reading;
  }

  [[nodiscard]] std::optional<PassThruMessage> FastInit(const PassThruMessage* request,
                                                        std::string& failure) override {
    const auto raw = request == nullptr ? nullptr : RawOf(*request);
    received_->size = 0;
    const std::uint32_t status = Ioctl(Channel(), pass_thru::kFastInit, raw.get(),
                                       request == nullptr ? nullptr : received_.get());
    constexpr const char* kFunction = "PassThruIoctl(FAST_INIT)";
    // Libraries report an ECU that does not answer in each of these ways.
    const bool is_silence =
        status == Status::kTimeout || status == Status::kFailed || status == Status::kBufferEmpty;
    if (is_silence) {
      failure = FailureOf(kFunction, status);
      return std::nullopt;
    }
    Check(kFunction, status);
    return request == nullptr ? std::nullopt : std::optional(MessageOf(*received_));
  }

 private:
  using Raw = pass_thru::Message<Word>;

  template <typename Function>
  void Load(const char* name, Function& function) const {
    void* const address = library_->Find(name);
    if (address == nullptr) {
      throw BusError(path_ + " is no pass-thru library of API 04.04: it has no " + name);
    }
    function = reinterpret_cast<Function>(address);
  }

  pass_thru::Functions<Word> LoadFunctions() const {
    pass_thru::Functions<Word> functions;
    Load("PassThruOpen", functions.Open);
    Load("PassThruClose", functions.Close);
    Load("PassThruConnect", functions.Connect);
    Load("PassThruDisconnect", functions.Disconnect);
    Load("PassThruReadMsgs", functions.ReadMsgs);
    Load("PassThruWriteMsgs", functions.WriteMsgs);
    Load("PassThruStartMsgFilter", functions.StartMsgFilter);
    Load("PassThruReadVersion", functions.ReadVersion);
    Load("PassThruGetLastError", functions.GetLastError);
    Load("PassThruIoctl", functions.Ioctl);
    return functions;
  }

  /// What a library writes here shows its width, before any message is exchanged. A library of the
  /// other one is called with the wrong types until then.
#ifdef __clang__
  [[clang::no_sanitize("function")]]
#endif
  void
  Open() {
    WrittenWord<Word> device;
    Check("PassThruOpen", functions_.Open(nullptr, device.address()));
    device_ = device.value();
    if (device.written() != sizeof(Word)) {
      // Of a word of 64 bits too much was read: the library wrote the lower half of it.
      functions_.Close(static_cast<std::uint32_t>(device_));
      throw BusError(path_ + " is a library with numbers of " +
                     std::to_string(8 * device.written()) +
                     " bits: use it with width=" + std::to_string(8 * device.written()));
    }
  }

  [[nodiscard]] Word Channel() const {
    if (!channel_) {
      throw BusError(path_ + ": no channel is connected");
    }
    return *channel_;
  }

  [[nodiscard]] static Word TimeoutOf(Milliseconds timeout) {
    return static_cast<Word>(std::max(timeout, Milliseconds(1)).count());
  }

  [[nodiscard]] std::unique_ptr<Raw> RawOf(const PassThruMessage& message) const {
    auto raw = std::make_unique<Raw>();
    if (message.data.size() > raw->data.size()) {
      throw BusError(path_ + ": a message has no room for " + std::to_string(message.data.size()) +
                     " bytes");
    }
    raw->protocol = protocol_;
    raw->tx_flags = message.tx_flags;
    raw->size = static_cast<Word>(message.data.size());
    std::copy(message.data.begin(), message.data.end(), raw->data.begin());
    return raw;
  }

  [[nodiscard]] PassThruMessage MessageOf(const Raw& raw) const {
    if (raw.size > raw.data.size()) {
      throw BusError(path_ + " returns a message of " + std::to_string(raw.size) + " bytes");
    }
    return {
        .rx_status = static_cast<std::uint32_t>(raw.rx_status),
        .tx_flags = static_cast<std::uint32_t>(raw.tx_flags),
        .data = Bytes(raw.data.begin(), raw.data.begin() + static_cast<std::ptrdiff_t>(raw.size))};
  }

  [[nodiscard]] std::uint32_t Ioctl(Word handle, std::uint32_t id, void* input, void* output) {
    return static_cast<std::uint32_t>(functions_.Ioctl(handle, id, input, output));
  }

  std::uint32_t Configure(const char* operation, std::uint32_t id, std::uint32_t parameter,
                          std::uint32_t value) {
    pass_thru::Parameter<Word> single{parameter, value};
    pass_thru::ParameterList<Word> list{1, &single};
    Check(std::string("PassThruIoctl(") + operation + ' ' + pass_thru::NameOfParameter(parameter) +
              ')',
          Ioctl(Channel(), id, &list, nullptr));
    return static_cast<std::uint32_t>(single.value);
  }

  /// `status` is a number of one of two widths.
  template <typename Number>
  void Check(const std::string& function, Number status) {
    if (static_cast<std::uint32_t>(status) != Status::kNoError) {
      throw BusError(FailureOf(function, static_cast<std::uint32_t>(status)));
    }
  }

  [[nodiscard]] std::string FailureOf(const std::string& function, std::uint32_t status) {
    TextBuffer text{};
    const auto outcome = static_cast<std::uint32_t>(functions_.GetLastError(text.data()));
    const std::string failure =
        path_ + ": " + function + " returns " + pass_thru::NameOfStatus(status);
    const bool has_text = outcome == Status::kNoError && text.front() != '\0';
    return has_text ? failure + ": " + TextOf(text) : failure;
  }

  std::string path_;
  std::unique_ptr<SharedLibrary> library_;
  pass_thru::Functions<Word> functions_;
  std::unique_ptr<Raw> received_ = std::make_unique<Raw>();
  Word device_ = 0;
  std::optional<Word> channel_;
  std::uint32_t protocol_ = 0;
};

}  // namespace

std::unique_ptr<PassThruLink> OpenPassThruLink(const std::string& path, std::uint32_t width) {
  if (width == 64) {
    return std::make_unique<LoadedLink<std::uint64_t>>(path);
  }
  return std::make_unique<LoadedLink<std::uint32_t>>(path);
}

}  // namespace quillmark::host
