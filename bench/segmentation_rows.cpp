// SPDX-License-Identifier: MIT
// The framing alone, without documents, and the search for fill bytes.
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/groups.h"
#include "bench/inputs.h"
#include "bench/measure.h"
#include "bench/table.h"
#include "context/gateway.h"
#include "context/k_message.h"
#include "context/plain_can.h"
#include "quillmark/quillmark.h"

namespace quillmark::bench {
namespace {

constexpr int kRepetitions = 7;
constexpr std::size_t kSize = 16 * kMiB;
constexpr std::size_t kHeaderSize = 6;
constexpr std::size_t kBlockSize = 128;
constexpr double kBoundOnFraming = 300;
constexpr double kBoundOnFillRun = 3000;

/// Takes steps and keeps nothing but their number of digits.
class CountingElement final : public IXMLDOMElement {
 public:
  void appendLeaves(std::span<const Leaf> leaves) override {
    for (const Leaf& leaf : leaves) {
      digits += leaf.text.size();
    }
  }
  [[nodiscard]] std::optional<std::string> getAttribute(std::string_view /*name*/) const override {
    Refuse();
  }
  void setAttribute(std::string_view /*name*/, std::string_view /*value*/) override { Refuse(); }

  [[nodiscard]] NodeType nodeType() const override { Refuse(); }
  [[nodiscard]] std::string nodeName() const override { Refuse(); }
  [[nodiscard]] std::string nodeValue() const override { Refuse(); }
  void setNodeValue(std::string_view /*value*/) override { Refuse(); }
  [[nodiscard]] std::string text() const override { Refuse(); }
  void setText(std::string_view /*value*/) override { Refuse(); }
  [[nodiscard]] std::string xml() const override { Refuse(); }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> parentNode() const override { Refuse(); }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> firstChild() const override { Refuse(); }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> nextSibling() const override { Refuse(); }
  [[nodiscard]] std::shared_ptr<DOMDocument> ownerDocument() const override { Refuse(); }
  std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& /*child*/) override {
    Refuse();
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> cloneNode(bool /*deep*/) const override { Refuse(); }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> selectSingleNode(
      std::string_view /*path*/) const override {
    Refuse();
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNodeList> selectNodes(
      std::string_view /*path*/) const override {
    Refuse();
  }

  std::size_t digits = 0;

 private:
  [[noreturn]] static void Refuse() { throw std::logic_error("framing appends rows alone"); }
};

/// Frames `kSize` image bytes as download blocks.
template <typename AddFrames>
void Frame(Span image, AddFrames add_frames) {
  CountingElement element;
  StepWriter steps(element, 0);
  Bytes block(kHeaderSize + kBlockSize + 2);
  for (std::size_t at = 0; at < image.size(); at += kBlockSize) {
    std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(at), kBlockSize,
                block.begin() + kHeaderSize);
    add_frames(steps, block);
  }
  steps.Flush();
  if (element.digits < 2 * image.size()) {
    throw std::logic_error("the framing lost bytes");
  }
}

void PrintFraming(const std::string& name, const std::function<void()>& run) {
  const double seconds = MedianSeconds({{name, run}}, kRepetitions).front();
  PrintRow({"framing, " + name, Duration(seconds), Rate(kSize, seconds),
            AtLeast(kBoundOnFraming, kSize / seconds / 1e6)});
}

void RunFraming(const Form& form, Span image) {
  const Addressing addressing{false, false, 0, 0, static_cast<std::uint8_t>(form.XCANId), 0xF1};
  FrameBuffers buffers;
  const FlowControlSettings flow_control;
  PrintFraming(std::string(form.name), [&] {
    Frame(image, [&](StepWriter& steps, const Bytes& block) {
      switch (form.transport) {
        case Transport::kPlainCan:
          return plain_can::AddRequestFrames(steps, buffers, flow_control, block);
        case Transport::kGateway:
          return gateway::AddAddressedCANFrames(steps, addressing, block);
        case Transport::kKLine:
          return k_message::AddKFrames(steps, addressing, block);
      }
    });
  });
}

void RunFillRun() {
  const auto bytes = CreatePortablePlatform()->CreateByteString();
  bytes->SetLength(static_cast<std::int32_t>(4 * kSize));
  const double seconds = MedianSeconds({{"FillRunLength",
                                         [&] {
                                           if (bytes->FillRunLength(0, 1) != bytes->Length()) {
                                             throw std::logic_error("the run is cut short");
                                           }
                                         }}},
                                       kRepetitions)
                             .front();
  PrintRow({"FillRunLength over 64 MiB", Duration(seconds), Rate(4 * kSize, seconds),
            AtLeast(kBoundOnFillRun, 4 * kSize / seconds / 1e6)});
}

}  // namespace

void RunSegmentation(bool /*quick*/) {
  PrintHeader("Segmentation of 16 MiB without documents", {"row", "time", "rate", "bound in MB/s"});
  const std::vector<std::uint8_t> image = MakeImage(kSize, Filling::kDense);
  for (const Form& form : {kPlainCan, kGateway, kKLine}) {
    RunFraming(form, image);
  }
  RunFillRun();
}

}  // namespace quillmark::bench
