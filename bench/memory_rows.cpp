// SPDX-License-Identifier: MIT
// Peak memory of a download, and how long its first document takes.
#include <string>
#include <vector>

#include "bench/groups.h"
#include "bench/measure.h"
#include "bench/peak_memory.h"
#include "bench/session.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

constexpr int kRepetitions = 7;
constexpr double kBoundFactor = 5.5;
constexpr double kBoundRest = 16;

void RunPeak(std::size_t size_in_mib) {
  const double peak = PeakMemoryOfDownload(size_in_mib * kMiB) / kMiB;
  const double factor = (peak - kBoundRest) / static_cast<double>(size_in_mib);
  PrintRow({"peak memory, " + std::to_string(size_in_mib) + " MiB", Number(peak) + " MiB",
            Number(factor) + " images + 16 MiB", AtMost(kBoundFactor, factor)});
}

void RunFirstDocument(std::size_t size_in_mib) {
  const std::vector<std::uint8_t> bytes = MakeImage(size_in_mib * kMiB, Filling::kDense);
  const Session session(kPlainCan);
  const auto image = session.Image(bytes);
  const auto segment = image->Segments().front();
  session.Diag().OnXMLReady([](const std::shared_ptr<IXMLDOMNode>& /*node*/, bool& /*cancel*/) {});
  const std::vector<double> seconds =
      MedianSeconds({{"first document",
                      [&] {
                        session.Diag().ComputeDownload(0x80, image, kFillByte, 16, 128);
                        session.GetPlatform().WaitForWorkers();
                      }},
                     {"two copies",
                      [&] {
                        const auto once = session.GetPlatform().CreateByteString();
                        once->SetHex(segment->Hex());
                        const auto twice = session.GetPlatform().CreateByteString();
                        twice->SetHex(once->Hex());
                      }}},
                    kRepetitions);
  const double bound = seconds[1] + 0.020;
  PrintRow({"first document, " + std::to_string(size_in_mib) + " MiB, cancelled there",
            Duration(seconds[0]), "two copies through hex: " + Duration(seconds[1]),
            AtMost(bound * 1e3, seconds[0] * 1e3) + " (ms)"});
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
