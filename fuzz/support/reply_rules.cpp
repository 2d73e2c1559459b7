// SPDX-License-Identifier: MIT
#include "fuzz/support/reply_rules.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace quillmark::fuzz {
namespace {

using host::Bytes;
using host::HexOf;
using host::TransportForm;
using Node = std::shared_ptr<IXMLDOMNode>;

constexpr std::int32_t kSubscript = 9;
constexpr std::int32_t kTypeMismatch = 13;
constexpr std::int32_t kNotSet = 91;

/// An error that the rules demand.
struct Raised {
  Verdict verdict;
};

[[noreturn]] void Raise(std::int32_t number, const std::string& text) {
  throw Raised{{number, text}};
}

[[noreturn]] void Raise(std::int32_t number) {
  static const std::map<std::int32_t, std::string> kTexts = {
      {kSubscript, "Subscript out of range"},
      {kTypeMismatch, "Type mismatch"},
      {kNotSet, "Object variable or With block variable not set"}};
  const auto text = kTexts.find(number);
  Raise(number,
        text == kTexts.end() ? "Application-defined or object-defined error" : text->second);
}

Verdict VerdictOf(const std::function<std::string()>& rule) {
  try {
    return {0, rule()};
  } catch (const Raised& raised) {
    return raised.verdict;
  }
}

void Need(bool holds, std::int32_t number) {
  if (!holds) {
    Raise(number);
  }
}

Bytes Part(const Bytes& bytes, std::size_t from, std::size_t count) {
  Need(from <= bytes.size() && count <= bytes.size() - from, kSubscript);
  const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return {start, start + static_cast<std::ptrdiff_t>(count)};
}

std::uint8_t At(const Bytes& bytes, std::size_t index) {
  Need(index < bytes.size(), kSubscript);
  return bytes[index];
}

std::string ShortHex(std::uint8_t byte) {
  char text[3] = {};
  std::snprintf(text, sizeof text, "%X", byte);
  return text;
}

/// The frame in the `r` element at `node` or behind it; `node` moves on behind that.
std::optional<Bytes> NextFrame(Node& node) {
  while (node && (node->nodeType() != NodeType::kElement || node->nodeName() != "r")) {
    node = node->nextSibling();
  }
  Need(node != nullptr, kNotSet);
  const Node data = node->selectSingleNode("d");
  node = node->nextSibling();
  if (!data) {
    return std::nullopt;
  }
  const Node content = data->firstChild();
  Need(content != nullptr, kNotSet);
  const std::optional<Bytes> frame = host::BytesOfHex(content->text());
  Need(frame.has_value(), kTypeMismatch);
  return frame;
}

Bytes FurtherFrame(Node& node) {
  const std::optional<Bytes> frame = NextFrame(node);
  Need(frame.has_value(), 2000);
  return *frame;
}

Bytes DataOfKMessage(const Bytes& message) {
  const auto demand = [&](bool holds) {
    if (!holds) {
      Raise(2003, "Checksum error " + HexOf(message));
    }
  };
  demand(message.size() >= 4);
  const std::size_t in_format = message[0] & 0x3FU;
  const std::size_t header = in_format != 0 ? 3 : 4;
  const std::size_t count = in_format != 0 ? in_format : message[3];
  demand(message.size() >= header + count + 1);
  const auto checksum = message.begin() + static_cast<std::ptrdiff_t>(header + count);
  demand((std::accumulate(message.begin(), checksum, 0U) & 0xFFU) == *checksum);
  return Part(message, header, count);
}

/// Nothing if the first frame begins no message.
std::optional<Bytes> PlainMessage(const Bytes& first, Node& rest) {
  const std::uint8_t header = At(first, 0);
  if (header >> 4U == 0) {
    return Part(first, 1, header);
  }
  if (header >> 4U != 1) {
    return std::nullopt;
  }
  const std::size_t length = 256U * (header & 0x0FU) + At(first, 1);
  Bytes message = Part(first, 2, 6);
  std::size_t announced = 6;
  for (; announced < length; announced += 7) {
    const Bytes frame = FurtherFrame(rest);
    Need(!frame.empty(), kSubscript);
    message.insert(message.end(), frame.begin() + 1, frame.end());
  }
  return announced > length ? Part(message, 0, length) : message;
}

Bytes GatewayMessage(const Bytes& first, Node& rest) {
  const std::size_t pieces = At(first, 0);
  Bytes message = Part(first, 1, first.size() - 1);
  for (std::size_t piece = 1; piece < pieces; ++piece) {
    const Bytes frame = FurtherFrame(rest);
    message.insert(message.end(), frame.begin(), frame.end());
  }
  return DataOfKMessage(message);
}

std::optional<Bytes> Message(TransportForm form, const Bytes& first, Node& rest) {
  switch (form) {
    case TransportForm::kPlainCan:
      return PlainMessage(first, rest);
    case TransportForm::kGateway:
      return GatewayMessage(first, rest);
    default:
      return DataOfKMessage(first);
  }
}

void RefuseNegative(const Bytes& reply) {
  static const std::map<std::uint8_t, std::int32_t> kNumbers = {
      {0x10, 2044}, {0x11, 2032}, {0x12, 2034}, {0x21, 2035}, {0x22, 2033},
      {0x23, 2043}, {0x33, 2036}, {0x35, 2037}, {0x80, 2042}, {0x87, 2038}};
  if (reply.empty()) {
    Raise(2000, "No reply");
  }
  if (reply[0] != 0x7F) {
    return;
  }
  if (reply.size() < 3) {
    Raise(2041, "Illegal Negative Reply : " + HexOf(reply));
  }
  const auto number = kNumbers.find(reply[2]);
  Raise(number == kNumbers.end() ? 2040 : number->second,
        "Requested Service : " + ShortHex(reply[1]) +
            " Negative response code : " + ShortHex(reply[2]));
}

std::string RoutineText(std::uint8_t routine, const Bytes& reply) {
  return "Start routine " + ShortHex(routine) + "H error " + HexOf(reply);
}

}  // namespace

