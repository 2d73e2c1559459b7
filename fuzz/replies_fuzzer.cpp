// SPDX-License-Identifier: MIT
// Reply documents: whatever the text, either it is refused as a whole, or every check method in
// every form follows the rules, changes nothing in the document and leaves its object usable.
//
// The input is the text of a document. With a '+' in front, the checksums of K line frames are
// corrected first, so that the code behind them is reached.
#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "fuzz/support/law.h"
#include "fuzz/support/reply_rules.h"
#include "quillmark/quillmark.h"

namespace quillmark::fuzz {
namespace {

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
