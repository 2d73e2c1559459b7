// SPDX-License-Identifier: MIT
// A host in its smallest form: it asks an ECU for the seed, then streams a download. Where a real
// host would run each document on its bus, this one writes replies recorded earlier into it.
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "quillmark/quillmark.h"

namespace {

using Document = std::shared_ptr<quillmark::DOMDocument>;

// Gives the n-th receive step of `document` the n-th frame.
void WriteReplies(const Document& document, const std::vector<std::string>& frames) {
  const auto steps = document->selectNodes("/can/x/r");
  for (std::size_t n = 0; n < steps->length() && n < frames.size(); ++n) {
    const auto data = document->createElement("d");
    data->setText(frames[n]);
    steps->item(n)->appendChild(data);
  }
}

// Eight bytes at address 0x8000. The bytes of a segment are indexed by the addresses they cover.
std::shared_ptr<quillmark::MemoryImage> MakeImage(quillmark::Platform& platform) {
  const auto segment = platform.CreateByteString();
  segment->SetHex("0102030405060708");
  segment->SetStartAddress(0x8000);
  auto image = platform.CreateMemoryImage();
  image->AddSegment(*segment);
  return image;
}

void Run() {
  const auto platform = quillmark::CreatePortablePlatform();
  const auto reprog = quillmark::CreateDiagOnCANReprog(platform);
  reprog->CANIDs(1850, 1586);  // plain CAN: receive on 0x73A, send on 0x632

  // [pair]
  const Document request = reprog->readseed();
  WriteReplies(request, {"06678111223344AA"});
  std::cout << "seed " << reprog->getseed(request)->Hex() << '\n';
  // [pair]

  // [transfer]
  // The handler is called on the worker's thread. Leaving Cancel true would end the transfer.
  int bytes = 0;
  const auto checker = quillmark::CreateDiagOnCANReprog(platform);
  reprog->OnXMLReady([&](const std::shared_ptr<quillmark::IXMLDOMNode>& node, bool& cancel) {
    if (node == nullptr) return;  // the end of the sequence, normal or not
    const auto document = std::dynamic_pointer_cast<quillmark::DOMDocument>(node);
    WriteReplies(document, {"300100", "300100", "0274020000000000"});
    checker->checkdownload(document);
    bytes += std::stoi(document->documentElement()->getAttribute("totalbytes").value_or("0"));
    cancel = false;
  });
  reprog->ComputeDownload(0x01, MakeImage(*platform), 0xFF, 16, 128);
  platform->WaitForWorkers();

  // A worker's error looks like an end: the sum of all `totalbytes` tells the two apart.
  std::cout << (bytes == 8 ? "download complete\n" : "download incomplete\n");
  // [transfer]
}

}  // namespace

int main() {
  try {
    Run();
  } catch (const quillmark::Error& error) {
    std::cerr << "error " << error.Number() << ": " << error.Description() << '\n';
    return 1;
  }
  return 0;
}
