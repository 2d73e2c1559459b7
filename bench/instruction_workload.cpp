// SPDX-License-Identifier: MIT
// instruction_workload NAME: one small fixed job, for counting its instructions.
#include <array>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "bench/inputs.h"
#include "bench/reply_documents.h"
#include "bench/session.h"

namespace quillmark::bench {
namespace {

constexpr std::size_t kSize = 65536;

void Download(const Form& form) {
  Session session(form);
  session.Download(session.Image(MakeImage(kSize, Filling::kHalf)), 16, 128);
}

void Upload(const Form& form) {
  Session session(form);
  session.Upload(session.Map(kSize));
}

void CheckUpload(const Form& form) {
  const Session session(form);
  const auto document = session.GetPlatform().CreateDOMDocument();
  document->loadXML(RunUploadDocument(form, kSize));
  session.Diag().checkupload(document, session.GetPlatform().CreateMemoryImage());
}

void Requests(const Form& form) {
  constexpr int kTurns = 20;
  const Session session(form);
  for (int turn = 0; turn < kTurns; ++turn) {
    static_cast<void>(session.Diag().TesterPresent());
    static_cast<void>(session.Diag().StartDiag());
  }
}

struct Job {
  std::string_view name;
  void (*run)(const Form& form);
};

constexpr std::array<Job, 4> kJobs = {{{"download", Download},
                                       {"upload", Upload},
                                       {"checkupload", CheckUpload},
                                       {"requests", Requests}}};

}  // namespace
}  // namespace quillmark::bench

int main(int argc, char** argv) {
  const std::string_view wanted = argc > 1 ? argv[1] : "";
  for (const quillmark::bench::Job& job : quillmark::bench::kJobs) {
    if (job.name == wanted) {
      job.run(quillmark::bench::kPlainCan);
      job.run(quillmark::bench::kGateway);
      job.run(quillmark::bench::kKLine);
      return EXIT_SUCCESS;
    }
  }
  std::cerr << "usage: instruction_workload NAME; the names are\n";
  for (const quillmark::bench::Job& job : quillmark::bench::kJobs) {
    std::cerr << "  " << job.name << '\n';
  }
  return EXIT_FAILURE;
}
