// SPDX-License-Identifier: MIT
// Single calls: the request methods and the small checks.
#include <algorithm>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/reply_documents.h"
#include "bench/session.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

constexpr int kRepetitions = 9;
constexpr int kCalls = 2000;
constexpr double kBoundOnSmallRequest = 5e-6;
constexpr double kBoundOnHeapBlocks = 10;

const std::vector<Form> kCallForms = {kPlainCan, kGateway, kKLine};

/// One call in each form.
struct Call {
  std::string name;
  std::function<void(const Session&)> run;
  double bound = 0;  ///< seconds; 0: none
};

/// Heap blocks per call, once the first calls have allocated what is kept.
double AllocationsPerCall(const Contender& contender) {
  contender.run();
  const std::size_t before = AllocationsSoFar();
  contender.run();
  return static_cast<double>(AllocationsSoFar() - before) / kCalls;
}

void PrintCall(const std::string& name, const std::vector<Contender>& contenders, double bound) {
  std::vector<std::string> cells = {name};
  double slowest = 0;
  for (const double seconds : MedianSeconds(contenders, kRepetitions)) {
    cells.push_back(Duration(seconds / kCalls));
    slowest = std::max(slowest, seconds / kCalls);
  }
  cells.push_back(bound > 0 ? AtMost(bound * 1e6, slowest * 1e6) : "");
  std::string allocations;
  double most = 0;
  for (const Contender& contender : contenders) {
    const double count = AllocationsPerCall(contender);
    allocations += (allocations.empty() ? "" : ", ") + Number(count);
    most = std::max(most, count);
  }
  cells.push_back(allocations);
  cells.push_back(name == "TesterPresent" ? AtMost(kBoundOnHeapBlocks, most) : "");
  PrintRow(cells);
}

Contender Repeated(const Form& form, const std::function<void()>& run) {
  return {std::string(form.name), [run] {
            for (int i = 0; i < kCalls; ++i) {
              run();
            }
          }};
}

void RunRequest(const Call& call) {
  std::vector<Contender> contenders;
  for (const Form& form : kCallForms) {
    const auto session = std::make_shared<Session>(form);
    contenders.push_back(Repeated(form, [session, &call] { call.run(*session); }));
  }
  PrintCall(call.name, contenders, call.bound);
}

/// A check with the run document of its request.
struct Check {
  std::string name;
  std::function<std::shared_ptr<DOMDocument>(DiagOnCANReprog&)> request;
  std::vector<Message> replies;
  std::function<void(const Session&, const std::shared_ptr<DOMDocument>&)> run;
};

std::vector<Message> RepliesIn(const Form& form, const Check& check) {
  std::vector<Message> replies = check.replies;
  if (form.transport == Transport::kGateway && check.name == "getseed") {
    replies.insert(replies.begin(), Message{0xC1, 0xE9, 0x8F});
  }
  return replies;
}

void RunCheck(const Check& check) {
  std::vector<Contender> contenders;
  for (const Form& form : kCallForms) {
    const auto session = std::make_shared<Session>(form);
    const auto document = session->GetPlatform().CreateDOMDocument();
    document->loadXML(Fill(form, check.request(session->Diag())->xml(), RepliesIn(form, check)));
    contenders.push_back(
        Repeated(form, [session, document, &check] { check.run(*session, document); }));
  }
  PrintCall(check.name, contenders, 0);
}

std::vector<Call> Requests() {
  const auto key = CreatePortablePlatform()->CreateByteString();
  key->SetHex("01020304");
  const auto record = CreatePortablePlatform()->CreateByteString();
  record->SetLength(48);
  return {
      {"TesterPresent", [](const Session& s) { (void)s.Diag().TesterPresent(); },
       kBoundOnSmallRequest},
      {"stopcomm", [](const Session& s) { (void)s.Diag().stopcomm(); }, kBoundOnSmallRequest},
      {"readseed", [](const Session& s) { (void)s.Diag().readseed(); }, kBoundOnSmallRequest},
      {"dounlock", [key](const Session& s) { (void)s.Diag().dounlock(key); }, kBoundOnSmallRequest},
      {"starterase", [](const Session& s) { (void)s.Diag().starterase(0x80); },
       kBoundOnSmallRequest},
      {"checkerase", [](const Session& s) { (void)s.Diag().checkerase(); }, kBoundOnSmallRequest},
      {"startroutine", [](const Session& s) { (void)s.Diag().startroutine(1); },
       kBoundOnSmallRequest},
      {"routinestatus", [](const Session& s) { (void)s.Diag().routinestatus(1); },
       kBoundOnSmallRequest},
      {"writelogzone (50 bytes)",
       [record](const Session& s) { (void)s.Diag().writelogzone(record); }, 0},
      {"StartDiag (19 requests)", [](const Session& s) { (void)s.Diag().StartDiag(); }, 0},
      {"CANIDs", [](const Session& s) { s.Diag().CANIDs(1850, 1586); }, 0},
  };
}

std::vector<Check> Checks() {
  return {
      {"getseed",
       [](DiagOnCANReprog& diag) { return diag.readseed(); },
       {{0x67, 0x81, 0x01, 0x02, 0x03, 0x04}},
       [](const Session& s, const auto& document) { (void)s.Diag().getseed(document); }},
      {"checkunlock",
       [](DiagOnCANReprog& diag) {
         const auto key = CreatePortablePlatform()->CreateByteString();
         key->SetHex("01020304");
         return diag.dounlock(key);
       },
       {{0x67, 0x82}},
       [](const Session& s, const auto& document) { s.Diag().checkunlock(document); }},
      {"checkstarterase",
       [](DiagOnCANReprog& diag) { return diag.starterase(0x80); },
       {{0x71, 0x81, 0x01}},
       [](const Session& s, const auto& document) { s.Diag().checkstarterase(document); }},
      {"checkcheckerase",
       [](DiagOnCANReprog& diag) { return diag.checkerase(); },
       {{0x71, 0x81, 0x02}},
       [](const Session& s, const auto& document) { (void)s.Diag().checkcheckerase(document); }},
      {"checkstartroutine",
       [](DiagOnCANReprog& diag) { return diag.startroutine(1); },
       {{0x71, 0x01, 0x01}},
       [](const Session& s, const auto& document) { s.Diag().checkstartroutine(document, 1); }},
      {"checkroutine",
       [](DiagOnCANReprog& diag) { return diag.routinestatus(1); },
       {{0x71, 0x01, 0x02}},
       [](const Session& s, const auto& document) { (void)s.Diag().checkroutine(document, 1); }},
  };
}

}  // namespace

void RunCalls(bool /*quick*/) {
  PrintHeader("Request methods, per call", {"row", "plain", "gateway", "K line",
                                            "bound in µs, slowest form", "heap blocks", "bound"});
  for (const Call& call : Requests()) {
    RunRequest(call);
  }
  PrintHeader("Small checks, per call",
              {"row", "plain", "gateway", "K line", "", "heap blocks", ""});
  for (const Check& check : Checks()) {
    RunCheck(check);
  }
}

}  // namespace quillmark::bench
