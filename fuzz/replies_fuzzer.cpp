// SPDX-License-Identifier: MIT
// Reply documents: whatever the text, either it is refused as a whole, or every check method in
// every form follows the rules, changes nothing in the document and leaves its object usable.
//
// The input is the text of a document. With a '+' in front, the checksums of K line frames are
// corrected first, so that the code behind them is reached.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/support/law.h"
#include "quillmark/dom.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/bytes.h"
#include "quillmark/quillmark.h"

namespace quillmark::fuzz {
namespace {

/// What a check method must do with a document: return a result or raise an error.
struct Verdict {
  std::int32_t number = 0;  ///< of the error; 0 if none is raised
  std::string text;         ///< its description, or the result in a text form of its own

  friend bool operator==(const Verdict&, const Verdict&) = default;
};

/// The rules of the check methods, implemented a second time: each takes a run document and says
/// what the result must be. Of the component, these use the document interface alone.
class ReplyRules {
 public:
  ReplyRules(host::TransportForm form, const DOMDocument& document)
      : form_(form), document_(document) {}

  /// "RepIdent histo0 … histo7 reprog0 … reprog7", a dash for a record that is not there; if it
  /// raises an error, that error's text and then the same.
  [[nodiscard]] Verdict gethisto() const;
  [[nodiscard]] Verdict getseed() const;
  [[nodiscard]] Verdict checkunlock() const;
  [[nodiscard]] Verdict checkstarterase() const;
  [[nodiscard]] Verdict checkcheckerase() const;
  [[nodiscard]] Verdict checkstartroutine(std::uint8_t routine) const;
  [[nodiscard]] Verdict checkroutine(std::uint8_t routine) const;
  [[nodiscard]] Verdict checkdownload() const;
  [[nodiscard]] Verdict checkwritelogzone() const;
  /// "address=data " for each segment, in address order.
  [[nodiscard]] Verdict checkupload() const;

 private:
  [[nodiscard]] host::Bytes ReplyAt(const std::string& path) const;
  [[nodiscard]] host::Bytes Reply(std::size_t index) const;
  [[nodiscard]] std::string Path() const;
  [[nodiscard]] std::string HistoryPath(std::size_t entry, bool second) const;
  [[nodiscard]] std::size_t SecondInGateway() const;
  [[nodiscard]] Verdict ErrorMark(std::int32_t number, const std::string& text) const;

  host::TransportForm form_;
  const DOMDocument& document_;
};

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

using host::Bytes;
using host::TransportForm;
using Document = std::shared_ptr<DOMDocument>;

constexpr std::uint8_t kRoutine = 0x02;

struct Form {
  TransportForm form;
  std::int32_t RCANId;
  std::int32_t XCANId;
};

std::string TextOf(const std::shared_ptr<ByteString>& bytes) { return bytes ? bytes->Hex() : "-"; }

/// What a call did, in the same terms as the rules.
template <typename Call>
Verdict VerdictOf(Call&& call) {
  try {
    return {0, call()};
  } catch (const Error& error) {
    return {error.Number(), error.Description()};
  }
}

/// One object, and the checks that are made with it.
class Checks {
 public:
  explicit Checks(const Form& form) : form_(form.form), object_(CreateDiagOnCANReprog(platform_)) {
    object_->CANIDs(form.RCANId, form.XCANId);
    last_request_ = object_->stopcomm()->xml();
  }

  void Run(const Document& document) {
    const ReplyRules rules(form_, *document);
    Require(gethisto(document), rules.gethisto(), "gethisto");
    Require(VerdictOf([&] { return TextOf(object_->getseed(document)); }), rules.getseed(),
            "getseed");
    RequireVoid([&] { object_->checkunlock(document); }, rules.checkunlock(), "checkunlock");
    RequireVoid([&] { object_->checkstarterase(document); }, rules.checkstarterase(),
                "checkstarterase");
    RequireBool([&] { return object_->checkcheckerase(document); }, rules.checkcheckerase(),
                "checkcheckerase");
    RequireVoid([&] { object_->checkstartroutine(document, kRoutine); },
                rules.checkstartroutine(kRoutine), "checkstartroutine");
    RequireBool([&] { return object_->checkroutine(document, kRoutine); },
                rules.checkroutine(kRoutine), "checkroutine");
    RequireVoid([&] { object_->checkdownload(document); }, rules.checkdownload(), "checkdownload");
    RequireVoid([&] { object_->checkwritelogzone(document); }, rules.checkwritelogzone(),
                "checkwritelogzone");
    Require(checkupload(document), rules.checkupload(), "checkupload");
    Law(object_->stopcomm()->xml() == last_request_, "the object is as it was");
  }

