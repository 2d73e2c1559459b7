// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/expect_error.h"
#include "support/framed_reply.h"

namespace quillmark::testing {

/// One call of a public operation.
struct Operation {
  std::string name;
  std::function<void()> call;
  std::optional<Raised> expected = std::nullopt;  ///< what it raises; nothing: it succeeds
};

/// The arguments of these calls, made by one platform for the ECU of one form.
class OperationArguments {
 public:
  OperationArguments(std::shared_ptr<Platform> platform, const Form& form)
      : platform_(std::move(platform)), form_(form) {}

  [[nodiscard]] std::shared_ptr<ByteString> String(std::string_view hex) const {
    auto string = platform_->CreateByteString();
    string->SetHex(hex);
    return string;
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> Parse(std::string_view text) const {
    auto document = platform_->CreateDOMDocument();
    document->loadXML(text);
    return document;
  }

  /// The run document whose replies bring these messages.
  [[nodiscard]] std::shared_ptr<DOMDocument> Replied(
      const std::vector<std::string>& messages) const {
    return Parse(RunDocumentOf(form_, messages));
  }

  /// The same; in gateway form `first` comes before them.
  [[nodiscard]] std::shared_ptr<DOMDocument> RepliedBehind(
      const std::string& first, std::vector<std::string> messages) const {
    if (form_.name == kGateway.name) {
      messages.insert(messages.begin(), first);
    }
    return Replied(messages);
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> History() const {
    const std::string record = "6180" + std::string(std::size_t{2} * 24, '5');
    std::vector<std::string> messages = {"50C0", record};
    if (form_.name == kPlainCan.name) {
      messages.emplace_back("5085");
    }
    messages.insert(messages.end(), 16, record);
    return Replied(messages);
  }

  [[nodiscard]] const Form& form() const { return form_; }

 private:
  std::shared_ptr<Platform> platform_;
  Form form_;
};

/// Every request, on a configured object.
inline std::vector<Operation> Requests(const OperationArguments& arguments, DiagOnCANReprog& diag) {
  const auto key = arguments.String("01020304");
  const auto history = arguments.String(std::string(96, 'A'));
  return {
      {"StartDiag", [&] { static_cast<void>(diag.StartDiag()); }},
      {"readseed", [&] { static_cast<void>(diag.readseed()); }},
      {"dounlock", [&diag, key] { static_cast<void>(diag.dounlock(key)); }},
      {"starterase", [&] { static_cast<void>(diag.starterase(0)); }},
      {"checkerase", [&] { static_cast<void>(diag.checkerase()); }},
      {"startroutine", [&] { static_cast<void>(diag.startroutine(5)); }},
      {"routinestatus", [&] { static_cast<void>(diag.routinestatus(5)); }},
      {"writelogzone", [&diag, history] { static_cast<void>(diag.writelogzone(history)); }},
      {"stopcomm", [&] { static_cast<void>(diag.stopcomm()); }},
      {"TesterPresent", [&] { static_cast<void>(diag.TesterPresent()); }},
  };
}

/// Every check of a run document; those of a transfer that adds to an image excepted.
inline std::vector<Operation> Checks(const OperationArguments& arguments, DiagOnCANReprog& diag) {
  const bool is_k_line = arguments.form().name == kKLine.name;
  const auto seed = arguments.RepliedBehind("C1EA8F", {"678111223344"});
  const auto refused = arguments.RepliedBehind("C1EA8F", {"7F2735"});
  const auto unlocked = arguments.RepliedBehind("81", {"6782"});
  const auto running = arguments.Replied({"718101"});
  const auto erase_started = arguments.RepliedBehind("81", {"718101"});
  const auto routine = arguments.Replied({"710501"});
  const auto clean = arguments.Parse("<can><x><r><c/><d>02</d></r></x></can>");
  const auto marked = arguments.Parse("<can><x><r><c/><d>02</d><e>no</e></r></x></can>");
  const auto history = arguments.History();
  return {
      {"getseed", [&diag, seed] { static_cast<void>(diag.getseed(seed)); }},
      {"getseed of a refusal", [&diag, refused] { static_cast<void>(diag.getseed(refused)); },
       is_k_line ? Raised{4001, "SA#1 error 7F2735"}
                 : Raised{2037, "Requested Service : 27 Negative response code : 35"}},
      {"checkunlock", [&diag, unlocked] { diag.checkunlock(unlocked); }},
      {"checkstarterase", [&diag, erase_started] { diag.checkstarterase(erase_started); }},
      {"checkcheckerase", [&diag, running] { static_cast<void>(diag.checkcheckerase(running)); }},
      {"checkstartroutine", [&diag, routine] { diag.checkstartroutine(routine, 5); }},
      {"checkstartroutine of another", [&diag, running] { diag.checkstartroutine(running, 5); },
       Raised{4006, "Start routine 5H error 718101"}},
      {"checkroutine", [&diag, routine] { static_cast<void>(diag.checkroutine(routine, 5)); }},
      {"checkdownload", [&diag, clean] { diag.checkdownload(clean); }},
      {"checkdownload of a failure", [&diag, marked] { diag.checkdownload(marked); },
       Raised{4005, "Download error 02"}},
      {"checkwritelogzone", [&diag, clean] { diag.checkwritelogzone(clean); }},
      {"checkwritelogzone of a failure", [&diag, marked] { diag.checkwritelogzone(marked); },
       Raised{4008, "Write log zone error 02"}},
      {"gethisto",
       [&diag, history] {
         ByteStringArray records;
         ByteStringArray reprogrammings;
         std::shared_ptr<ByteString> identification;
         diag.gethisto(history, records, reprogrammings, identification);
       },
       is_k_line ? std::optional(Raised{4000, "Ecu is not reprogrammable"}) : std::nullopt},
  };
}

}  // namespace quillmark::testing
