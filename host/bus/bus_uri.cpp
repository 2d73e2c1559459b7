// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <vector>

#include "host/bus/slcan_codec.h"
#include "quillmark/host/open_bus.h"

namespace quillmark::host {
namespace {

constexpr std::uint32_t kKLineBaud = 10'400;
constexpr std::uint32_t kFastestCan = 1'000'000;
/// An adapter that makes the timing itself adds nothing to the pause that the line allows.
constexpr std::chrono::milliseconds kP1OnTheLine{20};
constexpr std::uint32_t kFastestPort = 4'000'000;
constexpr std::uint32_t kLongestPause = 10'000;
constexpr std::size_t kLongestInterfaceName = 15;

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

[[noreturn]] void Refuse(std::string_view uri, const std::string& reason) {
  throw BusUriError("found " + Quoted(uri) + ": " + reason + "; the forms are " +
                    std::string(kBusUriForms));
}

struct Scheme {
  std::string_view name;
  BusKind kind;
  /// What the device is called in a message; empty if there is none.
  std::string_view device;
  std::uint32_t baud;
};

constexpr std::array<Scheme, 5> kSchemes{{
    {"sim", BusKind::kSimulated, "", 0},
    {"slcan", BusKind::kSlcan, "the serial device", 115'200},
    {"socketcan", BusKind::kSocketCan, "the CAN interface", 0},
    {"kline", BusKind::kKLine, "the serial device", kKLineBaud},
    {"j2534", BusKind::kPassThru, "the name or the library of the adapter", 0},
}};

/// A URI while it is being parsed.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  BusUri Parse() {
    const std::size_t colon = text_.find(':');
    const Scheme& scheme = SchemeOf(text_.substr(0, colon));
    if (colon == std::string_view::npos) {
      Refuse(text_, "a \":\" must follow " + Quoted(scheme.name));
    }
    const std::string_view rest = text_.substr(colon + 1);
    const std::size_t question = rest.find('?');
    uri_.kind = scheme.kind;
    uri_.baud = scheme.baud;
    if (scheme.kind == BusKind::kKLine) {
      uri_.form = TransportForm::kKLine;
    }
    uri_.device = rest.substr(0, question);
    CheckDevice(scheme);
    if (question != std::string_view::npos) {
      ReadParameters(rest.substr(question + 1));
    }
    if (scheme.kind == BusKind::kPassThru) {
      FitToProtocol();
    }
    return uri_;
  }

 private:
  [[nodiscard]] const Scheme& SchemeOf(std::string_view name) const {
    const auto* const scheme = std::find_if(kSchemes.begin(), kSchemes.end(),
                                            [&](const Scheme& each) { return each.name == name; });
    if (scheme == kSchemes.end()) {
      Refuse(text_, "there is no bus " + Quoted(name));
    }
    return *scheme;
  }

  void CheckDevice(const Scheme& scheme) const {
    if (scheme.device.empty() && !uri_.device.empty()) {
      Refuse(text_, "nothing may follow \"" + std::string(scheme.name) + ":\"");
    }
    if (!scheme.device.empty() && uri_.device.empty()) {
      Refuse(text_, std::string(scheme.device) + " is missing");
    }
    if (uri_.kind == BusKind::kSocketCan && uri_.device.size() > kLongestInterfaceName) {
      Refuse(text_, "no interface has so long a name");
    }
  }

  /// Parameters come in any order, and what they may be depends on the protocol.
  void FitToProtocol() {
    const bool k_line = uri_.form == TransportForm::kKLine;
    if (!k_line && has_pauses_) {
      Refuse(text_, "p1, p3 and p4 need protocol=kline");
    }
    if (k_line && !has_p1_) {
      uri_.p1 = kP1OnTheLine;
    }
    if (k_line && !has_bit_rate_) {
      uri_.bit_rate = kKLineBaud;
    }
  }

  void ReadParameters(std::string_view text) {
    for (;;) {
      const std::size_t ampersand = text.find('&');
      ReadParameter(text.substr(0, ampersand));
      if (ampersand == std::string_view::npos) {
        return;
      }
      text.remove_prefix(ampersand + 1);
    }
  }