 private:
  Verdict gethisto(const Document& document) {
    ByteStringArray histo;
    ByteStringArray reprog;
    std::shared_ptr<ByteString> ident;
    Verdict verdict = VerdictOf([&] {
      object_->gethisto(document, histo, reprog, ident);
      return "";
    });
    verdict.text += " " + TextOf(ident);
    for (const ByteStringArray& records : {histo, reprog}) {
      Law(records.size() == 8, "gethisto gives eight entries");
      for (const auto& record : records) {
        verdict.text += " " + TextOf(record);
      }
    }
    return verdict;
  }

  Verdict checkupload(const Document& document) {
    const std::shared_ptr<MemoryImage> image = platform_->CreateMemoryImage();
    Verdict verdict = VerdictOf([&] {
      object_->checkupload(document, image);
      return "";
    });
    Law(verdict.number == 0 || image->Segments().empty(), "checkupload adds all segments or none");
    for (const auto& segment : image->Segments()) {
      verdict.text += std::to_string(segment->StartAddress()) + "=" + segment->Hex() + " ";
    }
    return verdict;
  }

  template <typename Call>
  void RequireVoid(Call&& call, const Verdict& expected, const char* name) {
    Require(VerdictOf([&] {
              call();
              return "";
            }),
            expected, name);
  }

  template <typename Call>
  void RequireBool(Call&& call, const Verdict& expected, const char* name) {
    Require(VerdictOf([&] { return call() ? "true" : "false"; }), expected, name);
  }

  static void Require(const Verdict& found, const Verdict& expected, const char* name) {
    if (found != expected) {
      std::cerr << name << " gave " << found.number << " \"" << found.text << "\", not "
                << expected.number << " \"" << expected.text << "\"\n";
    }
    Law(found == expected, "a check does what the rules say");
  }

  TransportForm form_;
  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::shared_ptr<DiagOnCANReprog> object_;
  std::string last_request_;
};

/// Corrects the checksum of each message that has one.
void RepairChecksums(DOMDocument& document) {
  const auto frames = document.selectNodes("/k/r/d");
  for (std::size_t index = 0; index < frames->length(); ++index) {
    const auto frame = host::BytesOfHex(frames->item(index)->text());
    if (frame && frame->size() > 4) {
      Bytes bytes = *frame;
      bytes.back() = static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end() - 1, 0U));
      frames->item(index)->setText(host::HexOf(bytes));
    }
  }
}

void Run(std::string_view input) {
  static const std::shared_ptr<PortablePlatform> platform = CreatePortablePlatform();
  static std::array checks = {Checks({TransportForm::kPlainCan, 1850, 1586}),
                              Checks({TransportForm::kGateway, 0, 0x6E}),
                              Checks({TransportForm::kKLine, 0, 0x11})};
  const bool repair = !input.empty() && input.front() == '+';
  const Document document = platform->CreateDOMDocument();
  try {
    document->loadXML(input.substr(repair ? 1 : 0));
  } catch (const Error& error) {
    Law(error.Number() == error_number::kTypeMismatch, "a text that is no document is error 13");
    Law(!document->documentElement(), "and leaves the document empty");
    return;
  }
  if (repair) {
    RepairChecksums(*document);
  }
  const std::string text = document->xml();
  for (Checks& check : checks) {
    check.Run(document);
  }
  Law(document->xml() == text, "checks change nothing");
  document->loadXML(text);
  Law(WithLineFeeds(document->xml()) == WithLineFeeds(text), "what was serialised reads back");
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillmark::fuzz::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