std::string ReplyRules::Path() const {
  return form_ == TransportForm::kKLine ? "/k/r" : "/can/x/r";
}

Bytes ReplyRules::ReplyAt(const std::string& path) const {
  Node node = document_.selectSingleNode(path);
  if (!node) {
    return {};
  }
  const std::optional<Bytes> first = NextFrame(node);
  if (!first) {
    return {};
  }
  const std::optional<Bytes> message = Message(form_, *first, node);
  Need(message.has_value(), kNotSet);
  return *message;
}

Bytes ReplyRules::Reply(std::size_t index) const {
  return ReplyAt(Path() + "[" + std::to_string(index) + "]");
}

std::size_t ReplyRules::SecondInGateway() const { return form_ == TransportForm::kGateway ? 1 : 0; }

std::string ReplyRules::HistoryPath(std::size_t entry, bool second) const {
  if (form_ == TransportForm::kKLine) {
    const std::string path = entry < 2 && !second ? "/k/r[" : "/can/x/r[";
    return path + std::to_string(2 * entry + (second ? 3 : 2)) + "]";
  }
  const std::size_t first = (form_ == TransportForm::kPlainCan ? 6 : 5) + 8 * entry;
  return "/can/x/r[" + std::to_string(second ? first + 4 : first) + "]";
}

Verdict ReplyRules::gethisto() const {
  std::vector<std::string> records(17, "-");
  const auto store = [&](std::size_t record, const std::string& path) {
    const Bytes reply = ReplyAt(path);
    if (reply.size() == 26) {
      records[record] = HexOf(Part(reply, 2, 24));
    }
    return reply.size() == 26;
  };
  const auto read_all = [&]() -> std::string {
    if (!store(0, Path() + "[1]")) {
      Raise(4000, "Ecu is not reprogrammable");
    }
    for (std::size_t entry = 0; entry < 8; ++entry) {
      const bool both =
          store(1 + entry, HistoryPath(entry, false)) && store(9 + entry, HistoryPath(entry, true));
      if (!both && entry < 2) {
        Raise(4000, "Ecu is not reprogrammable");
      }
      if (!both) {
        break;
      }
    }
    return "";
  };
  Verdict verdict = VerdictOf(read_all);
  for (const std::string& record : records) {
    verdict.text += " " + record;
  }
  return verdict;
}