  void ReadParameter(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
      Refuse(text_, Quoted(text) + " is no NAME=VALUE");
    }
    const std::string_view name = text.substr(0, equals);
    const std::string_view value = text.substr(equals + 1);
    const bool known = (uri_.kind == BusKind::kSimulated && ReadSimulatorParameter(name, value)) ||
                       (uri_.kind == BusKind::kSlcan && ReadSlcanParameter(name, value)) ||
                       (uri_.kind == BusKind::kKLine && ReadKLineParameter(name, value)) ||
                       (uri_.kind == BusKind::kPassThru && ReadPassThruParameter(name, value));
    if (!known) {
      Refuse(text_, "there is no parameter " + Quoted(name) + " for this bus");
    }
  }

  bool ReadSimulatorParameter(std::string_view name, std::string_view value) {
    if (name != "time") {
      return false;
    }
    if (value != "real" && value != "computed") {
      Refuse(text_, "time must be real or computed");
    }
    uri_.takes_real_time = value == "real";
    return true;
  }

  bool ReadSlcanParameter(std::string_view name, std::string_view value) {
    if (name == "bitrate") {
      uri_.bit_rate = BitRate(value);
    } else if (name == "baud") {
      uri_.baud = Number(name, value, 1, kFastestPort);
    } else if (name == "confirms") {
      uri_.confirms = YesOrNo(name, value);
    } else {
      return false;
    }
    return true;
  }

  bool ReadKLineParameter(std::string_view name, std::string_view value) {
    if (name != "baud") {
      return ReadPause(name, value);
    }
    uri_.baud = Number(name, value, 1, kFastestPort);
    return true;
  }

  bool ReadPassThruParameter(std::string_view name, std::string_view value) {
    if (name == "protocol") {
      uri_.form = Protocol(value);
    } else if (name == "bitrate") {
      uri_.bit_rate = Number(name, value, 1, kFastestCan);
      has_bit_rate_ = true;
    } else if (name == "width") {
      uri_.width = Width(value);
    } else {
      has_pauses_ = true;
      return ReadPause(name, value);
    }
    return true;
  }

  bool ReadPause(std::string_view name, std::string_view value) {
    const auto pause = [&](std::uint32_t shortest) {
      return std::chrono::milliseconds(Number(name, value, shortest, kLongestPause));
    };
    if (name == "p1") {
      uri_.p1 = pause(1);
      has_p1_ = true;
    } else if (name == "p3") {
      uri_.p3 = pause(0);
    } else if (name == "p4") {
      uri_.p4 = pause(0);
    } else {
      return false;
    }
    return true;
  }

  [[nodiscard]] TransportForm Protocol(std::string_view value) const {
    if (value != "can" && value != "kline") {
      Refuse(text_, "protocol must be can or kline");
    }
    return value == "can" ? TransportForm::kPlainCan : TransportForm::kKLine;
  }

  [[nodiscard]] std::uint32_t Width(std::string_view value) const {
    if (value != "32" && value != "64") {
      Refuse(text_, "width must be 32 or 64");
    }
    return value == "32" ? 32 : 64;
  }

  [[nodiscard]] std::uint32_t BitRate(std::string_view value) const {
    const std::uint32_t bit_rate = Number("bitrate", value, 1, 1'000'000);
    if (!SlcanBitRateCommand(bit_rate)) {
      Refuse(text_,
             "the bit rates of slcan are 10000, 20000, 50000, 100000, 125000, 250000, 500000, "
             "800000 and 1000000");
    }
    return bit_rate;
  }

  [[nodiscard]] std::uint32_t Number(std::string_view name, std::string_view value,
                                     std::uint32_t least, std::uint32_t most) const {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc{} || end != value.data() + value.size() || number < least ||
        number > most) {
      Refuse(text_, std::string(name) + " must be a number from " + std::to_string(least) + " to " +
                        std::to_string(most));
    }
    return number;
  }

  [[nodiscard]] bool YesOrNo(std::string_view name, std::string_view value) const {
    if (value != "yes" && value != "no") {
      Refuse(text_, std::string(name) + " must be yes or no");
    }
    return value == "yes";
  }

  std::string_view text_;
  BusUri uri_;
  bool has_bit_rate_ = false;
  bool has_pauses_ = false;
  bool has_p1_ = false;
};

}  // namespace

BusUri ParseBusUri(std::string_view text) { return Parser(text).Parse(); }

}  // namespace quillmark::host
