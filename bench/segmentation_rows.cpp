// SPDX-License-Identifier: MIT
// The framing alone, without documents, and the search for fill bytes.
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

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
constexpr double kBoundOnLoop = 1.1;

const std::vector<std::string> kColumns = {"row",          "time",        "rate", "bound in MB/s",
                                           "plain C loop", "ours / loop", "bound"};

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
    std::memcpy(block.data() + kHeaderSize, image.data() + at, kBlockSize);
    add_frames(steps, block);
  }
  steps.Flush();
  if (element.digits < 2 * image.size()) {
    throw std::logic_error("the framing lost bytes");
  }
}

/// The same for plain CAN as a C programmer writes it: frames and flow controls as hex text in a
/// buffer, with a step for each, handed over a row at a time.
class PlainCLoop {
 public:
  PlainCLoop() {
    for (unsigned byte = 0; byte < 256; ++byte) {
      digits_of_[byte][0] = "0123456789ABCDEF"[byte >> 4U];
      digits_of_[byte][1] = "0123456789ABCDEF"[byte & 0x0FU];
    }
  }

  void Run(Span image) {
    for (std::size_t at = 0; at < image.size(); at += kBlockSize) {
      std::memcpy(block_ + kHeaderSize, image.data() + at, kBlockSize);
      AddBlock();
    }
    HandOver();
    if (digits_ < 2 * image.size()) {
      throw std::logic_error("the loop lost bytes");
    }
  }

 private:
  struct Step {
    const char* name;
    const char* text;
    std::size_t size;
  };
  static constexpr std::size_t kSize = kHeaderSize + kBlockSize + 2;
  static constexpr std::size_t kRowSize = 8192;

  void AddBlock() {
    frame_[0] = static_cast<std::uint8_t>(0x10 + kSize / 256);
    frame_[1] = static_cast<std::uint8_t>(kSize % 256);
    std::memcpy(frame_ + 2, block_, 6);
    AddFrame();
    AddFlowControl();
    std::size_t number = 1;
    for (std::size_t at = 6; at < kSize; at += 7, ++number) {
      const std::size_t count = kSize - at < 7 ? kSize - at : 7;
      frame_[0] = static_cast<std::uint8_t>(0x20 + number % 16);
      std::memcpy(frame_ + 1, block_ + at, count);
      AddFrame();
      if (at + count < kSize) {
        AddFlowControl();
      }
    }
  }

  void AddFrame() {
    char* const text = Begin("s", 16);
    for (std::size_t i = 0; i < 8; ++i) {
      std::memcpy(text + 2 * i, digits_of_[frame_[i]], 2);
    }
  }

  void AddFlowControl() { std::memcpy(Begin("r", 4), "3001", 4); }

  char* Begin(const char* name, std::size_t size) {
    if (used_ + size > kRowSize) {
      HandOver();
    }
    char* const text = texts_ + used_;
    steps_[count_++] = {name, text, size};
    used_ += size;
    return text;
  }

  void HandOver() {
    for (std::size_t i = 0; i < count_; ++i) {
      digits_ += steps_[i].size;
    }
    count_ = 0;
    used_ = 0;
  }

  char digits_of_[256][2] = {};
  std::uint8_t block_[kSize] = {};
  std::uint8_t frame_[8] = {};
  char texts_[kRowSize] = {};
  Step steps_[kRowSize / 4] = {};
  std::size_t used_ = 0;
  std::size_t count_ = 0;
  std::size_t digits_ = 0;
};

void PrintFraming(const std::string& name, const std::vector<Contender>& contenders) {
  const std::vector<double> seconds = MedianSeconds(contenders, kRepetitions);
  std::vector<std::string> cells = {"framing, " + name, Duration(seconds[0]),
                                    Rate(kSize, seconds[0]),
                                    AtLeast(kBoundOnFraming, kSize / seconds[0] / 1e6)};
  if (seconds.size() > 1) {
    const double ratio = seconds[0] / seconds[1];
    cells.insert(cells.end(), {Duration(seconds[1]), Number(ratio), AtMost(kBoundOnLoop, ratio)});
  }
  cells.resize(kColumns.size());
  PrintRow(cells);
}

void RunFraming(const Form& form, Span image) {
  const Addressing addressing{false, false, 0, 0, static_cast<std::uint8_t>(form.XCANId), 0xF1};
  FrameBuffers buffers;
  const FlowControlSettings flow_control;
  std::vector<Contender> contenders = {
      {std::string(form.name), [&] {
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
       }}};
  if (form.transport == Transport::kPlainCan) {
    contenders.push_back({"C loop", [image] { PlainCLoop().Run(image); }});
  }
  PrintFraming(std::string(form.name), contenders);
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
            AtLeast(kBoundOnFillRun, 4 * kSize / seconds / 1e6), "", "", ""});
}

}  // namespace

void RunSegmentation(bool /*quick*/) {
  PrintHeader("Segmentation of 16 MiB without documents", kColumns);
  const std::vector<std::uint8_t> image = MakeImage(kSize, Filling::kDense);
  for (const Form& form : {kPlainCan, kGateway, kKLine}) {
    RunFraming(form, image);
  }
  RunFillRun();
}

}  // namespace quillmark::bench