Verdict ReplyRules::getseed() const {
  return VerdictOf([this] {
    if (form_ == TransportForm::kKLine) {
      const Bytes reply = Reply(0);
      if (reply.size() != 6) {
        Raise(4001, "SA#1 error " + HexOf(reply));
      }
      return HexOf(Part(reply, 2, 4));
    }
    if (form_ == TransportForm::kGateway) {
      const Bytes start = Reply(0);
      if (start.size() != 3) {
        Raise(2000, "Reprog on CAN : init failed " + HexOf(start));
      }
    }
    const Bytes reply = Reply(SecondInGateway());
    RefuseNegative(reply);
    if (reply.size() != 6 || reply[0] != 0x67 || reply[1] != 0x81) {
      Raise(2003, "SA#1 Illegal Reply : " + HexOf(reply));
    }
    return HexOf(Part(reply, 2, 4));
  });
}

Verdict ReplyRules::checkunlock() const {
  return VerdictOf([this] {
    const Bytes reply = Reply(SecondInGateway());
    RefuseNegative(reply);
    if (reply.size() != 2) {
      Raise(2003, "SA#2 Illegal Reply " + HexOf(reply));
    }
    return "";
  });
}

Verdict ReplyRules::checkstarterase() const {
  return VerdictOf([this] {
    const std::string reply = HexOf(Reply(SecondInGateway()));
    if (reply != "718101") {
      Raise(4003, "Start erase error " + reply);
    }
    return "";
  });
}

Verdict ReplyRules::checkcheckerase() const {
  return VerdictOf([this] {
    const std::string reply = HexOf(Reply(0));
    Need(!reply.empty(), 2000);
    if (reply != "718101" && reply != "718102") {
      Raise(4004, "Erase error " + reply);
    }
    return reply == "718102" ? "true" : "false";
  });
}

Verdict ReplyRules::checkstartroutine(std::uint8_t routine) const {
  return VerdictOf([&] {
    const Bytes reply = Reply(0);
    if (reply != Bytes{0x71, routine, 0x01}) {
      Raise(4006, RoutineText(routine, reply));
    }
    return "";
  });
}

Verdict ReplyRules::checkroutine(std::uint8_t routine) const {
  return VerdictOf([&] {
    const Bytes reply = Reply(0);
    Need(!reply.empty(), 2000);
    if (reply[0] != 0x71 || At(reply, 1) != routine || At(reply, 2) < 1 || reply[2] > 2) {
      Raise(4006, RoutineText(routine, reply));
    }
    return reply[2] == 2 ? "true" : "false";
  });
}

Verdict ReplyRules::ErrorMark(std::int32_t number, const std::string& text) const {
  return VerdictOf([&] {
    const Node mark = document_.selectSingleNode("//e");
    if (mark) {
      const Node holder = mark->parentNode();
      const Node data = holder->selectSingleNode("d");
      Raise(number, text + (data ? data->text() : holder->xml()));
    }
    return "";
  });
}

Verdict ReplyRules::checkdownload() const { return ErrorMark(4005, "Download error "); }

Verdict ReplyRules::checkwritelogzone() const { return ErrorMark(4008, "Write log zone error "); }

Verdict ReplyRules::checkupload() const {
  return VerdictOf([this] {
    if (document_.selectSingleNode("//e")) {
      Raise(4007, "Upload error");
    }
    const auto replies = document_.selectNodes(Path());
    std::vector<std::pair<unsigned, std::string>> segments;
    std::size_t index = SecondInGateway();
    while (index < replies->length()) {
      Node rest = replies->item(index++);
      const Bytes first = FurtherFrame(rest);
      const std::optional<Bytes> reply = Message(form_, first, rest);
      if (!reply) {
        continue;
      }
      const Bytes data = Part(*reply, 6, At(*reply, 5));
      const unsigned address =
          unsigned{At(*reply, 2)} << 16U | unsigned{At(*reply, 3)} << 8U | At(*reply, 4);
      segments.emplace_back(address, HexOf(data));
      if (form_ == TransportForm::kGateway) {
        index += (reply->size() + 4) / 8 + 1;
      }
    }
    std::stable_sort(segments.begin(), segments.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text;
    for (const auto& [address, data] : segments) {
      text += std::to_string(address) + "=" + data + " ";
    }
    return text;
  });
}

}  // namespace quillmark::fuzz
