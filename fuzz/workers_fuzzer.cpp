// SPDX-License-Identifier: MIT
// Workers: a host with its own threads may pass any document to a worker. Whatever its text, the
// worker refuses its parameters or delivers documents that say what they cover, and ends as
// specified.
//
// The first byte of the input, '0' to '?', chooses the transport form and the event that cancels;
// the rest is the text of the document.
#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/law.h"
#include "quillmark/quillmark.h"

namespace quillmark::fuzz {
namespace {

/// Keeps what a worker delivers and cancels at one of the events.
class Client : public XMLDocClient {
 public:
  explicit Client(std::size_t cancel_at) : cancel_at_(cancel_at) {}

  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
    Law(!ended_, "nothing comes after the end");
    ended_ = xml == nullptr || ++documents_ == cancel_at_;
    if (xml) {
      RequireTotal(dynamic_cast<const DOMDocument&>(*xml));
    }
    return !ended_;
  }

  /// Whether the worker has reported its end, or was cancelled.
  [[nodiscard]] bool ended() const { return ended_; }
  [[nodiscard]] bool anything() const { return ended_ || documents_ > 0; }

 private:
  static void RequireTotal(const DOMDocument& document) {
    const auto total = document.documentElement()->getAttribute("totalbytes");
    const auto is_digit = [](char character) { return character >= '0' && character <= '9'; };
    Law(total && !total->empty() && std::all_of(total->begin(), total->end(), is_digit),
        "a document says how many bytes it covers");
  }

  std::size_t cancel_at_;
  std::size_t documents_ = 0;
  bool ended_ = false;
};

/// False if the worker refused its parameters.
bool Configure(IThread& worker, std::uint8_t choice, const std::shared_ptr<DOMDocument>& document) {
  constexpr std::array<std::array<std::int32_t, 2>, 3> kIdentifiers = {
      {{1850, 1586}, {0, 0x6E}, {0, 0x11}}};
  const auto& identifiers = kIdentifiers[choice % kIdentifiers.size()];
  const std::uint8_t RL = 1;
  const std::uint8_t FillByte = 0xFF;
  const std::int32_t IMod = 16;
  const std::int32_t MaxSize = 128;
  const std::int32_t BS = 1;
  const std::int32_t STMin = 0;
  const std::array<Parameter, 9> parameters = {
      &identifiers[0], &identifiers[1], &document, &RL, &FillByte, &IMod, &MaxSize, &BS, &STMin};
  try {
    return worker.GetParameter(parameters) >= 0;
  } catch (const Error&) {
    return false;
  }
}

void Run(std::uint8_t choice, std::string_view text) {
  static const std::shared_ptr<PortablePlatform> platform = CreatePortablePlatform();
  const auto document = platform->CreateFreeThreadedDOMDocument();
  try {
    document->loadXML(text);
  } catch (const Error&) {
    // An empty document is one, too.
  }
  const auto root = document->documentElement();
  const std::string name = root ? root->nodeName() : "";
  const auto worker = CreateDiagOnCANReprog(platform);
  if (!Configure(*worker, choice, document)) {
    return;
  }
  const auto client = std::make_shared<Client>(1 + choice / 3 % 4);
  Law(worker->EntryPoint(client) >= 0, "a worker runs to its end");
  if (name == "image" || name == "map") {
    Law(client->ended(), "a transfer ends with an empty node, unless it is cancelled");
  } else {
    Law(!client->anything(), "another document gives no event");
  }
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 0) {
    quillmark::fuzz::Run(data[0], {reinterpret_cast<const char*>(data + 1), size - 1});
  }
  return 0;
}
