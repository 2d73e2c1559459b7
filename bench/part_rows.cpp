// SPDX-License-Identifier: MIT
// Where the time of a K line download goes, part by part.
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/groups.h"
#include "bench/measure.h"
#include "bench/reference.h"
#include "bench/session.h"
#include "bench/table.h"
#include "context/context.h"
#include "transfer/piece_stream.h"
#include "transfer/transfer_documents.h"

namespace quillmark::bench {
namespace {

constexpr std::int32_t kMaxSize = 128;
constexpr int kRepetitions = 5;

class AnyClient final : public XMLDocClient {
 public:
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& /*xml*/) override { return true; }
};

/// Frames as many equal blocks as an image of `size` bytes gives and builds their documents.
void BuildDocuments(Context& context, std::size_t size) {
  const std::vector<std::uint8_t> block(kMaxSize + 8, 0x34);
  const std::vector<std::uint8_t> expected = {0x74, 0x02};
  AnyClient client;
  transfer::PieceStream stream(context, client);
  for (std::size_t at = 0; at < size; at += kMaxSize) {
    static_cast<void>(stream.Add(block, expected, 2, kMaxSize));
  }
  stream.Finish();
}

void RunParts(std::size_t size) {
  const std::vector<std::uint8_t> bytes = MakeImage(size, Filling::kDense);
  Session session(kKLine);
  const auto image = session.Image(bytes);
  const auto segment = image->Segments().front();
  const std::string hex = segment->Hex();
  const auto document = transfer::WriteImage(session.GetPlatform(), *image);
  Context context(CreatePortablePlatform());
  context.SetFreeThreaded();
  context.CANIDs(kKLine.RCANId, kKLine.XCANId);

  const std::vector<double> seconds = MedianSeconds(
      {{"all", [&] { session.Download(image, 16, kMaxSize); }},
       {"hex", [&] { static_cast<void>(segment->Hex()); }},
       {"text",
        [&] {
          static_cast<void>(
              session.GetPlatform().CreateFreeThreadedDOMDocument()->createTextNode(hex));
        }},
       {"decode",
        [&] { static_cast<void>(transfer::ReadImage(session.GetPlatform(), *document)); }},
       {"documents", [&] { BuildDocuments(context, size); }},
       {"reference A",
        [&] {
          TreeSink sink(kKLine.transport, [](const pugi::xml_document& /*document*/) {});
          Reference(kKLine, sink).Download(bytes, 16, kMaxSize);
        }}},
      kRepetitions);

  const double mebibytes = static_cast<double>(size) / static_cast<double>(kMiB);
  const double parts = seconds[1] + seconds[2] + seconds[3] + seconds[4];
  const auto print = [&](const std::string& name, double part) {
    PrintRow({std::to_string(size / kMiB) + " MiB: " + name, Duration(part / mebibytes),
              Number(part / seconds[5])});
  };
  print("the image as hex text", seconds[1]);
  print("its copy in the document", seconds[2]);
  print("read back from there", seconds[3]);
  print("framed, in documents", seconds[4]);
  print("the rest: cut, copied to blocks, summed; the thread", seconds[0] - parts);
  print("the whole download", seconds[0]);
  print("reference A", seconds[5]);
}

}  // namespace

void RunPartsOfDownload(bool quick) {
  PrintHeader("Parts of a K line download", {"row", "a MiB", "of reference A"});
  const std::vector<std::size_t> sizes =
      quick ? std::vector<std::size_t>{4} : std::vector<std::size_t>{4, 64};
  for (const std::size_t size : sizes) {
    RunParts(size * kMiB);
  }
}

}  // namespace quillmark::bench
