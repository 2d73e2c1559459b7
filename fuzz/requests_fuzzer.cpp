// SPDX-License-Identifier: MIT
// Requests: whatever is called in whatever order on one object, each call raises the error that the
// rules demand or returns a well-formed document whose frames fit their form; an ECU's own
// transport understands the request, and the check method reads the ECU's answer.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/support/law.h"
#include "fuzz/support/scripted_ecu.h"
#include "fuzz/support/settings.h"
#include "quillmark/host/runner.h"
#include "quillmark/quillmark.h"

namespace quillmark::fuzz {
namespace {

using host::Bytes;
using host::TransportForm;
using Document = std::shared_ptr<DOMDocument>;

/// One request and what the ECU answers.
struct Step {
  Bytes request;
  Bytes reply;
};

template <typename Call>
std::optional<Error> RaisedBy(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

/// A record of the ECU's, 24 bytes.
Bytes RecordOf(std::uint8_t identifier) { return Bytes(24, identifier); }

Step ReadRecord(std::uint8_t identifier) {
  Step step{{0x21, identifier}, {0x61, identifier}};
  const Bytes record = RecordOf(identifier);
  step.reply.insert(step.reply.end(), record.begin(), record.end());
  return step;
}

class Session {
 public:
  explicit Session(FuzzedDataProvider& data) : data_(data) {}

  void Run() {
    for (int left = 24; left > 0 && data_.remaining_bytes() > 0; --left) {
      Call();
    }
  }

 private:
  void Call() {
    switch (data_.ConsumeIntegralInRange(0, 13)) {
      case 0:
      case 1:
        return CANIDs();
      case 2:
        return FlowControl();
      case 3:
        return Identify();
      case 4:
        Request([&] { return object_->TesterPresent(); }, {{{0x3E}, {0x7E}}});
        return;
      case 5:
        return StopCommunication();
      case 6:
        return Seed();
      case 7:
        return Unlock();
      case 8:
        return StartErase();
      case 9:
        return PollErase();
      case 10:
        return StartRoutine();
      case 11:
        return PollRoutine();
      case 12:
        return WriteLogZone();
      default:
        return CheckAnything();
    }
  }

  void CANIDs() {
    const std::int32_t RCANId = data_.ConsumeBool() ? 0 : data_.ConsumeIntegral<std::int32_t>();
    constexpr std::array<std::int32_t, 5> kAddresses = {0x6E, 0x7A, 0x11, 0xFF, 256};
    const std::int32_t XCANId = data_.ConsumeBool() ? data_.PickValueInArray(kAddresses)
                                                    : data_.ConsumeIntegral<std::int32_t>();
    RequireNumber(settings_.CANIDs(RCANId, XCANId), [&] { object_->CANIDs(RCANId, XCANId); });
  }

  void FlowControl() {
    const auto BS = data_.ConsumeIntegralInRange(-2, 257);
    const auto STMin = data_.ConsumeIntegralInRange(-2, 257);
    RequireNumber(settings_.FlowControl(BS, STMin), [&] { object_->FlowControl(BS, STMin); });
  }

  void Identify() {
    const TransportForm form = settings_.Form();
    const bool plain = form == TransportForm::kPlainCan;
    std::vector<Step> steps = {
        plain ? Step{{0x10, 0xC0}, {0x50, 0xC0}} : Step{{0x81}, {0xC1, 0x6B, 0x8F}},
        ReadRecord(0x80)};
    if (plain) {
      steps.push_back({{0x10, 0x85}, {0x50, 0x85}});
    }
    for (const int pair : {0xF0, 0xFE, 0xFC, 0xFA, 0xF8, 0xF6, 0xF4, 0xF2}) {
      steps.push_back(ReadRecord(static_cast<std::uint8_t>(pair)));
      steps.push_back(ReadRecord(static_cast<std::uint8_t>(pair + 1)));
    }
    if (form == TransportForm::kGateway) {
      steps.push_back({{0x82}, {0xC2}});
    }
    const Document document = Request([&] { return object_->StartDiag(); }, steps);
    if (document) {
      RequireHistory(document);
    }
  }

  void RequireHistory(const Document& document) {
    ByteStringArray histo;
    ByteStringArray reprog;
    std::shared_ptr<ByteString> ident;
    const bool on_k_line = settings_.Form() == TransportForm::kKLine;
    RequireNumber(on_k_line ? 4000 : 0, [&] { object_->gethisto(document, histo, reprog, ident); });
    Law(ident && ident->Hex() == host::HexOf(RecordOf(0x80)), "the identification is read back");
    for (std::size_t entry = 0; entry < (on_k_line ? 1 : 8); ++entry) {
      const auto identifier = static_cast<std::uint8_t>(entry == 0 ? 0xF0 : 0x100 - 2 * entry);
      Law(histo[entry]->Hex() == host::HexOf(RecordOf(identifier)), "the history is read back");
      Law(on_k_line || reprog[entry]->Hex() ==
                           host::HexOf(RecordOf(static_cast<std::uint8_t>(identifier + 1))),
          "the reprogramming records are read back");
    }
  }

  void StopCommunication() {
    const bool plain = settings_.Form() == TransportForm::kPlainCan;
    Request([&] { return object_->stopcomm(); },
            {plain ? Step{{0x10, 0x81}, {0x50, 0x81}} : Step{{0x82}, {0xC2}}});
  }

  void Seed() {
    std::vector<Step> steps;
    if (settings_.addressed()) {
      steps.push_back({{0x81}, {0xC1, 0x6B, 0x8F}});
    }
    const auto seed = data_.ConsumeIntegral<std::uint8_t>();
    steps.push_back({{0x27, 0x81}, {0x67, 0x81, seed, 2, 3, 4}});
    const Document document = Request([&] { return object_->readseed(); }, steps);
    if (!document) {
      return;
    }
    const bool starts_on_k_line =
        settings_.addressed() && settings_.Form() == TransportForm::kKLine;
    RequireNumber(starts_on_k_line ? 4001 : 0, [&] {
      Law(object_->getseed(document)->Hex() == host::HexOf(Bytes{seed, 2, 3, 4}),
          "the seed is read back");
    });
  }

  void Unlock() {
    constexpr std::array<std::size_t, 11> kSizes = {0, 2, 4, 5, 9, 61, 62, 253, 254, 4093, 4094};
    const std::size_t size = data_.ConsumeBool()
                                 ? data_.PickValueInArray(kSizes)
                                 : data_.ConsumeIntegralInRange<std::size_t>(0, 300);
    Bytes key(size);
    std::iota(key.begin(), key.end(), data_.ConsumeIntegral<std::uint8_t>());
    Bytes request{0x27, 0x82};
    request.insert(request.end(), key.begin(), key.end());
    const Document document =
        Request([&] { return object_->dounlock(String(key)); }, {{request, {0x67, 0x82}}});
    if (document && ReplyIsFound(size)) {
      RequireNumber(0, [&] { object_->checkunlock(document); });
    }
  }

  [[nodiscard]] bool ReplyIsFound(std::size_t key_size) const {
    switch (settings_.Form()) {
      case TransportForm::kPlainCan:
        return key_size <= 5;
      case TransportForm::kGateway:
        return key_size >= 2 && key_size <= 9;
      default:
        return true;
    }
  }

  void StartErase() {
    const auto RL = data_.ConsumeIntegral<std::uint8_t>();
    const Document document = Request([&] { return object_->starterase(RL); },
                                      {{{0x31, 0x81, RL, 0xF0, 0x5A}, {0x71, 0x81, 0x01}}});
    if (document) {
      RequireNumber(0, [&] { object_->checkstarterase(document); });
    }
  }

  void PollErase() {
    const Document document =
        Request([&] { return object_->checkerase(); }, {{{0x31, 0x81, 0x01}, {0x71, 0x81, 0x02}}});
    if (document) {
      RequireNumber(0, [&] { Law(object_->checkcheckerase(document), "it has finished"); });
    }
  }

  void StartRoutine() {
    const auto routine = data_.ConsumeIntegral<std::uint8_t>();
    const Document document = Request([&] { return object_->startroutine(routine); },
                                      {{{0x31, routine, 0x00}, {0x71, routine, 0x01}}});
    if (document) {
      RequireNumber(0, [&] { object_->checkstartroutine(document, routine); });
    }
  }

  void PollRoutine() {
    const auto routine = data_.ConsumeIntegral<std::uint8_t>();
    const Document document = Request([&] { return object_->routinestatus(routine); },
                                      {{{0x31, routine, 0x01}, {0x71, routine, 0x02}}});
    if (document) {
      RequireNumber(0, [&] { Law(object_->checkroutine(document, routine), "it has finished"); });
    }
  }

  void WriteLogZone() {
    const Bytes record =
        data_.ConsumeBytes<std::uint8_t>(data_.ConsumeIntegralInRange<std::size_t>(0, 60));
    Bytes block{0x34, 0x83, 0, 0, 0, 48};
    block.resize(54);
    std::copy_n(record.begin(), std::min<std::size_t>(record.size(), 48), block.begin() + 6);
    const unsigned sum = std::accumulate(block.begin(), block.end(), 0U);
    block.push_back(static_cast<std::uint8_t>(sum >> 8U));
    block.push_back(static_cast<std::uint8_t>(sum));
    const Document document =
        Request([&] { return object_->writelogzone(String(record)); }, {{block, {0x74, 0x02}}});
    if (document) {
      RequireNumber(0, [&] { object_->checkwritelogzone(document); });
    }
  }

  /// A document that belongs to another request may only be refused.
  void CheckAnything() {
    if (documents_.empty()) {
      return;
    }
    const Document& document =
        documents_[data_.ConsumeIntegralInRange<std::size_t>(0, documents_.size() - 1)];
    const auto image = platform()->CreateMemoryImage();
    const std::array<std::function<void()>, 8> checks = {
        [&] { static_cast<void>(object_->getseed(document)); },
        [&] { object_->checkunlock(document); },
        [&] { object_->checkstarterase(document); },
        [&] { static_cast<void>(object_->checkcheckerase(document)); },
        [&] { object_->checkstartroutine(document, 2); },
        [&] { static_cast<void>(object_->checkroutine(document, 2)); },
        [&] { object_->checkdownload(document); },
        [&] { object_->checkupload(document, image); }};
    static_cast<void>(RaisedBy(data_.PickValueInArray(checks)));
  }

  /// The document of a request, checked and run; null if there is none or no bus could run it.
  template <typename Build>
  Document Request(Build build, const std::vector<Step>& steps) {
    const std::size_t length = steps.back().request.size();
    Document document;
    const std::optional<Error> raised = RaisedBy([&] { document = build(); });
    if (!settings_.configured()) {
      Law(raised && raised->Number() == 91, "a request needs a configuration");
      return nullptr;
    }
    if (length > settings_.MostBytes()) {
      Law(raised && raised->Number() == 1000 &&
              raised->Description() == "Invalid request length (" + std::to_string(length) + ")",
          "a request that fits no message is refused");
      return nullptr;
    }
    Law(!raised, "a request that the rules allow is built");
    RequireFrames(*document);
    RequireWellFormed(*document);
    return RunOnEcu(document, steps) ? document : nullptr;
  }

  void RequireFrames(const DOMDocument& document) const {
    const auto frames = document.selectNodes("//s/d");
    for (std::size_t index = 0; index < frames->length(); ++index) {
      const std::string text = frames->item(index)->text();
      const auto frame = host::BytesOfHex(text);
      Law(frame && host::HexOf(*frame) == text, "frames are upper-case hexadecimal text");
      Law(settings_.Form() != TransportForm::kPlainCan || frame->size() == 8,
          "plain CAN frames have 8 bytes");
      Law(settings_.Form() != TransportForm::kGateway || (!frame->empty() && frame->size() <= 8),
          "a gateway's frames have 1 to 8 bytes");
    }
  }

  static void RequireWellFormed(const DOMDocument& document) {
    const auto copy = platform()->CreateDOMDocument();
    copy->loadXML(document.xml());
    Law(copy->xml() == AsParsed(document.xml()), "a document is well-formed");
  }

  /// False if there is no such bus.
  bool RunOnEcu(const Document& document, const std::vector<Step>& steps) {
    const std::optional<host::Exchange> exchange = settings_.Exchange();
    if (!exchange) {
      return false;
    }
    auto next = steps.begin();
    ScriptedEcu ecu(settings_.Ecu(), *exchange, [&](const Bytes& request) {
      Law(next != steps.end() && request == next->request,
          "a request is understood as it was meant");
      return (next++)->reply;
    });
    host::SimulatedBus bus(ecu);
    Law(host::Runner(bus, settings_.Form()).Run(*document).complete(), "a request is answered");
    Law(next == steps.end(), "a document has all its requests");
    documents_.push_back(document);
    return true;
  }

  /// Parsing drops an empty text, such as that of a `c` that any frame matches.
  static std::string AsParsed(const std::string& xml) {
    constexpr std::string_view kEmpty = "<c></c>";
    std::string text = WithLineFeeds(xml);
    for (std::size_t at = 0; (at = text.find(kEmpty, at)) != std::string::npos;) {
      text.replace(at, kEmpty.size(), "<c/>");
    }
    return text;
  }

  template <typename Call>
  static void RequireNumber(std::int32_t number, Call&& call) {
    const std::optional<Error> raised = RaisedBy(call);
    Law((raised ? raised->Number() : 0) == number, "a call raises what the rules say");
  }

  static std::shared_ptr<ByteString> String(const Bytes& bytes) {
    auto string = platform()->CreateByteString();
    string->SetHex(host::HexOf(bytes));
    return string;
  }

  static const std::shared_ptr<PortablePlatform>& platform() {
    static const std::shared_ptr<PortablePlatform> platform = CreatePortablePlatform();
    return platform;
  }

  FuzzedDataProvider& data_;
  Settings settings_;
  std::shared_ptr<DiagOnCANReprog> object_ = CreateDiagOnCANReprog(platform());
  std::vector<Document> documents_;
};

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quillmark::fuzz::Session(provider).Run();
  return 0;
}
