// SPDX-License-Identifier: MIT
// Peak memory of a download, and how long its first document takes.
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/session.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

constexpr int kRepetitions = 7;
constexpr double kBoundFactor = 1.3;
constexpr double kBoundRest = 16;
constexpr double kBoundOnGrowth = 1.5;

void RunPeak(std::size_t size_in_mib) {
  const double peak = PeakMemoryOfDownload(size_in_mib * kMiB) / kMiB;
  const double factor = (peak - kBoundRest) / static_cast<double>(size_in_mib);
  PrintRow({"peak memory, " + std::to_string(size_in_mib) + " MiB", Number(peak) + " MiB",
            Number(factor) + " images + 16 MiB", AtMost(kBoundFactor, factor)});
}

/// A download that its handler cancels at the first document.
Contender FirstDocument(const Session& session, std::size_t size) {
  const auto image = session.Image(MakeImage(size, Filling::kDense));
  return {std::to_string(size), [&session, image] {
            session.Diag().ComputeDownload(0x80, image, kFillByte, 16, 128);
            session.GetPlatform().WaitForWorkers();
          }};
}

void RunFirstDocument(std::size_t size_in_mib) {
  const Session session(kPlainCan);
  session.Diag().OnXMLReady([](const std::shared_ptr<IXMLDOMNode>& /*node*/, bool& /*cancel*/) {});
  const std::vector<double> seconds = MedianSeconds(
      {FirstDocument(session, size_in_mib * kMiB), FirstDocument(session, kMiB)}, kRepetitions);
  const double growth = seconds[0] / seconds[1];
  PrintRow({"first document, " + std::to_string(size_in_mib) + " MiB, cancelled there",
            Duration(seconds[0]), Number(growth) + " of that of 1 MiB: " + Duration(seconds[1]),
            AtMost(kBoundOnGrowth, growth)});
}

}  // namespace

void RunMemory(bool quick) {
  PrintHeader("Memory and the first document", {"row", "measured", "that is", "bound"});
  const std::vector<std::size_t> sizes =
      quick ? std::vector<std::size_t>{16} : std::vector<std::size_t>{16, 64};
  for (const std::size_t size : sizes) {
    RunPeak(size);
  }
  for (const std::size_t size : sizes) {
    RunFirstDocument(size);
  }
}

}  // namespace quillmark::bench
